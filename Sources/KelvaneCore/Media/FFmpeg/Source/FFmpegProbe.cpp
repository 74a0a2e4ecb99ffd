#include "FFmpegProbe.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string_view>

extern "C" {
#include <libavutil/dict.h>
#include <libavutil/imgutils.h>
}

#include "FFmpegVersions.h"

namespace kelvane::FFmpegProbe {

namespace {

/// Pixel aspects beyond this, either way, are damage: none of the standards' tables exceeds 160:33.
constexpr double largestAspect = 16;
/// Scales of a display matrix beyond this, either way, are damage.
constexpr double largestScale = 64;

/// Brands of ISO/IEC 23008-12 and of AVIF for pictures and picture sequences.
constexpr std::array<std::string_view, 11> pictureBrands{"mif1", "msf1", "heic", "heix", "heim", "heis",
                                                         "hevc", "hevx", "avif", "avis", "avio"};

/// The matrix of the stream, or nullptr.
const std::int32_t* displayMatrix(const AVStream& stream) {
    std::size_t size = 0;
    const std::uint8_t* data = streamSideData(stream, AV_PKT_DATA_DISPLAYMATRIX, size);
    return size < 9 * sizeof(std::int32_t) ? nullptr : reinterpret_cast<const std::int32_t*>(data);
}

bool isSane(AVRational aspect) {
    if (aspect.num <= 0 || aspect.den <= 0) return false;
    const double value = av_q2d(aspect);
    return value <= largestAspect && value >= 1 / largestAspect;
}

bool isSane(double scale) { return scale <= largestScale && scale >= 1 / largestScale; }

/// What the values of a display matrix are to be divided by. The last one, a number of 2.30 bits, scales all others; a
/// few writers count it in whole numbers, or write another than 1 and don't mean it. The first reading that makes sense
/// holds.
double divisorOf(const std::int32_t* matrix) {
    constexpr double one = 65536;
    const double horizontal = std::hypot(matrix[0] / one, matrix[1] / one);
    const double vertical = std::hypot(matrix[3] / one, matrix[4] / one);
    for (const double divisor : {std::ldexp(matrix[8], -30), 1.0, double(matrix[8])})
        if (isSane(horizontal / std::abs(divisor)) && isSane(vertical / std::abs(divisor))) return divisor;
    return 1;
}

/// Whether the demuxer took the container's aspect from the display matrix, where the matrix applies it already.
bool comesFromMatrix(AVRational aspect, const std::int32_t* matrix) {
    if (matrix == nullptr || aspect.num <= 0 || aspect.den <= 0) return false;
    const double horizontal = std::hypot(double(matrix[0]), double(matrix[3]));
    const double vertical = std::hypot(double(matrix[1]), double(matrix[4]));
    if (horizontal <= 0 || vertical <= 0 || std::abs(horizontal / vertical - 1) <= 0.01) return false;
    return std::abs(av_q2d(aspect) / (horizontal / vertical) - 1) < 1e-4;
}

}  // namespace

bool isPictureFile(const SourceFile& file) {
    if (!file.isFormat("mov")) return false;
    const AVDictionaryEntry* brand = av_dict_get(file.context()->metadata, "major_brand", nullptr, 0);
    if (brand == nullptr) return false;
    return std::find(pictureBrands.begin(), pictureBrands.end(), std::string_view(brand->value).substr(0, 4)) !=
           pictureBrands.end();
}

bool isPlayable(const AVStream& stream, MediaType type) {
    constexpr int pictureOnly =
        AV_DISPOSITION_ATTACHED_PIC | AV_DISPOSITION_TIMED_THUMBNAILS | AV_DISPOSITION_STILL_IMAGE;
    const AVCodecParameters& parameters = *stream.codecpar;
    const bool video = type == MediaType::video;
    if (parameters.codec_type != (video ? AVMEDIA_TYPE_VIDEO : AVMEDIA_TYPE_AUDIO)) return false;
    if (avcodec_find_decoder(parameters.codec_id) == nullptr) return false;
    if (stream.time_base.num <= 0 || stream.time_base.den <= 0) return false;
    std::size_t size = 0;
    if (streamSideData(stream, AV_PKT_DATA_ENCRYPTION_INIT_INFO, size) != nullptr) return false;
    if (!video) return parameters.sample_rate > 0 && parameters.ch_layout.nb_channels > 0;
    return (stream.disposition & pictureOnly) == 0 && parameters.width > 0 && parameters.height > 0 &&
           std::int64_t{parameters.width} * parameters.height <= maximumPixels;
}

std::int64_t pictureBytes(const AVStream& stream) {
    const AVCodecParameters& parameters = *stream.codecpar;
    // Decoders' rows are aligned to as many bytes.
    constexpr int alignment = 64;
    const auto format = parameters.format < 0 ? AV_PIX_FMT_YUV420P10 : static_cast<AVPixelFormat>(parameters.format);
    const int bytes = av_image_get_buffer_size(format, parameters.width, parameters.height, alignment);
    return bytes > 0 ? bytes : std::int64_t{parameters.width} * parameters.height * 3;
}

Size naturalSize(AVFormatContext& context, AVStream& stream) {
    AVRational aspect = av_guess_sample_aspect_ratio(&context, &stream, nullptr);
    if (comesFromMatrix(stream.sample_aspect_ratio, displayMatrix(stream)))
        aspect = stream.codecpar->sample_aspect_ratio;
    if (!isSane(aspect)) aspect = {1, 1};
    const double width = static_cast<double>(stream.codecpar->width) * aspect.num / aspect.den;
    return {width, static_cast<double>(stream.codecpar->height)};
}

AffineTransform orientation(const AVStream& stream, Size naturalSize) {
    const std::int32_t* matrix = displayMatrix(stream);
    return matrix == nullptr ? AffineTransform{} : orientation(matrix, naturalSize);
}

AffineTransform orientation(const std::int32_t* matrix, Size naturalSize) {
    // The matrix works on columns (x, y) with y growing downward, as ours does: x' = m0·x + m3·y, y' = m1·x + m4·y.
    const double one = 65536 * divisorOf(matrix);
    AffineTransform map{matrix[0] / one, matrix[1] / one, matrix[3] / one, matrix[4] / one, 0, 0};
    const double horizontal = std::hypot(map.a, map.b);
    const double vertical = std::hypot(map.c, map.d);
    // Whichever pair carries more decides between "upright" and "on its side"; the other pair is skew.
    if (std::abs(map.a) + std::abs(map.d) >= std::abs(map.b) + std::abs(map.c))
        map = {std::copysign(horizontal, map.a), 0, 0, std::copysign(vertical, map.d), 0, 0};
    else
        map = {0, std::copysign(horizontal, map.b), std::copysign(vertical, map.c), 0, 0, 0};
    if (!isSane(horizontal) || !isSane(vertical)) return {};
    const Rect bounds = map.boundingRect({0, 0, naturalSize.width, naturalSize.height});
    // Zero minus zero, so that no coordinate comes out as minus zero.
    map.tx = 0 - bounds.x;
    map.ty = 0 - bounds.y;
    return map;
}

}  // namespace kelvane::FFmpegProbe
