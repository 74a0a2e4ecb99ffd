#pragma once

#include <chrono>

namespace kelvane {

/// Where in an item playback is: a monotonic clock that follows the sound without jumping. A plain value; `now` and
/// `at` are of MainContext::now and never fall from call to call.
class PlaybackClock {
public:
    using Time = std::chrono::nanoseconds;

    /// Stands at `position`.
    void stand(Time position);
    /// Runs from `position`, which it is at `at`.
    void run(Time position, Time at);
    /// The position at `now`.
    [[nodiscard]] Time at(Time now) const;
    /// While it runs: sound of the position `heard` is heard at `at`. Comes nearer by at most a tenth of the time that
    /// passes, and in proportion to the distance, so that a device whose reports jitter doesn't. Answers how far the
    /// sound was ahead; negative when it was behind.
    Time follow(Time heard, Time at, Time now);
    /// While it runs: nothing is known of the sound, so it goes on by itself.
    void goFreely(Time now);

private:
    Time position_{0};
    Time at_{0};
    bool runs_ = false;
    /// What is still to be added, and how much of each nanosecond that passes goes towards it.
    Time correction_{0};
    double pace_ = 0;
};

}  // namespace kelvane
