#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "Media/ExportSettings.h"
#include "Media/MediaError.h"
#include "MediaPrinting.h"

namespace kelvane {
namespace {

using testing::errorOf;

TEST(ExportSettings, ContainersComeInOrderWithTheirWords) {
    struct Row {
        ExportContainer container;
        const char* rawValue;
        const char* title;
    };
    const Row rows[] = {{ExportContainer::mp4, "mp4", "MP4"}, {ExportContainer::mov, "mov", "MOV"}};
    ASSERT_EQ(std::size(rows), allExportContainers.size());
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_EQ(allExportContainers[i], rows[i].container);
        EXPECT_EQ(rawValue(rows[i].container), rows[i].rawValue);
        EXPECT_EQ(title(rows[i].container), rows[i].title);
    }
}

TEST(ExportSettings, TheDestinationsExtensionSelectsTheContainer) {
    struct Row {
        const char* path;
        std::optional<ExportContainer> container;
    };
    const Row rows[] = {
        {"/films/a.mp4", ExportContainer::mp4}, {"/films/a.mov", ExportContainer::mov},
        {"/films/a.MP4", ExportContainer::mp4}, {"/films/a.MOV", ExportContainer::mov},
        {"/films/a.Mp4", ExportContainer::mp4}, {"/films/a.b.mov", ExportContainer::mov},
        {"/films/a.m4v", std::nullopt},         {"/films/a", std::nullopt},
        {"/films/mp4", std::nullopt},           {"/films/.mp4", std::nullopt},
        {"/films/a.mp4.part", std::nullopt},    {"/films/a.mp44", std::nullopt},
        {"/films.mov/a", std::nullopt},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.path);
        const Result<ExportContainer> container = exportContainerForDestination(FileURL::fromPath(row.path));
        if (row.container)
            EXPECT_EQ(container.value_or(ExportContainer{-1}), *row.container);
        else
            EXPECT_EQ(errorOf(container), Error("Export requires a .mp4 or .mov path."));
    }
}

TEST(ExportSettings, ResolutionsComeInOrderWithTheirWordsAndSizes) {
    struct Row {
        ExportResolution resolution;
        const char* rawValue;
        const char* title;
        const char* word;
        std::optional<Size> size;
    };
    const Row rows[] = {
        {ExportResolution::automatic, "automatic", "Auto", "auto", std::nullopt},
        {ExportResolution::ultraHD, "ultraHD", "4K", "4k", Size{2160, 3840}},
        {ExportResolution::quadHD, "quadHD", "1440p", "1440p", Size{1440, 2560}},
        {ExportResolution::fullHD, "fullHD", "1080p", "1080p", Size{1080, 1920}},
        {ExportResolution::hd720, "hd720", "720p", "720p", Size{720, 1280}},
    };
    ASSERT_EQ(std::size(rows), allExportResolutions.size());
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        const Row& row = rows[i];
        EXPECT_EQ(allExportResolutions[i], row.resolution);
        EXPECT_EQ(rawValue(row.resolution), row.rawValue);
        EXPECT_EQ(title(row.resolution), row.title);
        EXPECT_EQ(commandLineWord(row.resolution), row.word);
        EXPECT_EQ(size(row.resolution), row.size);
        EXPECT_EQ(exportResolutionFromCommandLine(row.word), Result<ExportResolution>(row.resolution));
    }
}

TEST(ExportSettings, ResolutionWordsAreReadExactly) {
    for (const char* word : {"", "8k", "4K", "Auto", "AUTO", "1080", "1080P", " 1080p", "1080p ", "fullHD", "automatic",
                             "ultraHD", "720"}) {
        SCOPED_TRACE(word);
        EXPECT_EQ(errorOf(exportResolutionFromCommandLine(word)),
                  Error("--resolution must be auto, 4k, 1440p, 1080p or 720p."));
    }
}

TEST(ExportSettings, OnlyTheLargeResolutionsNeedTheSources) {
    struct Row {
        ExportResolution resolution;
        std::optional<Size> maximum;
        bool available;
    };
    const std::optional<Size> unknown;
    const Row rows[] = {
        {ExportResolution::automatic, unknown, true},
        {ExportResolution::fullHD, unknown, true},
        {ExportResolution::hd720, unknown, true},
        {ExportResolution::ultraHD, unknown, false},
        {ExportResolution::quadHD, unknown, false},
        {ExportResolution::automatic, Size{1, 1}, true},
        {ExportResolution::fullHD, Size{1, 1}, true},
        {ExportResolution::hd720, Size{1, 1}, true},
        {ExportResolution::ultraHD, Size{1440, 2560}, false},
        {ExportResolution::quadHD, Size{1440, 2560}, true},
        {ExportResolution::ultraHD, Size{2160, 3840}, true},
        {ExportResolution::quadHD, Size{2160, 3840}, true},
        {ExportResolution::ultraHD, Size{2159, 3840}, false},
        {ExportResolution::ultraHD, Size{2160, 3839}, false},
        {ExportResolution::quadHD, Size{1080, 1920}, false},
        {ExportResolution::quadHD, Size{2560, 1440}, false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(isAvailable(row.resolution, row.maximum), row.available)
            << title(row.resolution) << " with "
            << (row.maximum ? ::testing::PrintToString(*row.maximum) : "an unknown maximum");
    }
}

TEST(ExportSettings, FrameRatesComeInOrderWithTheirWords) {
    struct Row {
        ExportFrameRate rate;
        int rawValue;
        const char* title;
        const char* word;
    };
    const Row rows[] = {
        {ExportFrameRate::automatic, 0, "Auto", "auto"}, {ExportFrameRate::fps24, 24, "24", "24"},
        {ExportFrameRate::fps25, 25, "25", "25"},        {ExportFrameRate::fps30, 30, "30", "30"},
        {ExportFrameRate::fps50, 50, "50", "50"},        {ExportFrameRate::fps60, 60, "60", "60"},
    };
    ASSERT_EQ(std::size(rows), allExportFrameRates.size());
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        const Row& row = rows[i];
        EXPECT_EQ(allExportFrameRates[i], row.rate);
        EXPECT_EQ(static_cast<int>(row.rate), row.rawValue);
        EXPECT_EQ(title(row.rate), row.title);
        EXPECT_EQ(commandLineWord(row.rate), row.word);
        EXPECT_EQ(exportFrameRate(row.rawValue), row.rate);
        EXPECT_EQ(exportFrameRateFromCommandLine(row.word), Result<ExportFrameRate>(row.rate));
    }
}

