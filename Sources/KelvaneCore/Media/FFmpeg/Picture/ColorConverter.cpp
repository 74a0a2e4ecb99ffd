#include "ColorConverter.h"

#include <algorithm>
#include <cmath>
#include <list>
#include <mutex>

#if defined(__x86_64__)
#include <immintrin.h>
#define KELVANE_AVX2 __attribute__((target("avx2")))
#endif
#define KELVANE_INLINE inline __attribute__((always_inline))

namespace kelvane {

namespace {

// Samples are worked on as 16 bits, whatever their depth: shifted up so that the highest bit is used.
constexpr int linearShift = 20;  // 12 bits of the factors, 8 of the samples' fraction

constexpr int lumaCells = 64;
constexpr int lumaCellBits = 10;
constexpr int chromaNodes = 65;
constexpr int chromaCellBits = 10;
/// Cube values are 8-bit sample values times 64.
constexpr int cubeScale = 64;
constexpr int cubeShift = 6 + chromaCellBits;

KELVANE_INLINE std::uint8_t limited(std::int32_t value) {
    return static_cast<std::uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
}

template <class Sample>
KELVANE_INLINE void widenRow(const Sample* in, int count, int shift, std::uint16_t* out) {
    for (int i = 0; i < count; ++i) out[i] = static_cast<std::uint16_t>(in[i] << shift);
}

/// Chroma lines lie between two luma lines: three parts of the nearer, one of the other.
KELVANE_INLINE void mixRows(const std::uint16_t* near, const std::uint16_t* far, int count, std::uint16_t* out) {
    for (int i = 0; i < count; ++i) out[i] = static_cast<std::uint16_t>((3u * near[i] + far[i] + 2u) >> 2);
}

/// Chroma samples lie on the even luma samples; between them, their mean. `in` has a sample more than count / 2.
KELVANE_INLINE void doubleRow(const std::uint16_t* in, int count, std::uint16_t* out) {
    for (int i = 0; i < count / 2; ++i) {
        out[2 * i] = in[i];
        out[2 * i + 1] = static_cast<std::uint16_t>((1u * in[i] + in[i + 1] + 1u) >> 1);
    }
    if (count % 2 != 0) out[count - 1] = in[count / 2];
}

/// Luma where the chroma samples lie. The rows have a repeated sample before their first and behind their last.
KELVANE_INLINE void meanRow(const std::uint16_t* upper, const std::uint16_t* lower, int count, std::uint16_t* out) {
    for (int i = 0; i < count; ++i) {
        const std::uint32_t middle = 1u * upper[2 * i] + lower[2 * i];
        const std::uint32_t left = 1u * upper[2 * i - 1] + lower[2 * i - 1];
        const std::uint32_t right = 1u * upper[2 * i + 1] + lower[2 * i + 1];
        out[i] = static_cast<std::uint16_t>((2 * middle + left + right + 4) >> 3);
    }
}

KELVANE_INLINE void linearRow(const std::uint16_t* luma, const std::uint16_t* blue, const std::uint16_t* red, int count,
                              ColorConverter::Coefficients k, std::uint8_t* out) {
    for (int i = 0; i < count; ++i) {
        const std::int32_t sum = luma[i] * k.factors[0] + blue[i] * k.factors[1] + red[i] * k.factors[2] + k.offset;
        out[i] = limited(sum >> linearShift);
    }
}

KELVANE_INLINE void linearLumaRow(const std::uint16_t* luma, int count, ColorConverter::Coefficients k,
                                  std::uint8_t* out) {
    for (int i = 0; i < count; ++i) out[i] = limited((luma[i] * k.factors[0] + k.offset) >> linearShift);
}

KELVANE_INLINE void cubeRow(const std::uint16_t* luma, const std::uint16_t* blue, const std::uint16_t* red, int count,
                            const std::uint32_t* cube, std::uint8_t* out) {
    constexpr std::int32_t whole = 1 << chromaCellBits;
    const auto along = [](std::uint32_t pair, std::int32_t fraction) {
        const std::int32_t low = static_cast<std::int16_t>(pair & 0xffff);
        const std::int32_t high = static_cast<std::int16_t>(pair >> 16);
        return (low * ((1 << lumaCellBits) - fraction) + high * fraction) >> lumaCellBits;
    };
    for (int i = 0; i < count; ++i) {
        const std::int32_t lumaPart = luma[i] & ((1 << lumaCellBits) - 1);
        const std::int32_t bluePart = blue[i] & (whole - 1);
        const std::int32_t redPart = red[i] & (whole - 1);
        const std::uint32_t* corner =
            cube + ((blue[i] >> chromaCellBits) * chromaNodes + (red[i] >> chromaCellBits)) * lumaCells +
            (luma[i] >> lumaCellBits);
        // Two triangles fill a cell: both hold its near and its far corner, and one of the other two.
        const bool blueFirst = bluePart > redPart;
        const std::int32_t larger = blueFirst ? bluePart : redPart;
        const std::int32_t smaller = blueFirst ? redPart : bluePart;
        const std::uint32_t* side = corner + (blueFirst ? chromaNodes * lumaCells : lumaCells);
        const std::int32_t sum = along(*corner, lumaPart) * (whole - larger) +
                                 along(*side, lumaPart) * (larger - smaller) +
                                 along(corner[(chromaNodes + 1) * lumaCells], lumaPart) * smaller;
        out[i] = limited((sum + (1 << (cubeShift - 1))) >> cubeShift);
    }
}

#if defined(__x86_64__)

bool hasAVX2() {
    static const bool has = __builtin_cpu_supports("avx2") != 0;
    return has;
}

KELVANE_AVX2 inline __m256i wide(const std::uint16_t* in) {
    return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(in)));
}

