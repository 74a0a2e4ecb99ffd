#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

#include "TimelineSpans.h"

namespace kelvane {

/// A clip's extent in seconds: `audioPosition` and `duration`.
ClipExtent<double> extentInSeconds(const Clip& clip);

/// Where the clips of one array stand on the timeline: which lane, from when to when, in which order, and which clip
/// has which id. Worked out once for an array, in O(n), for all who ask: the editor, commands and surfaces. What it
/// answers is what `TimelineLayout` defines, to the last bit. Clips must have lengths that are finite and not negative.
/// A plain value that knows nothing of later changes of the array. Any thread.
class TimelinePlacement {
public:
    TimelinePlacement() = default;
    explicit TimelinePlacement(std::span<const Clip> clips);

    /// How many clips the array has.
    [[nodiscard]] std::size_t size() const { return spans_.size(); }
    /// From when to when the clip at `index` of the array plays, seconds. O(1).
    [[nodiscard]] const TimelineSpan<double>& span(std::size_t index) const { return spans_[index]; }
    /// Index of the first clip with this id; nothing for an id that no clip has. O(1).
    [[nodiscard]] std::optional<std::size_t> index(const UUID& id) const;
    /// Start of the first clip with this id, seconds; an unknown one counts as a clip at the end of the video. O(1).
    [[nodiscard]] double start(const UUID& id) const;

    /// Lane identities in lane order, the order of first appearance.
    [[nodiscard]] const std::vector<UUID>& lanes() const { return lanes_; }
    /// Position in `lanes` of the lane of the clip at `index`; nothing for a video clip. O(1).
    [[nodiscard]] std::optional<std::size_t> lane(std::size_t index) const;

    /// End of the last video clip, seconds; 0 without one.
    [[nodiscard]] double videoEnd() const { return spans_.videoEnd(); }
    /// End of whatever ends last, seconds; 0 for an empty array.
    [[nodiscard]] double duration() const { return duration_; }

    /// Index of the video clip that shows at `time`, seconds: a clip's start is inside, its end isn't. Nothing outside
    /// the video clips. O(log n).
    [[nodiscard]] std::optional<std::size_t> videoAt(double time) const { return spans_.videoAt(time); }
    /// Array index at which a video clip dropped at `time`, seconds, is inserted; a clip's exact middle counts as
    /// behind it, and the end of the array as behind all. O(log n).
    [[nodiscard]] std::size_t insertionIndex(double time) const;

private:
    TimelineSpans<double> spans_;
    std::unordered_map<UUID, std::size_t> indices_;
    std::vector<UUID> lanes_;
    /// For each clip its place in `lanes_`; of no meaning for video.
    std::vector<std::size_t> laneOf_;
    /// For each video clip, in play order, the middle that `insertionIndex` compares with.
    std::vector<double> middles_;
    double duration_ = 0;
};

}  // namespace kelvane
