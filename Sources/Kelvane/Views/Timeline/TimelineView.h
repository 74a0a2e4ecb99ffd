#pragma once

#include <QObject>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <array>
#include <chrono>
#include <functional>
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
    Q_PROPERTY(QString selectedVolume READ selectedVolume NOTIFY selectedVolumeChanged)
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

    /// Of its timers.
    [[nodiscard]] MainContext& context() const { return context_; }

    // What is shown.
    /// The project; null on the projects home.
    [[nodiscard]] std::shared_ptr<Editor> editor() const { return workspace_->editor(); }
    /// The clip of a running take, and the timeline's clips, one of them as a running gesture has it. Good until
    /// `contentChanged`.
    [[nodiscard]] const std::vector<Clip>& displayedClips() const;
    /// Where they stand.
    [[nodiscard]] const TimelinePlacement& displayedPlacement() const;
    /// How often they were placed so far: playing places nothing anew.
    [[nodiscard]] int placements() const { return placements_; }
    /// Where the clip at `index` of those is drawn, in content coordinates: its frame, moved by a gesture under way
    /// and by an insertion that is shown. Empty where there is no such clip.
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
    /// The clip that is drawn under this point, where it stands without a gesture; none where there is none.
    [[nodiscard]] std::optional<UUID> clipIDAt(QPointF point) const;
    [[nodiscard]] bool reducedMotion() const { return reducedMotion_ && reducedMotion_(); }
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
    /// Brackets of two fingers that draw apart; `pinch` tells by how much they have since they came down. Nothing while
    /// the project is busy or its preview is built, and during another gesture.
    void beginPinch();
    void pinch(double magnification);
    void endPinch();
    /// What a wheel or a touchpad sends: eighths of a degree of a wheel's notches, or points that fingers came along.
    /// Control zooms, Shift scrolls time; else two fingers scroll along the first clear axis, and a wheel scrolls lanes
    /// where there are more than fit, and time where there aren't.
    void wheel(QPointF delta, bool byFingers, Qt::KeyboardModifiers modifiers);
    /// The person scrolls by so many points of content, as a wheel, a touchpad or a finger does. Time follows x.
    /// Nothing while the project is busy or its preview is built, and during a gesture.
    void scrollBy(QPointF delta);
    /// The person's scrolling has come to its end. `wheel` knows its own; scrolling by a finger tells it.
    Q_INVOKABLE void endScrolling();
    /// Fingers that scrolled have let go: the track goes on as fast as they moved it in the last tenth of a second, and
    /// slower and slower, time following. It stops where they rested before, at the content's ends, with reduced
    /// motion, and by whatever else moves the track, seeks, plays, or keeps scrolling out.
    void releaseScrolling();
    /// Stops a track that goes on by itself; whether it did.
    bool catchScrolling();
    /// Shows the playhead's place, where nothing of a person's holds the viewport.
    void followPlayhead();
    /// Goes to `seconds` at once, and moves the track there in 0.22 s. Nothing while the project is busy or its preview
    /// is built, and during a gesture on a clip or a rubber band.
    Q_INVOKABLE void seekOnClick(double seconds);
    /// Goes to `seconds` at once, and the track with it. Nothing while busy or during a gesture on a clip; whether it
    /// could.
    Q_INVOKABLE bool seek(double seconds);
    /// Goes on by so many seconds, or back, as the arrow keys do by one.
    Q_INVOKABLE bool seekBy(double seconds);

    // The pointer. A press, moves and a release are one gesture, which the press decides: on a clip, on the ruler or
    // the playhead, or on the track. It becomes a drag when it has moved by 3 points, and is a click else.
    void press(QPointF point, Qt::KeyboardModifiers modifiers);
    void drag(QPointF point, Qt::KeyboardModifiers modifiers);
    void release(QPointF point, Qt::KeyboardModifiers modifiers);
    /// Says that the press under way, else one here, is the second of a double click. One that is let go of without a
    /// drag, and without Control and Shift, does besides what a click does: it shows the inspector for a clip, and
    /// makes a volume full on its line.
    void doubleClick(QPointF point, Qt::KeyboardModifiers modifiers);
    /// Modifier keys have changed while the pointer rests.
    void changeModifiers(Qt::KeyboardModifiers modifiers);
    void hover(QPointF point);
    void leave();
    /// Ends a gesture under way with nothing changed, neither selection nor playhead; whether there was one.
    bool cancelGesture();
    /// Clears the state of every gesture, a drop's too, and changes nothing: for what is about to change the project by
    /// another road, and where the timeline disappears.
    Q_INVOKABLE void resetGesture();
    /// Shows where assets would land that are dragged over the track: at `index` of the array; with nothing no place is
    /// shown. From the first call to `endDrop` nobody scrolls.
    void showDrop(std::optional<std::ptrdiff_t> index);
    void endDrop();

    // Keys; whether it was for the timeline and could be done. `isRepeat` is a key that is held.
    bool pressKey(int key, Qt::KeyboardModifiers modifiers, bool isRepeat = false);

    // Commands. Each ends a gesture under way first, and the keyboard's focus goes to what it was done to.
    Q_INVOKABLE void moveEarlier();
    Q_INVOKABLE void moveLater();
    Q_INVOKABLE void split();
    Q_INVOKABLE void deleteSelection();
    /// Of the clip's menu and of its accessible actions; held to 0 and 1, one step of history.
    void setVolume(const UUID& clipID, double volume);
    void selectAll();

