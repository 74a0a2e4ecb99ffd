#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "Media/AudioWaveform.h"
#include "Media/FFmpeg/FFmpegPlatform.h"
#include "SoundTestFiles.h"
#include "Support/TempFolder.h"

namespace kelvane {
namespace {

using namespace testing;

/// A tone that swings ten times in each thirtieth of a second: at 0.5 for a second, at 0.125 for a half.
double tone(double seconds, int channel) {
    const double amplitude = seconds < 1 ? 0.5 : 0.125;
    return (channel == 0 ? 1 : 0.5) * amplitude * std::sin(2 * std::numbers::pi * 300 * seconds);
}

class WaveformPeaks : public ::testing::Test {
protected:
    [[nodiscard]] std::string path(const char* name) const { return folder.path() + "/" + name; }
    Result<std::vector<float>> peaksOf(const std::string& file) {
        return AudioWaveform::readMedia(platform, FileURL::fromPath(file), {});
    }
    /// Expects a peak for each thirtieth of the tone, behind `late` silent ones.
    static void expectTone(const Result<std::vector<float>>& peaks, std::size_t late, float tolerance) {
        ASSERT_TRUE(peaks) << peaks.error().message;
        ASSERT_EQ(peaks->size(), late + 45);
        for (std::size_t i = 0; i < peaks->size(); ++i) {
            const float expected = i < late ? 0 : i < late + 30 ? 0.5F : 0.125F;
            EXPECT_NEAR(peaks->at(i), expected, tolerance) << i;
        }
    }

    TempFolder folder;
    FFmpegPlatform platform;
};

TEST_F(WaveformPeaks, AToneHasItsAmplitudeAtEachThirtiethOfASecond) {
    ASSERT_TRUE(writeSound(
        path("tone.wav"),
        {.name = "tone", .muxer = "wav", .encoder = "pcm_s16le", .rate = 48000, .seconds = 1.5, .sound = tone}));
    expectTone(peaksOf(path("tone.wav")), 0, 0.001F);
}

TEST_F(WaveformPeaks, TheRateOfSamplesMovesNothing) {
    ASSERT_TRUE(writeSound(path("tone.wav"), {.name = "tone",
                                              .muxer = "wav",
                                              .encoder = "pcm_f32le",
                                              .rate = 44100,
                                              .channels = 1,
                                              .seconds = 1.5,
                                              .sound = tone}));
    expectTone(peaksOf(path("tone.wav")), 0, 0.001F);
}

TEST_F(WaveformPeaks, SoundThatBeginsLateIsSilentBefore) {
    ASSERT_TRUE(writeSound(path("late.mka"), {.name = "late",
                                              .muxer = "matroska",
                                              .encoder = "pcm_s16le",
                                              .rate = 48000,
                                              .seconds = 1.5,
                                              .start = 0.7,
                                              .sound = tone}));
    expectTone(peaksOf(path("late.mka")), 21, 0.001F);
}

TEST_F(WaveformPeaks, AMovieHasThePeaksOfItsSound) {
    ASSERT_TRUE(writeMovie(path("movie.mp4"), {.frames = 45, .sound = tone}));
    const auto peaks = peaksOf(path("movie.mp4"));
    ASSERT_TRUE(peaks) << peaks.error().message;
    ASSERT_EQ(peaks->size(), 45u);
    // What an encoder makes of a tone, but for the bend in the middle and the ends.
    for (const std::size_t i : {5, 15, 25}) EXPECT_NEAR(peaks->at(i), 0.5F, 0.05F) << i;
    for (const std::size_t i : {33, 38, 42}) EXPECT_NEAR(peaks->at(i), 0.125F, 0.03F) << i;
}

TEST_F(WaveformPeaks, AMovieWithoutSoundHasNoPeaks) {
    ASSERT_TRUE(writeMovie(path("mute.mp4"), {.frames = 10, .soundRate = 0}));
    EXPECT_EQ(peaksOf(path("mute.mp4")), std::vector<float>());
}

TEST_F(WaveformPeaks, AFileThatIsNotThereFailsInWords) {
    const auto peaks = peaksOf(path("gone.wav"));
    ASSERT_FALSE(peaks);
    EXPECT_TRUE(peaks.error().message.find("gone.wav") != std::string::npos) << peaks.error().message;
}

}  // namespace
}  // namespace kelvane
