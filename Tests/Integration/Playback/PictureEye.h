#pragma once

#include <chrono>
#include <mutex>
#include <thread>
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

private:
    void look(const std::stop_token& stop);

    Screen screen_;
    ScreenRect column_;
    mutable std::mutex mutex_;
    std::vector<Sight> sights_;
    std::jthread thread_;
};

}  // namespace kelvane::testing
