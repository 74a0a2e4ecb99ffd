#include "TimelineView.h"

#include <algorithm>
#include <cmath>

#include "TimelineMetrics.h"
#include "TimelineViewportLayout.h"

namespace kelvane {

using namespace TimelineMetrics;

TimelineView::TimelineView(std::shared_ptr<Workspace> workspace, MainContext& context, ReducedMotion reducedMotion)
    : workspace_(std::move(workspace)), context_(context), reducedMotion_(std::move(reducedMotion)) {
    connect(workspace_.get(), &Workspace::editorChanged, this, &TimelineView::followEditor);
    followEditor();
}

TimelineView::~TimelineView() {
    blockSignals(true);
    resetGesture();
}

// Following the project.

void TimelineView::followEditor() {
    resetGesture();
    stopScrolling();
    clearHover();
    for (const auto& connection : connections_) disconnect(connection);
    pinchStartZoom_.reset();
    const auto editor = this->editor();
    if (editor) {
        connections_ = {
            connect(editor.get(), &Editor::contentChanged, this, &TimelineView::followContent),
            connect(editor.get(), &Editor::selectionChanged, this,
                    [this] {
                        refreshEnabling();
                        refreshVolume();
                        Q_EMIT selectionChanged();
                    }),
            connect(editor.get(), &Editor::workChanged, this, &TimelineView::followWork),
            connect(editor.get(), &Editor::positionChanged, this, &TimelineView::followPosition),
        };
        // As it was left, whatever width the viewport has had since.
        const double zoom = editor->timelineZoom;
        zoom_ = std::isfinite(zoom) && zoom > 0 ? std::min(zoom, highestZoom()) : 1;
    }
    shownClips_ = nullptr;
    origin_ = {};
    takeContent();
    origin_ = QPointF(editor ? editor->playhead() * pointsPerSecond() : 0, 0);
    if (editor) editor->timelineScrollOffset = origin_.x();
    enabling_ = enabling();
    tellContent();
    Q_EMIT scaleChanged();
    Q_EMIT selectionChanged();
    Q_EMIT scrolled();
    Q_EMIT enablingChanged();
}

void TimelineView::followContent() {
    if (takeContent()) {
        const auto held = trimOriginal_ ? trimOriginal_ : volumeOriginal_;
        const auto id = held ? std::optional(held->id) : dragging_;
        if (id && !editor()->placement().index(*id)) resetGesture();
        refreshInsertion();
        if (hoveredClipID_ && !placement_.index(*hoveredClipID_)) clearHover();
    }
    tellContent();
}

void TimelineView::followWork() {
    const bool wasBusy = enabling_.busy;
    const bool isBusy = editor()->busy();
    if (isBusy && !wasBusy) {
        resetGesture();
        clearHover();
        editor()->endHoverPreview();
    }
    if (takeContent()) tellContent();
    refreshEnabling();
}

void TimelineView::followPosition() {
    const auto editor = this->editor();
    // A take grows with the position.
    if ((editor->recordingClip() || shownTake_) && takeContent()) tellContent();
    if (animatedSeek_ && animatedSeek_->playhead != editor->playhead()) cancelAnimatedSeek();
    if (!animatedSeek_) followPlayhead();
    refreshEnabling();
    Q_EMIT positionChanged();
}

bool TimelineView::takeContent(bool anyway) {
    const auto editor = this->editor();
    const ClipArray shown = editor ? editor->clipArray() : nullptr;
    const std::optional<Clip> take = editor ? editor->recordingClip() : std::nullopt;
    if (!anyway && shown && shown == shownClips_ && take == shownTake_) return false;
    const bool isSameProject = shownClips_ && shown;
    const std::vector<UUID> lanes = placement_.lanes();
    const bool wasEmpty = clips_.empty();
    shownClips_ = shown;
    shownTake_ = take;
    clips_.clear();
    if (take) clips_.push_back(*take);
    if (shown) clips_.insert(clips_.end(), shown->begin(), shown->end());
    placeClips();
    for (const auto& draft : {trimDraft_, volumeDraft_})
        if (draft) showDraft(*draft);
    if (isSameProject && !wasEmpty) revealNewLane(lanes);
    moveTo(origin_);
    return true;
}

void TimelineView::placeClips() {
    placement_ = TimelinePlacement(clips_);
    frames_.reset();
    ++placements_;
}

void TimelineView::showDraft(const Clip& draft) {
    const auto index = displayedIndex(draft.id);
    if (!index) return;
    Clip& shown = clips_[*index];
    const bool isPlacedElse = shown.start != draft.start || shown.end != draft.end ||
                              shown.audioPosition() != draft.audioPosition() || shown.lane() != draft.lane();
    shown = draft;
    if (!isPlacedElse) return;
    placeClips();
}

void TimelineView::tellContent() {
    Q_EMIT contentChanged();
    // The length of the timeline bears on the readout and on the zooms that there are.
    Q_EMIT positionChanged();
    if (const double lowest = lowestZoom(); lowest != lowestZoom_) {
        lowestZoom_ = lowest;
        Q_EMIT scaleChanged();
    }
    refreshVolume();
    refreshEnabling();
}

void TimelineView::refreshVolume() {
    const QString volume = selectedVolume();
    if (volume == selectedVolume_) return;
    selectedVolume_ = volume;
    Q_EMIT selectedVolumeChanged();
}

// What is shown.

const std::vector<Clip>& TimelineView::displayedClips() const { return clips_; }

const TimelinePlacement& TimelineView::displayedPlacement() const { return placement_; }

std::optional<std::size_t> TimelineView::displayedIndex(const UUID& clipID) const { return placement_.index(clipID); }

QRectF TimelineView::drawnFrame(std::size_t index) const {
    if (index >= clips_.size()) return {};
    QRectF frame = TimelineViewportLayout::clipFrame(placement_, index, pointsPerSecond());
    const UUID& id = clips_[index].id;
    if (dragging_ == id) frame.translate(dragTranslation_, dragLaneTranslation_);
    if (!insertionPreview_) return frame;
    const auto parted = insertionPreview_->offsets.find(id);
    if (parted != insertionPreview_->offsets.end()) frame.translate(parted->second, 0);
    return frame;
}

const TimelineMarqueeLayout& TimelineView::frames() const {
    if (!frames_) frames_.emplace(clips_, placement_, pointsPerSecond());
    return *frames_;
}

double TimelineView::pointsPerSecond() const { return zoom_ * secondWidth; }

double TimelineView::longestDuration() const {
    const auto editor = this->editor();
    return std::max(editor ? editor->placement().duration() : 0, duration());
}

double TimelineView::lowestZoom() const {
    return TimelineViewportLayout::zoomRange(viewportWidth_, longestDuration()).lower;
}

double TimelineView::highestZoom() const { return TimelineMetrics::maximumZoom; }

double TimelineView::viewportHeight() const {
    return TimelineViewportLayout::viewportHeight(placement_.lanes().size());
}

double TimelineView::contentHeight() const { return TimelineViewportLayout::contentHeight(placement_.lanes().size()); }

QString TimelineView::clipCount() const { return QStringLiteral("%1 clips").arg(clips_.size() - (shownTake_ ? 1 : 0)); }

QString TimelineView::selectedCount() const {
    const auto editor = this->editor();
    const std::size_t count = editor ? editor->selectedClipIDs().size() : 0;
    return count > 0 ? QStringLiteral("%1 selected").arg(count) : QString();
}

QString TimelineView::selectedVolume() const {
    const auto editor = this->editor();
    const Clip* clip = editor ? editor->selectedClip() : nullptr;
    if (clip == nullptr) return {};
    const bool isDragged = volumeDraft_ && volumeDraft_->id == clip->id;
    return QStringLiteral("Volume %1%").arg(std::lround((isDragged ? volumeDraft_->volume : clip->volume) * 100));
}

QString TimelineView::recordingTime() const {
    const auto editor = this->editor();
    if (!editor || !editor->isRecording()) return {};
    return QStringLiteral("Recording ") +
           QString::fromStdString(TimelineViewportLayout::timeDisplay(editor->recordingElapsed()));
}

QString TimelineView::timeReadout() const {
    return QString::fromStdString(TimelineViewportLayout::timeDisplay(position()) + " / " +
                                  TimelineViewportLayout::timeDisplay(duration()));
}

double TimelineView::position() const { return editor() ? editor()->playhead() : 0; }

double TimelineView::duration() const { return placement_.duration(); }

bool TimelineView::empty() const { return clips_.empty(); }

// What is enabled.

bool TimelineView::busy() const { return editor() && editor()->busy(); }

bool TimelineView::canMove(std::ptrdiff_t step) const {
    const auto editor = this->editor();
    if (!editor || editor->busy() || editor->selectedClipIDs().size() != 1) return false;
    const auto index = editor->placement().index(*editor->selectedClipIDs().begin());
    if (!index || editor->clips()[*index].isAudio()) return false;
    const auto place = static_cast<std::ptrdiff_t>(*index);
    // Compared this way round, as the sum might overflow.
    return step >= -place && step < std::ssize(editor->clips()) - place;
}

bool TimelineView::canSplit() const { return editor() && !editor()->busy() && editor()->canSplit(); }

bool TimelineView::canDelete() const { return editor() && !editor()->busy() && !editor()->selectedClipIDs().empty(); }

TimelineView::Enabling TimelineView::enabling() const {
    return {canMoveEarlier(), canMoveLater(), canSplit(), canDelete(), busy()};
}

void TimelineView::refreshEnabling() {
    const Enabling now = enabling();
    if (now == enabling_) return;
    enabling_ = now;
    Q_EMIT enablingChanged();
}

}  // namespace kelvane
