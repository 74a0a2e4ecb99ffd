#include <algorithm>
#include <cmath>

#include "TimelineMetrics.h"
#include "TimelineView.h"
#include "TimelineViewportLayout.h"

namespace kelvane {

using namespace TimelineMetrics;

namespace {

/// How near to the viewport's edge a drag scrolls it, points, and how long it rests there before.
constexpr double edgeReach = 8;
constexpr std::chrono::milliseconds edgePause{300};
/// How often it scrolls then, and how fast, points a second.
constexpr std::chrono::milliseconds edgeStep{16};
constexpr double edgeSpeed = 480;

/// 1 behind the upper end of a viewport of `length` points, -1 before its lower one, 0 between.
double edgeDirection(double place, double length) {
    if (place < edgeReach) return -1;
    return place > length - edgeReach ? 1 : 0;
}

SelectionModifiers selectionModifiers(Qt::KeyboardModifiers modifiers) {
    return {(modifiers & Qt::ShiftModifier) != 0, (modifiers & Qt::ControlModifier) != 0};
}

}  // namespace

// Where the pointer is.

QPointF TimelineView::contentPoint(QPointF point) const {
    return TimelineViewportLayout::contentPoint(point, origin_, viewportWidth_);
}

std::optional<std::size_t> TimelineView::clipAt(QPointF point) const {
    // What is drawn later lies above.
    for (std::size_t i = clips_.size(); i-- > 0;) {
        const QRectF frame = TimelineViewportLayout::clipFrame(placement_, i, pointsPerSecond());
        if (frame.left() <= point.x() && point.x() < frame.right() && frame.top() <= point.y() &&
            point.y() < frame.bottom())
            return i;
    }
    return std::nullopt;
}

std::optional<UUID> TimelineView::clipIDAt(QPointF point) const {
    const auto index = point.y() >= rulerHeight ? clipAt(contentPoint(point)) : std::nullopt;
    return index ? std::optional(clips_[*index].id) : std::nullopt;
}

TimelineGestures::ClipPart TimelineView::partAt(std::size_t index, QPointF point) const {
    const QRectF frame = TimelineViewportLayout::clipFrame(placement_, index, pointsPerSecond());
    return TimelineGestures::clipPart(point.x() - frame.left(), point.y() - frame.top(), frame.width(),
                                      clips_[index].volume);
}

QPointF TimelineView::translation() const {
    const QPointF now = contentPoint(press_->now);
    return {now.x() - press_->time * pointsPerSecond(), now.y() - press_->contentY};
}

bool TimelineView::isGesture() const { return isEditingClip() || marqueeRect_ || scrubStartTime_; }

void TimelineView::setCursor(Qt::CursorShape cursor) {
    if (cursor == cursor_) return;
    cursor_ = cursor;
    Q_EMIT cursorChanged();
}

void TimelineView::setHovered(std::optional<UUID> clip, std::optional<UUID> volumeClip) {
    if (hoveredClipID_ == clip && hoveredVolumeClipID_ == volumeClip) return;
    hoveredClipID_ = clip;
    hoveredVolumeClipID_ = volumeClip;
    Q_EMIT gestureChanged();
}

void TimelineView::hover(QPointF point) {
    hoverPoint_ = point;
    if (press_) return;
    if (!editor() || busy() || point.y() < rulerHeight) return clearHover();
    const QPointF place = contentPoint(point);
    const auto index = clipAt(place);
    if (!index) return clearHover();
    // The playhead lies over the clips: where it can be taken hold of, nothing of theirs can.
    const bool isHeld = std::abs(point.x() - viewportWidth_ / 2) <= playheadGrab / 2;
    const auto part = isHeld ? TimelineGestures::ClipPart::body : partAt(*index, place);
    const UUID& id = clips_[*index].id;
    switch (part) {
        case TimelineGestures::ClipPart::start:
        case TimelineGestures::ClipPart::end:
            setCursor(Qt::SizeHorCursor);
            break;
        case TimelineGestures::ClipPart::volume:
            setCursor(Qt::SizeVerCursor);
            break;
        case TimelineGestures::ClipPart::body:
            setCursor(Qt::ArrowCursor);
            break;
    }
    setHovered(id, part == TimelineGestures::ClipPart::volume ? std::optional(id) : std::nullopt);
}

void TimelineView::leave() {
    hoverPoint_.reset();
    if (!press_) clearHover();
}

void TimelineView::clearHover() {
    setCursor(Qt::ArrowCursor);
    setHovered(std::nullopt, std::nullopt);
}

void TimelineView::refreshHover() {
    const auto editor = this->editor();
    // A playing track goes on without a look at the clips.
    if (hoverPoint_ && !press_ && editor && !editor->isPlaying()) hover(*hoverPoint_);
}

// From a press to its release.

void TimelineView::press(QPointF point, Qt::KeyboardModifiers modifiers) {
    // A second button ends what the first began.
    if (press_) return void(cancelGesture());
    if (!editor()) return;
    (void)catchScrolling();
    const QPointF place = contentPoint(point);
    Press press;
    press.point = press.now = point;
    press.time = place.x() / pointsPerSecond();
    press.contentY = place.y();
    press.modifiers = press.modifiersNow = modifiers;
    const auto index = point.y() >= rulerHeight ? clipAt(place) : std::nullopt;
    if (index) {
        press.clipID = clips_[*index].id;
        press.part = partAt(*index, place);
    }
    if (point.y() < rulerHeight)
        press.target = Target::ruler;
    else if (std::abs(point.x() - viewportWidth_ / 2) <= playheadGrab / 2)
        press.target = Target::playhead;
    else
        press.target = index ? Target::clip : Target::track;
    press_ = press;
    if (press.target == Target::ruler || press.target == Target::playhead) setCursor(Qt::SizeHorCursor);
}

void TimelineView::drag(QPointF point, Qt::KeyboardModifiers modifiers) {
    if (!press_ || !std::isfinite(point.x()) || !std::isfinite(point.y())) return;
    press_->now = point;
    press_->modifiersNow = modifiers;
    const QPointF moved = point - press_->point;
    press_->isDrag = press_->isDrag || std::hypot(moved.x(), moved.y()) >= dragDistance;
    if (!press_->isDrag) return;
    step();
    if (press_) watchEdges();
}

void TimelineView::changeModifiers(Qt::KeyboardModifiers modifiers) {
    if (!press_) return;
    press_->modifiersNow = modifiers;
    if (press_->isDrag) step();
}

void TimelineView::release(QPointF point, Qt::KeyboardModifiers modifiers) {
    drag(point, modifiers);
    if (!press_) return;
    const auto editor = this->editor();
    const Press press = *press_;
    if (!press.isDrag) {
        press_.reset();
        click(press);
        if (press.isDouble) clickTwice(press);
        hover(point);
        return;
    }
    if (isEditingClip() && !editor->busy()) endClipGesture(*editor);
    resetGesture();
    hover(point);
}

void TimelineView::doubleClick(QPointF point, Qt::KeyboardModifiers modifiers) {
    if (!press_) press(point, modifiers);
    if (press_) press_->isDouble = true;
}

void TimelineView::clickTwice(const Press& press) {
    if (!press.clipID || (press.modifiers & (Qt::ControlModifier | Qt::ShiftModifier))) return;
    if (press.part == TimelineGestures::ClipPart::volume)
        setVolume(*press.clipID, 1);
    else
        editor()->setShowInspector(true);
}

void TimelineView::click(const Press& press) {
    const auto editor = this->editor();
    Q_EMIT focusWanted();
    if (press.target == Target::ruler) return seekOnClick(press.time);
    if (press.clipID) return editor->selectTimelineClip(*press.clipID, selectionModifiers(press.modifiers));
    if (editor->busy()) return;
    editor->selectTimelineClips({});
    seekOnClick(press.time);
}

void TimelineView::step() {
    const auto editor = this->editor();
    if (!editor || editor->busy()) return;
    switch (press_->target) {
        case Target::ruler:
        case Target::playhead:
            return stepScrub(*editor);
        case Target::clip:
            return stepClip(*editor);
        case Target::track:
            return stepMarquee(*editor);
    }
}

void TimelineView::remember(const Editor& editor) {
    before_ = Before{editor.selectedClipIDs(), editor.selection(), editor.selectedAssetIDs(), editor.previewAssetID(),
                     editor.playhead()};
}

void TimelineView::stepScrub(Editor& editor) {
    if (editor.isBuilding()) return;
    if (!scrubStartTime_) {
        remember(editor);
        Q_EMIT focusWanted();
        cancelAnimatedSeek();
        stopScrolling();
        scrubStartTime_ = press_->time;
    }
    seekTimeline(*scrubStartTime_ + translation().x() / pointsPerSecond());
}

void TimelineView::stepMarquee(Editor& editor) {
    const QPointF start(press_->time * pointsPerSecond(), press_->contentY);
    if (!marqueeRect_) {
        // What has come under the press since is not dragged either.
        if (frames().containsClip(start)) return;
        remember(editor);
        Q_EMIT focusWanted();
        cancelAnimatedSeek();
        stopScrolling();
        seekTimeline(editor.playhead());
    }
    const QPointF moved = translation();
    const QPointF end = start + moved;
    marqueeRect_ =
        QRectF(std::min(start.x(), end.x()), std::min(start.y(), end.y()), std::abs(moved.x()), std::abs(moved.y()));
    std::set<UUID> chosen = frames().selection(*marqueeRect_);
    if (press_->modifiers & (Qt::ControlModifier | Qt::ShiftModifier))
        chosen.insert(before_->clips.begin(), before_->clips.end());
    editor.selectTimelineClips(chosen);
    Q_EMIT gestureChanged();
}

bool TimelineView::cancelGesture() {
    if (!isGesture()) {
        if (!press_) return false;
        press_.reset();
        clearHover();
        return false;
    }
    const auto before = std::exchange(before_, std::nullopt);
    const bool wasScrub = scrubStartTime_.has_value();
    resetGesture();
    const auto editor = this->editor();
    if (!before || !editor || editor->busy()) return true;
    if (wasScrub) {
        editor->seekPreview(before->playhead);
        followPlayhead();
    }
    // The primary clip is one of those selected, which the selection of all of them then keeps.
    if (before->primary && editor->placement().index(*before->primary)) editor->setSelection(before->primary);
    editor->selectTimelineClips(before->clips);
    if (before->previewedAsset)
        editor->showAssetPreview(*before->previewedAsset);
    else if (before->clips.empty() && !before->assets.empty())
        editor->selectAssets(before->assets);
    return true;
}

void TimelineView::resetGesture() {
    const bool wasGesture = isGesture();
    const bool hadDraft = trimDraft_ || volumeDraft_;
    const bool wasMoving = animatedSeek_ || fling_;
    if (fling_) stopScrolling();
    press_.reset();
    before_.reset();
    dragging_.reset();
    dragTranslation_ = dragLaneTranslation_ = 0;
    dragAudioTrack_.reset();
    insertionIndex_.reset();
    insertionPreview_.reset();
    snapTime_.reset();
    trimOriginal_.reset();
    trimDraft_.reset();
    volumeOriginal_.reset();
    volumeDraft_.reset();
    marqueeRect_.reset();
    scrubStartTime_.reset();
    const bool wasDropping = std::exchange(isDropping_, false);
    dropIndex_.reset();
    edgeSince_.reset();
    edgeTimer_.cancel();
    isEdgeTimed_ = false;
    cancelAnimatedSeek();
    setCursor(Qt::ArrowCursor);
    if (const auto editor = interacting_.lock()) {
        editor->endInteraction();
        // The frame at a trimmed edge.
        if (editor->hoverPreview() && !editor->assetHoverID()) editor->endHoverPreview();
    }
    interacting_.reset();
    if (wasGesture && takeContent(hadDraft)) tellContent();
    if (wasGesture || wasDropping) Q_EMIT gestureChanged();
    if (wasGesture || wasMoving) followPlayhead();
    Q_EMIT gestureReset();
}

void TimelineView::showDrop(std::optional<std::ptrdiff_t> index) {
    const bool isSame = isDropping_ && dropIndex_ == index;
    isDropping_ = true;
    dropIndex_ = index;
    if (!isSame) refreshInsertion();
}

void TimelineView::endDrop() {
    if (!isDropping_) return;
    isDropping_ = false;
    dropIndex_.reset();
    refreshInsertion();
}

// At the viewport's edge.

void TimelineView::watchEdges() {
    const bool mayMove = dragging_ || trimOriginal_ || marqueeRect_;
    const bool isAtEdge = edgeDirection(press_->now.x(), viewportWidth_) != 0 ||
                          (contentHeight() > viewportHeight() && edgeDirection(press_->now.y(), viewportHeight()) != 0);
    if (!mayMove || !isAtEdge) {
        edgeSince_.reset();
        edgeTimer_.cancel();
        isEdgeTimed_ = false;
        return;
    }
    const auto now = context_.now();
    if (!edgeSince_) edgeSince_ = now;
    if (isEdgeTimed_) return;
    isEdgeTimed_ = true;
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(*edgeSince_ + edgePause - now);
    edgeTimer_ = context_.after(std::max(rest, edgeStep), [this] { autoscroll(); });
    edgeMoved_ = now + std::max(rest, edgeStep) - edgeStep;
}

void TimelineView::autoscroll() {
    isEdgeTimed_ = false;
    if (!press_ || !edgeSince_) return;
    const auto now = context_.now();
    const double distance = std::chrono::duration<double>(now - std::exchange(edgeMoved_, now)).count() * edgeSpeed;
    const QPointF before = origin_;
    const QPointF direction(edgeDirection(press_->now.x(), viewportWidth_),
                            edgeDirection(press_->now.y(), viewportHeight()));
    moveTo(origin_ + direction * distance);
    if (!press_ || origin_ == before) return;
    step();
    if (!press_ || !edgeSince_) return;
    isEdgeTimed_ = true;
    edgeTimer_ = context_.after(edgeStep, [this] { autoscroll(); });
}

}  // namespace kelvane
