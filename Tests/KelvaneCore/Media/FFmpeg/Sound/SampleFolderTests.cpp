#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>

#include "KelvaneCore/Media/FFmpeg/Source/SourceFixture.h"
#include "Media/AudioSampleReader.h"
#include "Media/FFmpeg/FFmpegPlatform.h"

namespace kelvane {
namespace {

using namespace testing;

struct Sum {
    Result<bool> result = false;
    std::size_t frames = 0;
    double first = 0;
    double last = 0;
    float peak = 0;
};

Sum sumOf(FFmpegPlatform& platform, const FileURL& url, double start = 0, std::optional<double> end = {}) {
    Sum sum;
    sum.result = AudioSampleReader::readBlocks(platform, url, start, end,
                                               [&](const AudioSampleReader::AmplitudeBlock& block) {
                                                   if (sum.frames == 0) sum.first = block.time(0);
                                                   sum.frames += block.amplitudes.size();
                                                   sum.last = block.time(block.amplitudes.size() - 1);
                                                   for (const float amplitude : block.amplitudes)
                                                       sum.peak = std::max(sum.peak, amplitude);
                                               },
                                               {});
    return sum;
}

/// The largest finite magnitude of the first sound track, as the command line tool decodes it.
float toolPeak(const std::string& path, const std::string& raw) {
    std::string output;
    runTool({"ffmpeg", "-v", "quiet", "-y", "-i", path, "-map", "0:a:0", "-f", "f32le", raw}, &output);
    std::ifstream file(raw, std::ios::binary);
    float peak = 0;
    for (float sample = 0; file.read(reinterpret_cast<char*>(&sample), sizeof sample);) {
        const float size = std::fabs(sample);
        if (size <= std::numeric_limits<float>::max()) peak = std::max(peak, size);
    }
    return peak;
}

TEST(SampleFolder, EveryFileYieldsItsSoundOrSaysWhyNot) {
    skipWithoutTool();
    const std::string folder = mediaFolder();
    if (folder.empty()) GTEST_SKIP() << "the folder of real media isn't here";
    const TempFolder temp;
    int heard = 0;
    for (const auto& [name, expectation, remarks] : mediaRows()) {
        SCOPED_TRACE(name);
        const FileURL url = FileURL::fromPath(folder + "/" + name);
        FFmpegPlatform platform;
        const auto asset = platform.openAsset(url, {});
        const auto sounds = asset ? (*asset)->loadTracks(MediaType::audio) : std::vector<MediaTrackPtr>();
        const Sum whole = sumOf(platform, url);
        if (!asset || sounds->empty()) {
            EXPECT_TRUE(!whole.result || !*whole.result);
            continue;
        }
        const float loudest = toolPeak(folder + "/" + name, temp.path("raw"));
        // Newer libraries decode some of these.
        if (remarks.find("first audio track does not decode") != std::string::npos && loudest == 0) {
            ASSERT_FALSE(whole.result);
            EXPECT_EQ(whole.result.error().message, "“" + name + "” has no sound that can be decoded.");
            continue;
        }
        ASSERT_TRUE(whole.result) << whole.result.error().message;
        ++heard;
        EXPECT_TRUE(*whole.result);
        const MediaTimeRange range = *(*sounds)[0]->loadTimeRange();
        EXPECT_GE(whole.first, 0);
        EXPECT_NEAR(whole.last, range.end().seconds(), 0.12);
        EXPECT_NEAR(whole.peak, loudest, 0.002);
        // A part holds the frames of its time, wherever reading began.
        const double middle = (whole.first + whole.last) / 2;
        const Sum before = sumOf(platform, url, 0, middle);
        const Sum behind = sumOf(platform, url, middle);
        ASSERT_TRUE(before.result && behind.result);
        // A clock that drifts is followed a sample at a time, and Vorbis is stamped to half a block only.
        EXPECT_NEAR(static_cast<double>(before.frames + behind.frames), static_cast<double>(whole.frames), 512);
        EXPECT_NEAR(std::max(before.peak, behind.peak), whole.peak, 0.01);
    }
    EXPECT_GT(heard, 50);
}

}  // namespace
}  // namespace kelvane
