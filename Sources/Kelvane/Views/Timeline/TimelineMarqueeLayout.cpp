#include "TimelineMarqueeLayout.h"

#include <algorithm>

#include "TimelineViewportLayout.h"

namespace kelvane {

namespace {

bool contains(const QRectF& frame, QPointF point) {
    return frame.left() <= point.x() && point.x() < frame.right() && frame.top() <= point.y() &&
           point.y() < frame.bottom();
}

}  // namespace

TimelineMarqueeLayout::TimelineMarqueeLayout(std::span<const Clip> clips, const TimelinePlacement& placement,
                                             double pointsPerSecond) {
    frames.reserve(clips.size());
    for (std::size_t i = 0; i < clips.size(); ++i)
        frames.emplace(clips[i].id, TimelineViewportLayout::clipFrame(placement, i, pointsPerSecond));
}

bool TimelineMarqueeLayout::containsClip(QPointF point) const {
    return std::ranges::any_of(frames, [&point](const auto& entry) { return contains(entry.second, point); });
}

std::set<UUID> TimelineMarqueeLayout::selection(const QRectF& rectangle) const {
    std::set<UUID> chosen;
    if (!(rectangle.width() > 0 && rectangle.height() > 0)) return chosen;
    for (const auto& [id, frame] : frames)
        if (frame.intersects(rectangle)) chosen.insert(id);
    return chosen;
}

}  // namespace kelvane
