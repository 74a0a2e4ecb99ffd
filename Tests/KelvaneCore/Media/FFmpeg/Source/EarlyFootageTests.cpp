#include <cmath>

#include "Media/FFmpeg/Sound/SoundReader.h"
#include "SourceFixture.h"

namespace kelvane::testing {
namespace {

/// Footage with frames before the file's zero, and one way to store it.
struct EarlyFootage {
    const char* name;
    const char* file;
    std::vector<std::string> video;
    double soundSeconds = 4;
};
void PrintTo(const EarlyFootage& row, std::ostream* stream) { *stream << row.name; }

class FootageFromBeforeZero : public ::testing::TestWithParam<EarlyFootage> {
protected:
    void SetUp() override { skipWithoutTool(); }
};

TEST_P(FootageFromBeforeZero, IsCountedAndShownFromZeroOn) {
    const EarlyFootage& row = GetParam();
    TempFolder folder;
    SampleMovie movie;
    movie.width = 160;
    movie.height = 96;
    movie.frames = 120;
    movie.video = row.video;
    movie.soundSeconds = row.soundSeconds;
    movie.output = {"-output_ts_offset", "-0.5", "-avoid_negative_ts", "disabled"};
    const FileURL file = makeSampleMovie(folder.path(), row.file, movie);
    const auto asset = openSource(file);
    ASSERT_TRUE(asset);
    EXPECT_NEAR(*asset->loadDuration(), 3.5, 0.03);
    const auto tracks = tracksOf(*asset, MediaType::video);
    ASSERT_EQ(tracks.size(), 1U);
    const FFmpegTrack::Facts& facts = tracks.front()->facts();
    EXPECT_EQ(facts.timeRange.start, MediaTime{});
    EXPECT_NEAR(facts.timeRange.end().seconds(), 3.5, 0.002);
    EXPECT_NEAR(facts.nominalFrameRate, 30, 0.1);
    const auto reader = openReader(file, {.threads = 2});
    ASSERT_TRUE(reader);
    for (int n = 15; n < 120; ++n) ASSERT_EQ(numberAt(*reader, {n - 15, 30}), n) << "in order";
    for (const int n : {80, 20, 15, 119, 40, 16, 30, 29, 45, 100}) {
        ASSERT_EQ(numberAt(*reader, {n - 15, 30}), n) << "out of order";
        const auto fresh = openReader(file, {.threads = 1, .skipUnneeded = true});
        ASSERT_EQ(numberAt(*fresh, {n - 15, 30}), n) << "alone";
    }
    if (row.soundSeconds > 0) {
        const auto sound = SoundReader::open(firstTrack(file, MediaType::audio));
        ASSERT_TRUE(sound);
        for (const double at : {0.0, 2.0, 0.6}) {
            std::vector<float> stereo(48000 * 2);
            ASSERT_TRUE((*sound)->read(std::llround(at * 48000), stereo, {}));
            std::vector<float> left;
            for (std::size_t i = 0; i < stereo.size(); i += 2) left.push_back(stereo[i]);
            const auto bursts = findSampleBursts(left, 48000);
            ASSERT_GE(bursts.size(), 8U) << "from " << at;
            for (const SampleBurst& burst : bursts)
                EXPECT_NEAR(at + burst.at, burst.number * sampleBurstInterval - 0.5, 0.005) << "from " << at;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Storage, FootageFromBeforeZero,
    ::testing::Values(EarlyFootage{"OneGroupReordered", "a.mkv", x264("keyint=9999:bframes=2")},
                      EarlyFootage{"OneGroupInOrder", "a.mkv", x264("keyint=9999:bframes=0")},
                      EarlyFootage{"GroupsReordered", "a.mkv", x264("keyint=24:min-keyint=24:scenecut=0:bframes=3")},
                      EarlyFootage{"GroupsInOrder", "a.mkv", x264("keyint=24:min-keyint=24:scenecut=0:bframes=0")},
                      EarlyFootage{"WithoutSoundReordered", "a.mkv", x264("keyint=9999:bframes=3"), 0},
                      EarlyFootage{"WithoutSoundInOrder", "a.mkv", x264("keyint=24:scenecut=0:bframes=0"), 0},
                      EarlyFootage{"Mp4", "a.mp4", x264("keyint=9999:bframes=2")}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace kelvane::testing
