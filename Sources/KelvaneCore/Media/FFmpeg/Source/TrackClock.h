#pragma once

#include <cstdint>

#include "FFmpegAsset.h"

namespace kelvane {

enum class Rounding { down, up };

/// Times of an asset as one of its tracks stamps them. A plain value; any thread.
class TrackClock {
public:
    explicit TrackClock(const FFmpegTrack::Facts& facts) : timeBase_(facts.timeBase), zero_(facts.zero) {}

    /// The whole ticks in a length of time, at least one.
    [[nodiscard]] std::int64_t ticks(double seconds) const;
    /// The largest time stamp whose moment is at most `time`, or with `Rounding::up` the smallest one at or after it. A
    /// `time` that is a whole number of ticks gives that tick either way.
    [[nodiscard]] std::int64_t tickAt(MediaTime time, Rounding rounding) const;
    /// The last time stamp that counts as begun at `time`. Writers round a frame's time to the nearest tick, so on a
    /// fine clock the frame meant for `time` can be stamped up to a tick after it.
    [[nodiscard]] std::int64_t begunBy(MediaTime time) const;

private:
    AVRational timeBase_;
    std::int64_t zero_ = 0;
};

}  // namespace kelvane
