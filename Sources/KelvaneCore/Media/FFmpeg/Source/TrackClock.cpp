#include "TrackClock.h"

#include <algorithm>

namespace kelvane {

namespace {

/// Ticks up to this long, seconds, are finer than any frame; longer ones (AVI counts in frames) are taken by their
/// word.
constexpr double fineTick = 0.002;

}  // namespace

std::int64_t TrackClock::ticks(double seconds) const {
    return std::max<std::int64_t>(1, static_cast<std::int64_t>(seconds / av_q2d(timeBase_)));
}

std::int64_t TrackClock::tickAt(MediaTime time, Rounding rounding) const {
    const auto up = static_cast<__int128>(time.value) * timeBase_.den;
    const auto down = static_cast<__int128>(time.timescale) * timeBase_.num;
    __int128 tick = up / down;
    if (up % down < 0) --tick;
    if (rounding == Rounding::up && up % down != 0) ++tick;
    tick += zero_;
    constexpr __int128 bound = INT64_MAX / 4;
    return static_cast<std::int64_t>(std::clamp(tick, -bound, bound));
}

std::int64_t TrackClock::begunBy(MediaTime time) const {
    return tickAt(time, av_q2d(timeBase_) <= fineTick ? Rounding::up : Rounding::down);
}

}  // namespace kelvane
