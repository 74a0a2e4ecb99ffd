#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "Clip.h"

namespace kelvane {

/// The stretch [start, end) of a timeline, in the unit of `Time`.
template <class Time>
struct TimelineSpan {
    Time start{};
    Time end{};
    bool operator==(const TimelineSpan&) const = default;
};

/// A clip's own share in where it lies: its position, which counts for audio alone, and how long it is.
template <class Time>
struct ClipExtent {
    Time position{};
    Time duration{};
};

/// The rule by which clips lie on a timeline, asked clip by clip in array order: video plays back to back from zero,
/// audio lies at its own position. Any one thread.
template <class Time>
class TimelineCursor {
public:
    /// Where the array's next clip lies.
    TimelineSpan<Time> next(const Clip& clip, const ClipExtent<Time>& extent) {
        if (clip.isAudio()) return {extent.position, extent.position + extent.duration};
        const Time start = videoEnd_;
        videoEnd_ = videoEnd_ + extent.duration;
        return {start, videoEnd_};
    }
    /// End of the video clips so far.
    [[nodiscard]] Time videoEnd() const { return videoEnd_; }

private:
    Time videoEnd_{};
};

/// Where each clip of an array lies on one clock: seconds, or the composition's. Built once in O(n), searched by time
/// in O(log n); a plain value that knows nothing of later changes of the array. Any thread.
template <class Time>
class TimelineSpans {
public:
    TimelineSpans() = default;
    /// `extentOf` answers a clip's `ClipExtent` on this clock.
    template <class ExtentOf>
    TimelineSpans(std::span<const Clip> clips, ExtentOf extentOf) {
        spans_.reserve(clips.size());
        TimelineCursor<Time> cursor;
        for (std::size_t i = 0; i < clips.size(); ++i) {
            spans_.push_back(cursor.next(clips[i], extentOf(clips[i])));
            if (!clips[i].isAudio()) videos_.push_back(i);
        }
        videoEnd_ = cursor.videoEnd();
    }

    [[nodiscard]] std::size_t size() const { return spans_.size(); }
    /// Where the clip at `index` of the array lies.
    [[nodiscard]] const TimelineSpan<Time>& operator[](std::size_t index) const { return spans_[index]; }
    /// The indices of the video clips, in the order in which they play.
    [[nodiscard]] const std::vector<std::size_t>& videos() const { return videos_; }
    /// End of the last video clip; zero without one.
    [[nodiscard]] Time videoEnd() const { return videoEnd_; }

    /// Index of the video clip that shows at `time`: its start counts as inside, its end doesn't. Nothing outside the
    /// video clips, which must have lengths above zero. `projection` takes a Time to what `time` is compared with.
    template <class Wanted, class Projection = std::identity>
    [[nodiscard]] std::optional<std::size_t> videoAt(const Wanted& time, Projection projection = {}) const {
        const auto found = std::ranges::partition_point(
            videos_, [&](std::size_t index) { return std::invoke(projection, spans_[index].end) <= time; });
        if (found == videos_.end() || !(std::invoke(projection, spans_[*found].start) <= time)) return std::nullopt;
        return *found;
    }

private:
    std::vector<TimelineSpan<Time>> spans_;
    std::vector<std::size_t> videos_;
    Time videoEnd_{};
};

}  // namespace kelvane
