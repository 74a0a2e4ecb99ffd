#include "AmplitudeBins.h"

#include <algorithm>
#include <array>

namespace kelvane::AmplitudeBins {

float largest(std::span<const float> amplitudes) {
    // Several maxima side by side, which the compiler keeps in one register each.
    constexpr std::size_t width = 16;
    std::array<float, width> maxima{};
    std::size_t i = 0;
    for (; i + width <= amplitudes.size(); i += width)
        for (std::size_t lane = 0; lane < width; ++lane)
            maxima[lane] = maxima[lane] < amplitudes[i + lane] ? amplitudes[i + lane] : maxima[lane];
    for (; i < amplitudes.size(); ++i) maxima[0] = std::max(maxima[0], amplitudes[i]);
    return *std::ranges::max_element(maxima);
}

}  // namespace kelvane::AmplitudeBins
