#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "Platform/PlaybackClock.h"
#include "PlayerRig.h"

namespace kelvane::testing {
namespace {

TEST(PlaybackClock, StandsUntilItRuns) {
    PlaybackClock clock;
    clock.stand(2s);
    EXPECT_EQ(clock.at(100s), 2s);
    clock.run(2s, 100s);
    EXPECT_EQ(clock.at(101s), 3s);
}

TEST(PlaybackClock, ComesToTheSoundWithoutAJumpAndNeverGoesBack) {
    for (const auto distance : {-90ms, -20ms, 20ms, 90ms}) {
        PlaybackClock clock;
        clock.run(0s, 0s);
        auto former = clock.at(0s);
        for (auto now = 10ms; now <= 4s; now += 10ms) {
            const auto position = clock.at(now);
            EXPECT_GE(position - former, 8ms);
            EXPECT_LE(position - former, 12ms);
            former = position;
            clock.follow(now + distance, now, now);
        }
        EXPECT_LT(std::chrono::abs(clock.at(4s) - 4s - distance), 1ms);
    }
}

TEST(PlaybackClock, ReportsThatJitterDoNotShakeIt) {
    PlaybackClock clock;
    clock.run(0s, 0s);
    for (int i = 1; i < 1000; ++i) {
        const auto now = i * 33ms;
        EXPECT_LT(std::chrono::abs(clock.at(now) - now), 1ms);
        clock.follow(now + (i % 2 == 0 ? 5ms : -5ms), now, now);
    }
}

TEST(PlaybackClock, AnOldReportCountsFromItsOwnTime) {
    PlaybackClock clock;
    clock.run(0s, 0s);
    EXPECT_EQ(clock.follow(900ms, 900ms, 1s), 0ns);
    EXPECT_EQ(clock.follow(850ms, 900ms, 1s), -50ms);
}

TEST(PlaybackClock, ACorrectionIsNotCarriedPastTheSound) {
    PlaybackClock clock;
    clock.run(0s, 0s);
    clock.follow(20ms, 0s, 0s);
    EXPECT_EQ(clock.at(100s), 100s + 20ms);
    clock.goFreely(200s);
    EXPECT_EQ(clock.at(300s), 300s + 20ms);
}

TEST(FrameGrid, AFrameBeginsWhereItIsFound) {
    const FrameGrid grid(*itemOf(MediaTime(1010)));
    EXPECT_EQ(grid.count(), 51);
    for (std::int64_t frame = 0; frame < 200'000; ++frame) {
        ASSERT_EQ(grid.at(grid.begin(frame)), frame);
        if (frame > 0) ASSERT_EQ(grid.at(grid.begin(frame) - 2us), frame - 1);
    }
    EXPECT_EQ(grid.at(-5s), 0);
}

TEST(FrameGrid, SecondsInFloatingPointFindTheirFrame) {
    const FrameGrid grid(*itemOf(60));
    for (int frame = 0; frame < 1800; ++frame) {
        const std::chrono::nanoseconds position(std::llround(frame / 30.0 * 1e9));
        ASSERT_EQ(grid.at(position), frame);
    }
}

TEST(FrameGrid, KnowsEachCutOnce) {
    const FrameGrid grid(*itemOf(MediaTime(1800), {MediaTime(600), MediaTime(1210)}));
    EXPECT_EQ(grid.cuts, (std::vector{MediaTime(0), MediaTime(600), MediaTime(1210)}));
    EXPECT_EQ(*grid.cutBehind(MediaTime(0)), MediaTime(600));
    EXPECT_EQ(*grid.cutBehind(MediaTime(600)), MediaTime(1210));
    EXPECT_EQ(grid.cutBehind(MediaTime(1210)), nullptr);
}

}  // namespace
}  // namespace kelvane::testing
