#include "RemainingTime.h"

#include <fmt/format.h>

#include <cmath>

namespace kelvane {

namespace {

constexpr double minute = 60;
constexpr double hour = 3600;

std::string counted(double count, const char* unit) {
    return fmt::format("About {:.0f} {}{} left", count, unit, count == 1 ? "" : "s");
}

}  // namespace

void RemainingTime::note(double progress, std::chrono::nanoseconds now) {
    if (!first_ || progress < last_.progress) {
        first_ = last_ = {progress, now};
        pace_.reset();
        return;
    }
    const double seconds = std::chrono::duration<double>(now - last_.time).count();
    if (progress == last_.progress || seconds <= 0) return;
    const double pace = (progress - last_.progress) / seconds;
    if (const auto seen = now - first_->time; !pace_ || seen < leastSeen)
        pace_ = (progress - first_->progress) / std::chrono::duration<double>(seen).count();
    else
        pace_ = *pace_ + newest * (pace - *pace_);
    last_ = {progress, now};
}

std::optional<std::chrono::duration<double>> RemainingTime::left() const {
    if (!pace_ || last_.progress >= 1) return std::nullopt;
    if (last_.time - first_->time < leastSeen || last_.progress - first_->progress < leastProgress) return std::nullopt;
    return std::chrono::duration<double>((1 - last_.progress) / *pace_);
}

std::string RemainingTime::text(std::chrono::duration<double> left) {
    const double seconds = left.count();
    if (seconds < 5) return "Less than 5 seconds left";
    // Counted by fives, and by tens from half a minute on: who reads it plans by no less.
    if (seconds < 27.5) return counted(std::round(seconds / 5) * 5, "second");
    if (seconds < 55) return counted(std::round(seconds / 10) * 10, "second");
    if (seconds < 59.5 * minute) return counted(std::fmax(std::round(seconds / minute), 1), "minute");
    return counted(std::round(seconds / hour), "hour");
}

}  // namespace kelvane
