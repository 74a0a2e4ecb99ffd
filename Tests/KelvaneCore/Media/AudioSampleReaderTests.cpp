#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Media/AudioSampleReader.h"
#include "Media/MediaError.h"
#include "MediaPrinting.h"

namespace kelvane {
namespace {

using testing::errorOf;
using testing::FakeFile;
using testing::FakeMediaPlatform;
using testing::FakeSamples;
using Lines = std::vector<std::string>;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float inf = std::numeric_limits<float>::infinity();

struct Frame {
    double time = 0;
    float amplitude = 0;
    bool operator==(const Frame&) const = default;
};
void PrintTo(const Frame& frame, std::ostream* out) { *out << "(" << frame.time << ", " << frame.amplitude << ")"; }

class SampleReaderTest : public ::testing::Test {
protected:
    /// Ten frames at 10 a second: frame n has amplitude n / 16.
    static FakeSamples ramp() {
        FakeSamples block{{}, 1, 10, 0};
        for (int i = 0; i < 10; ++i) block.samples.push_back(static_cast<float>(i) / 16);
        return block;
    }
    static FakeFile sound(std::vector<FakeSamples> blocks, double seconds = 1) {
        FakeFile file = FakeFile::audio(seconds);
        file.sound = std::move(blocks);
        return file;
    }
    static FakeFile movie(std::vector<FakeSamples> blocks, double seconds = 1) {
        FakeFile file = FakeFile::video(seconds);
        file.sound = std::move(blocks);
        return file;
    }

    Result<bool> read(FakeFile file, double start = 0, std::optional<double> end = {}, std::stop_token stop = {}) {
        platform_.addFile(url_, std::move(file));
        frames_.clear();
        return AudioSampleReader::read(
            platform_, url_, start, end, [this](double time, float amplitude) { frames_.push_back({time, amplitude}); },
            std::move(stop));
    }
    std::vector<float> amplitudes() const {
        std::vector<float> values;
        for (const Frame& frame : frames_) values.push_back(frame.amplitude);
        return values;
    }
    std::vector<double> times() const {
        std::vector<double> values;
        for (const Frame& frame : frames_) values.push_back(frame.time);
        return values;
    }

