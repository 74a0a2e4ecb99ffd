#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <memory>

#include "Platform/QtMainContext.h"
#include "Support/Gate.h"
#include "Support/Patience.h"

namespace kelvane::testing {
namespace {

/// The real pool, whose works stand at gates.
class Pool : public ::testing::Test {
protected:
    ~Pool() override {
        longGate.open();
        shortGate.open();
        context.reset();
    }
    void start(int count, Lane lane, Gate& gate) {
        for (int i = 0; i < count; ++i) {
            auto work = [this, &gate] {
                (void)gate.pass({});
                ++done;
            };
            context->runInBackground(std::move(work), lane);
        }
    }
    /// Whether a short work comes to its end while everything else stays where it is.
    bool runsShortWork() { return runs(Lane::shortWork); }
    bool runs(Lane lane) {
        auto ran = std::make_shared<std::promise<void>>();
        auto end = ran->get_future();
        context->runInBackground([ran] { ran->set_value(); }, lane);
        return end.wait_for(patience) == std::future_status::ready;
    }
    int niceness(Lane lane) {
        auto asked = std::make_shared<std::promise<int>>();
        auto answer = asked->get_future();
        auto work = [asked] { asked->set_value(getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()))); };
        context->runInBackground(std::move(work), lane);
        return answer.get();
    }

    std::unique_ptr<QtMainContext> context = std::make_unique<QtMainContext>();
    Gate longGate;
    Gate shortGate;
    std::atomic<int> done = 0;
};

TEST_F(Pool, SixteenLongWorksRunAtOnce) {
    longGate.close();
    start(16, Lane::longWork, longGate);
    EXPECT_TRUE(longGate.waitForArrivals(16));
}

TEST_F(Pool, AShortWorkRunsBesideSixteenLongOnes) {
    longGate.close();
    start(40, Lane::longWork, longGate);
    ASSERT_TRUE(longGate.waitForArrivals(16));
    EXPECT_TRUE(runsShortWork());
    EXPECT_EQ(done, 0);
}

TEST_F(Pool, LongWorkThatWaitsForItsTurnTakesNoThreadThatShortWorkLeft) {
    longGate.close();
    shortGate.close();
    start(16, Lane::longWork, longGate);
    start(4, Lane::shortWork, shortGate);
    ASSERT_TRUE(longGate.waitForArrivals(16));
    ASSERT_TRUE(shortGate.waitForArrivals(4));
    start(4, Lane::longWork, longGate);
    shortGate.open();
    // Four threads came free, and found the waiting work before this one.
    EXPECT_TRUE(runsShortWork());
    EXPECT_EQ(longGate.waiting(), 16);
}

TEST_F(Pool, APlaybackWorkFindsAThreadHoweverManyLongAndShortOnesRun) {
    longGate.close();
    shortGate.close();
    start(40, Lane::longWork, longGate);
    start(40, Lane::shortWork, shortGate);
    ASSERT_TRUE(longGate.waitForArrivals(16));
    ASSERT_TRUE(shortGate.waitForArrivals(4));
    EXPECT_TRUE(runs(Lane::playback));
    EXPECT_EQ(done, 0);
}

TEST_F(Pool, ThePicturesCutsAndSoundOfTwoPlayersRunAtOnce) {
    longGate.close();
    start(6, Lane::playback, longGate);
    EXPECT_TRUE(longGate.waitForArrivals(6));
}

TEST_F(Pool, LongWorkGivesWayToAllOther) {
    // In this order: whoever lowers the whole program meanwhile lowers the later ones no less.
    const int shortWork = niceness(Lane::shortWork);
    const int playback = niceness(Lane::playback);
    const int longWork = niceness(Lane::longWork);
    EXPECT_GT(longWork, shortWork);
    EXPECT_GT(longWork, playback);
}

TEST_F(Pool, LongWorkGivesWayInAProgramThatDoesToo) {
    const auto self = static_cast<id_t>(gettid());
    const int former = getpriority(PRIO_PROCESS, self);
    if (former > 5 || setpriority(PRIO_PROCESS, self, 5) != 0) GTEST_SKIP() << "runs at a low priority";
    const int longWork = niceness(Lane::longWork);
    (void)setpriority(PRIO_PROCESS, self, former);
    EXPECT_GE(longWork, 15);
}

TEST_F(Pool, EverythingThatWasStartedComesToItsEnd) {
    longGate.close();
    start(40, Lane::longWork, longGate);
    start(40, Lane::shortWork, shortGate);
    ASSERT_TRUE(longGate.waitForArrivals(16));
    longGate.open();
    context.reset();
    EXPECT_EQ(done, 80);
}

}  // namespace
}  // namespace kelvane::testing
