#include <gtest/gtest.h>

#include <random>

#include "Media/FFmpeg/Picture/ColorConverter.h"
#include "PictureTestColors.h"

namespace kelvane {
namespace {

using namespace picturetest;

constexpr FrameKind hdrKind(AVColorTransferCharacteristic transfer) {
    return {.width = 64,
            .height = 64,
            .format = AV_PIX_FMT_YUV420P10,
            .matrix = AVCOL_SPC_BT2020_NCL,
            .primaries = AVCOL_PRI_BT2020,
            .transfer = transfer};
}

TEST(PictureHDR, NeutralHLGStaysNeutralAndMeetsTheSDRLevels) {
    struct Row {
        std::string name;
        double signal;
        /// R'G'B' level of the SDR picture.
        double low, high;
    };
    // BT.2408: reference white is 75% HLG, a grey card of 18% reflectance 38%, and 41% in SDR.
    for (const Row& row : {Row{"black", 0, 0, 0.002}, Row{"grey card", 0.38, 0.38, 0.46},
                           Row{"white", 0.75, 0.88, 0.95}, Row{"peak", 1, 0.99, 1.0}}) {
        const int luma = static_cast<int>(std::lround(64 + 876 * row.signal));
        const Samples out = drawn(hdrKind(AVCOL_TRC_ARIB_STD_B67), {luma, 512, 512});
        EXPECT_GE((out[0] - 16) / 219.0, row.low - 0.003) << row.name;
        EXPECT_LE((out[0] - 16) / 219.0, row.high + 0.003) << row.name;
        EXPECT_NEAR(out[1], 128, 1) << row.name;
        EXPECT_NEAR(out[2], 128, 1) << row.name;
    }
}

TEST(PictureHDR, NeutralLevelsRiseWithoutSteps) {
    for (const auto transfer : {AVCOL_TRC_ARIB_STD_B67, AVCOL_TRC_SMPTE2084}) {
        const Rec709Mapping mapping({.matrix = AVCOL_SPC_BT2020_NCL,
                                     .primaries = AVCOL_PRI_BT2020,
                                     .transfer = transfer == AVCOL_TRC_SMPTE2084 ? TransferKind::pq : TransferKind::hlg,
                                     .depth = 10});
        double before = 0;
        for (int luma = 64; luma <= 940; ++luma) {
            const double value = mapping.map({static_cast<double>(luma), 512, 512})[0];
            EXPECT_GE(value, before - 1e-9) << luma;
            EXPECT_LE(value - before, luma == 64 ? 17.0 : 1.0) << luma;
            before = value;
        }
    }
}

/// SMPTE ST 2084, from its text.
double pqCode(double nits) {
    const double y = std::pow(nits / 10000, 0.1593017578125);
    return std::pow((0.8359375 + 18.8515625 * y) / (1 + 18.6875 * y), 78.84375);
}

/// IEC 61966-2-1.
double screenCode(double light) {
    return light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

TEST(PictureHDR, ColoursBelowTheShoulderComeThroughPQUnchanged) {
    // Linear Rec. 709 light to Rec. 2020 (ITU-R BT.2087), of at most 88 nits.
    for (const Color& light :
         {Color{0.3, 0.3, 0.3}, Color{0.35, 0.05, 0.05}, Color{0.05, 0.3, 0.05}, Color{0.04, 0.04, 0.4},
          Color{0.2, 0.14, 0.1}, Color{0.02, 0.03, 0.025}, Color{0.005, 0.005, 0.005}}) {
        const Color wide{0.6274 * light[0] + 0.3293 * light[1] + 0.0433 * light[2],
                         0.0691 * light[0] + 0.9195 * light[1] + 0.0114 * light[2],
                         0.0164 * light[0] + 0.0880 * light[1] + 0.8956 * light[2]};
        const Color signal{pqCode(203 * wide[0]), pqCode(203 * wide[1]), pqCode(203 * wide[2])};
        const Color expected{screenCode(light[0]), screenCode(light[1]), screenCode(light[2])};
        expectNear(drawn(hdrKind(AVCOL_TRC_SMPTE2084), rec2020(signal, 10)), rec709(expected), 2,
                   ::testing::PrintToString(light));
    }
    // Reference white and far beyond.
    const double white =
        (drawn(hdrKind(AVCOL_TRC_SMPTE2084), rec2020({pqCode(203), pqCode(203), pqCode(203)}, 10))[0] - 16) / 219.0;
    EXPECT_GE(white, 0.88);
    EXPECT_LE(white, 0.95);
    EXPECT_NEAR(drawn(hdrKind(AVCOL_TRC_SMPTE2084), {940, 512, 512})[0], 235, 1);
}

TEST(PictureHDR, SaturatedHLGKeepsItsHue) {
    // Primaries and their mixtures: the two colour differences keep their signs and the strongest components stay
    // strongest.
    for (const Color& patch :
         {Color{0.75, 0, 0}, Color{0, 0.75, 0}, Color{0, 0, 0.75}, Color{0.75, 0.75, 0}, Color{0, 0.75, 0.75},
          Color{0.75, 0, 0.75}, Color{0.7, 0.5, 0.4}, Color{0.9, 0.3, 0.3}}) {
        const Samples out = drawn(hdrKind(AVCOL_TRC_ARIB_STD_B67), rec2020(patch, 10));
        const double y = (out[0] - 16) / 219.0, b = (out[1] - 128) / 224.0, r = (out[2] - 128) / 224.0;
        const Color rgb{y + 1.5748 * r, y - 0.1873 * b - 0.4681 * r, y + 1.8556 * b};
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_GE(rgb[i], -0.03) << ::testing::PrintToString(patch);
            EXPECT_LE(rgb[i], 1.03) << ::testing::PrintToString(patch);
            for (std::size_t j = 0; j < 3; ++j)
                if (patch[i] > patch[j]) EXPECT_GT(rgb[i], rgb[j] + 0.02) << ::testing::PrintToString(patch);
        }
    }
}

TEST(PictureHDR, WidePrimariesAreConverted) {
    // SDR of Rec. 2020: light through the inverse of BT.2087's matrix by an sRGB screen.
    for (const Color& light :
         {Color{0.5, 0.5, 0.5}, Color{0.8, 0.1, 0.1}, Color{0.1, 0.6, 0.1}, Color{0.1, 0.1, 0.7}}) {
        const Color wide{0.6274 * light[0] + 0.3293 * light[1] + 0.0433 * light[2],
                         0.0691 * light[0] + 0.9195 * light[1] + 0.0114 * light[2],
                         0.0164 * light[0] + 0.0880 * light[1] + 0.8956 * light[2]};
        const auto power = [](const Color& c) { return Color{screenCode(c[0]), screenCode(c[1]), screenCode(c[2])}; };
        FrameKind kind = hdrKind(AVCOL_TRC_BT2020_10);
        expectNear(drawn(kind, rec2020(power(wide), 10)), rec709(power(light)), 2, ::testing::PrintToString(light));
    }
}

/// Linear Rec. 709 light in nits as a signal of Rec. 2020 (ITU-R BT.2087, BT.2100).
Color hdrSignal(const Color& nits, TransferKind transfer) {
    const Color wide{0.6274 * nits[0] + 0.3293 * nits[1] + 0.0433 * nits[2],
                     0.0691 * nits[0] + 0.9195 * nits[1] + 0.0114 * nits[2],
                     0.0164 * nits[0] + 0.0880 * nits[1] + 0.8956 * nits[2]};
    if (transfer == TransferKind::pq) return {pqCode(wide[0]), pqCode(wide[1]), pqCode(wide[2])};
    const double display = (0.2627 * wide[0] + 0.6780 * wide[1] + 0.0593 * wide[2]) / 1000;
    Color out{};
    for (std::size_t i = 0; i < 3; ++i) {
        const double scene = wide[i] / 1000 * std::pow(display, 1 / 1.2 - 1);
        out[i] = scene <= 1.0 / 12 ? std::sqrt(3 * scene) : 0.17883277 * std::log(12 * scene - 0.28466892) + 0.55991073;
    }
    return out;
}

TEST(PictureHDR, BrightColoursKeepTheirSaturation) {
    // Brighter than the screen's white, within Rec. 709's gamut: darkened as a whole, never paled towards white.
    for (const Color& nits : {Color{420, 300, 12}, Color{420, 15, 15}, Color{30, 300, 40}, Color{20, 250, 320}}) {
        const double brightest = std::max({nits[0], nits[1], nits[2]});
        for (const auto transfer : {TransferKind::hlg, TransferKind::pq}) {
            const auto tag = transfer == TransferKind::hlg ? AVCOL_TRC_ARIB_STD_B67 : AVCOL_TRC_SMPTE2084;
            const Samples out = drawn(hdrKind(tag), rec2020(hdrSignal(nits, transfer), 10));
            const double y = (out[0] - 16) / 219.0, b = (out[1] - 128) / 224.0, r = (out[2] - 128) / 224.0;
            const Color rgb{y + 1.5748 * r, y - 0.1873 * b - 0.4681 * r, y + 1.8556 * b};
            const double top = std::max({rgb[0], rgb[1], rgb[2]});
            EXPECT_GE(top, 0.9);
            for (std::size_t i = 0; i < 3; ++i) {
                const double light = std::pow(std::max((top + 0.055) / 1.055, 0.0), 2.4) * nits[i] / brightest;
                EXPECT_NEAR(rgb[i], screenCode(light), 0.05) << ::testing::PrintToString(nits) << " part " << i;
            }
        }
    }
}

/// A picture of 4 by 4 blocks of one colour each, so that the samples in a block see nothing of the next.
struct Blocks {
    static constexpr int side = 256;
    static constexpr int count = side / 4;
    std::vector<std::uint16_t> planes[3];

