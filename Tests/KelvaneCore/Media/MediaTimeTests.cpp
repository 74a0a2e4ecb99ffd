#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "Media/MediaTime.h"
#include "MediaPrinting.h"

namespace kelvane {
namespace {

constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();
constexpr std::int32_t largestScale = std::numeric_limits<std::int32_t>::max();

void expectExactly(MediaTime actual, MediaTime expected) {
    EXPECT_EQ(actual.value, expected.value);
    EXPECT_EQ(actual.timescale, expected.timescale);
}

TEST(MediaTime, SecondsBecomeTheNearestUnitWithHalvesAwayFromZero) {
    struct Row {
        double seconds;
        std::int32_t timescale;
        std::int64_t value;
    };
    const double infinity = std::numeric_limits<double>::infinity();
    const Row rows[] = {
        {0, 600, 0},
        {-0.0, 600, 0},
        {1, 600, 600},
        {0.5 / 512, 512, 1},
        {-0.5 / 512, 512, -1},
        {1.5 / 512, 512, 2},
        {-1.5 / 512, 512, -2},
        {2.5 / 512, 512, 3},
        {0.49 / 600, 600, 0},
        {-0.49 / 600, 600, 0},
        {0.51 / 600, 600, 1},
        {1.0 / 30, 600, 20},
        {1.0 / 24, 600, 25},
        {1 / 29.97, 60000, 2002},
        {3600.0 * 24 * 365, 600, 18921600000},
        {9.2e15, 600, 5520000000000000000},
        {1e17, 600, largest},
        {-1e17, 600, -largest},
        {1e300, 600, largest},
        {-1e300, 600, -largest},
        {std::numeric_limits<double>::max(), largestScale, largest},
        {infinity, 600, largest},
        {-infinity, 600, -largest},
        {std::nan(""), 600, 0},
        {std::numeric_limits<double>::denorm_min(), 600, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.seconds);
        expectExactly(MediaTime::fromSeconds(row.seconds, row.timescale), {row.value, row.timescale});
    }
}

TEST(MediaTime, ComparisonIsByTheTimeMeant) {
    struct Row {
        MediaTime a;
        MediaTime b;
        std::strong_ordering order;
    };
    const Row rows[] = {
        {{1, 2}, {300, 600}, std::strong_ordering::equal},
        {{0, 1}, {0, 48000}, std::strong_ordering::equal},
        {{1, 3}, {33333333, 100000000}, std::strong_ordering::greater},
        {{-1, 3}, {-33333333, 100000000}, std::strong_ordering::less},
        {{-1, 600}, {1, 48000}, std::strong_ordering::less},
        {{largest, largestScale}, {largest, largestScale - 1}, std::strong_ordering::less},
        {{largest, 1}, {largest, largestScale}, std::strong_ordering::greater},
        {{smallest, 1}, {smallest, largestScale}, std::strong_ordering::less},
        {{largest, 2}, {largest - 1, 2}, std::strong_ordering::greater},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.a <=> row.b, row.order);
        EXPECT_EQ(row.b <=> row.a, row.order == std::strong_ordering::equal  ? row.order
                                   : row.order == std::strong_ordering::less ? std::strong_ordering::greater
                                                                             : std::strong_ordering::less);
        EXPECT_EQ(row.a == row.b, row.order == std::strong_ordering::equal);
    }
}

TEST(MediaTime, SumsAndDifferencesAreExactInTheCommonTimescale) {
    struct Row {
        MediaTime a;
        MediaTime b;
        MediaTime sum;
        MediaTime difference;
    };
    const Row rows[] = {
        {{1, 600}, {2, 600}, {3, 600}, {-1, 600}},
        {{1, 600}, {1, 48000}, {81, 48000}, {79, 48000}},
        {{1, 600}, {1, 44100}, {149, 88200}, {145, 88200}},
        {{1, 2}, {1, 3}, {5, 6}, {1, 6}},
        {{1001, 30000}, {1, 600}, {1051, 30000}, {951, 30000}},
        {{largest, 600}, {1, 600}, {largest, 600}, {largest - 1, 600}},
        {{-largest, 600}, {1, 600}, {-largest + 1, 600}, {-largest, 600}},
        {{smallest, 600}, {smallest, 600}, {-largest, 600}, {0, 600}},
        {{largest, 1}, {largest, largestScale}, {largest, largestScale}, {largest, largestScale}},
    };
    for (const Row& row : rows) {
        expectExactly(row.a + row.b, row.sum);
        expectExactly(row.a - row.b, row.difference);
    }
}

TEST(MediaTime, TimescalesTooFineForACommonOneRoundToTheFiner) {
    // Two primes whose product passes 32 bits.
    const MediaTime a{1, 999983};
    const MediaTime b{1, 1000003};
    expectExactly(a + b, {2, 1000003});
    expectExactly(a - b, {0, 1000003});
    expectExactly(MediaTime{500000, 999983} + b, {500011, 1000003});
    expectExactly(MediaTime{-500000, 999983} + b, {-500009, 1000003});
}

TEST(MediaTime, FlooringRoundsDownOnBothSidesOfZero) {
    struct Row {
        MediaTime time;
        std::int32_t timescale;
        std::int64_t value;
    };
    const Row rows[] = {
        {{1, 600}, 30, 0},
        {{19, 600}, 30, 0},
        {{20, 600}, 30, 1},
        {{-1, 600}, 30, -1},
        {{-20, 600}, 30, -1},
        {{-21, 600}, 30, -2},
        {{1, 3}, 600, 200},
        {{largest, 1}, 600, largest},
        {{smallest, 1}, 600, -largest},
        {{largest, 600}, 600, largest},
        {{0, 7}, 600, 0},
    };
    for (const Row& row : rows) expectExactly(row.time.floored(row.timescale), {row.value, row.timescale});
}

TEST(MediaTime, SecondsGoThroughUnchanged) {
    EXPECT_EQ(MediaTime({1, 600}).seconds(), 1.0 / 600);
    EXPECT_EQ(MediaTime({-90000, 600}).seconds(), -150);
    std::mt19937_64 random(7);
    std::uniform_int_distribution<std::int64_t> values(-600'000'000, 600'000'000);
    for (int i = 0; i < 2000; ++i) {
        const MediaTime time{values(random), 600};
        expectExactly(MediaTime::fromSeconds(time.seconds()), time);
    }
}

TEST(MediaTime, RangesHoldTheirStartAndNotTheirEnd) {
    const MediaTimeRange range{{600, 600}, {1200, 600}};
    expectExactly(range.end(), {1800, 600});
    EXPECT_FALSE(range.contains({599, 600}));
    EXPECT_TRUE(range.contains({1, 1}));
    EXPECT_TRUE(range.contains({1799, 600}));
    EXPECT_FALSE(range.contains({3, 1}));
    EXPECT_EQ(range, (MediaTimeRange{{1, 1}, {2, 1}}));
}

TEST(MediaTime, AnIntersectionIsWhatBothRangesCover) {
    struct Row {
        const char* what;
        MediaTimeRange a;
        MediaTimeRange b;
        MediaTimeRange expected;
    };
    const Row rows[] = {
        {"overlapping", {{0, 600}, {1200, 600}}, {{300, 600}, {1800, 600}}, {{300, 600}, {900, 600}}},
        {"inside", {{0, 600}, {1200, 600}}, {{300, 600}, {300, 600}}, {{300, 600}, {300, 600}}},
        {"the same", {{5, 600}, {7, 600}}, {{5, 600}, {7, 600}}, {{5, 600}, {7, 600}}},
        {"touching", {{0, 600}, {600, 600}}, {{600, 600}, {600, 600}}, {{600, 600}, {0, 600}}},
        {"apart", {{0, 600}, {600, 600}}, {{900, 600}, {600, 600}}, {{900, 600}, {0, 600}}},
        {"across timescales", {{0, 600}, {600, 600}}, {{1, 2}, {48000, 48000}}, {{1, 2}, {1, 2}}},
        {"before zero", {{-600, 600}, {1200, 600}}, {{0, 600}, {6000, 600}}, {{0, 600}, {600, 600}}},
        {"of no length", {{0, 600}, {0, 600}}, {{0, 600}, {600, 600}}, {{0, 600}, {0, 600}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(row.a.intersection(row.b), row.expected);
        EXPECT_EQ(row.b.intersection(row.a), row.expected);
    }
}

}  // namespace
}  // namespace kelvane