    FakeMediaPlatform platform_;
    const FileURL url_ = FileURL::fromPath("/media/take 1.wav");
    const Error invalid_ = MediaError::invalidClip("take 1.wav");
    std::vector<Frame> frames_;
};

TEST_F(SampleReaderTest, AnAmplitudeIsTheLargestFiniteMagnitudeAmongTheChannels) {
    struct Row {
        const char* what;
        std::vector<float> samples;
        int channels;
        std::vector<float> amplitudes;
    };
    const Row rows[] = {
        {"a stereo frame", {0.2F, -0.7F}, 2, {0.7F}},
        {"the left side is the louder", {-0.7F, 0.2F}, 2, {0.7F}},
        {"a frame whose only sample is NaN", {nan}, 1, {0}},
        {"NaN beside a number", {nan, 0.25F, 0.5F, nan}, 2, {0.25F, 0.5F}},
        {"infinity of either sign", {inf, 0.25F, -0.5F, -inf, inf, nan}, 2, {0.25F, 0.5F, 0}},
        {"over-range floats", {1.75F, -3.5F}, 1, {1.75F, 3.5F}},
        {"the largest float", {std::numeric_limits<float>::max()}, 1, {std::numeric_limits<float>::max()}},
        {"the smallest float",
         {-std::numeric_limits<float>::denorm_min()},
         1,
         {std::numeric_limits<float>::denorm_min()}},
        {"silence of either sign", {0.0F, -0.0F}, 1, {0, 0}},
        {"six channels", {0, 0, 0, 0, 0, -0.5F, 0.125F, 0, nan, 0, 0, 0}, 6, {0.5F, 0.125F}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(read(sound({{row.samples, row.channels, 10, 0}})), true);
        EXPECT_EQ(amplitudes(), row.amplitudes);
        for (const float amplitude : amplitudes()) EXPECT_FALSE(std::signbit(amplitude));
    }
}

TEST_F(SampleReaderTest, EveryFrameComesOnceWithItsTime) {
    EXPECT_EQ(read(sound({ramp()})), true);
    std::vector<Frame> expected;
    for (int i = 0; i < 10; ++i) expected.push_back({i / 10.0, static_cast<float>(i) / 16});
    EXPECT_EQ(frames_, expected);
}

TEST_F(SampleReaderTest, HolesAndLateStartsAreKept) {
    EXPECT_EQ(read(sound({{{0.5F, 0.25F}, 1, 10, 3}, {{1}, 1, 10, 8}})), true);
    EXPECT_EQ(frames_, (std::vector<Frame>{{0.3, 0.5F}, {0.4, 0.25F}, {0.8, 1}}));
}

TEST_F(SampleReaderTest, FramesBeforeTimeZeroAreLeftOut) {
    EXPECT_EQ(read(sound({{{0.5F, 0.25F, 1}, 1, 10, -2}})), true);
    EXPECT_EQ(frames_, (std::vector<Frame>{{0, 1}}));
}

TEST_F(SampleReaderTest, ABlockLongerThanAChunkIsCutIntoChunks) {
    FakeSamples block{{}, 2, 48000, 100};
    const std::size_t count = 2 * AudioSampleReader::chunkFrames + 5;
    for (std::size_t i = 0; i < count; ++i) {
        block.samples.push_back(static_cast<float>(i) / 65536);
        block.samples.push_back(0);
    }
    platform_.addFile(url_, sound({block}));
    std::vector<std::pair<std::int64_t, std::size_t>> chunks;
    std::vector<float> all;
    const auto done =
        AudioSampleReader::readBlocks(platform_, url_, 0, {},
                                      [&](const AudioSampleReader::AmplitudeBlock& chunk) {
                                          chunks.emplace_back(chunk.position, chunk.amplitudes.size());
                                          all.insert(all.end(), chunk.amplitudes.begin(), chunk.amplitudes.end());
                                          EXPECT_EQ(chunk.rate, 48000);
                                          EXPECT_EQ(chunk.time(4), static_cast<double>(chunk.position + 4) / 48000);
                                      },
                                      {});
    EXPECT_EQ(done, true);
    EXPECT_EQ(chunks, (decltype(chunks){{100, 8192}, {8292, 8192}, {16484, 5}}));
    ASSERT_EQ(all.size(), count);
    for (std::size_t i = 0; i < count; ++i) ASSERT_EQ(all[i], static_cast<float>(i) / 65536);
}

TEST_F(SampleReaderTest, ARateThatChangesChangesTheTimes) {
    EXPECT_EQ(read(sound({{{0.5F, 0.25F}, 1, 10, 0}, {{1, 0.5F}, 1, 20, 4}}), 0.1, 0.25), true);
    EXPECT_EQ(frames_, (std::vector<Frame>{{0.1, 0.25F}, {0.2, 1}}));
}

TEST_F(SampleReaderTest, FramesOutsideTheRangeAreLeftOut) {
    struct Row {
        double start;
        std::optional<double> end;
        std::vector<double> times;
    };
    // The engine hands the whole block over, as a decoder does with a packet.
    const Row rows[] = {
        {0.3, 0.6, {0.3, 0.4, 0.5}},
        {0.25, 0.55, {0.3, 0.4, 0.5}},
        {0.9, {}, {0.9}},
        {0.9, 100, {0.9}},
        {0.31, 0.39, {}},
        {0, 0.01, {0}},
        {0.91, 1, {}},
    };
    for (const Row& row : rows) {
        for (const bool picture : {false, true}) {
            SCOPED_TRACE(::testing::Message() << row.start << " picture " << picture);
            EXPECT_EQ(read(picture ? movie({ramp()}) : sound({ramp()}), row.start, row.end), true);
            EXPECT_EQ(times(), row.times);
        }
    }
}

TEST_F(SampleReaderTest, SoundIsCutByItsCountOfFramesAndAMovieByItsTimes) {
    // The product is a hair above 7, although frame 7 lies at that very time.
    ASSERT_EQ(std::ceil(0.07 * 100), 8);
    ASSERT_EQ(7 / 100.0, 0.07);
    FakeSamples fast = ramp();
    fast.rate = 100;
    EXPECT_EQ(read(sound({fast}), 0.07), true);
    EXPECT_EQ(times(), (std::vector<double>{0.08, 0.09}));
    EXPECT_EQ(read(sound({fast}), 0.05, 0.07), true);
    EXPECT_EQ(times(), (std::vector<double>{0.05, 0.06, 0.07}));
    EXPECT_EQ(read(movie({fast}), 0.07), true);
    EXPECT_EQ(times(), (std::vector<double>{0.07, 0.08, 0.09}));
    EXPECT_EQ(read(movie({fast}), 0.05, 0.07), true);
    EXPECT_EQ(times(), (std::vector<double>{0.05, 0.06}));
}

TEST_F(SampleReaderTest, AFileWithoutSoundYieldsFalseAndNoCalls) {
    for (const FakeFile& file : {FakeFile::silentVideo(10), FakeFile::neither()}) {
        EXPECT_EQ(read(file), false);
        EXPECT_EQ(frames_, std::vector<Frame>());
    }
    EXPECT_EQ(platform_.calls("readSamples"), Lines());
}

TEST_F(SampleReaderTest, ASoundFileWithoutFramesYieldsTrueAndNoCalls) {
    EXPECT_EQ(read(sound({})), true);
    EXPECT_EQ(frames_, std::vector<Frame>());
}

TEST_F(SampleReaderTest, ARangeThatIsNoneFailsBeforeTheFileIsOpened) {
    constexpr double dinf = std::numeric_limits<double>::infinity();
    constexpr double dnan = std::numeric_limits<double>::quiet_NaN();
    struct Row {
        double start;
        std::optional<double> end;
    };
    for (const Row& row : {Row{-0.001, {}}, Row{-1, 2.0}, Row{dnan, {}}, Row{dinf, {}}, Row{1, 1.0}, Row{1, 0.5},
                           Row{0, 0.0}, Row{0, dinf}, Row{0, dnan}}) {
        EXPECT_EQ(errorOf(read(sound({ramp()}), row.start, row.end)), invalid_) << row.start;
    }
    EXPECT_EQ(platform_.calls(), Lines());
    EXPECT_EQ(frames_, std::vector<Frame>());
}

TEST_F(SampleReaderTest, AStartBehindTheEndReadsNothingInASoundFile) {
    for (const double start : {1.0, 7.5, 1e300}) {
        EXPECT_EQ(read(sound({ramp()}), start), true) << start;
        EXPECT_EQ(frames_, std::vector<Frame>());
    }
    EXPECT_EQ(read(sound({ramp()}), 7, 8), true);
    EXPECT_EQ(frames_, std::vector<Frame>());
}

TEST_F(SampleReaderTest, AStartBehindTheEndOfAMovieFailsUnlessAnEndIsGiven) {
    EXPECT_EQ(errorOf(read(movie({ramp()}), 1)), invalid_);
    EXPECT_EQ(errorOf(read(movie({ramp()}), 2)), invalid_);
    EXPECT_EQ(platform_.calls("readSamples"), Lines());
    EXPECT_EQ(read(movie({ramp()}), 2, 3), true);
    EXPECT_EQ(frames_, std::vector<Frame>());
}

TEST_F(SampleReaderTest, AMovieWithoutALengthFailsUnlessAnEndIsGiven) {
    for (const double seconds :
         {0.0, -1.0, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
        FakeFile file = movie({ramp()});
        file.duration = seconds;
        EXPECT_EQ(errorOf(read(file)), invalid_) << seconds;
        EXPECT_EQ(read(file, 0, 0.5), true);
    }
}

TEST_F(SampleReaderTest, AMovieIsReadToItsLengthAndASoundFileToItsEnd) {
    EXPECT_EQ(read(movie({ramp()}, 0.5)), true);
    EXPECT_EQ(times(), (std::vector<double>{0, 0.1, 0.2, 0.3, 0.4}));
    EXPECT_EQ(platform_.calls(),
              (Lines{"openAsset take 1.wav", "loadTracks take 1.wav audio", "loadTracks take 1.wav video",
                     "loadDuration take 1.wav", "readSamples take 1.wav audio from 0 to 0.5"}));
    // What the file says of its length doesn't matter.
    platform_.failOn("loadDuration", "It has no length.");
    EXPECT_EQ(read(sound({ramp()}, 0.5)), true);
    EXPECT_EQ(frames_.size(), 10);
}

TEST_F(SampleReaderTest, ACoverPictureMakesAMovieOfASoundFile) {
    FakeFile file = sound({ramp()}, 0.5);
    file.hasCoverPicture = true;
    EXPECT_EQ(read(file), true);
    EXPECT_EQ(times(), (std::vector<double>{0, 0.1, 0.2, 0.3, 0.4}));
    EXPECT_EQ(errorOf(read(file, 2)), invalid_);
}

TEST_F(SampleReaderTest, OnlyTheFirstSoundTrackIsRead) {
    FakeFile file = sound({ramp()});
    file.audioTracks.push_back(file.audioTracks.front());
    EXPECT_EQ(read(file, 0.25, 0.75), true);
    EXPECT_EQ(platform_.calls("readSamples"), (Lines{"readSamples take 1.wav audio from 0.25 to 0.75"}));
}

TEST_F(SampleReaderTest, FailuresOfTheEngineArePassedOnAsTheyAre) {
    for (const char* call :
         {"openAsset", "loadTracks take 1.wav audio", "loadTracks take 1.wav video", "loadDuration", "readSamples"}) {
        platform_.clearFailures();
        platform_.failOn(call, Error("“take 1.wav” could not be read: Input/output error", "POSIX", 5));
        EXPECT_EQ(errorOf(read(movie({ramp()}))),
                  Error("“take 1.wav” could not be read: Input/output error", "POSIX", 5))
            << call;
    }
}

TEST_F(SampleReaderTest, WhatIsNoSoundFails) {
    constexpr double dinf = std::numeric_limits<double>::infinity();
    for (const FakeSamples& block :
         {FakeSamples{{1}, 1, 0, 0}, FakeSamples{{1}, 1, -1, 0}, FakeSamples{{1}, 1, dinf, 0},
          FakeSamples{{1}, 0, 10, 0}, FakeSamples{{1, 1, 1}, 2, 10, 0}}) {
        EXPECT_EQ(errorOf(read(sound({block}))), invalid_);
        EXPECT_EQ(errorOf(read(movie({block}))), invalid_);
        EXPECT_EQ(frames_, std::vector<Frame>());
    }
    EXPECT_EQ(read(sound({{{}, 2, 10, 0}})), true) << "an empty block is passed over";
}

TEST_F(SampleReaderTest, AStopEndsItAsCancelled) {
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(errorOf(read(sound({ramp()}), 0, {}, stop.get_token())), Error::cancelled());
    EXPECT_EQ(errorOf(read(sound({ramp()}), -1, {}, stop.get_token())), Error::cancelled()) << "asked first";
    EXPECT_EQ(platform_.calls(), Lines());

    std::stop_source later;
    platform_.setObserver([&](const std::string& line) {
        if (line.starts_with("readSamples")) later.request_stop();
    });
    EXPECT_EQ(errorOf(read(sound({ramp()}), 0, {}, later.get_token())), Error::cancelled());
    EXPECT_EQ(frames_, std::vector<Frame>());
}

}  // namespace
}  // namespace kelvane
