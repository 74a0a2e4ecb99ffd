#include "TimelineGestures.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "TimelineMetrics.h"
#include "TimelineViewportLayout.h"

namespace kelvane::TimelineGestures {

namespace {

using namespace TimelineMetrics;

/// How near a trimmed edge comes to its target to count as there, seconds: less than any frame, more than rounding.
constexpr double reached = 0.000001;

}  // namespace

ClipPart clipPart(double x, double y, double width, double volume) {
    if (const auto edge = TimelineLayout::trimEdge(x, width))
        return *edge == TrimEdge::start ? ClipPart::start : ClipPart::end;
    const double line = TimelineViewportLayout::volumeLine(volume, trackHeight);
    return std::abs(y - line) <= volumeReach ? ClipPart::volume : ClipPart::body;
}

Clip volumeDragged(Clip original, double translation) {
    original.volume = std::clamp(original.volume - translation / (trackHeight - volumeMargin), 0.0, 1.0);
    return original;
}

std::vector<double> snapTargets(std::span<const Clip> clips, const TimelinePlacement& placement, double playhead,
                                const UUID& excluding) {
    std::vector<double> targets{0, playhead};
    targets.reserve(2 + 2 * clips.size());
    for (std::size_t i = 0; i < clips.size(); ++i) {
        if (clips[i].id == excluding) continue;
        targets.push_back(placement.span(i).start);
        targets.push_back(placement.span(i).end);
    }
    return targets;
}

std::optional<TimelineLayout::Snap> Snapping::snap(double position, std::span<const double> edges) const {
    if (!isOn) return std::nullopt;
    return TimelineLayout::snap(position, edges, targets, snapDistance / pointsPerSecond);
}

Trim trimmed(const Clip& original, double offset, TrimEdge edge, double translation, const Snapping& snapping) {
    const double boundary = offset + (edge == TrimEdge::end ? original.duration() : 0);
    const double proposed = boundary + translation / snapping.pointsPerSecond;
    const auto snap = snapping.snap(proposed, std::array{0.0});
    Trim trim{original.trimmed(edge, (snap ? snap->position : proposed) - boundary), std::nullopt};
    const double moved = edge == TrimEdge::start ? trim.draft.start - original.start : trim.draft.end - original.end;
    if (snap && std::abs(boundary + moved - snap->target) < reached) trim.snapTime = snap->target;
    return trim;
}

AudioDrag audioDragged(const Clip& clip, std::span<const UUID> lanes, double translation, double verticalTranslation,
                       const Snapping& snapping) {
    AudioDrag drag;
    if (const auto found = std::ranges::find(lanes, clip.lane()); found != lanes.end()) {
        const auto lane = static_cast<double>(found - lanes.begin());
        const double rows = std::round(verticalTranslation / trackStride);
        const double target = std::clamp(lane + rows, 0.0, static_cast<double>(lanes.size() - 1));
        drag.lane = lanes[static_cast<std::size_t>(target)];
        drag.laneTranslation = trackStride * (target - lane);
    }
    const double base = clip.audioPosition();
    const double proposed = std::max(base + translation / snapping.pointsPerSecond, 0.0);
    const auto snap = snapping.snap(proposed, std::array{0.0, clip.duration()});
    drag.translation = ((snap ? snap->position : proposed) - base) * snapping.pointsPerSecond;
    if (snap) drag.snapTime = snap->target;
    return drag;
}

std::ptrdiff_t videoDragged(const TimelinePlacement& placement, const UUID& clipID, double time) {
    const auto index = static_cast<std::ptrdiff_t>(placement.insertionIndex(time));
    const auto own = placement.index(clipID);
    const bool isBehind = own ? static_cast<std::ptrdiff_t>(*own) < index : index > 0;
    return isBehind ? index - 1 : index;
}

}  // namespace kelvane::TimelineGestures
