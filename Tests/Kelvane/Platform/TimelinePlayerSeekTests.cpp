#include <gtest/gtest.h>

#include <random>
#include <set>

#include "PlayerRig.h"

namespace kelvane::testing {
namespace {

/// Moves a pointer: a seek each 8 ms from `from` on, by `step` seconds each.
void scrub(PlayerRig& rig, double from, double step, int count) {
    for (int i = 0; i < count; ++i) {
        rig.player->seek(from + step * i);
        rig.run(8ms);
    }
}

class Seeking : public ::testing::Test, public PlayerRig {
protected:
    Seeking() { show(itemOf(60)); }
    /// What was shown was always nearer to where the pointer went, and each picture at least as near as the one before.
    void expectStepsTowards(double end) {
        for (std::size_t i = 1; i < shown.size(); ++i)
            EXPECT_LE(std::abs(shown[i].seconds() - end), std::abs(shown[i - 1].seconds() - end));
    }
};

TEST_F(Seeking, TheNumberChangesAtOnceAndThePictureOfThatVeryMomentFollows) {
    sources->decoding = 4ms;
    player->seek(2.345);
    EXPECT_EQ(player->position(), 2.345);
    EXPECT_EQ(shownTime(), MediaTime(0));
    run(1s);
    EXPECT_EQ(shownTime(), MediaTime(1407));
    EXPECT_EQ(player->position(), 2.345);
    EXPECT_EQ(player->rate(), 0);
}

TEST_F(Seeking, ThePictureIsAwaitedUntilItIsThere) {
    sources->decoding = 4ms;
    run(1s);
    EXPECT_FALSE(feed().isAwaited());
    player->seek(2);
    EXPECT_TRUE(feed().isAwaited());
    EXPECT_EQ(shownTime(), MediaTime(0)) << "the former one";
    run(1s);
    EXPECT_FALSE(feed().isAwaited());
    EXPECT_EQ(shownTime(), MediaTime(1200));
}

TEST_F(Seeking, TimesOutsideTheItemMeanItsNearestEnd) {
    player->seek(-3);
    EXPECT_EQ(player->position(), 0);
    player->seek(1000);
    EXPECT_EQ(player->position(), 60);
    run(1s);
    EXPECT_EQ(shownTime(), MediaTime(35980));
    player->seek(std::nan(""));
    EXPECT_EQ(player->position(), 60);
}

TEST_F(Seeking, TheSameMomentIsNotDrawnTwice) {
    player->seek(3);
    run(1s);
    sources->asked.clear();
    player->seek(3);
    run(1s);
    EXPECT_TRUE(sources->asked.empty());
}

TEST_F(Seeking, SlowStepsAreEachShown) {
    sources->decoding = 2ms;
    for (int i = 1; i <= 20; ++i) {
        player->seek(i / 30.0);
        run(100ms);
        EXPECT_EQ(shownTime(), MediaTime(20L * i));
    }
}

TEST_F(Seeking, AMovingPointerIsFollowedTwentyFiveTimesASecond) {
    // Up to 30 frames from the key frame, 2.5 ms each.
    sources->decoding = 2500us;
    scrub(*this, 5, 0.05, 250);
    EXPECT_GE(shown.size(), 50U);
    expectStepsTowards(5 + 0.05 * 250);
    run(1s);
    EXPECT_EQ(shownTime(), MediaTime::fromSeconds(5 + 0.05 * 249));
}

TEST_F(Seeking, APointerThatMovesBackIsFollowedToo) {
    sources->decoding = 2500us;
    scrub(*this, 55, -0.05, 250);
    EXPECT_GE(shown.size(), 25U);
    run(1s);
    EXPECT_EQ(shownTime(), MediaTime::fromSeconds(55 - 0.05 * 249));
}

TEST_F(Seeking, InLongGroupsAMovingPointerIsFollowedFiveTimesASecond) {
    sources->group = 250;
    sources->decoding = 2500us;
    // Past the frames from which the first group is decoded anyway.
    scrub(*this, 12, 0.01, 500);
    EXPECT_GE(shown.size(), 20U);
    run(2s);
    EXPECT_EQ(shownTime(), MediaTime::fromSeconds(12 + 0.01 * 499));
}

TEST_F(Seeking, SourcesThatTakeLongToFindAKeyFrameAreFollowedFiveTimesASecondToo) {
    sources->seeking = 60ms;
    sources->decoding = 10ms;
    // Each 40 ms another group.
    scrub(*this, 0.4, 0.25, 235);
    EXPECT_GE(shown.size(), 9U);
}

TEST_F(Seeking, AnInexactPictureIsShownOnlyWhenItIsNearer) {
    sources->group = 250;
    sources->decoding = 5ms;
    player->seek(10);
    run(3s);
    forget();
    // From the key frame at 8.33 s on it takes 250 ms to come nearer than 10 s is.
    player->seek(10.9);
    run(50ms);
    player->seek(9.9);
    run(50ms);
    player->seek(9.8);
    run(3s);
    EXPECT_EQ(shown, std::vector{MediaTime(5880)});
}

TEST_F(Seeking, AtRestTheExactPictureComesHoweverLongItTakes) {
    sources->group = 250;
    sources->decoding = 20ms;
    scrub(*this, 1, 0.2, 40);
    run(10s);
    EXPECT_EQ(shownTime(), MediaTime::fromSeconds(1 + 0.2 * 39));
    EXPECT_FALSE(context.hasWork());
}

TEST_F(Seeking, RandomSeeksEndOnTheExactPicture) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> anywhere(0, 60);
    sources->decoding = 3ms;
    for (int i = 0; i < 100; ++i) {
        const double seconds = anywhere(random);
        player->seek(seconds);
        if (i % 3 != 0) {
            run(std::chrono::milliseconds(i));
            continue;
        }
        run(2s);
        EXPECT_EQ(shownTime(), MediaTime::fromSeconds(seconds));
    }
}

TEST_F(Seeking, CancelledSeeksAreNotShown) {
    sources->decoding = 5ms;
    player->seek(10.5);
    run(20ms);
    sources->decoded = 0;
    player->cancelPendingSeeks();
    run(2s);
    EXPECT_LE(sources->decoded, 1);
    EXPECT_TRUE(shown.empty());
    EXPECT_EQ(player->position(), 10.5);
    EXPECT_FALSE(context.hasWork());
}

TEST_F(Seeking, WhoCancelsEachSeekForTheNextIsFollowedToo) {
    sources->decoding = 2500us;
    for (int i = 0; i < 250; ++i) {
        player->cancelPendingSeeks();
        player->seek(5 + 0.05 * i);
        run(8ms);
    }
    EXPECT_GE(shown.size(), 50U);
    run(1s);
    EXPECT_EQ(shownTime(), MediaTime::fromSeconds(5 + 0.05 * 249));
}

TEST_F(Seeking, ANewSurfaceSizeIsDrawnExactlyAndFitsTheItem) {
    struct Row {
        Size surface;
        Size canvas;
    };
    const std::vector<Row> rows = {
        {{800, 711}, {400, 711}},     {{200, 2000}, {200, 356}}, {{5000, 5000}, {1080, 1920}},
        {{1080, 1920}, {1080, 1920}}, {{1, 1}, {1, 1}},          {{300.5, 1000}, {301, 534}}};
    player->seek(1.234);
    for (const Row& row : rows) {
        feed().setSurfaceSize(row.surface);
        run(1s);
        EXPECT_EQ(shownCanvas(), row.canvas);
        EXPECT_EQ(shownTime(), MediaTime(740));
    }
}

TEST_F(Seeking, AHiddenSurfaceDrawsNothing) {
    sources->asked.clear();
    feed().setSurfaceSize({0, 0});
    run(1s);
    EXPECT_TRUE(sources->asked.empty());
    EXPECT_EQ(shownTime(), MediaTime(0));
}

TEST_F(Seeking, AWindowThatIsBeingResizedKeepsItsPictureAndEndsExact) {
    sources->decoding = 4ms;
    player->seek(0.9);
    run(1s);
    forget();
    for (int width = 200; width < 400; ++width) {
        feed().setSurfaceSize({static_cast<double>(width), 2000});
        run(5ms);
    }
    run(1s);
    EXPECT_EQ(shownCanvas(), (Size{399, 709}));
    for (const MediaTime time : shown) EXPECT_EQ(time, MediaTime(540));
}

TEST_F(Seeking, ResizingWhilePlayingDropsNothing) {
    player->play();
    for (int i = 0; i < 100; ++i) {
        feed().setSurfaceSize({200.0 + i, 2000});
        run(20ms);
    }
    run(300ms);
    EXPECT_EQ(player->statistics().dropped, 0);
    EXPECT_EQ(shownCanvas().width, 299);
}

TEST_F(Seeking, APauseRightAfterResizingDrawsTheFrameAnew) {
    player->play();
    run(1s);
    feed().setSurfaceSize({200, 2000});
    player->pause();
    run(1s);
    EXPECT_EQ(shownCanvas(), (Size{200, 356}));
    EXPECT_EQ(shownTime()->floored(30).value, static_cast<int>(player->position() * 30 + 1e-5));
}

TEST_F(Seeking, WhilePlayingItGoesOnFromThere) {
    sources->decoding = 1ms;
    player->play();
    run(2s);
    forget();
    player->seek(30.01);
    EXPECT_EQ(player->position(), 30.01);
    EXPECT_EQ(player->rate(), 1);
    run(2s);
    EXPECT_EQ(shown.front(), MediaTime(18006));
    EXPECT_EQ(shown[1], MediaTime(18020));
    EXPECT_NEAR(player->position(), 31.96, 0.05);
    EXPECT_NEAR(*heard(), player->position(), 0.005);
    EXPECT_EQ(player->statistics().dropped, 0);
}

TEST_F(Seeking, ToTheShownMomentWhilePlayingDropsNothing) {
    sources->drawing = 24ms;
    player->play();
    run(2s);
    player->resetStatistics();
    // What was being drawn ahead of the moment is none of the frames that come next.
    for (int i = 0; i < 20; ++i) {
        player->seek(shownTime()->seconds());
        run(std::chrono::milliseconds(310 + i));
    }
    EXPECT_EQ(player->statistics().dropped, 0);
}

TEST_F(Seeking, APauseDuringASeekShowsThatVeryMoment) {
    sources->decoding = 4ms;
    player->play();
    run(1s);
    player->seek(20.51);
    run(10ms);
    player->pause();
    run(1s);
    EXPECT_EQ(player->position(), 20.51);
    EXPECT_EQ(shownTime(), MediaTime(12306));
}

TEST_F(Seeking, PictureAndSoundAreTogetherAfterAHundredSeeks) {
    std::mt19937 random(11);
    std::uniform_real_distribution<double> anywhere(0, 58);
    sources->decoding = 500us;
    sources->rendering = 2ms;
    player->play();
    for (int i = 0; i < 100; ++i) {
        player->seek(anywhere(random));
        run(300ms);
        distances = 0;
        greatestDistance = 0;
        run(500ms);
        EXPECT_GE(distances, 14);
        EXPECT_LT(greatestDistance, 0.020);
    }
    EXPECT_EQ(player->statistics().underruns, 0);
}

TEST_F(Seeking, PlayDuringASeekPlaysFromThere) {
    sources->decoding = 4ms;
    player->seek(20.9);
    player->play();
    run(1s);
    EXPECT_NEAR(player->position(), 21.86, 0.05);
    EXPECT_EQ(shownTime()->floored(30).value, static_cast<int>(player->position() * 30));
}

TEST_F(Seeking, ASourceThatCannotBeReadKeepsThePictureAndIsAskedOnce) {
    sources->broken = MediaTimeRange{MediaTime(6000), MediaTime(3000)};
    player->seek(5);
    run(1s);
    const auto former = feed().picture();
    player->seek(11);
    run(5s);
    EXPECT_EQ(feed().picture(), former);
    EXPECT_EQ(sources->failures, 1);
    player->seek(20);
    run(1s);
    EXPECT_EQ(shownTime(), MediaTime(12000));
}

}  // namespace
}  // namespace kelvane::testing
