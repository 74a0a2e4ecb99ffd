#pragma once

#include <QPointer>
#include <QQuickItem>

#include "AssetsView.h"

namespace kelvane {

/// The viewport of a grid of assets, which its children draw: passes what pointers, wheels, fingers and keys do there
/// to its view, and carries assets out of the pane. The main thread.
class AssetsSurface : public QQuickItem {
    Q_OBJECT
    Q_PROPERTY(kelvane::AssetsView* view READ view WRITE setView NOTIFY viewChanged)
    /// Whether the keyboard acts on the grid and a person works by it, so that its place is shown.
    Q_PROPERTY(bool hasKeyboard READ hasKeyboard NOTIFY hasKeyboardChanged)

public:
    explicit AssetsSurface(QQuickItem* parent = nullptr);

    [[nodiscard]] AssetsView* view() const { return view_; }
    void setView(AssetsView* view);
    [[nodiscard]] bool hasKeyboard() const { return hasActiveFocus() && worksByKeyboard_; }

Q_SIGNALS:
    void viewChanged();
    void hasKeyboardChanged();
    /// A person asks for the menu of an asset, at this point of the surface.
    void menuWanted(QPointF point);

protected:
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
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void geometryChange(const QRectF& now, const QRectF& before) override;

private:
    /// What a finger does from its coming to its going.
    enum class Touch { none, undecided, scroll };

    void tellSize();
    void tellKeyboard();
    void setWorksByKeyboard(bool works);
    /// Tells a reader of the screen where the keyboard is.
    void tellFocus();
    /// Lets the platform carry assets until the hand lets go of them.
    void carry(const UUID& assetID);
    /// What the pointer takes along: the pictures one behind the other, and how many where they are several.
    [[nodiscard]] QPixmap pictureOf(const std::vector<UUID>& assetIDs) const;

    QPointer<AssetsView> view_;
    bool worksByKeyboard_ = false;
    Touch touch_ = Touch::none;
    QPointF touchBegin_;
    QPointF touchLast_;
};

}  // namespace kelvane