Q_SIGNALS:
    /// What clips there are and how they look: content, drafts, thumbnails.
    void contentChanged();
    void selectionChanged();
    void selectedVolumeChanged();
    /// Zoom, its range or the viewport's width.
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
    /// `resetGesture` was called: what is dropped is over, too.
    void gestureReset();

private:
    /// What the pointer went down on.
    enum class Target : std::uint8_t { ruler, playhead, clip, track };
    /// From a press to its release.
    struct Press {
        Target target = Target::track;
        QPointF point;
        /// Its place in the content, which scrolling and zooming leave where it is.
        double time = 0;
        double contentY = 0;
        Qt::KeyboardModifiers modifiers;
        /// The clip under it, and which part of it that is.
        std::optional<UUID> clipID;
        TimelineGestures::ClipPart part = TimelineGestures::ClipPart::body;
        /// Where the pointer is now.
        QPointF now;
        Qt::KeyboardModifiers modifiersNow;
        bool isDrag = false;
        bool isDouble = false;
    };
    /// What a gesture that is cancelled goes back to.
    struct Before {
        std::set<UUID> clips;
        std::optional<UUID> primary;
        std::set<UUID> assets;
        std::optional<UUID> previewedAsset;
        double playhead = 0;
    };
    /// What a person scrolled at one moment.
    struct Movement {
        std::chrono::nanoseconds time{0};
        QPointF distance;
    };
    /// A track that goes on by itself.
    struct Fling {
        std::chrono::nanoseconds began{0};
        /// Points a second at its beginning.
        QPointF speed;
        /// Points so far.
        QPointF moved;
        Timer timer;
    };
    struct AnimatedSeek {
        std::chrono::nanoseconds began{0};
        double from = 0;
        double to = 0;
        /// The playhead that it was started for; another one ends it.
        double playhead = 0;
        Timer timer;
    };
    enum class Axis : std::uint8_t { undecided, time, lanes };
    /// What is enabled.
    struct Enabling {
        bool earlier = false;
        bool later = false;
        bool split = false;
        bool remove = false;
        bool busy = false;
        bool operator==(const Enabling&) const = default;
    };

    // TimelineView.cpp: what is shown.
    void followEditor();
    void followContent();
    void followWork();
    void followPosition();
    /// Takes the editor's clips and the running take where they are others, or in any case; whether it took them.
    bool takeContent(bool anyway = false);
    void tellContent();
    void placeClips();
    /// Puts a draft in the place of the clip that it is of.
    void showDraft(const Clip& draft);
    void refreshEnabling();
    void refreshVolume();
    [[nodiscard]] Enabling enabling() const;
    [[nodiscard]] std::optional<std::size_t> displayedIndex(const UUID& clipID) const;
    /// Length of what is there and of what is shown, whichever is longer; seconds.
    [[nodiscard]] double longestDuration() const;
    [[nodiscard]] const TimelineMarqueeLayout& frames() const;

    // TimelineViewScrolling.cpp: the viewport.
    void moveTo(QPointF origin);
    [[nodiscard]] bool mayScroll() const;
    [[nodiscard]] bool mayZoom() const;
    /// Shows the rows' new lane at the bottom.
    void revealNewLane(const std::vector<UUID>& before);
    void revealRow(std::size_t index);
    void wheelScroll(QPointF distance, bool byFingers);
    void stopScrolling();
    /// Moves the track by a person's doing, and time with it; whether it could be moved.
    bool scrollContent(QPointF delta);
    /// How fast the person scrolls now, points a second.
    [[nodiscard]] QPointF scrollingSpeed() const;
    void stepFling();
    void cancelAnimatedSeek();
    void stepAnimatedSeek();
    /// Leaves the assets pane's choice, and goes to `seconds` on the timeline.
    void seekTimeline(double seconds);

    // TimelineViewPointer.cpp: presses, clicks, the rubber band, the scrub.
    [[nodiscard]] QPointF contentPoint(QPointF point) const;
    [[nodiscard]] std::optional<std::size_t> clipAt(QPointF contentPoint) const;
    [[nodiscard]] TimelineGestures::ClipPart partAt(std::size_t index, QPointF contentPoint) const;
    /// How far the pointer has come in the content.
    [[nodiscard]] QPointF translation() const;
    [[nodiscard]] bool isGesture() const;
    void step();
    void stepScrub(Editor& editor);
    void stepMarquee(Editor& editor);
    void click(const Press& press);
    void clickTwice(const Press& press);
    /// No clip is hovered, wherever the pointer rests.
    void clearHover();
    /// What the pointer is over may be another clip, as the track has moved under it.
    void refreshHover();
    void remember(const Editor& editor);
    void setCursor(Qt::CursorShape cursor);
    void setHovered(std::optional<UUID> clip, std::optional<UUID> volumeClip);
    void watchEdges();
    void autoscroll();

    // TimelineViewClips.cpp: what is done to clips.
    void stepClip(Editor& editor);
    bool decideClipGesture(Editor& editor);
    void stepVolume();
    void stepTrim(Editor& editor);
    void stepDrag(const Editor& editor, const Clip& clip);
    void stepAudioDrag(const Editor& editor, const Clip& clip);
    void stepVideoDrag(const Editor& editor, const Clip& clip);
    void endClipGesture(Editor& editor);
    void refreshInsertion();

    // TimelineViewKeys.cpp.
    bool pressPlainKey(Editor& editor, int key, bool isRepeat);
    bool pressControlKey(Editor& editor, int key, bool extends);
    bool escape(Editor& editor);
    bool goToCut(const Editor& editor, bool forward);
    bool trimToPlayhead(Editor& editor, TrimEdge edge);
    bool selectBeside(Editor& editor, int columns, int rows, bool extends);

    std::shared_ptr<Workspace> workspace_;
    MainContext& context_;
    ReducedMotion reducedMotion_;
    std::array<QMetaObject::Connection, 4> connections_;

    // What is shown.
    std::vector<Clip> clips_;
    TimelinePlacement placement_;
    int placements_ = 0;
    /// What `clips_` were taken from.
    ClipArray shownClips_;
    std::optional<Clip> shownTake_;
    mutable std::optional<TimelineMarqueeLayout> frames_;
    // As announced last.
    Enabling enabling_;
    QString selectedVolume_;

    // The viewport.
    double zoom_ = 1;
    /// As announced last.
    double lowestZoom_ = 1;
    double viewportWidth_ = 1000;
    QPointF origin_;
    std::optional<double> pinchStartZoom_;
    /// The person scrolls: the playhead follows the track, and the track doesn't follow the playhead.
    bool isScrolling_ = false;
    Timer scrollEnd_;
    Axis axis_ = Axis::undecided;
    /// What two fingers have scrolled before an axis is clear.
    QPointF undecided_;
    /// The last tenth of a second of the person's scrolling.
    std::vector<Movement> movements_;
    std::optional<Fling> fling_;
    std::optional<AnimatedSeek> animatedSeek_;

    // Gestures.
    std::optional<Press> press_;
    std::optional<Before> before_;
    /// The editor that was told of a gesture on a clip.
    std::weak_ptr<Editor> interacting_;
    std::optional<UUID> dragging_;
    double dragTranslation_ = 0;
    double dragLaneTranslation_ = 0;
    std::optional<UUID> dragAudioTrack_;
    std::optional<std::ptrdiff_t> insertionIndex_;
    std::optional<TimelineInsertionLayout> insertionPreview_;
    std::optional<double> snapTime_;
    std::optional<Clip> trimOriginal_;
    std::optional<Clip> trimDraft_;
    TrimEdge trimEdge_ = TrimEdge::start;
    std::optional<Clip> volumeOriginal_;
    std::optional<Clip> volumeDraft_;
    std::optional<QRectF> marqueeRect_;
    std::optional<double> scrubStartTime_;
    /// Assets are dragged over the timeline.
    bool isDropping_ = false;
    std::optional<std::ptrdiff_t> dropIndex_;
    /// When the pointer came to the viewport's edge, and when the track was last scrolled for it.
    std::optional<std::chrono::nanoseconds> edgeSince_;
    std::chrono::nanoseconds edgeMoved_{0};
    Timer edgeTimer_;
    bool isEdgeTimed_ = false;
    std::optional<UUID> hoveredClipID_;
    std::optional<UUID> hoveredVolumeClipID_;
    /// Where the pointer rests over the viewport.
    std::optional<QPointF> hoverPoint_;
    Qt::CursorShape cursor_ = Qt::ArrowCursor;
};

}  // namespace kelvane
