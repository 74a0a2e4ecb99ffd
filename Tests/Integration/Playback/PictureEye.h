#pragma once

#include <chrono>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "LiveWindow.h"

namespace kelvane::testing {

/// A stretch of time in which the screen showed one frame, on the steady clock.
struct Sight {
    /// As `numbered::codeIn` reads it.
    int code = 0;
    /// It came behind the one and no later than the other: around two looks.
    std::chrono::nanoseconds notBefore{0};
    std::chrono::nanoseconds notAfter{0};
    /// When it was last seen.
    std::chrono::nanoseconds until{0};
};

/// Looks at a picture of numbered footage, some 200 times a second, for as long as it lives.
class PictureEye {
public:
    PictureEye(const std::string& display, const ScreenRect& picture);

    /// All that it has seen.
    [[nodiscard]] std::vector<Sight> sights() const;
    /// What it sees now.
    [[nodiscard]] int code() const;
    /// The longest that it was kept from looking since then, which tells how busy the machine was; 0 for an ordinary
    /// step.
    [[nodiscard]] std::chrono::nanoseconds longestBlink(std::chrono::nanoseconds since) const;

private:
    void look(const std::stop_token& stop);

    Screen screen_;
    ScreenRect column_;
    mutable std::mutex mutex_;
    std::vector<Sight> sights_;
    /// When it had been kept from looking for longer than ordinary, and for how long.
    std::vector<std::pair<std::chrono::nanoseconds, std::chrono::nanoseconds>> blinks_;
    std::jthread thread_;
};

}  // namespace kelvane::testing
