#include "Limiter.h"

#include <algorithm>
#include <cmath>

namespace kelvane {

namespace {

/// Part of the missing gain that comes back with each sample: a time constant of 80 ms at 48 kHz.
constexpr double releasePart = 1.0 / 3840.0;
/// From here on a gain counts as 1; the step is far below what can be heard.
constexpr double nearlyOne = 0.9999;

}  // namespace

void Limiter::process(std::span<const float> in, std::vector<float>& out) {
    out.reserve(out.size() + in.size());
    for (std::size_t i = 0; i + 1 < in.size(); i += 2) {
        const float peak = std::max(std::fabs(in[i]), std::fabs(in[i + 1]));
        push(in[i], in[i + 1], peak > 1.0F ? 1.0F / peak : 1.0F, out);
    }
}

void Limiter::finish(std::vector<float>& out) {
    const auto rest = held_.size();
    const auto end = out.size() + rest * 2;
    while (out.size() < end) push(0, 0, 1, out);
    *this = Limiter();
}

void Limiter::push(float left, float right, float needed, std::vector<float>& out) {
    constexpr std::int64_t window = lookAhead + 1;
    while (!least_.empty() && least_.back().second >= needed) least_.pop_back();
    least_.emplace_back(position_, needed);
    if (least_.front().first <= position_ - window) least_.pop_front();
    ++position_;
    // The least gain of a window of look-ahead, averaged over a window of the same length, never exceeds what any
    // single sample in the middle of both needs.
    const double recovered = released_ + (1.0 - released_) * releasePart;
    released_ = std::min<double>(recovered >= nearlyOne ? 1.0 : recovered, least_.front().second);
    recent_.push_back(released_);
    sum_ += released_;
    reduced_ += released_ < 1.0 ? 1 : 0;
    if (std::ssize(recent_) > window) {
        sum_ -= recent_.front();
        reduced_ -= recent_.front() < 1.0 ? 1 : 0;
        recent_.pop_front();
    }
    held_.emplace_back(left, right);
    if (std::ssize(held_) <= lookAhead) return;
    auto [l, r] = held_.front();
    held_.pop_front();
    if (reduced_ == 0) {
        sum_ = static_cast<double>(recent_.size());
    } else {
        const auto gain = static_cast<float>(sum_ / static_cast<double>(recent_.size()));
        l = std::clamp(l * gain, -1.0F, 1.0F);
        r = std::clamp(r * gain, -1.0F, 1.0F);
    }
    out.push_back(l);
    out.push_back(r);
}

}  // namespace kelvane
