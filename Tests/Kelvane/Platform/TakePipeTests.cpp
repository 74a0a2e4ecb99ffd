#include <gtest/gtest.h>

#include <numeric>
#include <optional>
#include <thread>
#include <vector>

#include "Platform/TakePipe.h"
#include "Support/App/FakeMainContext.h"

namespace kelvane::testing {
namespace {

/// What a writer was given.
struct Written {
    std::vector<float> samples;
    int finished = 0;
    bool isGone = false;
    /// Fails from this many samples on.
    std::size_t room = SIZE_MAX;
    bool finishes = true;
};

class FakeWriter final : public TakeWriter {
public:
    explicit FakeWriter(Written& written) : written_(written) {}
    ~FakeWriter() override { written_.isGone = true; }
    Result<void> write(std::span<const float> samples) override {
        if (written_.samples.size() + samples.size() > written_.room) return fail("The disk is full.");
        written_.samples.insert(written_.samples.end(), samples.begin(), samples.end());
        return {};
    }
    Result<void> finish() override {
        ++written_.finished;
        return written_.finishes ? Result<void>() : fail("The disk is broken.");
    }

private:
    Written& written_;
};

class Pipe : public ::testing::Test {
protected:
    static std::vector<float> numbers(int first, int count) {
        std::vector<float> samples(static_cast<std::size_t>(count));
        std::iota(samples.begin(), samples.end(), static_cast<float>(first));
        return samples;
    }

    FakeMainContext context;
    Written written;
    std::vector<Result<void>> ends;
    std::shared_ptr<TakePipe> pipe = std::make_shared<TakePipe>(
        context, std::make_unique<FakeWriter>(written), [this](const Result<void>& end) { ends.push_back(end); });
};

TEST_F(Pipe, WritesInOrderWhatComesWhileItWritesNothing) {
    pipe->push(numbers(0, 100));
    pipe->push(numbers(100, 50));
    EXPECT_TRUE(written.samples.empty());
    EXPECT_EQ(context.waitingInBackground(Lane::shortWork), 1U) << "behind no export and no inspection";
    EXPECT_EQ(pipe->length(), 150);
    context.settle();
    pipe->push(numbers(150, 50));
    context.settle();
    EXPECT_EQ(written.samples, numbers(0, 200));
    EXPECT_EQ(written.finished, 0);
    EXPECT_TRUE(ends.empty());
}

TEST_F(Pipe, EndsWhenTheRestIsWritten) {
    pipe->push(numbers(0, 100));
    pipe->close();
    pipe->close();
    pipe->push(numbers(100, 100));
    EXPECT_EQ(context.waitingInBackground(), 1U);
    context.drain();
    EXPECT_EQ(written.samples, numbers(0, 100));
    EXPECT_EQ(written.finished, 1);
    EXPECT_TRUE(written.isGone);
    EXPECT_TRUE(ends.empty());
    context.settle();
    ASSERT_EQ(ends.size(), 1U);
    EXPECT_TRUE(ends[0]);
    EXPECT_EQ(pipe->length(), 100);
}

TEST_F(Pipe, OfNothingEndsAllTheSame) {
    pipe->push({});
    context.settle();
    EXPECT_EQ(pipe->length(), 0);
    pipe->close();
    context.settle();
    ASSERT_EQ(ends.size(), 1U);
    EXPECT_TRUE(ends[0]);
    EXPECT_EQ(written.finished, 1);
}

TEST_F(Pipe, TellsOnceThatTheDiskIsFullAndTakesNoMore) {
    written.room = 150;
    pipe->push(numbers(0, 100));
    context.settle();
    pipe->push(numbers(100, 100));
    context.settle();
    pipe->push(numbers(200, 100));
    pipe->close();
    context.settle();
    ASSERT_EQ(ends.size(), 1U);
    EXPECT_EQ(ends[0].error().message, "The disk is full.");
    EXPECT_EQ(written.samples, numbers(0, 100));
    EXPECT_EQ(written.finished, 0);
    EXPECT_TRUE(written.isGone);
}

TEST_F(Pipe, TellsThatItsFileCouldNotBeFinished) {
    written.finishes = false;
    pipe->push(numbers(0, 10));
    pipe->close();
    context.settle();
    ASSERT_EQ(ends.size(), 1U);
    EXPECT_EQ(ends[0].error().message, "The disk is broken.");
}

TEST_F(Pipe, HoldsHalfAMinuteAndFailsBehindIt) {
    const std::vector<float> second(soundSampleRate, 0.25F);
    for (int i = 0; i < 30; ++i) pipe->push(second);
    EXPECT_EQ(pipe->length(), TakePipe::capacity);
    pipe->push(numbers(0, 1));
    EXPECT_EQ(pipe->length(), TakePipe::capacity);
    context.settle();
    ASSERT_EQ(ends.size(), 1U);
    EXPECT_EQ(ends[0].error().message, "The disk is too slow to record on.");
    EXPECT_EQ(static_cast<std::int64_t>(written.samples.size()), TakePipe::capacity);
}

TEST_F(Pipe, MeasuresTheLoudestSampleSinceItWasAsked) {
    EXPECT_EQ(pipe->takePeak(), 0);
    pipe->push(std::vector{0.1F, -0.5F, 0.25F});
    pipe->push(std::vector{0.2F});
    EXPECT_EQ(pipe->takePeak(), 0.5F);
    EXPECT_EQ(pipe->takePeak(), 0);
    pipe->push(std::vector{-0.125F});
    EXPECT_EQ(pipe->takePeak(), 0.125F);
    context.settle();
}

TEST_F(Pipe, LosesNothingBetweenTwoThreads) {
    std::thread device([this] {
        for (int i = 0; i < 1000; ++i) pipe->push(numbers(i * 10, 10));
        pipe->close();
    });
    while (ends.empty()) context.settle();
    device.join();
    EXPECT_EQ(written.samples, numbers(0, 10000));
    EXPECT_EQ(written.finished, 1);
}

}  // namespace
}  // namespace kelvane::testing
