#include "ScrollBarFade.h"

#include <algorithm>

namespace kelvane {

namespace {

double share(ScrollBarFade::Time part, ScrollBarFade::Time whole) {
    return std::chrono::duration<double>(part) / std::chrono::duration<double>(whole);
}

}  // namespace

void ScrollBarFade::note(Time now) {
    level_ = level(now);
    changed_ = now;
}

void ScrollBarFade::scrolled(Time now) {
    note(now);
    end_ = now + stay;
}

void ScrollBarFade::setHovered(bool hovered, Time now) {
    if (hovered == isHovered_) return;
    note(now);
    isHovered_ = hovered;
    if (!hovered) end_ = now + stay;
}

ScrollBarFade::Time ScrollBarFade::upTime(Time now) const {
    if (isHovered_) return now - changed_;
    return std::clamp(end_ - changed_, Time(0), now - changed_);
}

double ScrollBarFade::level(Time now) const {
    const Time up = upTime(now);
    const double risen = std::min(1.0, level_ + share(up, rise));
    return std::max(0.0, risen - share(now - changed_ - up, fall));
}

double ScrollBarFade::shown(Time now, bool reducedMotion) const {
    if (reducedMotion) return isHovered_ || now < end_ ? 1 : 0;
    return level(now);
}

std::optional<ScrollBarFade::Time> ScrollBarFade::untilChange(Time now) const {
    const double present = level(now);
    if (isHovered_) return present < 1 ? std::optional(Time(0)) : std::nullopt;
    if (now >= end_) return present > 0 ? std::optional(Time(0)) : std::nullopt;
    return present < 1 ? Time(0) : end_ - now;
}

}  // namespace kelvane
