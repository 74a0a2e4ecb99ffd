#include "TimeLabel.h"

#include <fmt/format.h>

#include <cmath>

namespace kelvane {

std::string timeLabel(double seconds) {
    const double value = std::isfinite(seconds) && seconds > 0 ? seconds : 0;
    // Kept as a double, since no integer holds every double.
    const double minutes = std::trunc(std::trunc(value) / 60);
    return fmt::format("{:02.0f}:{:04.1f}", minutes, std::fmod(value, 60.0));
}

}  // namespace kelvane
