#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <latch>
#include <map>
#include <mutex>
#include <set>

#include "Media/FFmpeg/Still/StillRun.h"

namespace kelvane {
namespace {

/// What the artists of a run were asked for.
struct Journal {
    std::mutex mutex;
    /// By artist, in the order of drawing.
    std::map<int, std::vector<std::size_t>> drawn;
    std::vector<int> threads;
    std::atomic<int> plans = 0;
    /// Called before a still is drawn, by index.
    std::function<void(std::size_t)> onDraw;
};

/// Knows where decoding starts by a table; draws nothing.
class FakeArtist final : public StillArtist {
public:
    FakeArtist(Journal& journal, int number, std::int64_t groupLength)
        : journal_(journal), number_(number), groupLength_(groupLength) {}

    Result<std::optional<std::int64_t>> decodingStart(const StillRequest& request, std::stop_token stop) override {
        if (stop.stop_requested()) return fail(Error::cancelled());
        ++journal_.plans;
        if (groupLength_ == 0) return std::nullopt;
        return request.sourceTime.value / groupLength_ * groupLength_;
    }
    Result<TimedStill> draw(const StillRequest& request, std::stop_token stop) override {
        if (stop.stop_requested()) return fail(Error::cancelled());
        if (journal_.onDraw) journal_.onDraw(request.index);
        const std::lock_guard lock(journal_.mutex);
        journal_.drawn[number_].push_back(request.index);
        if (request.sourceTime.value < 0) return fail("This one can't be drawn.");
        return TimedStill{nullptr, request.sourceTime};
    }

private:
    Journal& journal_;
    int number_;
    std::int64_t groupLength_;
};

class StillRun : public ::testing::Test {
protected:
    /// One group of seconds at scale 1.
    StillGroup group(std::initializer_list<std::int64_t> seconds) {
        StillGroup made;
        for (const std::int64_t second : seconds) made.push_back({next_++, {second, 1}});
        return made;
    }
    Result<void> run(std::vector<StillGroup> groups, std::int64_t groupLength, const StillConsumer& consume = {},
                     std::stop_token stop = {}) {
        const auto makeArtist = [this, groupLength](int threads) {
            const std::lock_guard lock(journal_.mutex);
            journal_.threads.push_back(threads);
            return std::make_unique<FakeArtist>(journal_, static_cast<int>(journal_.threads.size()), groupLength);
        };
        const StillConsumer collect = [this, &consume](std::size_t index, const TimedStill& still) -> Result<void> {
            EXPECT_EQ(inside_.fetch_add(1), 0);
            const auto result = consume ? consume(index, still) : Result<void>();
            got_.push_back(index);
            inside_.fetch_sub(1);
            return result;
        };
        return drawStills(std::move(groups), makeArtist, collect, std::move(stop));
    }
    [[nodiscard]] std::set<std::size_t> gotSet() const { return {got_.begin(), got_.end()}; }

