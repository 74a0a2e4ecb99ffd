#pragma once

#include <array>
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

/// The rows of a picture that make one pixel of an axis down, mixed into one: for each sample red, green, blue and
/// alpha, 0 to 255 (cubics may pass a little beyond). `row` is made as long as it must be.
void mixRows(const StillImage& image, const ScaledAxis::Pixel& pixel, std::vector<float>& row);
/// The samples of such a row that make one pixel of an axis across: red, green, blue and alpha.
std::array<float, 4> mixSamples(const std::vector<float>& row, const ScaledAxis::Pixel& pixel);

/// A picture at another size, both sides above 0: each pixel is the mean of what it covers where the picture shrinks,
/// an interpolation where it grows. Any thread.
StillImage resized(const StillImage& image, int width, int height);

}  // namespace kelvane
