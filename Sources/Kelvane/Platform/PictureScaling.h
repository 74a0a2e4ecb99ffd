#pragma once

#include <vector>

#include "Media/StillImage.h"

namespace kelvane {

/// How one side of a picture falls on a row of pixels.
class ScaledAxis {
public:
    /// One pixel of the target, and the samples of the source that make it.
    struct Pixel {
        int target = 0;
        /// How much of the pixel the picture covers, above 0 to 1.
        double coverage = 0;
        int firstSource = 0;
        /// Shares of the samples from `firstSource` on; their sum is 1.
        std::vector<float> weights;
    };

    /// Lays `samples` samples over [start, start + length) of the pixels [0, limit); `length` is above 0.
    ScaledAxis(int samples, double start, double length, int limit);

    /// The pixels that the picture touches, ascending.
    [[nodiscard]] const std::vector<Pixel>& pixels() const { return pixels_; }

private:
    std::vector<Pixel> pixels_;
};

/// Every row of a picture scaled along one axis: for each row and each pixel of the axis red, green and blue, 0 to 255
/// (cubics may pass a little beyond).
std::vector<float> scaleRows(const StillImage& image, const ScaledAxis& across);

}  // namespace kelvane
