#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "PlayerRig.h"

namespace kelvane::testing {
namespace {

class PlayingSound : public ::testing::Test, public PlayerRig {
protected:
    /// Runs on and answers the furthest that the position moved or fell short in a step of 10 ms.
    double furthestJump(std::chrono::milliseconds duration) {
        double furthest = 0;
        for (auto passed = 0ms; passed < duration; passed += 10ms) {
            const double former = player->position();
            run(10ms);
            EXPECT_GE(player->position(), former);
            furthest = std::max(furthest, std::abs(player->position() - former - 0.010));
        }
        return furthest;
    }
};
constexpr double frame = 1 / 30.0;

TEST_F(PlayingSound, WithoutADeviceTimeItselfIsTheClock) {
    output->setAvailable(false);
    show(itemOf(3));
    player->play();
    run(1s);
    EXPECT_EQ(player->position(), 1);
    run(3s);
    EXPECT_EQ(frames(), framesFrom(1, 89));
    EXPECT_EQ(ended.size(), 1U);
    EXPECT_EQ(output->starts, 0);
    EXPECT_EQ(player->statistics().late, 0);
}

TEST(PlayingWithoutAnOutput, IsTheSame) {
    PlayerRig rig(false);
    rig.show(itemOf(3));
    rig.player->play();
    rig.run(1s);
    EXPECT_EQ(rig.player->position(), 1);
    rig.run(3s);
    EXPECT_EQ(rig.frames(), framesFrom(1, 89));
    EXPECT_EQ(rig.ended.size(), 1U);
    EXPECT_EQ(rig.sources->soundReads, 0);
}

TEST_F(PlayingSound, AnItemWithoutSoundLeavesTheDeviceAlone) {
    show(itemOf(MediaTime(1800), {}, false));
    player->play();
    run(1s);
    EXPECT_EQ(player->position(), 1);
    EXPECT_EQ(output->starts, 0);
}

TEST_F(PlayingSound, ADeviceThatGoesStopsNothing) {
    show(itemOf(10));
    player->play();
    run(2s);
    output->setAvailable(false);
    EXPECT_LT(furthestJump(3s), 0.001);
    EXPECT_EQ(player->rate(), 1);
    EXPECT_EQ(player->statistics().dropped, 0);
}

TEST_F(PlayingSound, ADeviceThatComesIsHeardInTimeAndJumpsNoFrame) {
    for (const auto latency : {10ms, 40ms, 90ms, 140ms}) {
        output->latency = latency;
        output->setAvailable(false);
        show(itemOf(20));
        player->play();
        run(2s);
        output->setAvailable(true);
        EXPECT_LT(furthestJump(3s), frame);
        ASSERT_TRUE(heard().has_value());
        EXPECT_NEAR(*heard(), player->position(), 0.005);
        player->pause();
    }
}

TEST_F(PlayingSound, ADeviceThatComesAndGoesAllTheTimeJumpsNoFrame) {
    show(itemOf(60));
    player->play();
    std::mt19937 random(3);
    for (int i = 0; i < 60; ++i) {
        output->latency = std::chrono::milliseconds(10 + random() % 80);
        output->setAvailable(i % 2 == 0);
        EXPECT_LT(furthestJump(std::chrono::milliseconds(10 * (random() % 50))), frame);
    }
    EXPECT_EQ(player->statistics().dropped, 0);
}

TEST_F(PlayingSound, ADeviceThatGoesWhilePlayWaitsForItIsNotWaitedFor) {
    output->latency = 120ms;
    show(itemOf(10));
    player->play();
    run(50ms);
    EXPECT_EQ(player->position(), 0);
    output->setAvailable(false);
    run(500ms);
    EXPECT_EQ(player->position(), 0.5);
}

TEST_F(PlayingSound, ADeviceThatNeverTakesAnythingIsWaitedForOnlyShortly) {
    output->period = 0;
    show(itemOf(3));
    player->play();
    run(1s);
    EXPECT_NEAR(player->position(), 0.85, 0.006);
    EXPECT_EQ(output->starts, 1);
    run(3s);
    EXPECT_EQ(ended.size(), 1U);
    EXPECT_EQ(player->statistics().late, 0);
}

TEST_F(PlayingSound, ADeviceThatGetsStuckStopsNothingAndIsHeardInTimeAfterwards) {
    show(itemOf(20));
    player->play();
    run(2s);
    output->isStuck = true;
    EXPECT_LT(furthestJump(5s), frame);
    EXPECT_NEAR(player->position(), 6.95, 0.05);
    output->isStuck = false;
    EXPECT_LT(furthestJump(3s), frame);
    EXPECT_NEAR(*heard(), player->position(), 0.010);
    EXPECT_EQ(player->statistics().dropped, 0);
}

TEST_F(PlayingSound, ASlowDeviceIsWaitedForLongerTheSecondTime) {
    output->latency = 300ms;
    show(itemOf(20));
    player->play();
    run(3s);
    EXPECT_NEAR(*heard(), player->position(), 0.010);
    player->pause();
    const auto starts = output->starts;
    player->play();
    run(1s);
    EXPECT_NEAR(*heard(), player->position(), 0.005);
    EXPECT_EQ(output->starts, starts + 1);
}

TEST_F(PlayingSound, SoundThatComesTooSlowlyIsCaughtUpWithAndThePictureGoesOn) {
    show(itemOf(20));
    player->play();
    run(2s);
    sources->rendering = 600ms;
    run(2s);
    EXPECT_NEAR(player->position(), 3.95, 0.2);
    EXPECT_GT(player->statistics().underruns, 0);
    sources->rendering = 0ms;
    run(3s);
    EXPECT_NEAR(*heard(), player->position(), 0.010);
}

TEST_F(PlayingSound, SoundThatCannotBeReadIsSilentOnceAndPlaysToTheEnd) {
    show(itemOf(6));
    sources->broken = MediaTimeRange{MediaTime(1800), MediaTime(6000)};
    player->play();
    run(7s);
    EXPECT_EQ(sources->soundFailures, 1);
    EXPECT_EQ(player->position(), 6);
    EXPECT_EQ(ended.size(), 1U);
    EXPECT_EQ(player->statistics().underruns, 0);
}

TEST_F(PlayingSound, PicturesThatCannotBeReadAreAskedForTwiceASecondAndComeBackAtTheCut) {
    const std::vector cuts = {MediaTime(1210), MediaTime(2410)};
    sources->broken = MediaTimeRange{cuts[0], cuts[1] - cuts[0]};
    show(itemOf(MediaTime(3600), cuts));
    player->play();
    run(3s);
    EXPECT_EQ(shownTime(), MediaTime(1200));
    run(4s);
    EXPECT_LE(sources->failures, 5);
    EXPECT_EQ(ended.size(), 1U);
    const auto seen = frames();
    const auto back = std::ranges::find_if(seen, [](auto number) { return number > 60; });
    EXPECT_EQ(std::vector(back, seen.end()), framesFrom(121, 179));
    EXPECT_EQ(std::vector(seen.begin(), back), framesFrom(1, 60));
}

TEST_F(PlayingSound, AnHourKeepsPictureAndSoundTogetherWhateverTheDevicesClock) {
    struct Row {
        std::int64_t drift;
        std::chrono::minutes duration;
    };
    threads.runInPlace();
    output->jitter = 3ms;
    output->period = 2400;
    for (const Row row : {Row{-200, 60min}, Row{150, 5min}}) {
        output->drift = row.drift;
        show(itemOf(3601));
        player->play();
        run(row.duration);
        EXPECT_GT(distances, row.duration.count() * 60 * 29);
        EXPECT_LT(greatestDistance, 0.020);
        EXPECT_LT(player->statistics().greatestDistance, 20ms);
        EXPECT_EQ(player->statistics().dropped, 0);
        EXPECT_EQ(player->statistics().underruns, 0);
    }
}

TEST_F(PlayingSound, PictureAndSoundAreTogetherAtEachOfFortyCuts) {
    for (int i = 1; i <= 40; ++i) sources->cuts.emplace_back(600 * i + 7 * (i % 5));
    sources->opening = 150ms;
    sources->decoding = 3ms;
    sources->rendering = 5ms;
    output->jitter = 2ms;
    show(itemOf(MediaTime(600 * 41), sources->cuts));
    player->play();
    for (const MediaTime cut : sources->cuts) {
        const auto isPast = [&] { return !shown.empty() && shown.back() > cut; };
        ASSERT_TRUE(threads.runUntil(isPast, 3s));
        ASSERT_TRUE(heard().has_value());
        EXPECT_NEAR(shown.back().seconds(), *heard(), 0.020);
        EXPECT_LT(shown.back() - cut, MediaTime(21));
    }
    EXPECT_LT(greatestDistance, 0.020);
    EXPECT_EQ(player->statistics().late, 0);
    EXPECT_EQ(player->statistics().dropped, 0);
}

}  // namespace
}  // namespace kelvane::testing
