#include "PictureColor.h"

extern "C" {
#include <libavutil/mastering_display_metadata.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cmath>

namespace kelvane {

namespace {

/// The peaks that tone mapping reckons with, nits. Below, there is nothing to compress; above, the rest is rare sparkle
/// that would darken all else.
constexpr double lowestPeak = HDR::referenceWhiteNits;
constexpr double highestPeak = 2000;
constexpr double usualPeak = 1000;

double peakOf(const AVFrame& frame) {
    if (const AVFrameSideData* side = av_frame_get_side_data(&frame, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL)) {
        const auto* light = reinterpret_cast<const AVContentLightMetadata*>(side->data);
        if (light->MaxCLL > 0) return std::clamp<double>(light->MaxCLL, lowestPeak, highestPeak);
    }
    if (const AVFrameSideData* side = av_frame_get_side_data(&frame, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA)) {
        const auto* display = reinterpret_cast<const AVMasteringDisplayMetadata*>(side->data);
        const double peak =
            display->has_luminance && display->max_luminance.den != 0 ? av_q2d(display->max_luminance) : 0;
        if (peak > 0) return std::clamp(peak, lowestPeak, highestPeak);
    }
    return usualPeak;
}

TransferKind transferOf(AVColorTransferCharacteristic transfer) {
    switch (transfer) {
        case AVCOL_TRC_ARIB_STD_B67:
            return TransferKind::hlg;
        case AVCOL_TRC_SMPTE2084:
            return TransferKind::pq;
        case AVCOL_TRC_LINEAR:
            return TransferKind::linear;
        default:
            return TransferKind::sdr;
    }
}

struct LumaWeights {
    double red = 0;
    double blue = 0;
};

/// ITU-T H.273, table 4.
LumaWeights lumaWeights(AVColorSpace matrix) {
    switch (matrix) {
        case AVCOL_SPC_FCC:
            return {0.30, 0.11};
        case AVCOL_SPC_BT470BG:
        case AVCOL_SPC_SMPTE170M:
            return {0.299, 0.114};
        case AVCOL_SPC_SMPTE240M:
            return {0.212, 0.087};
        case AVCOL_SPC_BT2020_NCL:
        case AVCOL_SPC_BT2020_CL:
            return {0.2627, 0.0593};
        default:
            return {0.2126, 0.0722};
    }
}

bool knownMatrix(AVColorSpace matrix) {
    switch (matrix) {
        case AVCOL_SPC_BT709:
        case AVCOL_SPC_FCC:
        case AVCOL_SPC_BT470BG:
        case AVCOL_SPC_SMPTE170M:
        case AVCOL_SPC_SMPTE240M:
        case AVCOL_SPC_BT2020_NCL:
        case AVCOL_SPC_BT2020_CL:
        case AVCOL_SPC_YCGCO:
            return true;
        default:
            return false;
    }
}

/// Red, green, blue and white as chromaticities x, y: ITU-T H.273, table 2.
struct Chromaticities {
    std::array<double, 2> red, green, blue, white;
};

constexpr std::array<double, 2> daylight{0.3127, 0.3290};

Chromaticities chromaticitiesOf(AVColorPrimaries primaries) {
    switch (primaries) {
        case AVCOL_PRI_BT470M:
            return {{0.67, 0.33}, {0.21, 0.71}, {0.14, 0.08}, daylight};
        case AVCOL_PRI_BT470BG:
            return {{0.64, 0.33}, {0.29, 0.60}, {0.15, 0.06}, daylight};
        case AVCOL_PRI_SMPTE170M:
        case AVCOL_PRI_SMPTE240M:
            return {{0.630, 0.340}, {0.310, 0.595}, {0.155, 0.070}, daylight};
        case AVCOL_PRI_FILM:
            return {{0.681, 0.319}, {0.243, 0.692}, {0.145, 0.049}, daylight};
        case AVCOL_PRI_BT2020:
            return {{0.708, 0.292}, {0.170, 0.797}, {0.131, 0.046}, daylight};
        case AVCOL_PRI_SMPTE431:
        case AVCOL_PRI_SMPTE432:
            return {{0.680, 0.320}, {0.265, 0.690}, {0.150, 0.060}, daylight};
        case AVCOL_PRI_EBU3213:
            return {{0.630, 0.340}, {0.295, 0.605}, {0.155, 0.077}, daylight};
        default:
            return {{0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}, daylight};
    }
}

AVColorPrimaries knownPrimaries(AVColorPrimaries primaries) {
    switch (primaries) {
        case AVCOL_PRI_BT470M:
        case AVCOL_PRI_BT470BG:
        case AVCOL_PRI_SMPTE170M:
        case AVCOL_PRI_SMPTE240M:
        case AVCOL_PRI_FILM:
        case AVCOL_PRI_BT2020:
        case AVCOL_PRI_SMPTE431:
        case AVCOL_PRI_SMPTE432:
        case AVCOL_PRI_EBU3213:
            return primaries;
        default:
            return AVCOL_PRI_BT709;
    }
}

bool isWide(AVColorPrimaries primaries) {
    return primaries == AVCOL_PRI_BT2020 || primaries == AVCOL_PRI_SMPTE431 || primaries == AVCOL_PRI_SMPTE432 ||
           primaries == AVCOL_PRI_FILM || primaries == AVCOL_PRI_BT470M;
}

ColorTriple multiply(const ColorMatrix& m, const ColorTriple& v) {
    ColorTriple out{};
    for (int i = 0; i < 3; ++i) out[i] = m[i][0] * v[0] + m[i][1] * v[1] + m[i][2] * v[2];
    return out;
}

ColorMatrix multiply(const ColorMatrix& a, const ColorMatrix& b) {
    ColorMatrix out{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) out[i][j] = a[i][0] * b[0][j] + a[i][1] * b[1][j] + a[i][2] * b[2][j];
    return out;
}

ColorMatrix inverse(const ColorMatrix& m) {
    const auto cofactor = [&](int i, int j) {
        const int i1 = (i + 1) % 3, i2 = (i + 2) % 3, j1 = (j + 1) % 3, j2 = (j + 2) % 3;
        return m[i1][j1] * m[i2][j2] - m[i1][j2] * m[i2][j1];
    };
    const double determinant = m[0][0] * cofactor(0, 0) + m[0][1] * cofactor(0, 1) + m[0][2] * cofactor(0, 2);
    ColorMatrix out{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) out[j][i] = cofactor(i, j) / determinant;
    return out;
}

/// Linear red, green and blue to CIE XYZ (SMPTE RP 177).
ColorMatrix toXYZ(const Chromaticities& c) {
    const auto xyz = [](const std::array<double, 2>& xy) {
        return ColorTriple{xy[0] / xy[1], 1, (1 - xy[0] - xy[1]) / xy[1]};
    };
    const ColorTriple red = xyz(c.red), green = xyz(c.green), blue = xyz(c.blue);
    ColorMatrix m{};
    for (int i = 0; i < 3; ++i) m[i] = {red[i], green[i], blue[i]};
    const ColorTriple share = multiply(inverse(m), xyz(c.white));
    for (auto& row : m)
        for (int j = 0; j < 3; ++j) row[j] *= share[j];
    return m;
}

/// Normalised Y'CbCr (0…1, -0.5…0.5) to R'G'B'.
ColorMatrix signalMatrix(AVColorSpace matrix) {
    if (matrix == AVCOL_SPC_YCGCO) return {{{1, -1, 1}, {1, 1, 0}, {1, -1, -1}}};
    const LumaWeights w = lumaWeights(matrix);
    const double green = 1 - w.red - w.blue;
    return {{{1, 0, 2 * (1 - w.red)},
             {1, -2 * (1 - w.blue) * w.blue / green, -2 * (1 - w.red) * w.red / green},
             {1, 2 * (1 - w.blue), 0}}};
}

// The screen that SDR signals are made for, as players treat all of them: IEC 61966-2-1. Unlike Rec. 1886's pure power
// it has a straight toe, without which colours at the gamut's edge would have no bounded slope to interpolate. Odd
// around zero, so that colours outside the gamut pass through.
double screenLight(double signal) {
    const double size = std::abs(signal);
    return std::copysign(size <= 0.04045 ? size / 12.92 : std::pow((size + 0.055) / 1.055, 2.4), signal);
}
double screenSignal(double light) {
    const double size = std::abs(light);
    return std::copysign(size <= 0.0031308 ? size * 12.92 : 1.055 * std::pow(size, 1 / 2.4) - 0.055, light);
}

constexpr ColorTriple rec709Luminance{0.2126, 0.7152, 0.0722};

/// Draws a colour towards the grey of its luminance until none of its components lies outside 0…1: hue stays,
/// saturation gives.
ColorTriple withinGamut(const ColorTriple& color) {
    const double grey = std::clamp(
        rec709Luminance[0] * color[0] + rec709Luminance[1] * color[1] + rec709Luminance[2] * color[2], 0.0, 1.0);
    double keep = 1;
    for (const double part : color) {
        if (part < 0) keep = std::min(keep, grey / (grey - part));
        if (part > 1) keep = std::min(keep, (1 - grey) / (part - grey));
    }
    ColorTriple out{};
    for (int i = 0; i < 3; ++i) out[i] = std::clamp(grey + keep * (color[i] - grey), 0.0, 1.0);
    return out;
}

}  // namespace

PictureColor PictureColor::of(const AVFrame& frame, int depth) {
    PictureColor color;
    color.depth = depth;
    color.transfer = transferOf(frame.color_trc);
    const bool hdr = color.transfer == TransferKind::hlg || color.transfer == TransferKind::pq;
    const bool rec2020 = frame.color_primaries == AVCOL_PRI_BT2020 || frame.colorspace == AVCOL_SPC_BT2020_NCL ||
                         frame.colorspace == AVCOL_SPC_BT2020_CL || hdr;
    const bool large = frame.width >= 1280 || frame.height > 576;
    if (knownMatrix(frame.colorspace))
        color.matrix = frame.colorspace;
    else if (rec2020)
        color.matrix = AVCOL_SPC_BT2020_NCL;
    else
        color.matrix = large ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
    const bool untaggedPrimaries =
        frame.color_primaries == AVCOL_PRI_UNSPECIFIED || frame.color_primaries == AVCOL_PRI_RESERVED0;
    color.primaries = untaggedPrimaries && rec2020 ? AVCOL_PRI_BT2020 : knownPrimaries(frame.color_primaries);

    switch (frame.format) {
        case AV_PIX_FMT_YUVJ420P:
        case AV_PIX_FMT_YUVJ422P:
        case AV_PIX_FMT_YUVJ444P:
        case AV_PIX_FMT_YUVJ440P:
        case AV_PIX_FMT_YUVJ411P:
            color.fullRange = true;
            break;
        default:
            color.fullRange = frame.color_range == AVCOL_RANGE_JPEG;
            break;
    }
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    if (format != nullptr && format->nb_components <= 2 && frame.color_range == AVCOL_RANGE_UNSPECIFIED)
        color.fullRange = true;
    if (hdr) color.peakNits = color.transfer == TransferKind::pq ? peakOf(frame) : usualPeak;
    return color;
}

bool PictureColor::isRec709() const { return isLinearMap() && matrix == AVCOL_SPC_BT709 && !fullRange; }

bool PictureColor::isLinearMap() const { return transfer == TransferKind::sdr && primaries == AVCOL_PRI_BT709; }

Rec709Mapping::Rec709Mapping(const PictureColor& from) : from_(from), wideGamut_(isWide(from.primaries)) {
    const double step = std::ldexp(1.0, from.depth - 8);
    const double top = std::ldexp(1.0, from.depth) - 1;
    const double middle = std::ldexp(1.0, from.depth - 1);
    if (from.fullRange) {
        sampleScale_ = {1 / top, 1 / top, 1 / top};
        sampleOffset_ = {0, middle, middle};
    } else {
        sampleScale_ = {1 / (219 * step), 1 / (224 * step), 1 / (224 * step)};
        sampleOffset_ = {16 * step, middle, middle};
    }
    toSignal_ = signalMatrix(from.matrix);
    fromSignal_ = inverse(signalMatrix(AVCOL_SPC_BT709));
    const ColorMatrix source = toXYZ(chromaticitiesOf(from.primaries));
    luminance_ = source[1];
    toRec709_ = multiply(inverse(toXYZ(chromaticitiesOf(AVCOL_PRI_BT709))), source);
}

Rec709Mapping::Linear Rec709Mapping::linear() const {
    const ColorMatrix across = multiply(fromSignal_, toSignal_);
    constexpr ColorTriple outScale{219, 224, 224};
    constexpr ColorTriple outOffset{16, 128, 128};
    Linear out;
    for (int i = 0; i < 3; ++i) {
        out.offsets[i] = outOffset[i];
        for (int j = 0; j < 3; ++j) {
            out.factors[i][j] = outScale[i] * across[i][j] * sampleScale_[j];
            out.offsets[i] -= out.factors[i][j] * sampleOffset_[j];
        }
    }
    return out;
}

ColorTriple Rec709Mapping::map(const ColorTriple& samples) const {
    ColorTriple parts{};
    for (int i = 0; i < 3; ++i) parts[i] = (samples[i] - sampleOffset_[i]) * sampleScale_[i];
    ColorTriple signal = multiply(toSignal_, parts);
    if (!from_.isLinearMap()) {
        const ColorTriple light = sdrLight(signal);
        for (int i = 0; i < 3; ++i) signal[i] = screenSignal(light[i]);
    }
    const ColorTriple out = multiply(fromSignal_, signal);
    return {16 + 219 * out[0], 128 + 224 * out[1], 128 + 224 * out[2]};
}

ColorTriple Rec709Mapping::sdrLight(const ColorTriple& signal) const {
    ColorTriple light{};
    switch (from_.transfer) {
        case TransferKind::sdr:
            for (int i = 0; i < 3; ++i) light[i] = screenLight(signal[i]);
            break;
        case TransferKind::linear:
            light = signal;
            break;
        case TransferKind::pq:
            for (int i = 0; i < 3; ++i) light[i] = HDR::pqLight(std::clamp(signal[i], 0.0, 1.0));
            break;
        case TransferKind::hlg: {
            for (int i = 0; i < 3; ++i) light[i] = HDR::hlgSceneLight(std::clamp(signal[i], 0.0, 1.09));
            // BT.2100's display: 1000 nits, system gamma 1.2, applied to luminance so that hues stay.
            const double scene = luminance_[0] * light[0] + luminance_[1] * light[1] + luminance_[2] * light[2];
            const double gain = scene > 0 ? usualPeak * std::pow(scene, 0.2) : 0;
            for (double& part : light) part *= gain;
            break;
        }
    }
    light = multiply(toRec709_, light);
    const bool hdr = from_.transfer == TransferKind::hlg || from_.transfer == TransferKind::pq;
    if (hdr) light = toneMapped(light);
    return hdr || wideGamut_ ? withinGamut(light) : light;
}

ColorTriple Rec709Mapping::toneMapped(const ColorTriple& nits) const {
    // One factor for all three, by the brightest: hues stay, and bright colours darken rather than pale.
    const double brightest = std::max({nits[0], nits[1], nits[2]});
    if (brightest <= 0) return {};
    const double factor = HDR::compressed(brightest, from_.peakNits) / brightest / HDR::referenceWhiteNits;
    return {nits[0] * factor, nits[1] * factor, nits[2] * factor};
}

namespace HDR {

namespace {
constexpr double m1 = 2610.0 / 16384;
constexpr double m2 = 2523.0 / 4096 * 128;
constexpr double c1 = 3424.0 / 4096;
constexpr double c2 = 2413.0 / 4096 * 32;
constexpr double c3 = 2392.0 / 4096 * 32;
}  // namespace

double pqLight(double signal) {
    const double root = std::pow(signal, 1 / m2);
    return 10000 * std::pow(std::max(root - c1, 0.0) / (c2 - c3 * root), 1 / m1);
}

double pqSignal(double nits) {
    const double root = std::pow(std::max(nits, 0.0) / 10000, m1);
    return std::pow((c1 + c2 * root) / (1 + c3 * root), m2);
}

double hlgSceneLight(double signal) {
    constexpr double a = 0.17883277;
    constexpr double b = 1 - 4 * a;
    const double c = 0.5 - a * std::log(4 * a);
    return signal <= 0.5 ? signal * signal / 3 : (std::exp((signal - c) / a) + b) / 12;
}

double compressed(double nits, double peakNits) {
    const double peak = pqSignal(peakNits);
    const double ceiling = pqSignal(referenceWhiteNits) / peak;
    const double knee = 1.5 * ceiling - 0.5;
    const double signal = std::min(pqSignal(nits) / peak, 1.0);
    if (signal <= knee || knee >= 1) return std::min(nits, referenceWhiteNits);
    const double t = (signal - knee) / (1 - knee);
    const double t2 = t * t;
    const double t3 = t2 * t;
    const double shoulder = (2 * t3 - 3 * t2 + 1) * knee + (t3 - 2 * t2 + t) * (1 - knee) + (3 * t2 - 2 * t3) * ceiling;
    return pqLight(shoulder * peak);
}

}  // namespace HDR

}  // namespace kelvane
