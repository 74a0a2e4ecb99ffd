#pragma once

#include <QPointF>
#include <QRectF>
#include <set>
#include <span>
#include <unordered_map>

#include "Timeline/TimelinePlacement.h"

namespace kelvane {

/// The frame of every clip as the track draws it, in content coordinates (see TimelineViewportLayout). A plain value.
/// Any thread.
struct TimelineMarqueeLayout {
    std::unordered_map<UUID, QRectF> frames;

    TimelineMarqueeLayout() = default;
    TimelineMarqueeLayout(std::span<const Clip> clips, double pointsPerSecond)
        : TimelineMarqueeLayout(clips, TimelinePlacement(clips), pointsPerSecond) {}
    /// The same for who has the placement of `clips` already.
    TimelineMarqueeLayout(std::span<const Clip> clips, const TimelinePlacement& placement, double pointsPerSecond);

    /// Whether a clip is at this point: a frame's left and upper edges are part of it, its right and lower ones aren't.
    [[nodiscard]] bool containsClip(QPointF point) const;
    /// The clips whose frames the rectangle overlaps; none for a rectangle without a width or a height.
    [[nodiscard]] std::set<UUID> selection(const QRectF& rectangle) const;
};

}  // namespace kelvane
