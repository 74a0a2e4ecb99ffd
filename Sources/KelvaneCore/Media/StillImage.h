#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace kelvane {

/// A decoded picture, the right way up: 8-bit sRGB, 4 bytes a pixel in the order R, G, B, A (A always 255), rows from
/// top to bottom without gaps. Immutable once made and shared by pointer.
struct StillImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;
};
using StillImagePtr = std::shared_ptr<const StillImage>;

}  // namespace kelvane
