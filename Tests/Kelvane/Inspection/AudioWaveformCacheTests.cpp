#include <gtest/gtest.h>

#include <QCoreApplication>
#include <algorithm>
#include <deque>
#include <map>

#include "Inspection/AudioWaveformCache.h"
#include "Platform/QtMainContext.h"
#include "Support/App/FakeMainContext.h"
#include "Support/App/FinishTask.h"
#include "Support/FakeMediaPlatform.h"
#include "Support/Gate.h"
#include "Support/Patience.h"

namespace kelvane::testing {
namespace {

using Answer = Result<AudioWaveformCache::Samples>;
using Peaks = std::vector<float>;
using Lines = std::vector<std::string>;

FileURL named(const std::string& name) { return FileURL::fromPath("/media/" + name); }

/// A cache whose decodes run when the test says so, and answer what it says.
class AudioWaveformCacheTests : public ::testing::Test {
protected:
    ~AudioWaveformCacheTests() override {
        cache.reset();
        context.settle();
    }
    /// The answer's place, which is filled once it has come.
    std::optional<Answer>& ask(const std::string& name) {
        answers.emplace_back();
        auto keeper = keep(cache->peaks(named(name)), &answers.back());
        return answers.back();
    }
    /// Runs the decode that is under way, without its answer.
    void decode() { ASSERT_TRUE(context.stepBackground()); }
    Answer finished(const std::string& name) { return finish(context, cache->peaks(named(name))); }
    /// What a file answers as if it had so many peaks.
    void describe(const std::string& name, std::size_t peaks) {
        files.insert_or_assign(named(name), Peaks(peaks, 0.5F));
    }
    [[nodiscard]] std::size_t readsOf(const std::string& name) const {
        return static_cast<std::size_t>(std::ranges::count(reads, name));
    }

