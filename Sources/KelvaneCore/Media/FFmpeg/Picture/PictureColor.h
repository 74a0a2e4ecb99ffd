#pragma once

#include <array>

#include "Media/FFmpeg/Source/Handles.h"

namespace kelvane {

/// Three numbers of one colour: red, green, blue, or luma and the two colour differences.
using ColorTriple = std::array<double, 3>;
using ColorMatrix = std::array<ColorTriple, 3>;

/// What a display does with a source's code values. SDR curves (Rec. 709, Rec. 601, sRGB, gammas) are one kind: players
/// send all of them to the screen unchanged, and so does this program. A conversion to the letter (sRGB's curve undone,
/// Rec. 1886's done) would lift the shadows of screen recordings by up to 5% of the range on nearly every screen in
/// use.
enum class TransferKind { sdr, linear, hlg, pq };

/// How the samples of a Y'CbCr picture mean colours: tags as far as a source has them, the players' guesses where not.
/// A plain value.
struct PictureColor {
    AVColorSpace matrix = AVCOL_SPC_BT709;
    AVColorPrimaries primaries = AVCOL_PRI_BT709;
    TransferKind transfer = TransferKind::sdr;
    bool fullRange = false;
    /// Bits of a sample.
    int depth = 8;
    /// Brightest light of an HDR picture, nits.
    double peakNits = 1000;
    bool operator==(const PictureColor&) const = default;

    /// The colour of a frame with samples of `depth` bits. Untagged: matrix Rec. 709 for pictures of 1280 pixels' width
    /// or more than 576 lines and Rec. 601 for smaller ones; primaries and transfer Rec. 709; limited range but for the
    /// full-range pixel formats and gray. HDR transfers and Rec. 2020 primaries bring Rec. 2020 with them.
    static PictureColor of(const AVFrame& frame, int depth);

    /// True when the samples are limited-range Rec. 709 as they stand.
    [[nodiscard]] bool isRec709() const;
    /// True when the conversion to Rec. 709 is one linear map of the samples: another matrix or range, nothing else.
    [[nodiscard]] bool isLinearMap() const;
};

/// The conversion of one kind of source to limited-range Rec. 709, colour by colour, in floating point. HDR is
/// tone-mapped for a screen whose white is HDR's reference white. Immutable, any thread.
class Rec709Mapping {
public:
    explicit Rec709Mapping(const PictureColor& from);

    /// Sample values in, 8-bit sample values out (not rounded, not limited to 0…255).
    [[nodiscard]] ColorTriple map(const ColorTriple& samples) const;
    /// The linear map from samples to 8-bit samples: of use when `isLinearMap`.
    struct Linear {
        ColorMatrix factors{};
        ColorTriple offsets{};
    };
    [[nodiscard]] Linear linear() const;

private:
    [[nodiscard]] ColorTriple sdrLight(const ColorTriple& signal) const;
    [[nodiscard]] ColorTriple toneMapped(const ColorTriple& nits) const;

    PictureColor from_;
    ColorMatrix toSignal_{};
    ColorMatrix fromSignal_{};
    ColorTriple sampleScale_{};
    ColorTriple sampleOffset_{};
    ColorMatrix toRec709_{};
    /// Luminance of the source's red, green and blue.
    ColorTriple luminance_{};
    bool wideGamut_ = false;
};

namespace HDR {

/// Light of HDR's reference white (ITU-R BT.2408-7, 2.1), which becomes the SDR picture's scale.
inline constexpr double referenceWhiteNits = 203;

/// SMPTE ST 2084: light of a signal in 0…1, nits, and back.
double pqLight(double signal);
double pqSignal(double nits);
/// ITU-R BT.2100-2: scene light in 0…1 of an HLG signal in 0…1.
double hlgSceneLight(double signal);
/// ITU-R BT.2390-10, 5.4.1: the light that stands for `nits` of a picture with peak `peakNits` on a screen that ends at
/// reference white. Unchanged in the lower part, a smooth shoulder above.
double compressed(double nits, double peakNits);

}  // namespace HDR

}  // namespace kelvane
