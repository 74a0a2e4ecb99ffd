#pragma once

#include <QElapsedTimer>
#include <QImage>
#include <QPointer>
#include <QQuickItem>
#include <QTimer>

#include "ScrollBarFade.h"
#include "TimelineAssetDropArea.h"
#include "TimelineTiles.h"
#include "TimelineView.h"
#include "Views/Theme.h"
#include "Views/Timeline/Drawing/TimelinePainter.h"

namespace kelvane {

/// Shows a timeline and passes what pointers, wheels, fingers and keys do there to its view. As all of it moves under a
/// playhead that stands still, it is painted whole, into an image of the viewport's size. The main thread; its node is
/// made while that one waits.
class TimelineSurface : public QQuickItem {
    Q_OBJECT
    Q_PROPERTY(kelvane::TimelineView* view READ view WRITE setView NOTIFY viewChanged)
    /// Whether the keyboard acts on the timeline and a person works by it, so that its focus is shown.
    Q_PROPERTY(bool hasKeyboard READ hasKeyboard NOTIFY hasKeyboardChanged)
    /// Whether the clip whose menu is open is muted.
    Q_PROPERTY(bool isMenuClipMuted READ isMenuClipMuted NOTIFY menuClipChanged)

public:
    explicit TimelineSurface(QQuickItem* parent = nullptr);

    [[nodiscard]] TimelineView* view() const { return view_; }
    void setView(TimelineView* view);
    [[nodiscard]] bool hasKeyboard() const { return hasActiveFocus() && worksByKeyboard_; }
    [[nodiscard]] bool isMenuClipMuted() const;
    /// What was painted last.
    [[nodiscard]] const QImage& image() const { return image_; }

    /// Of the clip whose menu is open: without sound, or with all of it again.
    Q_INVOKABLE void toggleMenuClipMute();
    Q_INVOKABLE void resetMenuClipVolume();

Q_SIGNALS:
    void viewChanged();
    void hasKeyboardChanged();
    /// A person asks for the menu of a clip, at this point of the surface.
    void menuWanted(QPointF point);
    void menuClipChanged();

protected:
    void updatePolish() override;
    QSGNode* updatePaintNode(QSGNode* old, UpdatePaintNodeData* data) override;
    void geometryChange(const QRectF& now, const QRectF& before) override;
    void itemChange(ItemChange change, const ItemChangeData& data) override;

    // TimelineSurfaceEvents.cpp
    bool event(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseUngrabEvent() override;
    void hoverEnterEvent(QHoverEvent* event) override;
    void hoverMoveEvent(QHoverEvent* event) override;
    void hoverLeaveEvent(QHoverEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void touchEvent(QTouchEvent* event) override;
    void touchUngrabEvent() override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    /// What fingers do from the first one's coming to the last one's going.
    enum class Touch { none, scroll, gesture, pinch, over };

    void repaint();
    /// An assistant has changed what held `before`.
    void highlight(const ClipArray& before);
    [[nodiscard]] std::chrono::nanoseconds now() const;
    void followContent();
    void followScrolling();
    /// The pointer is there; nowhere where it has left.
    void hoverBar(std::optional<QPointF> point);
    [[nodiscard]] double ratio() const;
    void setWorksByKeyboard(bool works);
    void takeFocus();
    [[nodiscard]] bool grabsFinger(QPointF point) const;
    void openMenu(const UUID& clip, QPointF point);
    void touchOne(const QTouchEvent& event);
    void touchTwo(const QTouchEvent& event);
    void endTouch(QPointF point, bool isCancelled);
    bool nativeGesture(const QNativeGestureEvent& event);

    QPointer<TimelineView> view_;
    std::weak_ptr<Editor> shown_;
    TimelineTiles tiles_;
    /// None without a view.
    std::unique_ptr<TimelineAssetDropArea> drop_;
    TimelinePainter painter_;
    QElapsedTimer clock_;
    QImage image_;
    bool isTextureOld_ = true;
    bool isMoving_ = false;
    ScrollBarFade bar_;
    double scrolledTo_ = 0;
    /// Until the bar begins to go.
    QTimer barTimer_;
    /// Tells when its colours are others.
    Theme theme_;
    bool worksByKeyboard_ = false;
    QMetaObject::Connection frames_;
    std::optional<UUID> menuClip_;

    Touch touch_ = Touch::none;
    QPointF touchBegin_;
    QPointF touchLast_;
    /// The finger has stopped a track that went on by itself.
    bool hasCaught_ = false;
    /// Between two fingers when they came down, points.
    double touchSpan_ = 0;
    /// Of a touchpad's pinch so far.
    double pinched_ = 1;
};

}  // namespace kelvane