    FakeMainContext context;
    std::map<FileURL, Result<Peaks>> files;
    /// The decodes that began.
    Lines reads;
    std::stop_token lastStop;
    std::unique_ptr<AudioWaveformCache> cache =
        std::make_unique<AudioWaveformCache>(context, [this](const FileURL& url, const std::stop_token& stop) {
            reads.push_back(url.fileName());
            lastStop = stop;
            if (stop.stop_requested()) return Result<Peaks>(fail(Error::cancelled()));
            const auto found = files.find(url);
            return found == files.end() ? Result<Peaks>(Peaks{0.25F, 0.5F}) : found->second;
        });
    std::deque<std::optional<Answer>> answers;
};

TEST_F(AudioWaveformCacheTests, APeakIsReadOnceAndKept) {
    const Answer first = finished("a");
    ASSERT_TRUE(first);
    EXPECT_EQ(*first->values, (Peaks{0.25F, 0.5F}));
    // At once, without a turn of the event loop.
    const auto& second = ask("a");
    ASSERT_TRUE(second);
    EXPECT_EQ(second->value().values, first->values);
    EXPECT_EQ(reads, Lines{"a"});
}

TEST_F(AudioWaveformCacheTests, TwoRequestsAtOnceForOneFileShareOneDecode) {
    const auto& one = ask("a");
    const auto& other = ask("a");
    decode();
    const auto& late = ask("a");
    EXPECT_FALSE(one || other || late);
    context.settle();
    ASSERT_TRUE(one && other && late);
    ASSERT_TRUE(*one);
    EXPECT_EQ((*one)->values, (*other)->values);
    EXPECT_EQ((*one)->values, (*late)->values);
    EXPECT_EQ(reads, Lines{"a"});
}

TEST_F(AudioWaveformCacheTests, AFailureReachesAllWhoWaitAndIsNotRemembered) {
    files.insert_or_assign(named("a"), fail("It broke."));
    const auto& one = ask("a");
    const auto& other = ask("a");
    context.settle();
    for (const auto* answer : {&one, &other}) {
        ASSERT_TRUE(*answer);
        ASSERT_FALSE(**answer);
        EXPECT_EQ((*answer)->error().message, "It broke.");
    }
    EXPECT_EQ(reads, Lines{"a"});
    describe("a", 1);
    EXPECT_TRUE(finished("a"));
    EXPECT_EQ(reads, (Lines{"a", "a"}));
}

TEST_F(AudioWaveformCacheTests, OneFileIsReadOnlyAfterTheOneBefore) {
    const auto& a = ask("a");
    const auto& b = ask("b");
    const auto& c = ask("c");
    context.runPosted();
    EXPECT_EQ(context.waitingInBackground(), 1u);
    decode();
    EXPECT_EQ(reads, Lines{"a"});
    context.runPosted();
    EXPECT_TRUE(a && !b && !c);
    EXPECT_EQ(context.waitingInBackground(), 1u);
    decode();
    context.runPosted();
    EXPECT_EQ(reads, (Lines{"a", "b"}));
    EXPECT_TRUE(b && !c);
    context.settle();
    EXPECT_TRUE(c);
    EXPECT_EQ(reads, (Lines{"a", "b", "c"}));
}

TEST_F(AudioWaveformCacheTests, AFailedFileHoldsUpNoOther) {
    files.insert_or_assign(named("a"), fail("It broke."));
    const auto& a = ask("a");
    const auto& b = ask("b");
    EXPECT_EQ(context.waitingInBackground(), 1u);
    decode();
    EXPECT_EQ(reads, Lines{"a"});
    context.settle();
    ASSERT_TRUE(a && b);
    EXPECT_FALSE(*a);
    EXPECT_TRUE(*b);
    EXPECT_EQ(reads, (Lines{"a", "b"}));
}

TEST_F(AudioWaveformCacheTests, WhatIsKeptIsAnsweredWhileAnotherFileIsRead) {
    (void)finished("a");
    const auto& b = ask("b");
    const auto& a = ask("a");
    EXPECT_TRUE(a && !b);
    context.settle();
}

TEST_F(AudioWaveformCacheTests, DecodesAreLongWork) {
    ask("a");
    EXPECT_EQ(context.waitingInBackground(Lane::longWork), 1u);
    context.settle();
}

TEST_F(AudioWaveformCacheTests, WhoHearsOfAFailureMayAskAgainAtOnce) {
    files.insert_or_assign(named("a"), fail("It broke."));
    std::optional<Answer> second;
    struct Retry {
        static QCoro::Task<void> twice(AudioWaveformCache* cache, FileURL url, std::optional<Answer>* second) {
            auto first = cache->peaks(url);
            const Answer failure = co_await first;
            EXPECT_FALSE(failure);
            auto again = cache->peaks(url);
            *second = co_await again;
        }
    };
    auto retrying = Retry::twice(cache.get(), named("a"), &second);
    context.settle();
    ASSERT_TRUE(second);
    EXPECT_EQ(reads, (Lines{"a", "a"}));
}

TEST_F(AudioWaveformCacheTests, TheFileUsedLongestAgoGoesWhenTheBytesAreFull) {
    // Two fill the limit to the last byte.
    const std::size_t half = AudioWaveformCache::totalCostLimit / sizeof(float) / 2;
    describe("a", half);
    describe("b", half);
    describe("c", 1);
    (void)finished("a");
    (void)finished("b");
    (void)finished("a");
    EXPECT_EQ(reads, (Lines{"a", "b"}));
    (void)finished("c");
    (void)finished("a");
    EXPECT_EQ(readsOf("a"), 1u);
    (void)finished("b");
    EXPECT_EQ(readsOf("b"), 2u);
}

TEST_F(AudioWaveformCacheTests, TheFileUsedLongestAgoGoesWhenTheirNumberIsFull) {
    for (int i = 0; i < 64; ++i) (void)finished("file " + std::to_string(i));
    (void)finished("file 0");
    EXPECT_EQ(reads.size(), 64u);
    (void)finished("one more");
    (void)finished("file 0");
    EXPECT_EQ(readsOf("file 0"), 1u);
    (void)finished("file 1");
    EXPECT_EQ(readsOf("file 1"), 2u);
    (void)finished("file 3");
    EXPECT_EQ(readsOf("file 3"), 1u);
}

TEST_F(AudioWaveformCacheTests, AFileWithoutSoundIsKeptToo) {
    describe("a", 0);
    EXPECT_TRUE(finished("a"));
    EXPECT_TRUE(finished("a"));
    EXPECT_EQ(readsOf("a"), 1u);
}

TEST_F(AudioWaveformCacheTests, AFileOfMoreThanTheLimitIsAnsweredButPushesNothingOut) {
    (void)finished("a");
    describe("long", AudioWaveformCache::totalCostLimit / sizeof(float) + 1);
    const Answer answer = finished("long");
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->values->size(), AudioWaveformCache::totalCostLimit / sizeof(float) + 1);
    (void)finished("a");
    EXPECT_EQ(readsOf("a"), 1u);
    (void)finished("long");
    EXPECT_EQ(readsOf("long"), 2u);
}

TEST_F(AudioWaveformCacheTests, PeaksThatAreShownOutliveTheirPlace) {
    const Answer shown = finished("a");
    for (int i = 0; i < 64; ++i) (void)finished("file " + std::to_string(i));
    ASSERT_TRUE(shown);
    EXPECT_EQ(*shown->values, (Peaks{0.25F, 0.5F}));
}

TEST_F(AudioWaveformCacheTests, WhoNoLongerWaitsStopsNoDecode) {
    {
        auto dropped = cache->peaks(named("a"));
    }
    decode();
    EXPECT_FALSE(lastStop.stop_requested());
    context.settle();
    const auto& kept = ask("a");
    EXPECT_TRUE(kept && *kept);
    EXPECT_EQ(reads, Lines{"a"});
}

TEST_F(AudioWaveformCacheTests, ItsEndAnswersAllWhoWaitAsCancelled) {
    const auto& a = ask("a");
    const auto& b = ask("b");
    const auto& c = ask("b");
    cache.reset();
    context.settle();
    for (const auto* answer : {&a, &b, &c}) {
        ASSERT_TRUE(*answer);
        ASSERT_FALSE(**answer);
        EXPECT_TRUE((*answer)->error().isCancelled());
    }
    // What was under way saw its stop; the next never began.
    EXPECT_EQ(reads, Lines{"a"});
    EXPECT_TRUE(lastStop.stop_requested());
}

TEST_F(AudioWaveformCacheTests, OnceRetiredItReadsNothingMore) {
    (void)finished("a");
    cache->retire();
    const auto& b = ask("b");
    ASSERT_TRUE(b);
    ASSERT_FALSE(*b);
    EXPECT_TRUE((*b).error().isCancelled());
    EXPECT_FALSE(context.hasWork());
    const auto& a = ask("a");
    EXPECT_TRUE(a && *a);
}

TEST_F(AudioWaveformCacheTests, ByItselfItReadsTheSoundOfTheFile) {
    FakeMediaPlatform media;
    FakeFile file = FakeFile::audio(1);
    file.sound = {FakeSamples{{0.5F, -0.75F, 2}, 1, 30, 0}};
    media.addFile(named("tone"), std::move(file));
    AudioWaveformCache own(context, media);
    const Answer tone = finish(context, own.peaks(named("tone")));
    ASSERT_TRUE(tone);
    EXPECT_EQ(*tone->values, (Peaks{0.5F, 0.75F, 1}));
    const Answer gone = finish(context, own.peaks(named("gone")));
    ASSERT_FALSE(gone);
}

/// The end of a program in the middle of a decode, on real threads.
TEST(AudioWaveformCacheOnThreads, ADecodeUnderWayEndsWithTheCache) {
    Gate gate;
    // It would never come to its own end, for which the pool's would wait.
    gate.close();
    QtMainContext context;
    std::optional<Answer> answer;
    {
        AudioWaveformCache cache(context, [&gate](const FileURL&, const std::stop_token& stop) {
            const Result<void> passed = gate.pass(stop);
            return passed ? Result<Peaks>(Peaks()) : Result<Peaks>(fail(passed.error()));
        });
        auto keeper = keep(cache.peaks(named("a")), &answer);
        ASSERT_TRUE(gate.waitForArrivals());
    }
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!answer && std::chrono::steady_clock::now() < end)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    ASSERT_TRUE(answer && !*answer);
    EXPECT_TRUE(answer->error().isCancelled());
}

}  // namespace
}  // namespace kelvane::testing