/// `cubeRow` for eight samples at a time, step by step the same.
KELVANE_AVX2 void cubeRowAVX2(const std::uint16_t* luma, const std::uint16_t* blue, const std::uint16_t* red, int count,
                              const std::uint32_t* cube, std::uint8_t* out) {
    const auto* table = reinterpret_cast<const int*>(cube);
    const __m256i whole = _mm256_set1_epi32(1 << chromaCellBits);
    const __m256i chromaMask = _mm256_set1_epi32((1 << chromaCellBits) - 1);
    const __m256i lumaMask = _mm256_set1_epi32((1 << lumaCellBits) - 1);
    const __m256i lumaWhole = _mm256_set1_epi32(1 << lumaCellBits);
    const __m256i half = _mm256_set1_epi32(1 << (cubeShift - 1));
    const __m256i blueStep = _mm256_set1_epi32(chromaNodes * lumaCells);
    const __m256i redStep = _mm256_set1_epi32(lumaCells);
    const __m256i farStep = _mm256_set1_epi32((chromaNodes + 1) * lumaCells);
    int i = 0;
    for (; i + 8 <= count; i += 8) {
        const __m256i y = wide(luma + i);
        const __m256i b = wide(blue + i);
        const __m256i r = wide(red + i);
        const __m256i lumaPart = _mm256_and_si256(y, lumaMask);
        // (whole - part, part) as a pair of 16 bits: the weights of a pair of values.
        const __m256i weights = _mm256_or_si256(_mm256_sub_epi32(lumaWhole, lumaPart), _mm256_slli_epi32(lumaPart, 16));
        const __m256i bluePart = _mm256_and_si256(b, chromaMask);
        const __m256i redPart = _mm256_and_si256(r, chromaMask);
        const __m256i node =
            _mm256_add_epi32(_mm256_mullo_epi16(_mm256_srli_epi32(b, chromaCellBits), _mm256_set1_epi32(chromaNodes)),
                             _mm256_srli_epi32(r, chromaCellBits));
        const __m256i corner = _mm256_add_epi32(_mm256_slli_epi32(node, 6), _mm256_srli_epi32(y, lumaCellBits));
        const __m256i blueFirst = _mm256_cmpgt_epi32(bluePart, redPart);
        const __m256i larger = _mm256_max_epi32(bluePart, redPart);
        const __m256i smaller = _mm256_min_epi32(bluePart, redPart);
        const __m256i side = _mm256_add_epi32(corner, _mm256_blendv_epi8(redStep, blueStep, blueFirst));
        const __m256i nearValue =
            _mm256_srai_epi32(_mm256_madd_epi16(_mm256_i32gather_epi32(table, corner, 4), weights), lumaCellBits);
        const __m256i sideValue =
            _mm256_srai_epi32(_mm256_madd_epi16(_mm256_i32gather_epi32(table, side, 4), weights), lumaCellBits);
        const __m256i farValue = _mm256_srai_epi32(
            _mm256_madd_epi16(_mm256_i32gather_epi32(table, _mm256_add_epi32(corner, farStep), 4), weights),
            lumaCellBits);
        __m256i sum = _mm256_add_epi32(_mm256_mullo_epi32(nearValue, _mm256_sub_epi32(whole, larger)),
                                       _mm256_mullo_epi32(sideValue, _mm256_sub_epi32(larger, smaller)));
        sum = _mm256_add_epi32(_mm256_add_epi32(sum, half), _mm256_mullo_epi32(farValue, smaller));
        sum = _mm256_srai_epi32(sum, cubeShift);
        const __m128i words = _mm_packs_epi32(_mm256_castsi256_si128(sum), _mm256_extracti128_si256(sum, 1));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(words, words));
    }
    cubeRow(luma + i, blue + i, red + i, count - i, cube, out + i);
}

