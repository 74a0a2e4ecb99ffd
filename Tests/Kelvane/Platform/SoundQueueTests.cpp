#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "Platform/SoundQueue.h"

namespace kelvane::testing {
namespace {

std::vector<float> frames(int first, int count) {
    std::vector<float> samples;
    for (int i = first; i < first + count; ++i) {
        samples.push_back(static_cast<float>(i));
        samples.push_back(static_cast<float>(-i));
    }
    return samples;
}

std::vector<float> readFrames(SoundQueue& queue, int count) {
    std::vector<float> samples(static_cast<std::size_t>(count) * 2, 99.0F);
    samples.resize(static_cast<std::size_t>(queue.read(samples)) * 2);
    return samples;
}

TEST(SoundQueue, GivesWhatItTookInOrderAroundTheRing) {
    SoundQueue queue(7, {});
    int written = 1;
    int read = 1;
    for (int i = 0; i < 100; ++i) {
        written += static_cast<int>(queue.write(frames(written, 5)));
        const auto taken = readFrames(queue, 3);
        EXPECT_EQ(taken, frames(read, static_cast<int>(taken.size()) / 2));
        read += static_cast<int>(taken.size()) / 2;
        EXPECT_EQ(queue.held(), written - read);
        EXPECT_EQ(queue.room(), 7 - queue.held());
        EXPECT_EQ(queue.taken(), read - 1);
    }
}

TEST(SoundQueue, TakesNoMoreThanThereIsRoomFor) {
    SoundQueue queue(4, {});
    EXPECT_EQ(queue.write(frames(1, 3)), 3);
    EXPECT_EQ(queue.write(frames(4, 3)), 1);
    EXPECT_EQ(queue.write(frames(5, 1)), 0);
    EXPECT_EQ(readFrames(queue, 4), frames(1, 4));
}

TEST(SoundQueue, AReadThatFindsTooLittleIsAnUnderrunUntilTheEndIsKnown) {
    SoundQueue queue(8, {});
    queue.write(frames(1, 2));
    EXPECT_EQ(readFrames(queue, 2), frames(1, 2));
    EXPECT_EQ(queue.underruns(), 0);
    queue.write(frames(3, 1));
    EXPECT_EQ(readFrames(queue, 2), frames(3, 1));
    EXPECT_EQ(queue.underruns(), 1);
    queue.finish();
    EXPECT_TRUE(readFrames(queue, 2).empty());
    EXPECT_EQ(queue.underruns(), 1);
}

TEST(SoundQueue, ADeviceThatAsksForNothingGetsNothingAndRanDryOfNothing) {
    int rings = 0;
    SoundQueue queue(4, [&rings] { ++rings; });
    EXPECT_EQ(queue.read({}), 0);
    queue.write(frames(1, 4));
    EXPECT_EQ(queue.write({}), 0);
    EXPECT_EQ(queue.read({}), 0);
    EXPECT_EQ(queue.underruns(), 0);
    EXPECT_EQ(rings, 0);
    EXPECT_EQ(readFrames(queue, 4), frames(1, 4));
}

TEST(SoundQueue, IsOverWhenAllWasTakenAndNoMoreComes) {
    SoundQueue queue(8, {});
    queue.write(frames(1, 2));
    EXPECT_FALSE(queue.isOver());
    queue.finish();
    EXPECT_FALSE(queue.isOver());
    (void)readFrames(queue, 2);
    EXPECT_TRUE(queue.isOver());
}

TEST(SoundQueue, MutedFramesAreTakenAsSilence) {
    SoundQueue queue(8, {});
    queue.write(frames(1, 4));
    queue.setMuted(true);
    EXPECT_EQ(readFrames(queue, 2), std::vector<float>(4, 0.0F));
    queue.setMuted(false);
    EXPECT_EQ(readFrames(queue, 2), frames(3, 2));
}

TEST(SoundQueue, TellsOfRoomOnceFramesWereTaken) {
    int calls = 0;
    std::int64_t room = 0;
    std::unique_ptr<SoundQueue> queue;
    queue = std::make_unique<SoundQueue>(8, [&] {
        ++calls;
        room = queue->room();
    });
    (void)readFrames(*queue, 2);
    EXPECT_EQ(calls, 0);
    queue->write(frames(1, 4));
    (void)readFrames(*queue, 3);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(room, 7);
}

TEST(SoundQueue, OneWritesWhileAnotherReads) {
    constexpr int count = 5'000;
    SoundQueue queue(64, {});
    std::thread writer([&] {
        for (int written = 0; written < count;) {
            const auto taken = static_cast<int>(queue.write(frames(written, std::min(17, count - written))));
            if (taken == 0) std::this_thread::yield();
            written += taken;
        }
        queue.finish();
    });
    int read = 0;
    while (!queue.isOver()) {
        const auto taken = readFrames(queue, 13);
        if (taken.empty()) std::this_thread::yield();
        ASSERT_EQ(taken, frames(read, static_cast<int>(taken.size()) / 2));
        read += static_cast<int>(taken.size()) / 2;
    }
    writer.join();
    EXPECT_EQ(read, count);
}

}  // namespace
}  // namespace kelvane::testing
