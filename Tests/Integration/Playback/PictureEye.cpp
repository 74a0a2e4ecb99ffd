#include "PictureEye.h"

#include <algorithm>

#include "NumberedFootage.h"

namespace kelvane::testing {

namespace {

using namespace std::chrono_literals;

constexpr auto pause = 4ms;
constexpr auto ordinary = 8ms;
/// Points to both sides of the picture's middle.
constexpr int around = 3;

std::chrono::nanoseconds now() { return std::chrono::steady_clock::now().time_since_epoch(); }

}  // namespace

PictureEye::PictureEye(const std::string& display, const ScreenRect& picture)
    : screen_(display),
      column_{picture.x + picture.width / 2 - around, picture.y, 2 * around, picture.height},
      thread_([this](const std::stop_token& stop) { look(stop); }) {}

void PictureEye::look(const std::stop_token& stop) {
    std::chrono::nanoseconds before = now();
    while (!stop.stop_requested()) {
        const auto begun = now();
        const int code = numbered::codeIn(screen_.image(column_));
        const auto ended = now();
        {
            const std::scoped_lock lock(mutex_);
            if (sights_.empty() || sights_.back().code != code) sights_.push_back({code, before, ended, ended});
            sights_.back().until = begun;
            if (ended - before > ordinary) blinks_.emplace_back(ended, ended - before);
        }
        before = begun;
        std::this_thread::sleep_for(pause);
    }
}

std::vector<Sight> PictureEye::sights() const {
    const std::scoped_lock lock(mutex_);
    return sights_;
}

std::chrono::nanoseconds PictureEye::longestBlink(std::chrono::nanoseconds since) const {
    const std::scoped_lock lock(mutex_);
    std::chrono::nanoseconds longest{0};
    for (const auto& [at, length] : blinks_)
        if (at > since) longest = std::max(longest, length);
    return longest;
}

int PictureEye::code() const {
    const std::scoped_lock lock(mutex_);
    return sights_.empty() ? numbered::unreadable : sights_.back().code;
}

}  // namespace kelvane::testing
