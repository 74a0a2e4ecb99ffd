#include "TimelinePainter.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "TimelineMarks.h"
#include "Views/Theme.h"
#include "Views/Timeline/TimelineMetrics.h"
#include "Views/Timeline/TimelineViewportLayout.h"

namespace kelvane {

namespace {

using namespace TimelineMetrics;

/// Points beyond the viewport in which clips are looked for: those that part or swing may come into sight.
constexpr double margin = 24;
/// A clip that is no wider than this is left out where another one stands in its pixels.
constexpr double thinnest = 2;
// Seconds.
constexpr double lengthRise = 0.16;
constexpr double reducedLengthRise = 0.1;
constexpr double highlightStay = 0.4;
constexpr double highlightFall = 0.6;
constexpr double arrival = 0.2;

double secondsSince(TimelinePainter::Time then, TimelinePainter::Time now) {
    return std::chrono::duration<double>(now - then).count();
}

}  // namespace

std::optional<UUID> TimelinePainter::measuredClip(const TimelineView& view) {
    // The value of a volume stands alone, and nothing is measured under way.
    if (view.dragging() || view.volumeDraft() || view.hoveredVolumeClipID()) return std::nullopt;
    return view.trimOriginal() ? std::optional(view.trimOriginal()->id) : view.hoveredClipID();
}

bool TimelinePainter::trimsEnd(const TimelineView& view) {
    return view.trimOriginal() && view.trimDraft() && view.trimOriginal()->end != view.trimDraft()->end;
}

void TimelinePainter::projectChanged() {
    motion_.clear();
    highlights_.clear();
    measured_.reset();
    areRowsOld_ = true;
}

void TimelinePainter::highlight(const ClipChanges& changes, Time now) {
    for (const UUID& clip : changes.changed) highlights_.push_back({clip, now, false});
    for (const UUID& clip : changes.added) highlights_.push_back({clip, now, true});
}

bool TimelinePainter::paint(QImage& image, const TimelineView& view, const Surroundings& around) {
    std::erase_if(highlights_, [&around](const Mark& mark) {
        return secondsSince(mark.since, around.now) >= highlightStay + highlightFall;
    });
    if (std::exchange(areRowsOld_, false)) rows_ = TimelineRows(view.displayedPlacement());
    const auto editor = view.editor();
    QPainter painter(&image);
    painter.scale(around.ratio, around.ratio);
    const auto snapped = [&around](double length) { return std::round(length * around.ratio) / around.ratio; };
    const QPointF seen = view.visibleOrigin();
    const TimelineDrawing drawing{painter, around.size, around.ratio,
                                  QPointF(snapped(seen.x() - around.size.width() / 2), snapped(seen.y()))};
    const double scale = view.pointsPerSecond();
    const bool isHeld = view.trimOriginal() || view.volumeDraft();
    motion_.begin(around.now, !around.reducedMotion && scale == pointsPerSecond_ && !isHeld);
    pointsPerSecond_ = scale;
    followHover(view, around);
    clips_.begin(editor.get(), around.tiles, around.waveforms, scale, around.ratio,
                 around.reducedMotion ? std::nullopt : std::optional(around.now));
    TimelineMarks::paintRows(drawing, rows_.count());
    paintClips(drawing, view, around);
    tiles_ = clips_.end();
    paintMarks(drawing, view, around);
    const bool isMoving = motion_.end();
    const bool isRising = measured_ && lengthShown(measured_->clip, around) < 1;
    return isMoving || isRising || !highlights_.empty() || clips_.isFading();
}

void TimelinePainter::paintClips(const TimelineDrawing& drawing, const TimelineView& view, const Surroundings& around) {
    const auto& clips = view.displayedClips();
    const double from = (drawing.origin.x() - margin) / pointsPerSecond_;
    const double to = (drawing.origin.x() + drawing.size.width() + margin) / pointsPerSecond_;
    std::optional<std::size_t> lifted;
    for (std::size_t row = 0; row < rows_.count(); ++row) {
        const double top = trackTop + trackStride * static_cast<double>(row) - drawing.origin.y();
        if (top > drawing.size.height() + trackHeight || top < -2 * trackHeight) continue;
        double covered = -margin;
        for (const std::size_t index : rows_.between(row, from, to)) {
            if (view.dragging() == clips[index].id) {
                lifted = index;
                continue;
            }
            const QRectF frame = drawing.placed(motion_.shown(clips[index].id, view.drawnFrame(index)));
            if (frame.width() <= thinnest && frame.right() <= covered) continue;
            covered = frame.right();
            if (view.trimOriginal() && view.trimOriginal()->id == clips[index].id) paintGhost(drawing, view, index);
            clips_.paint(drawing, clips[index], frame, lookOf(view, clips[index], around));
        }
    }
    // One that is dragged far from its place isn't among those that are in sight by their place.
    if (view.dragging() && !lifted) lifted = view.displayedPlacement().index(*view.dragging());
    if (!lifted) return;
    const Clip& clip = clips[*lifted];
    TimelineMarks::paintOldPlace(drawing, drawing.placed(TimelineViewportLayout::clipFrame(view.displayedPlacement(),
                                                                                           *lifted, pointsPerSecond_)));
    const QRectF frame = drawing.placed(motion_.held(clip.id, view.drawnFrame(*lifted)));
    clips_.paintLifted(drawing, clip, frame, lookOf(view, clip, around));
}

void TimelinePainter::paintGhost(const TimelineDrawing& drawing, const TimelineView& view, std::size_t index) {
    const Clip& original = *view.trimOriginal();
    const Clip& draft = view.displayedClips()[index];
    const auto paint = [&](double start, double end, double place) {
        if (!(start < end)) return;
        Clip ghost = original;
        ghost.id = UUID();
        ghost.start = start;
        ghost.end = end;
        const auto slot = TimelineLayout::clipFrame((end - start) * pointsPerSecond_);
        const QRectF frame(place * pointsPerSecond_ + slot.inset, view.drawnFrame(index).top(), slot.width,
                           trackHeight);
        clips_.paintGhost(drawing, ghost, drawing.placed(frame));
    };
    const auto& span = view.displayedPlacement().span(index);
    paint(original.start, draft.start, span.start - (draft.start - original.start));
    paint(draft.end, original.end, span.end);
}

ClipLook TimelinePainter::lookOf(const TimelineView& view, const Clip& clip, const Surroundings& around) const {
    const auto editor = view.editor();
    const auto& selected = editor->selectedClipIDs();
    const bool isTrimmed = view.trimOriginal() && view.trimOriginal()->id == clip.id;
    ClipLook look;
    look.isSelected = selected.contains(clip.id);
    look.isHovered = view.hoveredClipID() == clip.id;
    look.hasGrips = look.isHovered || isTrimmed || (look.isSelected && selected.size() == 1);
    look.showsVolume =
        view.hoveredVolumeClipID() == clip.id || (view.volumeDraft() && view.volumeDraft()->id == clip.id);
    look.isFocused = around.hasKeyboard && editor->selection() == clip.id;
    if (editor->recordingClip() && editor->recordingClip()->id == clip.id) look.take = &editor->recordingPeaks();
    look.isLoading = editor->isLoadingThumbnails();
    look.hasLengthAtEnd = isTrimmed && trimsEnd(view);
    look.length = lengthShown(clip.id, around);
    look.highlight = highlightOf(clip.id, around);
    look.arrived = arrivalOf(clip.id, around);
    return look;
}

void TimelinePainter::followHover(const TimelineView& view, const Surroundings& around) {
    const auto wanted = measuredClip(view);
    if (!wanted)
        measured_.reset();
    else if (!measured_ || measured_->clip != *wanted)
        measured_ = Mark{*wanted, around.now};
}

double TimelinePainter::lengthShown(const UUID& clip, const Surroundings& around) const {
    if (!measured_ || measured_->clip != clip) return 0;
    const double rise = around.reducedMotion ? reducedLengthRise : lengthRise;
    const double gone = std::clamp(secondsSince(measured_->since, around.now) / rise, 0.0, 1.0);
    return 1 - (1 - gone) * (1 - gone);
}

double TimelinePainter::highlightOf(const UUID& clip, const Surroundings& around) const {
    double shown = 0;
    for (const Mark& mark : highlights_) {
        if (mark.clip != clip) continue;
        const double gone = secondsSince(mark.since, around.now);
        const double fall = around.reducedMotion ? 0 : std::max(0.0, gone - highlightStay) / highlightFall;
        shown = std::max(shown, std::clamp(1 - fall, 0.0, 1.0));
    }
    return shown;
}

double TimelinePainter::arrivalOf(const UUID& clip, const Surroundings& around) const {
    if (around.reducedMotion) return 1;
    double shown = 1;
    for (const Mark& mark : highlights_)
        if (mark.isNew && mark.clip == clip)
            shown = std::clamp(secondsSince(mark.since, around.now) / arrival, 0.0, shown);
    return shown;
}

void TimelinePainter::paintMarks(const TimelineDrawing& drawing, const TimelineView& view,
                                 const Surroundings& around) const {
    if (view.empty()) TimelineMarks::paintEmpty(drawing);
    if (const auto& band = view.marqueeRect()) TimelineMarks::paintMarquee(drawing, drawing.placed(*band));
    TimelineMarks::paintRuler(drawing, pointsPerSecond_, view.duration());
    if (const auto& insertion = view.insertionPreview())
        TimelineMarks::paintInsertion(drawing, insertion->markerX - drawing.origin.x());
    if (const auto& time = view.snapTime()) {
        const auto held = view.trimOriginal() ? std::optional(view.trimOriginal()->id) : view.dragging();
        const auto index = held ? view.displayedPlacement().index(*held) : std::nullopt;
        const double foot = index ? view.drawnFrame(*index).bottom() - drawing.origin.y() : drawing.size.height();
        TimelineMarks::paintSnap(drawing, *time * pointsPerSecond_ - drawing.origin.x(), foot);
    }
    const auto editor = view.editor();
    TimelineMarks::paintPlayhead(drawing, editor && editor->isRecording());
    TimelineMarks::paintScrollBar(drawing, view.contentHeight(), around.scrollBar, around.isScrollBarHovered);
    if (around.hasKeyboard && !(editor && editor->selection())) TimelineMarks::paintFocus(drawing);
}

}  // namespace kelvane
