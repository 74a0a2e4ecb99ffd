#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "StillImage.h"

namespace kelvane {

/// One picture for a screen: 8-bit 4:2:0, limited range, Rec. 709 primaries, transfer and matrix (ITU-R BT.709-6),
/// square pixels, chroma samples beside the left column of luma. Immutable once made and shared by pointer; the pixels
/// live as long as it does.
struct VideoPicture {
    struct Plane {
        const std::uint8_t* data = nullptr;
        /// Bytes from one row to the next, `width` or more; the memory behind the last row may be read up to 64
        /// bytes on.
        std::ptrdiff_t stride = 0;
        int width = 0;
        int height = 0;
    };
    int width = 0;
    int height = 0;
    /// Luma, blue and red difference; the differences have half the width and height, rounded up.
    std::array<Plane, 3> planes;
    /// What keeps the pixels.
    std::shared_ptr<const void> memory;
};
using VideoPicturePtr = std::shared_ptr<const VideoPicture>;

/// The same as RGB for an sRGB screen, as stills are shown. Any thread.
StillImagePtr stillOf(const VideoPicture& picture);

}  // namespace kelvane