TEST(ExportSettings, OtherRawRatesAreNoFrameRate) {
    for (const int rawValue : {-1, 1, 12, 23, 29, 48, 59, 61, 120, std::numeric_limits<int>::max()})
        EXPECT_EQ(exportFrameRate(rawValue), std::nullopt) << rawValue;
}

TEST(ExportSettings, RateWordsAreReadExactly) {
    for (const char* word :
         {"", "0", "24.0", "030", "30.0", "+30", "30 ", " 30", "29.97", "Auto", "automatic", "120"}) {
        SCOPED_TRACE(word);
        EXPECT_EQ(errorOf(exportFrameRateFromCommandLine(word)), Error("--fps must be auto, 24, 25, 30, 50 or 60."));
    }
}

TEST(ExportSettings, TheAutomaticRateIsTheSlowestSourcesUpTo60) {
    struct Row {
        std::vector<double> rates;
        double expected;
    };
    const double infinity = std::numeric_limits<double>::infinity();
    const Row rows[] = {
        {{}, 30},
        {{30}, 30},
        {{60, 0}, 30},
        {{23.976, 30}, 23.976},
        {{30, 23.976}, 23.976},
        {{120}, 60},
        {{120, 240}, 60},
        {{12}, 12},
        {{29.97}, 29.97},
        {{std::nan("")}, 30},
        {{infinity}, 30},
        {{-infinity}, 30},
        {{-5}, 30},
        {{-0.0}, 30},
        {{std::nan(""), 24}, 24},
        {{24, std::nan("")}, 24},
        {{60, std::nan("")}, 30},
        {{0.001}, 0.001},
    };
    for (const Row& row : rows)
        EXPECT_EQ(automaticRate(row.rates), row.expected) << ::testing::PrintToString(row.rates);
}

TEST(ExportSettings, AFrameLastsAsLongAsItsRateSays) {
    struct Row {
        double rate;
        MediaTime duration;
    };
    const Row rows[] = {
        {23.976, {1001, 24000}},  {24000.0 / 1001, {1001, 24000}},
        {29.97, {1001, 30000}},   {30000.0 / 1001, {1001, 30000}},
        {59.94, {1001, 60000}},   {60000.0 / 1001, {1001, 60000}},
        {29.9719, {1001, 30000}}, {29.9721, {2002, 60000}},
        {29.9682, {1001, 30000}}, {29.968, {2002, 60000}},
        {24, {2500, 60000}},      {25, {2400, 60000}},
        {30, {2000, 60000}},      {50, {1200, 60000}},
        {60, {1000, 60000}},      {24.975, {2402, 60000}},
        {12, {5000, 60000}},      {7, {8571, 60000}},
        {1, {60000, 60000}},
    };
    for (const Row& row : rows) {
        const MediaTime duration = frameDuration(row.rate);
        EXPECT_EQ(duration.value, row.duration.value) << row.rate;
        EXPECT_EQ(duration.timescale, row.duration.timescale) << row.rate;
    }
}

TEST(ExportSettings, ARateIsShownWholeWhenItNearlyIs) {
    struct Row {
        double rate;
        const char* label;
    };
    const Row rows[] = {
        {30, "30"},       {30.004, "30"},    {29.996, "30"},    {29.97, "29.97"}, {23.976, "23.98"},
        {59.94, "59.94"}, {30.011, "30.01"}, {29.989, "29.99"}, {12.5, "12.50"},  {60, "60"},
    };
    for (const Row& row : rows) EXPECT_EQ(rateLabel(row.rate), row.label) << row.rate;
}

TEST(MediaError, SpeaksInItsOwnWords) {
    EXPECT_EQ(MediaError::invalidClip("a.mov"), Error("\xE2\x80\x9C"
                                                      "a.mov"
                                                      "\xE2\x80\x9D has an invalid trim range or could not be read."));
    EXPECT_EQ(MediaError::noVideo("a"), Error("\xE2\x80\x9C"
                                              "a"
                                              "\xE2\x80\x9D does not contain a supported video track."));
    EXPECT_EQ(MediaError::exportUnavailable(),
              Error("This device could not create an export session for the selected format."));
}

TEST(MediaError, KeepsBracesAndQuotesOfANameAsTheyAre) {
    EXPECT_EQ(MediaError::invalidClip("{}%s“x”").message, "“{}%s“x”” has an invalid trim range or could not be read.");
}

}  // namespace
}  // namespace kelvane