#endif

// Each of the plain loops once for any machine and once for wide registers.
#if defined(__x86_64__)
#define KELVANE_ROW_FUNCTION(name, parameters, call)       \
    KELVANE_AVX2 void name##AVX2 parameters { name call; } \
    void name##Any parameters { name call; }               \
    void name##Best parameters { hasAVX2() ? name##AVX2 call : name##Any call; }
#else
#define KELVANE_ROW_FUNCTION(name, parameters, call) \
    void name##Best parameters { name call; }
#endif

KELVANE_ROW_FUNCTION(mixRows, (const std::uint16_t* near, const std::uint16_t* far, int count, std::uint16_t* out),
                     (near, far, count, out))
KELVANE_ROW_FUNCTION(doubleRow, (const std::uint16_t* in, int count, std::uint16_t* out), (in, count, out))
KELVANE_ROW_FUNCTION(meanRow, (const std::uint16_t* upper, const std::uint16_t* lower, int count, std::uint16_t* out),
                     (upper, lower, count, out))
KELVANE_ROW_FUNCTION(linearRow,
                     (const std::uint16_t* luma, const std::uint16_t* blue, const std::uint16_t* red, int count,
                      ColorConverter::Coefficients k, std::uint8_t* out),
                     (luma, blue, red, count, k, out))
KELVANE_ROW_FUNCTION(linearLumaRow,
                     (const std::uint16_t* luma, int count, ColorConverter::Coefficients k, std::uint8_t* out),
                     (luma, count, k, out))

void cubeRowBest(const std::uint16_t* luma, const std::uint16_t* blue, const std::uint16_t* red, int count,
                 const std::uint32_t* cube, std::uint8_t* out) {
#if defined(__x86_64__)
    if (hasAVX2()) return cubeRowAVX2(luma, blue, red, count, cube, out);
#endif
    cubeRow(luma, blue, red, count, cube, out);
}

void widenRowOf(const PlaneView& plane, int row, int depth, std::uint16_t* out) {
    if (plane.bytesPerSample == 1)
        widenRow(plane.row(row), plane.width, 16 - depth, out);
    else
        widenRow(reinterpret_cast<const std::uint16_t*>(plane.row(row)), plane.width, 16 - depth, out);
}

}  // namespace

std::shared_ptr<const ColorConverter> ColorConverter::forColor(const PictureColor& color) {
    // A memo of a pure function, shared because every still image would build its cube anew.
    constexpr std::size_t kept = 4;
    static std::mutex mutex;
    static std::list<std::pair<PictureColor, std::shared_ptr<const ColorConverter>>> known;
    {
        const std::lock_guard lock(mutex);
        for (auto it = known.begin(); it != known.end(); ++it) {
            if (it->first != color) continue;
            known.splice(known.begin(), known, it);
            return it->second;
        }
    }
    auto made = std::make_shared<const ColorConverter>(color);
    const std::lock_guard lock(mutex);
    known.emplace_front(color, made);
    if (known.size() > kept) known.pop_back();
    return made;
}

ColorConverter::ColorConverter(const PictureColor& color) : color_(color), linear_(color.isLinearMap()) {
    const Rec709Mapping mapping(color);
    if (!linear_) {
        makeCube(mapping);
        return;
    }
    const Rec709Mapping::Linear exact = mapping.linear();
    const double perSample = std::ldexp(1.0, linearShift - (16 - color.depth));
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j)
            coefficients_[i].factors[j] = static_cast<std::int32_t>(std::lround(exact.factors[i][j] * perSample));
        coefficients_[i].offset = static_cast<std::int32_t>(std::lround((exact.offsets[i] + 0.5) * (1 << linearShift)));
    }
    lumaAlone_ = coefficients_[0].factors[1] == 0 && coefficients_[0].factors[2] == 0;
}

