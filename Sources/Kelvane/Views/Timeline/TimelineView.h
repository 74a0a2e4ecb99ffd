#pragma once

#include <QObject>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <array>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Editor/Editor.h"
#include "Platform/MainContext.h"
#include "TimelineGestures.h"
#include "TimelineInsertionLayout.h"
#include "TimelineMarqueeLayout.h"
#include "Windows/Workspace.h"

namespace kelvane {

/// What the timeline of one window shows and what a person does there by pointer, wheel and keys; draws nothing. A
/// gesture works on a draft, and ends in one operation of the editor. Points are of the viewport unless said otherwise;
/// times are seconds. The main thread.
class TimelineView final : public QObject {
    Q_OBJECT
    // One signal for each rate at which what is shown changes.
    Q_PROPERTY(double zoom READ zoom WRITE setZoom NOTIFY scaleChanged)
    Q_PROPERTY(double lowestZoom READ lowestZoom NOTIFY scaleChanged)
    Q_PROPERTY(double highestZoom READ highestZoom CONSTANT)
    /// Of the viewport as it stands among the toolbar and the window's end.
    Q_PROPERTY(double viewportHeight READ viewportHeight NOTIFY contentChanged)
    Q_PROPERTY(bool empty READ empty NOTIFY contentChanged)
    /// "7 clips", and with a selection "2 selected" and "Volume 80%", each empty where it isn't shown.
    Q_PROPERTY(QString clipCount READ clipCount NOTIFY contentChanged)
    Q_PROPERTY(QString selectedCount READ selectedCount NOTIFY selectionChanged)
    Q_PROPERTY(QString selectedVolume READ selectedVolume NOTIFY selectionChanged)
    /// "Recording " and the time so far; empty without a take.
    Q_PROPERTY(QString recordingTime READ recordingTime NOTIFY positionChanged)
    /// "00:17 / 00:33".
    Q_PROPERTY(QString timeReadout READ timeReadout NOTIFY positionChanged)
    Q_PROPERTY(double position READ position NOTIFY positionChanged)
    Q_PROPERTY(double duration READ duration NOTIFY contentChanged)
    Q_PROPERTY(bool canMoveEarlier READ canMoveEarlier NOTIFY enablingChanged)
    Q_PROPERTY(bool canMoveLater READ canMoveLater NOTIFY enablingChanged)
    Q_PROPERTY(bool canSplit READ canSplit NOTIFY enablingChanged)
    Q_PROPERTY(bool canDelete READ canDelete NOTIFY enablingChanged)
    /// Whether nothing on the track can be changed now.
    Q_PROPERTY(bool busy READ busy NOTIFY enablingChanged)

public:
    /// Whether the desktop asks for reduced motion, asked whenever something would move.
    using ReducedMotion = std::function<bool()>;
    TimelineView(std::shared_ptr<Workspace> workspace, MainContext& context, ReducedMotion reducedMotion);
    ~TimelineView() override;

    // What is shown.
    /// The project; null on the projects home.
    [[nodiscard]] std::shared_ptr<Editor> editor() const { return workspace_->editor(); }
    /// The clip of a running take, and the timeline's clips, one of them as a running gesture has it. Good until
    /// `contentChanged`.
    [[nodiscard]] const std::vector<Clip>& displayedClips() const;
    /// Where they stand.
    [[nodiscard]] const TimelinePlacement& displayedPlacement() const;
    /// Where the clip at `index` of those is drawn, in content coordinates: its frame, moved by a gesture under way
    /// and by an insertion that is shown.
    [[nodiscard]] QRectF drawnFrame(std::size_t index) const;
    [[nodiscard]] double zoom() const { return zoom_; }
    [[nodiscard]] double pointsPerSecond() const;
    [[nodiscard]] double lowestZoom() const;
    [[nodiscard]] double highestZoom() const;
    [[nodiscard]] double viewportWidth() const { return viewportWidth_; }
    [[nodiscard]] double viewportHeight() const;
    /// The left and upper end of what is in sight: x in points from where time 0 stands under the playhead, which is
    /// the playhead's own place in the content.
    [[nodiscard]] QPointF visibleOrigin() const { return origin_; }
    [[nodiscard]] double contentHeight() const;
    /// The marker and the parted clips while something is dragged over the video track.
    [[nodiscard]] const std::optional<TimelineInsertionLayout>& insertionPreview() const { return insertionPreview_; }
    /// In content coordinates.
    [[nodiscard]] const std::optional<QRectF>& marqueeRect() const { return marqueeRect_; }
    [[nodiscard]] const std::optional<double>& snapTime() const { return snapTime_; }
    [[nodiscard]] const std::optional<UUID>& dragging() const { return dragging_; }
    [[nodiscard]] const std::optional<Clip>& trimOriginal() const { return trimOriginal_; }
    [[nodiscard]] const std::optional<Clip>& trimDraft() const { return trimDraft_; }
    [[nodiscard]] const std::optional<Clip>& volumeDraft() const { return volumeDraft_; }
    [[nodiscard]] const std::optional<UUID>& hoveredClipID() const { return hoveredClipID_; }
    [[nodiscard]] const std::optional<UUID>& hoveredVolumeClipID() const { return hoveredVolumeClipID_; }
    [[nodiscard]] bool isEditingClip() const { return dragging_ || trimOriginal_ || volumeOriginal_; }
    [[nodiscard]] Qt::CursorShape cursor() const { return cursor_; }
    [[nodiscard]] QString clipCount() const;
    [[nodiscard]] QString selectedCount() const;
    [[nodiscard]] QString selectedVolume() const;
    [[nodiscard]] QString recordingTime() const;
    [[nodiscard]] QString timeReadout() const;
    [[nodiscard]] double position() const;
    [[nodiscard]] double duration() const;
    [[nodiscard]] bool empty() const;
    [[nodiscard]] bool busy() const;
    [[nodiscard]] bool canMove(std::ptrdiff_t step) const;
    [[nodiscard]] bool canMoveEarlier() const { return canMove(-1); }
    [[nodiscard]] bool canMoveLater() const { return canMove(1); }
    [[nodiscard]] bool canSplit() const;
    [[nodiscard]] bool canDelete() const;

