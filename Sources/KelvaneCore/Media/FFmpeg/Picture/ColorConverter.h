#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "PictureColor.h"
#include "PicturePlane.h"

namespace kelvane {

/// Rows that a conversion works in; kept by its caller so that nothing is allocated per frame.
struct ColorRows {
    std::vector<std::uint16_t> luma[2];
    std::vector<std::uint16_t> chroma[2];
    std::vector<std::uint16_t> beside;
    std::vector<std::uint16_t> mixed[2];
    std::vector<std::uint16_t> wide[2];
    std::vector<std::uint16_t> meanLuma;
};

/// Converts 4:2:0 pictures, chroma sited left, to 8-bit limited-range Rec. 709. Conversions that are linear are
/// calculated; the others are looked up in a cube of 65 lumas by 65 by 65 colour differences and interpolated in it
/// (linear along luma, by triangles across). Immutable, any thread.
class ColorConverter {
public:
    /// The converter for a kind of source. The ones used last are remembered, because a cube takes some 80 ms to make.
    static std::shared_ptr<const ColorConverter> forColor(const PictureColor& color);
    explicit ColorConverter(const PictureColor& color);

    /// Fills `to` (8 bits) from `from`: luma and halved colour differences.
    void convert(const PlaneView (&from)[3], const PlaneSpan (&to)[3], ColorRows& rows) const;

    /// A linear conversion in integers: samples scaled to 16 bits times `factors`, plus `offset`, shifted down.
    struct Coefficients {
        std::int32_t factors[3] = {};
        std::int32_t offset = 0;
    };

private:
    void makeCube(const Rec709Mapping& mapping);
    void convertRow(int channel, const std::uint16_t* luma, const std::uint16_t* blue, const std::uint16_t* red,
                    int count, std::uint8_t* out) const;

    PictureColor color_;
    bool linear_ = false;
    /// Luma depends on luma alone.
    bool lumaAlone_ = false;
    Coefficients coefficients_[3];
    /// For each channel and each node of the colour differences, 64 pairs: the values at one luma node and at the next.
    std::vector<std::uint32_t> cube_[3];
};

}  // namespace kelvane
