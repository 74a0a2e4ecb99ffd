#include <gtest/gtest.h>

#include "PictureTestColors.h"

namespace kelvane {
namespace {

using namespace picturetest;

const std::vector<Color> patches{{0, 0, 0},       {1, 1, 1},       {0.5, 0.5, 0.5}, {0.18, 0.18, 0.18}, {0.75, 0, 0},
                                 {0, 0.75, 0},    {0, 0, 0.75},    {0.75, 0.75, 0}, {0, 0.75, 0.75},    {0.75, 0, 0.75},
                                 {0.8, 0.6, 0.5}, {0.2, 0.4, 0.7}, {1, 0, 0},       {0, 1, 0},          {0, 0, 1}};

TEST(PictureColor, ColourBarsOfRec601BecomeThoseOfRec709) {
    // The published samples of 75% bars.
    struct Row {
        std::string name;
        Samples from, to;
    };
    const std::vector<Row> rows{{"white", {180, 128, 128}, {180, 128, 128}}, {"yellow", {162, 44, 142}, {168, 44, 136}},
                                {"cyan", {131, 156, 44}, {145, 147, 44}},    {"green", {112, 72, 58}, {133, 63, 52}},
                                {"magenta", {84, 184, 198}, {63, 193, 204}}, {"red", {65, 100, 212}, {51, 109, 212}},
                                {"blue", {35, 212, 114}, {28, 212, 120}},    {"black", {16, 128, 128}, {16, 128, 128}}};
    for (const Row& row : rows)
        expectNear(drawn({.width = 64, .height = 64, .matrix = AVCOL_SPC_SMPTE170M}, row.from), row.to, 1, row.name);
}

TEST(PictureColor, MatricesAndRangesAreConverted) {
    for (const Color& patch : patches) {
        for (const bool full : {false, true}) {
            const AVColorRange range = full ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
            const std::string what = ::testing::PrintToString(patch) + (full ? " full" : " limited");
            expectNear(drawn({.width = 64, .height = 64, .range = range}, encoded(patch, 0.2126, 0.0722, full, 8)),
                       rec709(patch), 1, what + " 709");
            expectNear(
                drawn({.width = 64, .height = 64, .range = range, .matrix = AVCOL_SPC_BT470BG}, rec601(patch, full)),
                rec709(patch), 1, what + " 601");
            expectNear(drawn({.width = 64,
                              .height = 64,
                              .format = AV_PIX_FMT_YUV422P10,
                              .range = range,
                              .matrix = AVCOL_SPC_SMPTE170M},
                             rec601(patch, full, 10)),
                       rec709(patch), 1, what + " 601 10-bit");
            expectNear(drawn({.width = 64, .height = 64, .format = AV_PIX_FMT_YUV444P12, .range = range},
                             encoded(patch, 0.2126, 0.0722, full, 12)),
                       rec709(patch), 1, what + " 709 12-bit");
        }
        // The older full-range formats say so by their name.
        expectNear(drawn({.width = 64, .height = 64, .format = AV_PIX_FMT_YUVJ420P, .range = AVCOL_RANGE_UNSPECIFIED},
                         encoded(patch, 0.2126, 0.0722, true, 8)),
                   rec709(patch), 1, ::testing::PrintToString(patch) + " yuvj");
    }
}

TEST(PictureColor, UntaggedPicturesAreGuessedBySize) {
    struct Row {
        int width, height;
        bool rec709;
    };
    for (const Row& row : {Row{640, 480, false}, Row{720, 576, false}, Row{854, 480, false}, Row{1280, 534, true},
                           Row{1280, 720, true}, Row{720, 1280, true}, Row{1920, 1080, true}}) {
        const FrameKind untagged{.width = row.width,
                                 .height = row.height,
                                 .range = AVCOL_RANGE_UNSPECIFIED,
                                 .matrix = AVCOL_SPC_UNSPECIFIED,
                                 .primaries = AVCOL_PRI_UNSPECIFIED,
                                 .transfer = AVCOL_TRC_UNSPECIFIED,
                                 .chroma = AVCHROMA_LOC_UNSPECIFIED};
        const Color green{0.1, 0.7, 0.2};
        expectNear(drawn(untagged, row.rec709 ? rec709(green) : rec601(green)), rec709(green), 1,
                   std::to_string(row.width) + "×" + std::to_string(row.height));
    }
}

TEST(PictureColor, SRGBKeepsItsCodeValues) {
    for (const Color& patch : patches)
        expectNear(drawn({.width = 64, .height = 64, .transfer = AVCOL_TRC_IEC61966_2_1}, rec709(patch)), rec709(patch),
                   0, ::testing::PrintToString(patch));
}

TEST(PictureColor, RGBPicturesAreEncoded) {
    for (const Color& patch : patches) {
        const auto level = [&](int i, int top) {
            return static_cast<int>(std::lround(patch[static_cast<std::size_t>(i)] * top));
        };
        FrameKind kind{.width = 64,
                       .height = 64,
                       .format = AV_PIX_FMT_GBRP,
                       .matrix = AVCOL_SPC_RGB,
                       .transfer = AVCOL_TRC_IEC61966_2_1};
        const std::string what = ::testing::PrintToString(patch);
        expectNear(drawn(kind, {level(1, 255), level(2, 255), level(0, 255)}), rec709(patch), 1, what + " gbrp");
        kind.format = AV_PIX_FMT_GBRP10;
        expectNear(drawn(kind, {level(1, 1023), level(2, 1023), level(0, 1023)}), rec709(patch), 1, what + " gbrp10");

        for (const auto format : {AV_PIX_FMT_RGB24, AV_PIX_FMT_BGRA, AV_PIX_FMT_PAL8}) {
            kind.format = format;
            FramePtr source = emptyFrame(kind);
            const std::array<int, 4> bgra{level(2, 255), level(1, 255), level(0, 255), 255};
            if (format == AV_PIX_FMT_PAL8)
                for (int i = 0; i < 4; ++i)
                    source->data[1][4 * 9 + i] = static_cast<std::uint8_t>(bgra[static_cast<std::size_t>(i)]);
            for (int y = 0; y < 64; ++y) {
                std::uint8_t* row = source->data[0] + std::ptrdiff_t{y} * source->linesize[0];
                for (int x = 0; x < 64; ++x) {
                    if (format == AV_PIX_FMT_PAL8) row[x] = 9;
                    if (format == AV_PIX_FMT_RGB24)
                        for (int i = 0; i < 3; ++i) row[3 * x + i] = static_cast<std::uint8_t>(level(i, 255));
                    if (format == AV_PIX_FMT_BGRA)
                        for (int i = 0; i < 4; ++i)
                            row[4 * x + i] = static_cast<std::uint8_t>(bgra[static_cast<std::size_t>(i)]);
                }
            }
            const auto out = PictureScaler().draw(*source, {64, 64}, {}, {64, 64});
            ASSERT_TRUE(out.has_value());
            expectNear({sampleAt(**out, 0, 30, 30), sampleAt(**out, 1, 15, 15), sampleAt(**out, 2, 15, 15)},
                       rec709(patch), 1, what + " " + av_get_pix_fmt_name(format));
        }
    }
}

TEST(PictureColor, InterleavedAndGrayFormatsAreTaken) {
    const Color patch{0.3, 0.6, 0.2};
    const Samples expected = rec709(patch);
    for (const auto format : {AV_PIX_FMT_NV12, AV_PIX_FMT_P010, AV_PIX_FMT_YUYV422}) {
        FramePtr source = emptyFrame({.width = 64, .height = 64, .format = format});
        for (int y = 0; y < 64; ++y) {
            for (int x = 0; x < 64; ++x) {
                std::uint8_t* luma = source->data[0] + std::ptrdiff_t{y} * source->linesize[0];
                std::uint8_t* chroma = source->data[1] == nullptr
                                           ? nullptr
                                           : source->data[1] + std::ptrdiff_t{y / 2} * source->linesize[1];
                const int part = expected[static_cast<std::size_t>(1 + x % 2)];
                if (format == AV_PIX_FMT_NV12) {
                    luma[x] = static_cast<std::uint8_t>(expected[0]);
                    chroma[x] = static_cast<std::uint8_t>(part);
                } else if (format == AV_PIX_FMT_P010) {
                    reinterpret_cast<std::uint16_t*>(luma)[x] = static_cast<std::uint16_t>(expected[0] << 8);
                    reinterpret_cast<std::uint16_t*>(chroma)[x] = static_cast<std::uint16_t>(part << 8);
                } else {
                    luma[2 * x] = static_cast<std::uint8_t>(expected[0]);
                    luma[2 * x + 1] = static_cast<std::uint8_t>(part);
                }
            }
        }
        const auto out = PictureScaler().draw(*source, {64, 64}, {}, {64, 64});
        ASSERT_TRUE(out.has_value()) << out.error().message;
        expectNear({sampleAt(**out, 0, 30, 30), sampleAt(**out, 1, 15, 15), sampleAt(**out, 2, 15, 15)}, expected, 0,
                   av_get_pix_fmt_name(format));
    }
    expectNear(drawn({.width = 64, .height = 64, .format = AV_PIX_FMT_GRAY8}, {100, 0, 0}), {100, 128, 128}, 0, "gray");
    expectNear(
        drawn({.width = 64, .height = 64, .format = AV_PIX_FMT_GRAY8, .range = AVCOL_RANGE_UNSPECIFIED}, {255, 0, 0}),
        {235, 128, 128}, 0, "full gray");
    expectNear(drawn({.width = 64, .height = 64, .format = AV_PIX_FMT_GRAY10}, {400, 0, 0}), {100, 128, 128}, 0,
               "gray10");
}

TEST(PictureColor, TransparentPicturesLieOverBlack) {
    struct Row {
        int alpha;
        double share;
    };
    for (const Row& row : {Row{255, 1}, Row{128, 128.0 / 255}, Row{0, 0}}) {
        const Samples expected{static_cast<int>(std::lround(16 + (200 - 16) * row.share)),
                               static_cast<int>(std::lround(128 + (90 - 128) * row.share)),
                               static_cast<int>(std::lround(128 + (160 - 128) * row.share))};
        for (const auto format : {AV_PIX_FMT_YUVA420P, AV_PIX_FMT_YUVA444P, AV_PIX_FMT_YUVA444P10}) {
            const int scale = format == AV_PIX_FMT_YUVA444P10 ? 4 : 1;
            const FramePtr source =
                paintedFrame({.width = 65, .height = 65, .format = format}, [&](int plane, double, double) {
                    return scale == 1 || plane < 3
                               ? std::array{200, 90, 160, row.alpha}[static_cast<std::size_t>(plane)] * scale
                               : std::lround(row.alpha * 1023.0 / 255);
                });
            const auto out = PictureScaler().draw(*source, {65, 65}, {}, {65, 65});
            ASSERT_TRUE(out.has_value());
            expectNear({sampleAt(**out, 0, 64, 64), sampleAt(**out, 1, 32, 32), sampleAt(**out, 2, 32, 32)}, expected,
                       1, std::string(av_get_pix_fmt_name(format)) + " " + std::to_string(row.alpha));
        }
    }
}

TEST(PictureColor, StillsAreWhatAPlayerShows) {
    for (const Color& patch : patches) {
        const FramePtr source = patchFrame({.width = 33, .height = 17}, rec709(patch));
        const auto still = PictureScaler::still(*source);
        ASSERT_TRUE(still.has_value());
        ASSERT_EQ((*still)->width, 33);
        ASSERT_EQ((*still)->height, 17);
        ASSERT_EQ((*still)->pixels.size(), 33U * 17 * 4);
        for (const std::size_t at : {std::size_t{0}, std::size_t{16 * 33 + 32} * 4}) {
            for (std::size_t i = 0; i < 3; ++i)
                EXPECT_NEAR((*still)->pixels[at + i], patch[i] * 255, 2.5) << ::testing::PrintToString(patch);
            EXPECT_EQ((*still)->pixels[at + 3], 255);
        }
    }
    for (const auto [width, height] : {std::pair{1, 1}, {2, 1}, {1, 2}}) {
        const auto black = PictureScaler::black({static_cast<double>(width), static_cast<double>(height)});
        const auto still = PictureScaler::still(**black);
        ASSERT_TRUE(still.has_value());
        EXPECT_EQ((*still)->pixels[0], 0);
        EXPECT_EQ((*still)->pixels[3], 255);
    }
}

TEST(PictureColor, PicturesWithoutAnImageAreRefused) {
    FramePtr frame(av_frame_alloc());
    const auto drawnFrame = PictureScaler().draw(*frame, {64, 64}, {}, {64, 64});
    ASSERT_FALSE(drawnFrame.has_value());
    EXPECT_EQ(drawnFrame.error().message, "A picture without an image can't be shown.");
    EXPECT_FALSE(PictureScaler::still(*frame).has_value());
}

TEST(PictureColor, EveryFormatThatDecodersGiveIsDrawn) {
    int accepted = 0;
    PictureScaler scaler;
    for (const AVPixFmtDescriptor* format = av_pix_fmt_desc_next(nullptr); format != nullptr;
         format = av_pix_fmt_desc_next(format)) {
        if ((format->flags & AV_PIX_FMT_FLAG_HWACCEL) != 0) continue;
        const FramePtr source = emptyFrame({.width = 66, .height = 34, .format = av_pix_fmt_desc_get_id(format)});
        if (source->data[0] == nullptr) continue;
        const auto out = scaler.draw(*source, {66, 34}, {1.7, 0, 0, 1.7, -5, -3}, {40, 48});
        if (out) {
            ++accepted;
        } else {
            EXPECT_EQ(out.error().message, "A picture of the format " + std::string(format->name) + " can't be shown.");
            RecordProperty(format->name, "refused");
        }
    }
    EXPECT_GE(accepted, 150);
}

}  // namespace
}  // namespace kelvane