    std::size_t next_ = 0;
    Journal journal_;
    std::vector<std::size_t> got_;
    std::atomic<int> inside_ = 0;
};

TEST_F(StillRun, HandsOverEachStillOnce) {
    for (int round = 0; round < 50; ++round) {
        next_ = 0;
        got_.clear();
        ASSERT_TRUE(run({group({0, 1, 11, 12, 25}), group({7}), group({3, 3, 3, 90})}, 10));
        EXPECT_EQ(got_.size(), 10U);
        EXPECT_EQ(gotSet().size(), 10U);
    }
}

TEST_F(StillRun, KeepsStillsOfOneDecodingStartWithOneArtistInOrder) {
    for (int round = 0; round < 50; ++round) {
        next_ = 0;
        journal_.drawn.clear();
        ASSERT_TRUE(run({group({0, 4, 9, 10, 14, 19, 20, 24, 29, 30, 34, 39})}, 10));
        for (const auto& [number, drawn] : journal_.drawn) {
            ASSERT_EQ(drawn.size() % 3, 0U);
            for (std::size_t i = 0; i < drawn.size(); i += 3) {
                EXPECT_EQ(drawn[i] % 3, 0U);
                EXPECT_EQ(drawn[i + 1], drawn[i] + 1);
                EXPECT_EQ(drawn[i + 2], drawn[i] + 2);
            }
        }
    }
}

TEST_F(StillRun, TwoArtistsWorkFromBothEnds) {
    // The artist of the first still is held up until the other has drawn all that lies behind it.
    std::latch first(1);
    std::latch others(3);
    journal_.onDraw = [&](std::size_t index) {
        if (index == 0) {
            first.count_down();
            others.wait();
        } else {
            first.wait();
            others.count_down();
        }
    };
    ASSERT_TRUE(run({group({0, 10}), group({20, 30})}, 10));
    EXPECT_EQ(journal_.threads, (std::vector<int>{1, 1}));
    EXPECT_EQ(journal_.drawn, (std::map<int, std::vector<std::size_t>>{{1, {0}}, {2, {3, 2, 1}}}));
}

TEST_F(StillRun, OneArtistHasAllThreadsWhenThereIsOneStretch) {
    ASSERT_TRUE(run({group({1, 2, 3})}, 10));
    EXPECT_EQ(journal_.threads, (std::vector<int>{1, 0}));
    EXPECT_EQ(got_, (std::vector<std::size_t>{0, 1, 2}));
}

TEST_F(StillRun, OneStillNeedsNoPlan) {
    ASSERT_TRUE(run({group({5})}, 10));
    EXPECT_EQ(journal_.plans, 0);
    EXPECT_EQ(got_, (std::vector<std::size_t>{0}));
}

TEST_F(StillRun, CutsOnceAndInTheMiddleWithoutAListOfKeyFrames) {
    struct Row {
        const char* name;
        StillGroup group;
        std::size_t artists;
    };
    for (Row& row : std::vector<Row>{{"far apart", group({0, 1, 2, 10, 11, 12}), 2},
                                     {"close", group({0, 1, 2, 3, 4, 5}), 1},
                                     {"apart elsewhere", group({0, 10, 20, 22, 30, 40}), 1}}) {
        journal_.threads.clear();
        ASSERT_TRUE(run({std::move(row.group)}, 0));
        EXPECT_EQ(journal_.threads, row.artists == 2 ? (std::vector<int>{1, 1}) : (std::vector<int>{1, 0})) << row.name;
    }
}

TEST_F(StillRun, NothingWantedIsNothingDone) {
    EXPECT_TRUE(run({}, 10));
    EXPECT_TRUE(journal_.threads.empty());
}

TEST_F(StillRun, AFailureToDrawEndsTheRun) {
    const auto done = run({group({-5, 10, 20, 30, 40}), group({-50, 60, 70})}, 10);
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().message, "This one can't be drawn.");
}

TEST_F(StillRun, AFailureOfTheConsumerEndsTheRunAndIsPassedOn) {
    const auto done = run({group({0, 10, 20, 30}), group({40, 50, 60, 70})}, 10,
                          [](std::size_t, const TimedStill&) -> Result<void> { return fail("The sheet is full."); });
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().message, "The sheet is full.");
    EXPECT_EQ(got_.size(), 1U);
}

TEST_F(StillRun, AStopEndsTheRunAsCancelled) {
    std::stop_source source;
    const auto done = run(
        {group({0, 10, 20, 30}), group({40, 50, 60, 70})}, 10,
        [&](std::size_t, const TimedStill&) { return source.request_stop(), Result<void>(); }, source.get_token());
    ASSERT_FALSE(done);
    EXPECT_TRUE(done.error().isCancelled());
    EXPECT_EQ(got_.size(), 1U);
    got_.clear();
    EXPECT_TRUE(run({group({0})}, 10, {}, source.get_token()).error().isCancelled());
    EXPECT_TRUE(got_.empty());
}

}  // namespace
}  // namespace kelvane
