#include <chrono>
#include <filesystem>
#include <tuple>

#include "Media/MediaError.h"
#include "SourceFixture.h"

namespace kelvane::testing {
namespace {

/// Movies of which something is lost, from the beginning or while they are read.
class DamagedFootage : public ::testing::Test {
protected:
    void SetUp() override { skipWithoutTool(); }
    FileURL make(const std::string& name, const SampleMovie& movie) {
        return makeSampleMovie(folder_.path(), name, movie);
    }
    TempFolder folder_;
};

TEST_F(DamagedFootage, PassesOverADamagedFrame) {
    SampleMovie movie;
    movie.video = x264("keyint=1");
    const FileURL file = make("a.mp4", movie);
    wipeFrames(file, 20, 20);
    const auto reader = openReader(file);
    ASSERT_TRUE(reader);
    EXPECT_EQ(numberAt(*reader, {19, 30}), 19);
    EXPECT_EQ(numberAt(*reader, {20, 30}), 19);
    EXPECT_EQ(numberAt(*reader, {21, 30}), 21);
    EXPECT_EQ(numberAt(*reader, {20, 30}), 19);
}

TEST_F(DamagedFootage, GoesOnBehindALongDamagedStretch) {
    SampleMovie movie;
    movie.width = 64;
    movie.height = 48;
    movie.frames = 700;
    movie.video = x264("keyint=1");
    const FileURL file = make("a.mp4", movie);
    wipeFrames(file, 50, 640);
    const auto reader = openReader(file);
    ASSERT_TRUE(reader);
    EXPECT_EQ(numberAt(*reader, {100, 30}), 49);
    EXPECT_EQ(numberAt(*reader, {660, 30}), 660);
    EXPECT_EQ(numberAt(*reader, {600, 30}), 49);
    EXPECT_EQ(numberAt(*reader, {10, 30}), 10);
}

TEST_F(DamagedFootage, ShowsNothingOfATrackThatDoesNotDecode) {
    SampleMovie movie;
    movie.video = x264("keyint=1");
    const FileURL file = make("a.mp4", movie);
    wipeFrames(file, 0, 59);
    const auto reader = openReader(file);
    ASSERT_TRUE(reader);
    EXPECT_EQ(numberAt(*reader, {0, 30}), -1);
    EXPECT_EQ(numberAt(*reader, {30, 30}), -1);
    EXPECT_TRUE(reader->isUndecodable());
    EXPECT_EQ(reader->undecodable().message, "“a.mp4” has no picture that can be decoded.");
}

TEST_F(DamagedFootage, ShowsTheFirstFrameThatDecodesBehindALongDamagedBeginning) {
    SampleMovie movie;
    movie.width = 64;
    movie.height = 48;
    movie.frames = 1200;
    movie.video = x264("keyint=1");
    const FileURL file = make("a.mp4", movie);
    wipeFrames(file, 0, 1149);
    for (const bool endFirst : {true, false}) {
        const auto reader = openReader(file);
        ASSERT_TRUE(reader);
        if (endFirst) EXPECT_EQ(numberAt(*reader, {1160, 30}), 1160);
        EXPECT_EQ(numberAt(*reader, {0, 30}), 1150);
        EXPECT_EQ(numberAt(*reader, {700, 30}), 1150);
        EXPECT_EQ(numberAt(*reader, {1199, 30}), 1199);
        EXPECT_FALSE(reader->isUndecodable());
    }
}

TEST_F(DamagedFootage, RefusesAFileThatWasReplaced) {
    const FileURL file = make("Beach.mp4", {});
    const auto track = firstTrack(file, MediaType::video);
    ASSERT_TRUE(track);
    truncateSample(file, 1000);
    const auto changed = VideoFrameReader::open(track);
    ASSERT_FALSE(changed);
    EXPECT_EQ(changed.error(), MediaError::invalidClip("Beach"));
    std::filesystem::remove(file.path());
    const auto gone = VideoFrameReader::open(track);
    ASSERT_FALSE(gone);
    EXPECT_EQ(gone.error(), MediaError::invalidClip("Beach"));
}

/// What can happen to a file while it is being read.
struct Change {
    const char* name;
    void (*happen)(const FileURL&);
};

class ChangedFile : public ::testing::TestWithParam<std::tuple<Change, const char*>> {
protected:
    void SetUp() override { skipWithoutTool(); }
    TempFolder folder_;
};

TEST_P(ChangedFile, FailsWithItsNameWhileItIsRead) {
    const auto& [change, extension] = GetParam();
    SampleMovie movie;
    movie.frames = 90;
    movie.videoFilter = "noise=alls=12:allf=t";
    movie.video = x264("keyint=15");
    movie.video[5] = "4";
    movie.output = std::string(extension) == ".mp4" ? std::vector<std::string>{"-movflags", "+faststart"}
                                                    : std::vector<std::string>{};
    const FileURL file = makeSampleMovie(folder_.path(), std::string("Beach") + extension, movie);
    // More than a reader holds at once.
    ASSERT_GT(std::filesystem::file_size(file.path()), 1'000'000U);
    const auto reader = openReader(file, {.threads = 1});
    ASSERT_TRUE(reader);
    EXPECT_EQ(numberAt(*reader, {10, 30}), 10);
    change.happen(file);
    const auto late = reader->frame({89, 30}, {});
    ASSERT_FALSE(late.has_value());
    EXPECT_EQ(late.error(), MediaError::invalidClip("Beach"));
    EXPECT_EQ(reader->frame({0, 30}, {}).error(), MediaError::invalidClip("Beach"));
}

INSTANTIATE_TEST_SUITE_P(
    Changes, ChangedFile,
    ::testing::Combine(::testing::Values(Change{"Shrinks",
                                                [](const FileURL& file) {
                                                    truncateSample(file, std::filesystem::file_size(file.path()) / 2);
                                                }},
                                         Change{"Empties", [](const FileURL& file) { truncateSample(file, 0); }},
                                         Change{"IsWrittenTo",
                                                [](const FileURL& file) {
                                                    const auto time = std::filesystem::last_write_time(file.path());
                                                    std::filesystem::last_write_time(file.path(),
                                                                                     time + std::chrono::seconds(5));
                                                }}),
                       ::testing::Values(".mp4", ".mkv", ".ts")),
    [](const auto& info) { return std::get<0>(info.param).name + std::string(std::get<1>(info.param)).substr(1); });

TEST_F(DamagedFootage, KeepsShowingTheLastFrameWhenTheEndIsMissing) {
    SampleMovie movie;
    movie.frames = 120;
    movie.video = x264("keyint=1");
    movie.output = {"-movflags", "+faststart"};
    const FileURL file = make("a.mp4", movie);
    const auto bytes = std::filesystem::file_size(file.path());
    truncateSample(file, bytes / 2);
    const auto reader = openReader(file);
    ASSERT_TRUE(reader);
    const double end = reader->track().facts().timeRange.end().seconds();
    EXPECT_GT(end, 1.0);
    EXPECT_LT(end, 3.0);
    const int last = static_cast<int>(std::lround(end * 30)) - 1;
    EXPECT_EQ(numberAt(*reader, {last, 30}), last);
    EXPECT_EQ(numberAt(*reader, {10000, 30}), last);
}

}  // namespace
}  // namespace kelvane::testing
