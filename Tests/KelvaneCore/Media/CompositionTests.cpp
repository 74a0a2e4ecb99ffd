#include <gtest/gtest.h>

#include <limits>
#include <memory>

#include "Media/Composition.h"
#include "Media/VideoComposition.h"
#include "MediaPrinting.h"

namespace kelvane {
namespace {

using testing::errorOf;
using testing::FakeFile;
using testing::FakeMediaPlatform;

const Error noSuchTrack("The timeline has no such track.");
const Error noLength("A stretch of the timeline has no length that can be played.");
const Error overlapping("Two stretches of one track lie over each other.");

class CompositionTest : public ::testing::Test {
protected:
    CompositionTest() {
        const FileURL url = FileURL::fromPath("/media/a.mov");
        platform_.addFile(url, FakeFile::video(3600));
        const MediaAssetPtr asset = platform_.openAsset(url, {}).value();
        picture_ = asset->loadTracks(MediaType::video).value().front();
        sound_ = asset->loadTracks(MediaType::audio).value().front();
    }

    static MediaTimeRange range(std::int64_t start, std::int64_t duration) { return {{start, 600}, {duration, 600}}; }

    FakeMediaPlatform platform_;
    MediaTrackPtr picture_;
    MediaTrackPtr sound_;
    Composition composition_;
};

TEST_F(CompositionTest, TracksNumberFromOneAndKeepTheirNumbers) {
    EXPECT_EQ(composition_.addTrack(MediaType::video), 1);
    EXPECT_EQ(composition_.addTrack(MediaType::audio), 2);
    EXPECT_EQ(composition_.addTrack(MediaType::audio), 3);
    composition_.removeTrack(2);
    EXPECT_EQ(composition_.addTrack(MediaType::video), 4);
    ASSERT_EQ(composition_.tracks().size(), 3U);
    EXPECT_EQ(composition_.track(2), nullptr);
    EXPECT_EQ(composition_.track(0), nullptr);
    EXPECT_EQ(composition_.track(5), nullptr);
    EXPECT_EQ(composition_.track(3)->type, MediaType::audio);
    EXPECT_EQ(composition_.track(4)->type, MediaType::video);
    composition_.removeTrack(99);
    EXPECT_EQ(composition_.tracks().size(), 3U);
}

TEST_F(CompositionTest, SegmentsFollowEachOtherWithGapsWhereNothingWasPlaced) {
    const CompositionTrackID id = composition_.addTrack(MediaType::audio);
    ASSERT_TRUE(composition_.insert(id, sound_, range(100, 600), {0, 600}));
    ASSERT_TRUE(composition_.insert(id, sound_, range(0, 300), {900, 600}));
    ASSERT_TRUE(composition_.insertEmpty(id, range(1300, 100)));
    ASSERT_TRUE(composition_.insert(id, sound_, range(7, 1), {1500, 600}));
    const std::vector<CompositionSegment> expected{
        {range(0, 600), sound_, range(100, 600)}, {range(600, 300), nullptr, range(0, 300)},
        {range(900, 300), sound_, range(0, 300)}, {range(1200, 300), nullptr, range(0, 300)},
        {range(1500, 1), sound_, range(7, 1)},
    };
    EXPECT_EQ(composition_.track(id)->segments, expected);
    EXPECT_TRUE(expected[1].isEmpty());
    EXPECT_FALSE(expected[0].isEmpty());
    EXPECT_EQ(composition_.duration(), MediaTime({1501, 600}));
}

TEST_F(CompositionTest, DurationIsTheEndOfTheTrackThatEndsLast) {
    EXPECT_EQ(composition_.duration(), MediaTime());
    const CompositionTrackID video = composition_.addTrack(MediaType::video);
    const CompositionTrackID audio = composition_.addTrack(MediaType::audio);
    EXPECT_EQ(composition_.duration(), MediaTime());
    ASSERT_TRUE(composition_.insert(video, picture_, range(0, 600), {0, 600}));
    ASSERT_TRUE(composition_.insert(audio, sound_, range(0, 300), {400, 600}));
    EXPECT_EQ(composition_.duration(), MediaTime({700, 600}));
    EXPECT_EQ(composition_.track(video)->end(), MediaTime({600, 600}));
}

TEST_F(CompositionTest, RefusesWhatCannotBePlacedAndChangesNothing) {
    const CompositionTrackID id = composition_.addTrack(MediaType::audio);
    ASSERT_TRUE(composition_.insert(id, sound_, range(0, 600), {0, 600}));
    const Composition before = composition_;
    const std::int64_t largest = std::numeric_limits<std::int64_t>::max();

    EXPECT_EQ(errorOf(composition_.insert(99, sound_, range(0, 1), {600, 600})), noSuchTrack);
    EXPECT_EQ(errorOf(composition_.insert(id, sound_, range(0, 0), {600, 600})), noLength);
    EXPECT_EQ(errorOf(composition_.insert(id, sound_, range(0, -1), {600, 600})), noLength);
    EXPECT_EQ(errorOf(composition_.insert(id, sound_, range(0, 1), {599, 600})), overlapping);
    EXPECT_EQ(errorOf(composition_.insert(id, sound_, range(0, 1), {-1, 600})), overlapping);
    EXPECT_EQ(errorOf(composition_.insert(id, sound_, range(0, 1), {largest, 600})), noLength);
    EXPECT_EQ(errorOf(composition_.insert(id, sound_, range(largest, 1), {600, 600})), noLength);
    EXPECT_EQ(errorOf(composition_.insertEmpty(99, range(600, 1))), noSuchTrack);
    EXPECT_EQ(errorOf(composition_.insertEmpty(id, range(600, 0))), noLength);
    EXPECT_EQ(errorOf(composition_.insertEmpty(id, range(599, 10))), overlapping);
    EXPECT_EQ(composition_, before);
}

TEST_F(CompositionTest, ACopySharesNoSegments) {
    const CompositionTrackID id = composition_.addTrack(MediaType::video);
    Composition copy = composition_;
    ASSERT_TRUE(copy.insert(id, picture_, range(0, 600), {0, 600}));
    EXPECT_TRUE(composition_.track(id)->segments.empty());
    EXPECT_NE(copy, composition_);
}

TEST_F(CompositionTest, ASegmentIsFoundByTheTimesThatItCovers) {
    const CompositionTrackID id = composition_.addTrack(MediaType::video);
    EXPECT_EQ(composition_.track(id)->segmentAt({0, 600}), nullptr);
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(composition_.insert(id, picture_, range(1000 * i, 600), {i * 900, 600}));
    const CompositionTrack& track = *composition_.track(id);
    struct Row {
        MediaTime time;
        std::optional<std::int64_t> start;
        bool isEmpty;
    };
    const Row rows[] = {
        {{-1, 600}, std::nullopt, false}, {{0, 600}, 0, false},
        {{599, 600}, 0, false},           {{600, 600}, 600, true},
        {{899, 600}, 600, true},          {{3, 2}, 900, false},
        {{4199, 600}, 3600, false},       {{4200, 600}, std::nullopt, false},
        {{47999, 80000}, 0, false},
    };
    for (const Row& row : rows) {
        const CompositionSegment* segment = track.segmentAt(row.time);
        ASSERT_EQ(segment != nullptr, row.start.has_value()) << ::testing::PrintToString(row.time);
        if (segment != nullptr) {
            EXPECT_EQ(segment->target.start, MediaTime({*row.start, 600}));
            EXPECT_EQ(segment->isEmpty(), row.isEmpty);
        }
    }
}

TEST_F(CompositionTest, AnInstructionIsFoundByTheTimesThatItCovers) {
    VideoComposition video;
    EXPECT_EQ(video.instructionAt({0, 600}), nullptr);
    video.instructions = {
        {range(0, 600), {{1, {0, 600}, {}}}}, {range(600, 30), {{1, {600, 600}, {}}}}, {range(630, 100), {}}};
    struct Row {
        std::int64_t time;
        int index;
    };
    for (const Row& row : {Row{-1, -1}, {0, 0}, {599, 0}, {600, 1}, {629, 1}, {630, 2}, {729, 2}, {730, -1}}) {
        const VideoInstruction* found = video.instructionAt({row.time, 600});
        EXPECT_EQ(found, row.index < 0 ? nullptr : &video.instructions[static_cast<std::size_t>(row.index)])
            << row.time;
    }
}

TEST_F(CompositionTest, PlacingManySegmentsOrTracksCostsNoMoreThanTheirNumber) {
    // Counts no seconds: with quadratic behaviour these numbers would not end within the test's limit.
    const CompositionTrackID id = composition_.addTrack(MediaType::video);
    for (std::int64_t i = 0; i < 1'000'000; ++i)
        ASSERT_TRUE(composition_.insert(id, picture_, range(0, 20), {i * 20, 600}));
    EXPECT_EQ(composition_.duration(), MediaTime({20'000'000, 600}));
    for (std::int64_t i = 0; i < 200'000; ++i) {
        const CompositionTrackID overlay = composition_.addTrack(MediaType::audio);
        ASSERT_TRUE(composition_.insert(overlay, sound_, range(0, 20), {i, 600}));
    }
    EXPECT_EQ(composition_.tracks().size(), 200'001U);
}

}  // namespace
}  // namespace kelvane