    // The viewport.
    void setViewportWidth(double width);
    /// Held to the zooms that there are; the playhead stays where it is. NaN changes nothing.
    Q_INVOKABLE void setZoom(double zoom);
    /// By a notch of 1.25, `notches` of them, which may be parts of one.
    Q_INVOKABLE void zoomBy(double notches);
    void beginPinch();
    void pinch(double magnification);
    void endPinch();
    /// The person scrolls by so many points of content, as a wheel, a touchpad or a finger does. Time follows x.
    void scrollBy(QPointF delta);
    /// The person's scrolling has come to its end.
    void endScrolling();
    /// Shows the playhead's place, where nothing of a person's holds the viewport.
    void followPlayhead();
    /// Goes to `seconds` at once, and moves the track there in 0.22 s.
    Q_INVOKABLE void seekOnClick(double seconds);

    // The pointer. A press, moves and a release are one gesture, which the press decides: on a clip, on the ruler or
    // the playhead, or on the track. It becomes a drag when it has moved by 3 points, and is a click else.
    void press(QPointF point, Qt::KeyboardModifiers modifiers);
    void drag(QPointF point, Qt::KeyboardModifiers modifiers);
    void release(QPointF point, Qt::KeyboardModifiers modifiers);
    void doubleClick(QPointF point);
    void hover(QPointF point);
    void leave();
    /// Ends a gesture under way with nothing changed; whether there was one.
    bool cancelGesture();
    /// Clears the state of every gesture.
    void resetGesture();

    // Keys; each answers whether it was for the timeline.
    bool pressKey(int key, Qt::KeyboardModifiers modifiers);

    // Commands.
    Q_INVOKABLE void moveEarlier();
    Q_INVOKABLE void moveLater();
    Q_INVOKABLE void split();
    Q_INVOKABLE void deleteSelection();
    /// Of the clip's menu and of its accessible actions.
    void setVolume(const UUID& clipID, double volume);

Q_SIGNALS:
    /// What clips there are and how they look: content, drafts, thumbnails.
    void contentChanged();
    void selectionChanged();
    /// Zoom or the viewport's width.
    void scaleChanged();
    /// The visible part of the content.
    void scrolled();
    void positionChanged();
    void enablingChanged();
    /// Drags, hover, marquee, snap line, insertion: what is drawn over the clips or moves them.
    void gestureChanged();
    void cursorChanged();
    /// The timeline takes the keyboard's focus.
    void focusWanted();

private:
    std::shared_ptr<Workspace> workspace_;
    MainContext& context_;
    ReducedMotion reducedMotion_;
    double zoom_ = 1;
    double viewportWidth_ = 1000;
    QPointF origin_;
    std::optional<TimelineInsertionLayout> insertionPreview_;
    std::optional<QRectF> marqueeRect_;
    std::optional<double> snapTime_;
    std::optional<UUID> dragging_;
    std::optional<Clip> trimOriginal_;
    std::optional<Clip> trimDraft_;
    std::optional<Clip> volumeOriginal_;
    std::optional<Clip> volumeDraft_;
    std::optional<UUID> hoveredClipID_;
    std::optional<UUID> hoveredVolumeClipID_;
    Qt::CursorShape cursor_ = Qt::ArrowCursor;
};

}  // namespace kelvane