void ColorConverter::makeCube(const Rec709Mapping& mapping) {
    const double unit = std::ldexp(1.0, color_.depth - 16);
    const auto stored = [](double value) {
        return static_cast<std::uint16_t>(
            static_cast<std::int16_t>(std::clamp<long>(std::lround(value * cubeScale), -16384, 32767)));
    };
    for (auto& channel : cube_) channel.resize(std::size_t{chromaNodes} * chromaNodes * lumaCells);
    for (int b = 0; b < chromaNodes; ++b) {
        for (int r = 0; r < chromaNodes; ++r) {
            const std::size_t first = (std::size_t(b) * chromaNodes + r) * lumaCells;
            for (int y = 0; y <= lumaCells; ++y) {
                const ColorTriple value = mapping.map(
                    {(y << lumaCellBits) * unit, (b << chromaCellBits) * unit, (r << chromaCellBits) * unit});
                for (int channel = 0; channel < 3; ++channel) {
                    if (y < lumaCells) cube_[channel][first + y] = stored(value[channel]);
                    if (y > 0) cube_[channel][first + y - 1] |= std::uint32_t{stored(value[channel])} << 16;
                }
            }
        }
    }
}

void ColorConverter::convertRow(int channel, const std::uint16_t* luma, const std::uint16_t* blue,
                                const std::uint16_t* red, int count, std::uint8_t* out) const {
    if (linear_)
        linearRowBest(luma, blue, red, count, coefficients_[channel], out);
    else
        cubeRowBest(luma, blue, red, count, cube_[channel].data(), out);
}

void ColorConverter::convert(const PlaneView (&from)[3], const PlaneSpan (&to)[3], ColorRows& rows) const {
    const int width = to[0].width;
    const int chromaWidth = to[1].width;
    for (auto* row : {&rows.luma[0], &rows.luma[1]}) row->resize(static_cast<std::size_t>(width) + 4);
    for (auto* row : {&rows.wide[0], &rows.wide[1]}) row->resize(static_cast<std::size_t>(width) + 2);
    for (auto* row : {&rows.chroma[0], &rows.chroma[1], &rows.beside, &rows.mixed[0], &rows.mixed[1], &rows.meanLuma})
        row->resize(static_cast<std::size_t>(chromaWidth) + 2);

    // Rows 2n and 2n + 1 of luma go with row n of chroma; the chroma rows before and behind are mixed in.
    for (int row = 0; row < to[1].height; ++row) {
        for (int i = 0; i < 2; ++i) {
            const int line = std::min(2 * row + i, to[0].height - 1);
            std::uint16_t* luma = rows.luma[i].data() + 1;
            widenRowOf(from[0], line, color_.depth, luma);
            luma[-1] = luma[0];
            luma[width] = luma[width + 1] = luma[width - 1];
        }
        for (int part = 0; part < 2; ++part) widenRowOf(from[1 + part], row, color_.depth, rows.chroma[part].data());
        for (int i = 0; i < 2 && 2 * row + i < to[0].height; ++i) {
            const std::uint16_t* luma = rows.luma[i].data() + 1;
            std::uint8_t* out = to[0].row(2 * row + i);
            if (linear_ && lumaAlone_) {
                linearLumaRowBest(luma, width, coefficients_[0], out);
                continue;
            }
            const int beside = std::clamp(i == 0 ? row - 1 : row + 1, 0, to[1].height - 1);
            for (int part = 0; part < 2; ++part) {
                std::uint16_t* mixed = rows.mixed[part].data();
                widenRowOf(from[1 + part], beside, color_.depth, rows.beside.data());
                mixRowsBest(rows.chroma[part].data(), rows.beside.data(), chromaWidth, mixed);
                mixed[chromaWidth] = mixed[chromaWidth - 1];
                doubleRowBest(mixed, width, rows.wide[part].data());
            }
            convertRow(0, luma, rows.wide[0].data(), rows.wide[1].data(), width, out);
        }
        meanRowBest(rows.luma[0].data() + 1, rows.luma[1].data() + 1, chromaWidth, rows.meanLuma.data());
        for (int part = 0; part < 2; ++part)
            convertRow(1 + part, rows.meanLuma.data(), rows.chroma[0].data(), rows.chroma[1].data(), chromaWidth,
                       to[1 + part].row(row));
    }
}

}  // namespace kelvane
