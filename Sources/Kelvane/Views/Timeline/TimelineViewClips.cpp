#include <algorithm>

#include "TimelineMetrics.h"
#include "TimelineView.h"

namespace kelvane {

using namespace TimelineMetrics;
using TimelineGestures::ClipPart;

void TimelineView::stepClip(Editor& editor) {
    const auto index = editor.placement().index(*press_->clipID);
    // The clip may be gone by another road.
    if (!index) return resetGesture();
    if (!isEditingClip() && !decideClipGesture(editor)) return;
    if (volumeOriginal_) return stepVolume();
    if (trimOriginal_) return stepTrim(editor);
    stepDrag(editor, editor.clips()[*index]);
}

bool TimelineView::decideClipGesture(Editor& editor) {
    Q_EMIT focusWanted();
    remember(editor);
    cancelAnimatedSeek();
    stopScrolling();
    const UUID id = *press_->clipID;
    editor.setSelection(id);
    seekTimeline(editor.playhead());
    const Clip& clip = editor.clips()[*editor.placement().index(id)];
    switch (press_->part) {
        case ClipPart::start:
        case ClipPart::end:
            trimOriginal_ = clip;
            trimEdge_ = press_->part == ClipPart::start ? TrimEdge::start : TrimEdge::end;
            setCursor(Qt::SizeHorCursor);
            break;
        case ClipPart::volume:
            volumeOriginal_ = clip;
            editor.endHoverPreview();
            setCursor(Qt::SizeVerCursor);
            break;
        case ClipPart::body:
            dragging_ = id;
            setCursor(Qt::ClosedHandCursor);
            break;
    }
    editor.beginInteraction();
    interacting_ = editor.weak_from_this();
    return true;
}

void TimelineView::stepVolume() {
    const Clip draft = TimelineGestures::volumeDragged(*volumeOriginal_, translation().y());
    if (volumeDraft_ == draft) return;
    volumeDraft_ = draft;
    showDraft(draft);
    tellContent();
    Q_EMIT gestureChanged();
}

void TimelineView::stepTrim(Editor& editor) {
    const UUID& id = trimOriginal_->id;
    const auto targets = TimelineGestures::snapTargets(editor.clips(), editor.placement(), editor.playhead(), id);
    const TimelineGestures::Snapping snapping{targets, pointsPerSecond(), !(press_->modifiersNow & Qt::AltModifier)};
    const auto trim =
        TimelineGestures::trimmed(*trimOriginal_, editor.offset(id), trimEdge_, translation().x(), snapping);
    const bool isSame = trimDraft_ == trim.draft;
    if (isSame && snapTime_ == trim.snapTime) return;
    snapTime_ = trim.snapTime;
    trimDraft_ = trim.draft;
    if (!isSame) {
        showDraft(trim.draft);
        tellContent();
        editor.previewTrimHover(trim.draft, trimEdge_);
    }
    Q_EMIT gestureChanged();
}

void TimelineView::stepDrag(const Editor& editor, const Clip& clip) {
    dragTranslation_ = translation().x();
    snapTime_.reset();
    if (clip.isAudio())
        stepAudioDrag(editor, clip);
    else
        stepVideoDrag(editor, clip);
    Q_EMIT gestureChanged();
}

void TimelineView::stepAudioDrag(const Editor& editor, const Clip& clip) {
    const auto targets = TimelineGestures::snapTargets(editor.clips(), editor.placement(), editor.playhead(), clip.id);
    const TimelineGestures::Snapping snapping{targets, pointsPerSecond(), !(press_->modifiersNow & Qt::AltModifier)};
    const QPointF moved = translation();
    const auto drag = TimelineGestures::audioDragged(clip, placement_.lanes(), moved.x(), moved.y(), snapping);
    dragTranslation_ = drag.translation;
    dragLaneTranslation_ = drag.laneTranslation;
    dragAudioTrack_ = drag.lane;
    snapTime_ = drag.snapTime;
}

void TimelineView::stepVideoDrag(const Editor& editor, const Clip& clip) {
    const double time = contentPoint(press_->now).x() / pointsPerSecond();
    const auto index = TimelineGestures::videoDragged(editor.placement(), clip.id, time);
    if (insertionIndex_ == index) return;
    insertionIndex_ = index;
    refreshInsertion();
}

void TimelineView::refreshInsertion() {
    const auto editor = this->editor();
    std::optional<TimelineInsertionLayout> preview;
    if (editor && insertionIndex_)
        preview = TimelineInsertionLayout::make(editor->clips(), *insertionIndex_, pointsPerSecond(), dragging_);
    else if (editor && dropIndex_ && !isGesture())
        preview = TimelineInsertionLayout::make(editor->clips(), *dropIndex_, pointsPerSecond());
    if (preview == insertionPreview_) return;
    insertionPreview_ = std::move(preview);
    Q_EMIT gestureChanged();
}

void TimelineView::endClipGesture(Editor& editor) {
    if (volumeDraft_)
        return editor.update(volumeDraft_->id, [this](Clip& clip) { clip.volume = volumeDraft_->volume; });
    if (trimDraft_) {
        // The head of a sound takes its place on the timeline along.
        return editor.update(trimDraft_->id, [this](Clip& clip) {
            clip.start = trimDraft_->start;
            clip.end = trimDraft_->end;
            clip.timelineStart = trimDraft_->timelineStart;
        });
    }
    if (!dragging_) return;
    const auto index = editor.placement().index(*dragging_);
    if (!index) return;
    const Clip clip = editor.clips()[*index];
    if (clip.isAudio())
        editor.moveAudio(clip.id, dragAudioTrack_.value_or(clip.lane()),
                         clip.audioPosition() + dragTranslation_ / pointsPerSecond());
    else if (insertionIndex_)
        editor.move(clip.id, *insertionIndex_);
}

// Commands.

void TimelineView::moveEarlier() {
    if (!canMoveEarlier()) return;
    resetGesture();
    editor()->moveSelection(-1);
    Q_EMIT focusWanted();
}

void TimelineView::moveLater() {
    if (!canMoveLater()) return;
    resetGesture();
    editor()->moveSelection(1);
    Q_EMIT focusWanted();
}

void TimelineView::split() {
    if (!canSplit()) return;
    resetGesture();
    editor()->split();
    Q_EMIT focusWanted();
}

void TimelineView::deleteSelection() {
    if (!canDelete()) return;
    resetGesture();
    editor()->deleteSelection();
    Q_EMIT focusWanted();
}

void TimelineView::setVolume(const UUID& clipID, double volume) {
    if (!editor() || busy() || std::isnan(volume)) return;
    const UUID id = clipID;
    resetGesture();
    editor()->update(id, [volume](Clip& clip) { clip.volume = std::clamp(volume, 0.0, 1.0); });
}

void TimelineView::selectAll() {
    const auto editor = this->editor();
    if (!editor || editor->busy()) return;
    std::set<UUID> all;
    for (const Clip& clip : editor->clips()) all.insert(clip.id);
    resetGesture();
    editor->selectTimelineClips(all);
}

}  // namespace kelvane