    void fill(int bx, int by, Samples samples) {
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x)
                planes[0][static_cast<std::size_t>((4 * by + y) * side + 4 * bx + x)] =
                    static_cast<std::uint16_t>(samples[0]);
        for (int i = 1; i < 3; ++i)
            for (int y = 0; y < 2; ++y)
                for (int x = 0; x < 2; ++x)
                    planes[i][static_cast<std::size_t>((2 * by + y) * side / 2 + 2 * bx + x)] =
                        static_cast<std::uint16_t>(samples[static_cast<std::size_t>(i)]);
    }
};

TEST(PictureHDR, TheCubeFollowsTheFormula) {
    struct Row {
        std::string name;
        PictureColor color;
        /// All codes of the source's gamut, or colours of Rec. 709 up to three times as bright as white.
        bool all;
        /// Levels of 255; the rounding alone makes a mean of 0.25.
        double largest, mean;
    };
    const PictureColor rec601{.matrix = AVCOL_SPC_BT470BG, .primaries = AVCOL_PRI_BT470BG, .fullRange = true};
    const PictureColor hlg{
        .matrix = AVCOL_SPC_BT2020_NCL, .primaries = AVCOL_PRI_BT2020, .transfer = TransferKind::hlg, .depth = 10};
    PictureColor pq = hlg;
    pq.transfer = TransferKind::pq;
    // Outside of Rec. 709's gamut the mapping has edges that no cube follows; there only the mean is bounded.
    const std::vector<Row> rows{{"601, all", rec601, true, 3, 0.32}, {"601, usual", rec601, false, 1, 0.28},
                                {"HLG, all", hlg, true, 100, 0.5},   {"HLG, usual", hlg, false, 6, 0.34},
                                {"PQ, all", pq, true, 100, 0.65},    {"PQ, usual", pq, false, 8, 0.46}};
    for (const Row& row : rows) {
        const Rec709Mapping mapping(row.color);
        std::mt19937 random(7);
        std::uniform_real_distribution<double> level(0.05, 0.95);
        Blocks blocks;
        for (int i = 0; i < 3; ++i) blocks.planes[i].resize(Blocks::side * Blocks::side / (i == 0 ? 1 : 4));
        std::vector<ColorTriple> exact;
        for (int by = 0; by < Blocks::count; ++by) {
            for (int bx = 0; bx < Blocks::count; ++bx) {
                const Color random3{level(random), level(random), level(random)};
                Color rgb = random3;
                if (!row.all) {
                    const double light = 203 * std::pow(10.0, 2.5 * level(random) - 2);
                    const Color nits{light * (0.3 + 0.7 * random3[0]), light * (0.3 + 0.7 * random3[1]),
                                     light * (0.3 + 0.7 * random3[2])};
                    for (std::size_t i = 0; i < 3; ++i) rgb[i] = std::min(1.0, screenCode(nits[i] / 640));
                    if (row.color.depth > 8) rgb = hdrSignal(nits, row.color.transfer);
                }
                const Samples samples = row.color.depth == 8 ? encoded(rgb, 0.299, 0.114, true, 8) : rec2020(rgb, 10);
                blocks.fill(bx, by, samples);
                exact.push_back(mapping.map({static_cast<double>(samples[0]), static_cast<double>(samples[1]),
                                             static_cast<double>(samples[2])}));
            }
        }
        std::vector<std::uint8_t> out[3];
        PlaneView from[3];
        PlaneSpan to[3];
        for (int i = 0; i < 3; ++i) {
            const int side = i == 0 ? Blocks::side : Blocks::side / 2;
            out[i].resize(blocks.planes[i].size());
            from[i] = {reinterpret_cast<const std::uint8_t*>(blocks.planes[i].data()), side * 2, side, side, 2};
            to[i] = {out[i].data(), side, side, side, 1};
        }
        ColorRows scratch;
        ColorConverter(row.color).convert(from, to, scratch);
        for (int i = 0; i < 3; ++i) {
            std::vector<double> expected, actual;
            for (int by = 0; by < Blocks::count; ++by) {
                for (int bx = 0; bx < Blocks::count; ++bx) {
                    const double value =
                        exact[static_cast<std::size_t>(by * Blocks::count + bx)][static_cast<std::size_t>(i)];
                    expected.push_back(std::clamp(value, 0.0, 255.0));
                    actual.push_back(i == 0 ? out[0][static_cast<std::size_t>((4 * by + 1) * Blocks::side + 4 * bx + 1)]
                                            : out[i][static_cast<std::size_t>(2 * by * Blocks::side / 2 + 2 * bx + 1)]);
                }
            }
            const Difference gap = difference(expected, actual);
            EXPECT_LE(gap.largest, row.largest) << row.name << ", channel " << i;
            EXPECT_LE(gap.mean, row.mean) << row.name << ", channel " << i;
        }
    }
}

}  // namespace
}  // namespace kelvane
