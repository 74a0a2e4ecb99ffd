#include "PictureTurn.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kelvane {

namespace {

/// Swaps the axes of a block: sample x of row y goes to sample y of row x. Rows lie `fromStep` and `toStep` bytes
/// apart, either of which may be negative for a mirror.
template <class Sample>
void swapBlockPlainly(const std::uint8_t* from, std::ptrdiff_t fromStep, std::uint8_t* to, std::ptrdiff_t toStep,
                      int width, int height) {
    for (int y = 0; y < height; ++y) {
        const auto* source = reinterpret_cast<const Sample*>(from + y * fromStep);
        for (int x = 0; x < width; ++x) reinterpret_cast<Sample*>(to + x * toStep)[y] = source[x];
    }
}

#if defined(__SSE2__)

constexpr int wideBlock8 = 16;
constexpr int wideBlock16 = 8;

/// 16 by 16 bytes in registers: four rounds of interleaving, each of which moves one bit of the row number into the
/// column number.
void swapWideBlock(const std::uint8_t* from, std::ptrdiff_t fromStep, std::uint8_t* to, std::ptrdiff_t toStep,
                   std::uint8_t /*sample*/) {
    __m128i a[16];
    __m128i b[16];
    for (int i = 0; i < 16; ++i) a[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + i * fromStep));
    const auto round = [](const __m128i* in, __m128i* out) {
        for (int i = 0; i < 8; ++i) {
            out[2 * i] = _mm_unpacklo_epi8(in[i], in[i + 8]);
            out[2 * i + 1] = _mm_unpackhi_epi8(in[i], in[i + 8]);
        }
    };
    round(a, b);
    round(b, a);
    round(a, b);
    round(b, a);
    for (int i = 0; i < 16; ++i) _mm_storeu_si128(reinterpret_cast<__m128i*>(to + i * toStep), a[i]);
}

/// 8 by 8 samples of 16 bits, in three such rounds.
void swapWideBlock(const std::uint8_t* from, std::ptrdiff_t fromStep, std::uint8_t* to, std::ptrdiff_t toStep,
                   std::uint16_t /*sample*/) {
    __m128i a[8];
    __m128i b[8];
    for (int i = 0; i < 8; ++i) a[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + i * fromStep));
    const auto round = [](const __m128i* in, __m128i* out) {
        for (int i = 0; i < 4; ++i) {
            out[2 * i] = _mm_unpacklo_epi16(in[i], in[i + 4]);
            out[2 * i + 1] = _mm_unpackhi_epi16(in[i], in[i + 4]);
        }
    };
    round(a, b);
    round(b, a);
    round(a, b);
    for (int i = 0; i < 8; ++i) _mm_storeu_si128(reinterpret_cast<__m128i*>(to + i * toStep), b[i]);
}

template <class Sample>
void swapBlock(const std::uint8_t* from, std::ptrdiff_t fromStep, std::uint8_t* to, std::ptrdiff_t toStep, int width,
               int height) {
    constexpr int block = sizeof(Sample) == 1 ? wideBlock8 : wideBlock16;
    if (width == block && height == block)
        swapWideBlock(from, fromStep, to, toStep, Sample{});
    else
        swapBlockPlainly<Sample>(from, fromStep, to, toStep, width, height);
}

#else

constexpr int wideBlock8 = 16;
constexpr int wideBlock16 = 8;

template <class Sample>
void swapBlock(const std::uint8_t* from, std::ptrdiff_t fromStep, std::uint8_t* to, std::ptrdiff_t toStep, int width,
               int height) {
    swapBlockPlainly<Sample>(from, fromStep, to, toStep, width, height);
}

#endif

/// Swaps the axes in columns of one cache line, so that the rows written to stay in the first-level cache while the
/// lines read are used whole.
template <class Sample>
void swapAxes(const PlaneView& from, const PlaneSpan& to, bool mirrorX, bool mirrorY) {
    constexpr int block = sizeof(Sample) == 1 ? wideBlock8 : wideBlock16;
    constexpr int band = 64 / sizeof(Sample);
    // A mirror across the canvas reverses the source's rows, one down the canvas the target's.
    const std::uint8_t* source = mirrorX ? from.row(from.height - 1) : from.data;
    const std::ptrdiff_t sourceStep = mirrorX ? -from.stride : from.stride;
    std::uint8_t* target = mirrorY ? to.row(to.height - 1) : to.data;
    const std::ptrdiff_t targetStep = mirrorY ? -to.stride : to.stride;
    for (int left = 0; left < from.width; left += band) {
        const int bandEnd = std::min(left + band, from.width);
        for (int y = 0; y < from.height; y += block) {
            const int rows = std::min(block, from.height - y);
            for (int x = left; x < bandEnd; x += block) {
                swapBlock<Sample>(source + y * sourceStep + x * std::ptrdiff_t{sizeof(Sample)}, sourceStep,
                                  target + x * targetStep + y * std::ptrdiff_t{sizeof(Sample)}, targetStep,
                                  std::min(block, bandEnd - x), rows);
            }
        }
    }
}

template <class Sample>
void mirrorAxes(const PlaneView& from, const PlaneSpan& to, bool mirrorX, bool mirrorY) {
    for (int y = 0; y < from.height; ++y) {
        const auto* source = reinterpret_cast<const Sample*>(from.row(mirrorY ? from.height - 1 - y : y));
        auto* target = reinterpret_cast<Sample*>(to.row(y));
        if (mirrorX)
            std::reverse_copy(source, source + from.width, target);
        else
            std::copy_n(source, from.width, target);
    }
}

}  // namespace

void turnPlane(const PlaneView& from, const PlaneSpan& to, const PictureOrientation& orientation) {
    const bool bytes = from.bytesPerSample == 1;
    if (orientation.turned) {
        (bytes ? swapAxes<std::uint8_t> : swapAxes<std::uint16_t>)(from, to, orientation.mirrorX, orientation.mirrorY);
    } else {
        (bytes ? mirrorAxes<std::uint8_t> : mirrorAxes<std::uint16_t>)(from, to, orientation.mirrorX,
                                                                       orientation.mirrorY);
    }
}

}  // namespace kelvane
