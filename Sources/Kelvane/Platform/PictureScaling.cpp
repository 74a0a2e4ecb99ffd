#include "PictureScaling.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>

namespace kelvane {

namespace {

/// The mean over [from, to) of the source's samples.
ScaledAxis::Pixel meanOf(double from, double to, int samples) {
    ScaledAxis::Pixel pixel;
    pixel.firstSource = std::clamp(static_cast<int>(std::floor(from)), 0, samples - 1);
    const int end = std::clamp(static_cast<int>(std::ceil(to)), pixel.firstSource + 1, samples);
    for (int sample = pixel.firstSource; sample < end; ++sample) {
        const double share = std::min(to, sample + 1.0) - std::max(from, static_cast<double>(sample));
        pixel.weights.push_back(static_cast<float>(std::max(share, 0.0)));
    }
    return pixel;
}

/// The cubic convolution kernel of Keys (1981), a = -1/2: it passes through the samples and keeps straight lines.
double cubic(double distance) {
    const double x = std::abs(distance);
    if (x < 1) return (1.5 * x - 2.5) * x * x + 1;
    if (x < 2) return ((-0.5 * x + 2.5) * x - 4) * x + 2;
    return 0;
}

/// The picture's value at `center`, which counts from the outer edge of sample 0. The outermost samples go on for ever.
ScaledAxis::Pixel interpolatedAt(double center, int samples) {
    const int nearest = static_cast<int>(std::floor(center - 0.5));
    ScaledAxis::Pixel pixel;
    pixel.firstSource = std::clamp(nearest - 1, 0, samples - 1);
    const int last = std::clamp(nearest + 2, 0, samples - 1);
    pixel.weights.assign(static_cast<std::size_t>(last - pixel.firstSource) + 1, 0.0F);
    for (int sample = nearest - 1; sample <= nearest + 2; ++sample) {
        const int held = std::clamp(sample, pixel.firstSource, last);
        pixel.weights[static_cast<std::size_t>(held - pixel.firstSource)] +=
            static_cast<float>(cubic(center - 0.5 - sample));
    }
    return pixel;
}

}  // namespace

ScaledAxis::ScaledAxis(int samples, double start, double length, int limit) {
    const double scale = samples / length;
    const int first = static_cast<int>(std::clamp(std::floor(start), 0.0, static_cast<double>(limit)));
    const int end = static_cast<int>(std::clamp(std::ceil(start + length), 0.0, static_cast<double>(limit)));
    for (int target = first; target < end; ++target) {
        const double from = std::max(start, static_cast<double>(target));
        const double to = std::min(start + length, target + 1.0);
        if (to <= from) continue;
        Pixel pixel = scale >= 1 ? meanOf((from - start) * scale, (to - start) * scale, samples)
                                 : interpolatedAt(((from + to) / 2 - start) * scale, samples);
        pixel.target = target;
        pixel.coverage = to - from;
        const float sum = std::accumulate(pixel.weights.begin(), pixel.weights.end(), 0.0F);
        if (sum <= 0) continue;
        for (float& weight : pixel.weights) weight /= sum;
        pixels_.push_back(std::move(pixel));
    }
}

void mixRows(const StillImage& image, const ScaledAxis::Pixel& pixel, std::vector<float>& row) {
    const std::size_t length = static_cast<std::size_t>(image.width) * 4;
    row.assign(length, 0.0F);
    float* const sums = row.data();
    for (std::size_t i = 0; i < pixel.weights.size(); ++i) {
        const float weight = pixel.weights[i];
        const std::uint8_t* const samples = &image.pixels[(static_cast<std::size_t>(pixel.firstSource) + i) * length];
        for (std::size_t at = 0; at < length; ++at) sums[at] += weight * static_cast<float>(samples[at]);
    }
}

std::array<float, 4> mixSamples(const std::vector<float>& row, const ScaledAxis::Pixel& pixel) {
    std::array<float, 4> sums{};
    const float* sample = &row[static_cast<std::size_t>(pixel.firstSource) * 4];
    for (const float weight : pixel.weights) {
        for (std::size_t part = 0; part < 4; ++part) sums[part] += weight * sample[part];
        sample += 4;
    }
    return sums;
}

StillImage resized(const StillImage& image, int width, int height) {
    const ScaledAxis across(image.width, 0, width, width);
    const ScaledAxis down(image.height, 0, height, height);
    StillImage made{width, height, {}};
    made.pixels.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    std::vector<float> row;
    for (const ScaledAxis::Pixel& line : down.pixels()) {
        mixRows(image, line, row);
        for (const ScaledAxis::Pixel& place : across.pixels())
            for (const float part : mixSamples(row, place))
                made.pixels.push_back(static_cast<std::uint8_t>(std::lround(std::clamp(part, 0.0F, 255.0F))));
    }
    return made;
}

}  // namespace kelvane
