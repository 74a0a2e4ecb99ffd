#pragma once

#include <chrono>
#include <optional>

namespace kelvane {

/// How far a bar has come up that tells how something is scrolled: it stands while that moves or the pointer is at the
/// bar, and for 0.8 s more, comes in 0.1 s and goes in 0.3 s. Times are of a clock that goes on. One thread.
class ScrollBarFade {
public:
    using Time = std::chrono::nanoseconds;
    static constexpr Time rise{std::chrono::milliseconds(100)};
    static constexpr Time stay{std::chrono::milliseconds(800)};
    static constexpr Time fall{std::chrono::milliseconds(300)};

    void scrolled(Time now);
    void setHovered(bool hovered, Time now);
    [[nodiscard]] bool isHovered() const { return isHovered_; }
    /// From 0 to 1; either of them where motion is reduced.
    [[nodiscard]] double shown(Time now, bool reducedMotion) const;
    /// How long from `now` until `shown` changes by itself: nothing where it stays, 0 where it is changing.
    [[nodiscard]] std::optional<Time> untilChange(Time now) const;

private:
    [[nodiscard]] double level(Time now) const;
    /// Since the last change, how long it has stood and risen.
    [[nodiscard]] Time upTime(Time now) const;
    void note(Time now);

    bool isHovered_ = false;
    /// When it begins to go, unless it is hovered.
    Time end_{0};
    /// What was shown at the last change.
    double level_ = 0;
    Time changed_{0};
};

}  // namespace kelvane
