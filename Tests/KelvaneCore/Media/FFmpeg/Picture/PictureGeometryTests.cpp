#include <gtest/gtest.h>

#include <numeric>

#include "Media/FFmpeg/Picture/PictureGeometry.h"
#include "Media/FFmpeg/Picture/PictureScaler.h"
#include "Media/FFmpeg/Picture/PictureTurn.h"
#include "PictureTestFrames.h"
#include "Timeline/Framing.h"

namespace kelvane {
namespace {

using namespace picturetest;

/// Waves that are long against a pixel, with a slope of up to seven levels a pixel: a tenth of a pixel is seen.
double waves(int plane, double x, double y) {
    const double longer = 2 * M_PI / 72;
    switch (plane) {
        case 0:
            return 126 + 50 * std::sin(longer * x) + 50 * std::cos(longer * y + 0.4);
        case 1:
            return 128 + 40 * std::sin(longer * x + 1) + 40 * std::sin(longer * y);
        default:
            return 128 + 40 * std::cos(longer * x) + 40 * std::sin(longer * y + 2);
    }
}

/// Samples of a drawn canvas beside the formula at the place that each comes from; those near the picture's edges and
/// off the picture are left out.
struct Comparison {
    std::vector<double> expected[3];
    std::vector<double> actual[3];
};

Comparison compare(const AVFrame& canvas, const AVFrame& source, Size natural, const AffineTransform& transform) {
    const AffineTransform back = transform.inverted();
    Comparison out;
    for (int plane = 0; plane < 3; ++plane) {
        const double margin = plane == 0 ? 4 : 8;
        for (int y = 0; y < planeHeight(canvas, plane); ++y) {
            for (int x = 0; x < planeWidth(canvas, plane); ++x) {
                const auto [px, py] = canvasPlace(plane, x, y);
                const double sx = (back.a * px + back.c * py + back.tx) * source.width / natural.width;
                const double sy = (back.b * px + back.d * py + back.ty) * source.height / natural.height;
                if (sx < margin || sy < margin || sx > source.width - margin || sy > source.height - margin) continue;
                out.expected[plane].push_back(waves(plane, sx, sy));
                out.actual[plane].push_back(sampleAt(canvas, plane, x, y));
            }
        }
    }
    return out;
}

void expectDrawnInPlace(const FrameKind& kind, Size natural, const AffineTransform& transform, Size canvas,
                        const std::string& what, PictureScaler& scaler) {
    const FramePtr source = paintedFrame(kind, waves);
    const auto drawn = scaler.draw(*source, natural, transform, canvas);
    ASSERT_TRUE(drawn.has_value()) << what << ": " << drawn.error().message;
    ASSERT_EQ((*drawn)->width, canvas.width);
    ASSERT_EQ((*drawn)->height, canvas.height);
    const Comparison comparison = compare(**drawn, *source, natural, transform);
    for (int plane = 0; plane < 3; ++plane) {
        const Difference gap = difference(comparison.expected[plane], comparison.actual[plane]);
        ASSERT_GT(gap.samples, 100) << what;
        // Two roundings make up to 1; a tenth of a pixel off would add 0.5 in the mean.
        EXPECT_LE(gap.largest, 2.0) << what << ", plane " << plane;
        EXPECT_LE(gap.mean, 0.42) << what << ", plane " << plane;
    }
}

TEST(PictureGeometry, EveryOrientationZoomAndPositionLandsWhereTheTransformSays) {
    const Size canvas{108, 192};
    PictureScaler scaler;
    for (const auto& orientation : allOrientations()) {
        for (const double zoom : {1.0, 1.37, 3.0}) {
            for (const double position : {-1.0, 0.0, 0.31, 1.0}) {
                const Size natural{320, 180};
                const AffineTransform transform =
                    Framing::transform(natural, orientation.transform(natural), zoom, position, -position, canvas);
                expectDrawnInPlace(
                    {.width = 320, .height = 180}, natural, transform, canvas,
                    orientation.name + ", zoom " + std::to_string(zoom) + ", position " + std::to_string(position),
                    scaler);
            }
        }
    }
}

TEST(PictureGeometry, OddSizesPixelAspectsAndSamplingsLandInPlace) {
    struct Row {
        std::string name;
        FrameKind kind;
        Size natural;
    };
    const std::vector<Row> rows{
        {"odd width", {.width = 321, .height = 180}, {321, 180}},
        {"odd height", {.width = 320, .height = 181}, {320, 181}},
        {"odd both", {.width = 241, .height = 161}, {241, 161}},
        {"wide pixels", {.width = 160, .height = 180}, {320, 180}},
        {"narrow pixels", {.width = 352, .height = 288}, {264, 288}},
        {"a frame smaller than its track", {.width = 160, .height = 90}, {320, 180}},
        {"4:2:2", {.width = 320, .height = 180, .format = AV_PIX_FMT_YUV422P}, {320, 180}},
        {"4:4:4", {.width = 320, .height = 180, .format = AV_PIX_FMT_YUV444P}, {320, 180}},
        {"4:4:0", {.width = 320, .height = 180, .format = AV_PIX_FMT_YUV440P}, {320, 180}},
        {"4:1:1", {.width = 320, .height = 180, .format = AV_PIX_FMT_YUV411P}, {320, 180}},
        {"chroma in the middle", {.width = 320, .height = 180, .chroma = AVCHROMA_LOC_CENTER}, {320, 180}},
        {"chroma at the top left", {.width = 320, .height = 180, .chroma = AVCHROMA_LOC_TOPLEFT}, {320, 180}},
        {"chroma untagged", {.width = 320, .height = 180, .chroma = AVCHROMA_LOC_UNSPECIFIED}, {320, 180}},
    };
    PictureScaler scaler;
    const Size canvas{108, 192};
    for (const Row& row : rows) {
        for (const auto& orientation : allOrientations()) {
            const AffineTransform transform =
                Framing::transform(row.natural, orientation.transform(row.natural), 1.2, 0.4, -0.7, canvas);
            expectDrawnInPlace(row.kind, row.natural, transform, canvas, row.name + ", " + orientation.name, scaler);
        }
    }
}

TEST(PictureGeometry, TurnsAtTheSourcesOwnScaleKeepChromaInPlace) {
    PictureScaler scaler;
    for (const auto& orientation : allOrientations()) {
        const Size natural{192, 108};
        const bool turned = orientation.a == 0;
        const Size canvas = turned ? Size{108, 192} : natural;
        expectDrawnInPlace({.width = 192, .height = 108}, natural, orientation.transform(natural), canvas,
                           orientation.name, scaler);
    }
}

TEST(PictureGeometry, OddCanvasesAreFilled) {
    PictureScaler scaler;
    for (const auto& orientation : allOrientations()) {
        for (const Size canvas : {Size{107, 191}, Size{107, 192}, Size{108, 191}}) {
            const Size natural{320, 180};
            const AffineTransform transform =
                Framing::transform(natural, orientation.transform(natural), 1, 0, 0, canvas);
            expectDrawnInPlace({.width = 320, .height = 180}, natural, transform, canvas, orientation.name, scaler);
        }
    }
}

TEST(PictureGeometry, APictureThatIsTheCanvasIsPassedOnWithoutACopy) {
    const FramePtr source = paintedFrame({.width = 108, .height = 192}, waves);
    source->pict_type = AV_PICTURE_TYPE_I;
    source->pts = 77;
    const auto drawn = PictureScaler().draw(*source, {108, 192}, {}, {108, 192});
    ASSERT_TRUE(drawn.has_value());
    for (int plane = 0; plane < 3; ++plane) EXPECT_EQ((*drawn)->data[plane], source->data[plane]);
    // What an encoder would take for an order stays behind.
    EXPECT_EQ((*drawn)->pict_type, AV_PICTURE_TYPE_NONE);
    EXPECT_EQ((*drawn)->nb_side_data, 0);
    EXPECT_EQ((*drawn)->color_range, AVCOL_RANGE_MPEG);
    EXPECT_EQ((*drawn)->colorspace, AVCOL_SPC_BT709);
    EXPECT_EQ((*drawn)->color_primaries, AVCOL_PRI_BT709);
    EXPECT_EQ((*drawn)->color_trc, AVCOL_TRC_BT709);
}

TEST(PictureGeometry, LumaAtItsOwnScaleIsExactInEveryOrientation) {
    const FramePtr source = paintedFrame({.width = 97, .height = 61}, [](int plane, double x, double y) {
        return plane == 0 ? 16 + std::fmod(x * 37 + y * 101, 219) : 128.0;
    });
    for (const auto& orientation : allOrientations()) {
        const Size natural{97, 61};
        const AffineTransform transform = orientation.transform(natural);
        const Rect shown = transform.boundingRect({0, 0, 97, 61});
        const auto drawn = PictureScaler().draw(*source, natural, transform, {shown.width, shown.height});
        ASSERT_TRUE(drawn.has_value());
        const AffineTransform back = transform.inverted();
        int wrong = 0;
        for (int y = 0; y < (*drawn)->height; ++y) {
            for (int x = 0; x < (*drawn)->width; ++x) {
                const int sx = static_cast<int>(std::floor(back.a * (x + 0.5) + back.c * (y + 0.5) + back.tx));
                const int sy = static_cast<int>(std::floor(back.b * (x + 0.5) + back.d * (y + 0.5) + back.ty));
                wrong += sampleAt(**drawn, 0, x, y) != sampleAt(*source, 0, sx, sy);
            }
        }
        EXPECT_EQ(wrong, 0) << orientation.name;
    }
}

TEST(PictureGeometry, WhatThePictureDoesNotCoverIsBlack) {
    const FramePtr source = patchFrame({.width = 64, .height = 64}, {200, 90, 160});
    // A quarter of the canvas, from (20, 40) on.
    const AffineTransform transform{0.5, 0, 0, 1, 20, 40};
    for (const bool hlg : {false, true}) {
        source->color_trc = hlg ? AVCOL_TRC_ARIB_STD_B67 : AVCOL_TRC_BT709;
        const auto drawn = PictureScaler().draw(*source, {64, 64}, transform, {100, 120});
        ASSERT_TRUE(drawn.has_value());
        for (int plane = 0; plane < 3; ++plane) {
            const int step = plane == 0 ? 1 : 2;
            for (int y = 0; y < planeHeight(**drawn, plane); ++y) {
                for (int x = 0; x < planeWidth(**drawn, plane); ++x) {
                    const bool inside = x * step >= 20 && x * step < 52 && y * step >= 40 && y * step < 104;
                    const int black = plane == 0 ? 16 : 128;
                    const int value = sampleAt(**drawn, plane, x, y);
                    ASSERT_EQ(inside, value != black) << plane << " " << x << " " << y << " is " << value;
                }
            }
        }
    }
}

TEST(PictureGeometry, APictureBesideTheCanvasOrWithoutSizeIsBlack) {
    const FramePtr source = patchFrame({.width = 64, .height = 64}, {200, 90, 160});
    const double infinite = std::numeric_limits<double>::infinity();
    for (const AffineTransform transform :
         {AffineTransform{1, 0, 0, 1, 500, 0}, AffineTransform{1, 0, 0, 1, 0, -64}, AffineTransform{0, 0, 0, 0, 0, 0},
          AffineTransform{infinite, 0, 0, 1, 0, 0}, AffineTransform{1, 0, 0, 1, std::nan(""), 0}}) {
        const auto drawn = PictureScaler().draw(*source, {64, 64}, transform, {32, 32});
        ASSERT_TRUE(drawn.has_value());
        for (int plane = 0; plane < 3; ++plane)
            for (int y = 0; y < planeHeight(**drawn, plane); ++y)
                for (int x = 0; x < planeWidth(**drawn, plane); ++x)
                    ASSERT_EQ(sampleAt(**drawn, plane, x, y), plane == 0 ? 16 : 128);
    }
    EXPECT_TRUE(PictureScaler().draw(*source, {0, 0}, {}, {32, 32}).has_value());
}

TEST(PictureGeometry, ExtremeSizesAreDrawn) {
    struct Row {
        int width, height;
        Size canvas;
    };
    PictureScaler scaler;
    for (const Row& row : {Row{1, 1, {108, 192}}, Row{1, 1, {1, 1}}, Row{2, 1, {108, 192}}, Row{1, 200, {108, 192}},
                           Row{200, 1, {108, 192}}, Row{3, 5, {7, 3}}, Row{16384, 16, {108, 192}},
                           Row{16, 16384, {108, 192}}, Row{16384, 8, {96, 1}}, Row{1024, 1024, {1, 1}}}) {
        for (const auto& orientation : allOrientations()) {
            for (const auto format :
                 {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV420P10, AV_PIX_FMT_RGB24, AV_PIX_FMT_YUVA420P, AV_PIX_FMT_GRAY8}) {
                FramePtr source = emptyFrame({.width = row.width, .height = row.height, .format = format});
                const Size natural{static_cast<double>(row.width), static_cast<double>(row.height)};
                for (const double zoom : {1.0, 3.0}) {
                    const auto drawn = scaler.draw(
                        *source, natural,
                        Framing::transform(natural, orientation.transform(natural), zoom, 1, -1, row.canvas),
                        row.canvas);
                    ASSERT_TRUE(drawn.has_value())
                        << row.width << "×" << row.height << " " << orientation.name << ": " << drawn.error().message;
                    EXPECT_EQ((*drawn)->width, row.canvas.width);
                }
            }
        }
    }
}

TEST(PictureGeometry, CanvasesOfNoSizeAreRefused) {
    const FramePtr source = patchFrame({.width = 64, .height = 64}, {200, 90, 160});
    for (const Size canvas : {Size{0, 10}, Size{10, -1}, Size{20000, 10}, Size{std::nan(""), 10}}) {
        const auto drawn = PictureScaler().draw(*source, {64, 64}, {}, canvas);
        ASSERT_FALSE(drawn.has_value());
        EXPECT_EQ(drawn.error().message, "A picture of this size can't be made.");
        EXPECT_FALSE(PictureScaler::black(canvas).has_value());
    }
}

TEST(PictureGeometry, RowsAreAlignedAndHaveSpareBytesBehind) {
    const auto frame = PictureScaler::black({1078, 1918});
    ASSERT_TRUE(frame.has_value());
    for (int plane = 0; plane < 3; ++plane) {
        EXPECT_EQ((*frame)->linesize[plane] % 64, 0);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>((*frame)->data[plane]) % 64, 0U);
    }
    const std::uint8_t* end = (*frame)->data[2] + std::ptrdiff_t{(*frame)->linesize[2]} * 959;
    EXPECT_GE((*frame)->buf[0]->data + (*frame)->buf[0]->size, end + 64);
}

/// The scaling filter in floating point: Catmull-Rom, widened where it shrinks, edges mirrored off by staying away.
std::vector<double> floatWeights(double centre, double scale, int& first) {
    const double widening = std::max(scale, 1.0);
    first = static_cast<int>(std::ceil(centre - 2 * widening - 0.5));
    std::vector<double> weights;
    for (int i = first; i + 0.5 <= centre + 2 * widening; ++i) {
        const double t = std::abs(i + 0.5 - centre) / widening;
        weights.push_back(t < 1   ? 1.5 * t * t * t - 2.5 * t * t + 1
                          : t < 2 ? -0.5 * t * t * t + 2.5 * t * t - 4 * t + 2
                                  : 0);
    }
    const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
    for (double& weight : weights) weight /= sum;
    return weights;
}

TEST(PictureGeometry, ScalingAgreesWithAFloatingPointFilter) {
    // Detail down to single pixels.
    const auto detail = [](int plane, double x, double y) {
        if (plane > 0) return 128.0;
        const auto seed = static_cast<std::uint32_t>(static_cast<int>(x) * 7919 + static_cast<int>(y) * 104729);
        return 60 + 60 * std::sin(x / 5) * std::cos(y / 7) + (seed * 2654435761U >> 24) * 0.3 + 30.0;
    };
    for (const int width : {480, 960}) {
        const int height = width * 9 / 16;
        const FramePtr source = paintedFrame({.width = width, .height = height}, detail);
        const Size natural{static_cast<double>(width), static_cast<double>(height)};
        const Size canvas{216, 384};
        const AffineTransform transform = Framing::transform(natural, {}, 1, 0, 0, canvas);
        const auto drawn = PictureScaler().draw(*source, natural, transform, canvas);
        ASSERT_TRUE(drawn.has_value());
        const AffineTransform back = transform.inverted();
        std::vector<double> expected, actual;
        for (int y = 8; y < 376; ++y) {
            for (int x = 0; x < 216; ++x) {
                int firstX = 0, firstY = 0;
                const auto across = floatWeights(back.a * (x + 0.5) + back.tx, back.a, firstX);
                const auto down = floatWeights(back.d * (y + 0.5) + back.ty, back.d, firstY);
                double sum = 0;
                for (std::size_t j = 0; j < down.size(); ++j)
                    for (std::size_t i = 0; i < across.size(); ++i)
                        sum += down[j] * across[i] *
                               sampleAt(*source, 0, firstX + static_cast<int>(i), firstY + static_cast<int>(j));
                expected.push_back(std::clamp(sum, 0.0, 255.0));
                actual.push_back(sampleAt(**drawn, 0, x, y));
            }
        }
        const Difference gap = difference(expected, actual);
        // Rounding to 8 bits alone makes 58.9 dB.
        EXPECT_GE(gap.psnr, 58.0) << width;
        EXPECT_LE(gap.largest, 1.0) << width;
    }
}

TEST(PictureGeometry, PlanesTurnSampleBySample) {
    for (const int bytes : {1, 2}) {
        for (const auto [width, height] :
             {std::pair{1, 1}, {16, 16}, {64, 16}, {67, 35}, {130, 70}, {8, 200}, {5, 3}}) {
            std::vector<std::uint8_t> in(static_cast<std::size_t>(width * height * bytes));
            for (std::size_t i = 0; i < in.size(); ++i) in[i] = static_cast<std::uint8_t>(i * 37 + i / 251);
            for (int kind = 0; kind < 8; ++kind) {
                const PictureOrientation orientation{(kind & 1) != 0, (kind & 2) != 0, (kind & 4) != 0};
                const int toWidth = orientation.turned ? height : width;
                const int toHeight = orientation.turned ? width : height;
                // No spare bytes: whatever is written beside is found by the address sanitizer.
                std::vector<std::uint8_t> out(in.size());
                turnPlane({in.data(), width * bytes, width, height, bytes},
                          {out.data(), toWidth * bytes, toWidth, toHeight, bytes}, orientation);
                std::vector<std::uint8_t> expected(in.size());
                for (int y = 0; y < height; ++y) {
                    for (int x = 0; x < width; ++x) {
                        int toX = orientation.turned ? y : x;
                        int toY = orientation.turned ? x : y;
                        if (orientation.mirrorX) toX = toWidth - 1 - toX;
                        if (orientation.mirrorY) toY = toHeight - 1 - toY;
                        for (int b = 0; b < bytes; ++b)
                            expected[static_cast<std::size_t>((toY * toWidth + toX) * bytes + b)] =
                                in[static_cast<std::size_t>((y * width + x) * bytes + b)];
                    }
                }
                EXPECT_EQ(out, expected) << width << "×" << height << " kind " << kind << " bytes " << bytes;
            }
        }
    }
}

}  // namespace
}  // namespace kelvane
