#include <gtest/gtest.h>

#include <random>

#include "PlayerRig.h"

namespace kelvane::testing {
namespace {

/// A person, an assistant and a plug at a player, all at once.
class AnyOperations : public ::testing::TestWithParam<unsigned>, public PlayerRig {
protected:
    double anywhere() { return std::uniform_real_distribution<double>(-1, 12)(random); }
    std::chrono::milliseconds some(int most) {
        return std::chrono::milliseconds(std::uniform_int_distribution<int>(0, most)(random));
    }
    void operate() {
        switch (random() % 12) {
            case 0:
            case 1:
                return player->play();
            case 2:
                return player->pause();
            case 3:
            case 4:
                return player->seek(anywhere());
            case 5:
                player->cancelPendingSeeks();
                return player->seek(anywhere());
            case 6:
                return player->cancelPendingSeeks();
            case 7:
                return player->replaceItem(random() % 4 == 0 ? nullptr : itemOf(0.1 + std::abs(anywhere())));
            case 8:
                return feed().setSurfaceSize(
                    {static_cast<double>(random() % 600), static_cast<double>(random() % 900)});
            case 9:
                return player->setMuted(random() % 2 == 0);
            case 10:
                output->latency = some(200);
                return output->setAvailable(random() % 2 == 0);
            default:
                sources->decoding = some(60);
                sources->drawing = some(40);
                sources->rendering = some(70);
                sources->broken =
                    random() % 3 == 0 ? std::optional(MediaTimeRange{MediaTime(1200), MediaTime(900)}) : std::nullopt;
        }
    }
    void expectConsistent() {
        const auto item = player->item();
        const double duration = item ? item->composition.duration().seconds() : 0;
        EXPECT_GE(player->position(), 0);
        EXPECT_LE(player->position(), duration);
        if (!item) EXPECT_EQ(player->rate(), 0);
        if (!item) EXPECT_EQ(feed().picture(), nullptr);
        if (player->rate() == 0) EXPECT_FALSE(output->isPlaying());
        EXPECT_LE(sources->alive, 60);
    }

    std::mt19937 random{GetParam()};
};

TEST_P(AnyOperations, LeaveThePlayerAsItShouldBe) {
    for (int i = 0; i < 1000; ++i) {
        operate();
        expectConsistent();
        if (random() % 3 != 0) run(some(200));
        expectConsistent();
    }
    sources->broken.reset();
    sources->decoding = 1ms;
    sources->drawing = 0ms;
    sources->rendering = 1ms;
    output->latency = 40ms;
    output->setAvailable(true);
    feed().setSurfaceSize({400, 711});
    run(10s);
    show(itemOf(10));
    EXPECT_EQ(shownTime(), MediaTime(0));
    EXPECT_EQ(sources->alive, 2);
    player->play();
    run(11s);
    EXPECT_EQ(frames(), framesFrom(1, 299));
    EXPECT_EQ(player->statistics().late, 0);
    EXPECT_EQ(player->rate(), 0);
    EXPECT_EQ(context.pendingTimers(), 0U);
    EXPECT_FALSE(context.hasWork());
}

INSTANTIATE_TEST_SUITE_P(Seeds, AnyOperations, ::testing::Range(1U, 9U));

}  // namespace
}  // namespace kelvane::testing
