#include <gtest/gtest.h>

#include <algorithm>

#include "PlayerRig.h"

namespace kelvane::testing {
namespace {

/// A player whose sources cost more than there is time for.
class PlayingSlowly : public ::testing::Test, public PlayerRig {
protected:
    /// Frames from one shown frame to the next, once the start is over.
    [[nodiscard]] std::vector<std::int64_t> steps() const {
        std::vector<std::int64_t> steps;
        const auto seen = frames();
        for (std::size_t i = 1; i < seen.size(); ++i)
            if (seen[i] > 30) steps.push_back(seen[i] - seen[i - 1]);
        return steps;
    }
    void expectSound() {
        EXPECT_EQ(player->statistics().underruns, 0);
        EXPECT_NEAR(*heard(), player->position(), 0.005);
    }
};

TEST_F(PlayingSlowly, FramesAreDroppedEvenlyAndTheSoundGoesOn) {
    struct Row {
        std::chrono::milliseconds drawing;
        std::int64_t fewest;
        std::int64_t most;
    };
    for (const Row row : {Row{25ms, 1, 1}, Row{40ms, 1, 2}, Row{50ms, 1, 2}, Row{66ms, 1, 2}, Row{90ms, 2, 3}}) {
        sources->drawing = row.drawing;
        show(itemOf(20));
        player->play();
        run(10s);
        const auto between = steps();
        ASSERT_FALSE(between.empty());
        EXPECT_GE(*std::ranges::min_element(between), row.fewest);
        EXPECT_LE(*std::ranges::max_element(between), row.most);
        expectSound();
        player->pause();
    }
}

TEST_F(PlayingSlowly, WhatIsShownIsNoLaterThanItsPartOfAFrame) {
    sources->drawing = 60ms;
    show(itemOf(20));
    player->play();
    run(1s);
    player->resetStatistics();
    run(9s);
    const auto statistics = player->statistics();
    EXPECT_GT(statistics.shown, 120);
    EXPECT_EQ(statistics.late, 0);
    EXPECT_NEAR(static_cast<double>(statistics.shown + statistics.dropped), 270, 3);
}

TEST_F(PlayingSlowly, ADecoderThatMustNotSkipShowsWhatItCan) {
    // Each frame has to be decoded for the next: 27 of 33 ms, and 20 for those that are drawn.
    sources->decoding = 27ms;
    sources->drawing = 20ms;
    show(itemOf(20));
    player->play();
    run(3s);
    player->resetStatistics();
    run(15s);
    EXPECT_GT(player->statistics().shown, 90);
    EXPECT_LE(player->statistics().late, player->statistics().shown / 10);
    expectSound();
}

TEST_F(PlayingSlowly, ADecoderSlowerThanTimeShowsEachGroupAtLeastOnce) {
    sources->decoding = 50ms;
    show(itemOf(20));
    player->play();
    run(20s);
    EXPECT_GE(shown.size(), 20U);
    EXPECT_TRUE(std::ranges::is_sorted(shown));
    player->pause();
    run(5s);
    EXPECT_EQ(shownTime()->floored(30).value, static_cast<int>(player->position() * 30 + 1e-5));
}

TEST_F(PlayingSlowly, ALongGroupThatIsTooSlowStillMovesFourTimesASecond) {
    sources->group = 100'000;
    sources->decoding = 50ms;
    show(itemOf(20));
    player->play();
    run(10s);
    EXPECT_GE(shown.size(), 40U);
    EXPECT_TRUE(std::ranges::is_sorted(shown));
    expectSound();
}

TEST_F(PlayingSlowly, OneLongPauseOfTheDecoderIsCaughtUpWith) {
    show(itemOf(20));
    player->play();
    run(5s);
    sources->drawing = 700ms;
    run(100ms);
    sources->drawing = 5ms;
    run(2s);
    player->resetStatistics();
    run(3s);
    EXPECT_EQ(player->statistics().dropped, 0);
    EXPECT_EQ(player->statistics().late, 0);
}

TEST_F(PlayingSlowly, TheLastFrameIsShownInTheEnd) {
    sources->drawing = 170ms;
    show(itemOf(4));
    player->play();
    run(6s);
    EXPECT_EQ(player->rate(), 0);
    EXPECT_EQ(shownTime(), MediaTime(2380));
    EXPECT_EQ(player->statistics().shown + player->statistics().dropped, 119);
}

}  // namespace
}  // namespace kelvane::testing
