#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Media/AudioWaveform.h"
#include "Media/MediaError.h"
#include "MediaPrinting.h"

namespace kelvane {
namespace {

using testing::errorOf;
using testing::FakeFile;
using testing::FakeMediaPlatform;
using testing::FakeSamples;
using Peaks = std::vector<float>;

class AudioWaveformTest : public ::testing::Test {
protected:
    Result<Peaks> read(std::vector<FakeSamples> blocks, std::stop_token stop = {}) {
        FakeFile file = FakeFile::audio(10);
        file.sound = std::move(blocks);
        platform_.addFile(url_, std::move(file));
        return AudioWaveform::readMedia(platform_, url_, std::move(stop));
    }

    FakeMediaPlatform platform_;
    const FileURL url_ = FileURL::fromPath("/media/take.wav");
};

TEST_F(AudioWaveformTest, APeakIsTheLargestAmplitudeOfItsThirtiethOfASecond) {
    // Three frames to a peak.
    EXPECT_EQ(read({{{0.1F, -0.4F, 0.2F, 0.3F, 0, 0, 0, 0.5F, 0.6F}, 1, 90, 0}}), (Peaks{0.4F, 0.3F, 0.6F}));
}

TEST_F(AudioWaveformTest, AFrameAtTheBorderOfTwoPeaksBelongsToTheLater) {
    EXPECT_EQ(read({{{0.1F, 0.2F, 0.3F, 0.4F}, 1, 60, 0}}), (Peaks{0.2F, 0.4F}));
}

TEST_F(AudioWaveformTest, APeakGoesOnOverTheBorderOfBlocks) {
    EXPECT_EQ(read({{{0.1F, 0.5F}, 1, 90, 0}, {{0.3F, 0.2F}, 1, 90, 2}}), (Peaks{0.5F, 0.2F}));
    EXPECT_EQ(read({{{0.1F, 0.3F}, 1, 90, 0}, {{0.5F, 0.2F}, 1, 90, 2}}), (Peaks{0.5F, 0.2F}));
}

TEST_F(AudioWaveformTest, TheLoudestChannelCounts) { EXPECT_EQ(read({{{0.2F, -0.7F}, 2, 30, 0}}), Peaks{0.7F}); }

TEST_F(AudioWaveformTest, WhatIsLouderThanFullScaleCountsAsFullScale) {
    EXPECT_EQ(read({{{0.5F, -3.5F, 1}, 1, 30, 0}}), (Peaks{0.5F, 1, 1}));
}

TEST_F(AudioWaveformTest, ALateBeginningAndGapsAreSilent) {
    EXPECT_EQ(read({{{0.5F}, 1, 30, 2}, {{0.25F}, 1, 30, 5}}), (Peaks{0, 0, 0.5F, 0, 0, 0.25F}));
}

TEST_F(AudioWaveformTest, PeaksEndWithTheSoundHoweverLongTheFileIs) {
    const auto peaks = read({{Peaks(45, 0.5F), 1, 30, 0}});
    ASSERT_TRUE(peaks);
    // A second and a half of ten.
    EXPECT_EQ(*peaks, Peaks(45, 0.5F));
    EXPECT_EQ(AudioWaveform::peak(*peaks, 1.4, 1.5), 0.5F);
    EXPECT_EQ(AudioWaveform::peak(*peaks, 1.5, 9), 0);
}

TEST_F(AudioWaveformTest, BinsFollowTheTimesAtAnyRate) {
    // Each peak is found again by asking every frame where it belongs.
    for (const double rate : {8000.0, 11025.0, 22050.0, 44100.0, 48000.0, 96000.0}) {
        Peaks samples(static_cast<std::size_t>(rate * 2.37));
        for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<float>(i * 7919 % 1000) / 1000;
        Peaks expected;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const auto slot = static_cast<std::size_t>(std::floor(static_cast<double>(i) / rate * 30));
            if (slot >= expected.size()) expected.resize(slot + 1);
            expected[slot] = std::max(expected[slot], samples[i]);
        }
        EXPECT_EQ(expected.size(), 72u);
        EXPECT_EQ(read({{std::move(samples), 1, rate, 0}}), expected) << rate;
    }
}

TEST_F(AudioWaveformTest, AFileWithoutSoundHasNoPeaks) {
    platform_.addFile(url_, FakeFile::silentVideo(3));
    EXPECT_EQ(AudioWaveform::readMedia(platform_, url_, {}), Peaks());
    EXPECT_EQ(read({}), Peaks());
}

TEST_F(AudioWaveformTest, TheWholeFileIsReadFromItsBeginning) {
    (void)read({{{0.5F}, 1, 30, 0}});
    EXPECT_EQ(platform_.calls("readSamples"), std::vector<std::string>{"readSamples take.wav audio from 0 to the end"});
}

TEST_F(AudioWaveformTest, FailuresAreTheReadersOwn) {
    platform_.failOn("openAsset", "“take.wav” is gone.");
    EXPECT_EQ(errorOf(read({{{0.5F}, 1, 30, 0}})), Error("“take.wav” is gone."));
    platform_.clearFailures();
    platform_.failOn("readSamples", "It broke.");
    EXPECT_EQ(errorOf(read({{{0.5F}, 1, 30, 0}})), Error("It broke."));
    platform_.clearFailures();
    EXPECT_EQ(errorOf(read({{{0.5F}, 0, 30, 0}})), MediaError::invalidClip("take.wav"));
}

TEST_F(AudioWaveformTest, AStopEndsTheReading) {
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(errorOf(read({{{0.5F}, 1, 30, 0}}, stop.get_token())), Error::cancelled());
}

TEST_F(AudioWaveformTest, SoundThatClaimsAnAbsurdPlaceTakesNoMemory) {
    const auto last = static_cast<std::int64_t>(AudioWaveform::mostPeaks);
    const Peaks first{0.5F};
    EXPECT_EQ(read({{{0.5F}, 1, 30, 0}, {{0.25F}, 1, 30, last}}), first);
    EXPECT_EQ(read({{{0.5F}, 1, 30, 0}, {{0.25F}, 1, 30, 8'000'000'000'000'000}}), first);
    EXPECT_EQ(read({{{0.5F}, 1, 1e-300, 0}, {{0.25F}, 1, 1e-300, 8'000'000'000'000'000}}), first);
}

TEST(AudioWaveform, ThePeakOfAStretchIsTheLargestThatItTouches) {
    const Peaks peaks{0.1F, 0.5F, 0.2F, 0.4F, 0.3F, 0.6F};
    const double slot = 1.0 / 30;
    struct Row {
        const char* what;
        double from;
        double to;
        float peak;
    };
    const Row rows[] = {
        {"all", 0, 6 * slot, 0.6F},
        {"one", 2 * slot, 3 * slot, 0.2F},
        {"the middle of three", 2.5 * slot, 4.5 * slot, 0.4F},
        {"narrower than one", 2.4 * slot, 2.6 * slot, 0.2F},
        {"nothing between two times", 4.5 * slot, 4.5 * slot, 0.3F},
        {"backwards", 4.5 * slot, 1 * slot, 0.3F},
        {"from before the beginning", -5, 0.5 * slot, 0.1F},
        {"wholly before the beginning", -5, -4, 0.1F},
        {"past the end", 4.5 * slot, 100, 0.6F},
        {"wholly past the end", 6.5 * slot, 100, 0},
        {"from the very end", 6 * slot, 7 * slot, 0},
        {"where no index reaches", 1e300, 1e301, 0},
        {"without an end", 0, std::numeric_limits<double>::infinity(), 0.6F},
        {"without a beginning", std::numeric_limits<double>::infinity(), 1, 0},
    };
    for (const Row& row : rows) EXPECT_EQ(AudioWaveform::peak(peaks, row.from, row.to), row.peak) << row.what;
    EXPECT_EQ(AudioWaveform::peak({}, 0, 1), 0);
}

}  // namespace
}  // namespace kelvane
