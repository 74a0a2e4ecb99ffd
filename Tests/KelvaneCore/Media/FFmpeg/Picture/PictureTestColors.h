#pragma once

#include <gtest/gtest.h>

#include "Media/FFmpeg/Picture/PictureScaler.h"
#include "PictureTestFrames.h"

/// Colours through the whole drawing path, and their samples by definition.
namespace kelvane::picturetest {
using Samples = std::array<int, 3>;

/// One colour through the whole drawing path; the sample in the middle of the canvas.
inline Samples drawn(const FrameKind& kind, Samples samples) {
    const FramePtr source = patchFrame(kind, samples);
    const Size size{static_cast<double>(kind.width), static_cast<double>(kind.height)};
    const auto out = PictureScaler().draw(*source, size, {}, size);
    EXPECT_TRUE(out.has_value());
    if (!out) return {};
    return {sampleAt(**out, 0, kind.width / 2, kind.height / 2), sampleAt(**out, 1, kind.width / 4, kind.height / 4),
            sampleAt(**out, 2, kind.width / 4, kind.height / 4)};
}

inline void expectNear(Samples actual, Samples expected, int tolerance, const std::string& what) {
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(actual[i], expected[i], tolerance) << what << ", channel " << i;
}

using Color = std::array<double, 3>;

/// R'G'B' as samples, from the definition: Y' = kr R' + kg G' + kb B', Cb = (B' - Y') / (2 - 2 kb), Cr alike.
inline Samples encoded(Color rgb, double kr, double kb, bool full, int depth) {
    const double y = kr * rgb[0] + (1 - kr - kb) * rgb[1] + kb * rgb[2];
    const double b = (rgb[2] - y) / (2 * (1 - kb));
    const double r = (rgb[0] - y) / (2 * (1 - kr));
    const double top = std::ldexp(1.0, depth) - 1;
    const double step = std::ldexp(1.0, depth - 8);
    const double middle = std::ldexp(1.0, depth - 1);
    const auto whole = [](double value) { return static_cast<int>(std::lround(value)); };
    if (full) return {whole(y * top), whole(b * top + middle), whole(r * top + middle)};
    return {whole((16 + 219 * y) * step), whole(224 * b * step + middle), whole(224 * r * step + middle)};
}
inline Samples rec709(Color rgb) { return encoded(rgb, 0.2126, 0.0722, false, 8); }
inline Samples rec601(Color rgb, bool full = false, int depth = 8) { return encoded(rgb, 0.299, 0.114, full, depth); }
inline Samples rec2020(Color rgb, int depth) { return encoded(rgb, 0.2627, 0.0593, false, depth); }

}  // namespace kelvane::picturetest
