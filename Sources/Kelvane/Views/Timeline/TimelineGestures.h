#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "Timeline/TimelineLayout.h"
#include "Timeline/TimelinePlacement.h"

namespace kelvane {

/// What drags of the pointer on the timeline make of clips: pure functions from the array as it is and how far the
/// pointer has come, in points. Times in seconds. `placement` is that of `clips`. Any thread.
namespace TimelineGestures {

/// What of a clip the pointer is on.
enum class ClipPart : std::uint8_t { start, end, volume, body };
/// The part at a point of a clip's drawing, counted from the drawing's corner; `width` is that of the drawing. The
/// edges come before the volume line.
ClipPart clipPart(double x, double y, double width, double volume);

/// The clip with its volume moved by a drag of `translation` points downward, which lowers it.
Clip volumeDragged(Clip original, double translation);

/// Where edges snap: the beginning, the playhead, and both ends of each clip but the one with this id.
std::vector<double> snapTargets(std::span<const Clip> clips, const TimelinePlacement& placement, double playhead,
                                const UUID& excluding);

/// What snapping needs.
struct Snapping {
    std::span<const double> targets;
    double pointsPerSecond = 1;
    /// Off while the key that holds it off is down.
    bool isOn = true;
    /// The nearest alignment of a span at `position` with `edges` as offsets from it; among equals the later one.
    [[nodiscard]] std::optional<TimelineLayout::Snap> snap(double position, std::span<const double> edges) const;
};

struct Trim {
    Clip draft;
    /// Where the line of the snap stands; none where the edge didn't reach its target.
    std::optional<double> snapTime;
    bool operator==(const Trim&) const = default;
};
/// The clip with `edge` dragged by `translation` points from where it lies; `offset` is where the clip starts on the
/// timeline.
Trim trimmed(const Clip& original, double offset, TrimEdge edge, double translation, const Snapping& snapping);

struct AudioDrag {
    /// Shift of the drawing, points.
    double translation = 0;
    double laneTranslation = 0;
    /// The lane where the clip would land; none where its own isn't found.
    std::optional<UUID> lane;
    std::optional<double> snapTime;
    bool operator==(const AudioDrag&) const = default;
};
/// Where an audio clip is dragged to, among the lanes that there are. `lanes` are those shown, in their order.
AudioDrag audioDragged(const Clip& clip, std::span<const UUID> lanes, double translation, double verticalTranslation,
                       const Snapping& snapping);

/// Where in the array, counted without it, a video clip lands that is dragged to `time` on the timeline.
std::ptrdiff_t videoDragged(const TimelinePlacement& placement, const UUID& clipID, double time);

}  // namespace TimelineGestures

}  // namespace kelvane
