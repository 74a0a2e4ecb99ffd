#include <gtest/gtest.h>

#include "Support/ClipBuilder.h"
#include "Views/Timeline/TimelineInsertionLayout.h"

namespace kelvane {
namespace {

using testing::audioClip;
using testing::uuid;
using testing::videoClip;
using Clips = std::vector<Clip>;
using Offsets = std::unordered_map<UUID, double>;
using Layout = TimelineInsertionLayout;

Clip video(std::uint64_t id, double seconds) { return videoClip(id, "/v.mov", seconds); }
Clip audio(std::uint64_t id, double seconds) { return audioClip(id, "/a.wav", seconds); }

Offsets offsets(std::initializer_list<std::pair<std::uint64_t, double>> entries) {
    Offsets out;
    for (const auto& [id, offset] : entries) out.emplace(uuid(id), offset);
    return out;
}

const Clips four{video(1, 1), video(2, 2), video(3, 4), video(4, 8)};

TEST(TimelineInsertion, IntoNothingStandsAtTheBeginning) {
    EXPECT_EQ(Layout::make({}, 0, 32), (Layout{0, {}}));
    EXPECT_EQ(Layout::make({}, 7, 32), (Layout{0, {}}));
}

TEST(TimelineInsertion, HoldsItsIndexToTheArraysEnds) {
    EXPECT_EQ(Layout::make(four, -5, 10), Layout::make(four, 0, 10));
    EXPECT_EQ(Layout::make(four, 100, 10), Layout::make(four, 4, 10));
    EXPECT_EQ(Layout::make(four, 100, 10, uuid(1)), Layout::make(four, 3, 10, uuid(1)));
    EXPECT_EQ(Layout::make(four, -1, 10, uuid(4)), Layout::make(four, 0, 10, uuid(4)));
}

TEST(TimelineInsertion, OfTheOnlyVideoClipIsNowhere) {
    const Clips only{audio(8, 3), video(1, 2), audio(9, 5)};
    for (std::ptrdiff_t index = -1; index < 5; ++index) EXPECT_FALSE(Layout::make(only, index, 32, uuid(1))) << index;
}

TEST(TimelineInsertion, ShowsNothingWhereTheClipWouldStay) {
    EXPECT_FALSE(Layout::make(four, 1, 32, uuid(2)));
    EXPECT_FALSE(Layout::make(four, 0, 32, uuid(1)));
    EXPECT_FALSE(Layout::make(four, 3, 32, uuid(4)));
    // Past audio alone a clip doesn't move either.
    const Clips mixed{video(1, 1), audio(7, 1), audio(8, 1), video(2, 1)};
    for (const std::ptrdiff_t index : {0, 1, 2}) EXPECT_FALSE(Layout::make(mixed, index, 32, uuid(1))) << index;
    EXPECT_TRUE(Layout::make(mixed, 3, 32, uuid(1)));
}

TEST(TimelineInsertion, PartsTheClipsOnBothSidesOfTheMarker) {
    const struct {
        std::ptrdiff_t index;
        double markerX;
        Offsets shifts;
    } rows[] = {
        {0, 0, offsets({{1, 10}, {3, 10}, {4, 10}})},
        // Between C and D; what is dragged still has its place in the sum.
        {2, 70, offsets({{1, -10}, {3, -10}, {4, 10}})},
        // Behind all: no clip follows.
        {3, 150, offsets({{1, -10}, {3, -10}, {4, -10}})},
    };
    for (const auto& row : rows) {
        const auto layout = Layout::make(four, row.index, 10, uuid(2));
        ASSERT_TRUE(layout) << row.index;
        EXPECT_EQ(layout->markerX, row.markerX) << row.index;
        EXPECT_EQ(layout->offsets, row.shifts) << row.index;
    }
}

TEST(TimelineInsertion, PartsByTheSameWidthAtEveryZoom) {
    for (const double pointsPerSecond : {0.1, 32.0, 192.0}) {
        const auto layout = Layout::make(four, 1, pointsPerSecond);
        ASSERT_TRUE(layout);
        EXPECT_EQ(layout->markerX, pointsPerSecond);
        EXPECT_EQ(layout->offsets, offsets({{1, -10}, {2, 10}, {3, 10}, {4, 10}}));
    }
}

TEST(TimelineInsertion, LeavesAudioOutAndCarriesTheIndexPastIt) {
    const Clips mixed{audio(7, 50), video(1, 1), audio(8, 60), audio(9, 70), video(2, 2)};
    for (const std::ptrdiff_t index : {2, 3, 4}) {
        const auto layout = Layout::make(mixed, index, 10);
        ASSERT_TRUE(layout);
        EXPECT_EQ(layout->markerX, 10) << index;
        EXPECT_EQ(layout->offsets, offsets({{1, -10}, {2, 10}})) << index;
    }
    EXPECT_EQ(Layout::make(mixed, 0, 10)->markerX, 0);
    EXPECT_EQ(Layout::make(mixed, 5, 10)->markerX, 30);
}

TEST(TimelineInsertion, IsNoneForAudioAndForAClipThatIsGone) {
    const Clips mixed{video(1, 1), audio(7, 1), video(2, 1)};
    EXPECT_FALSE(Layout::make(mixed, 0, 32, uuid(7)));
    EXPECT_FALSE(Layout::make(mixed, 0, 32, uuid(99)));
    EXPECT_TRUE(Layout::make(mixed, 0, 32));
}

TEST(TimelineInsertion, OfWhatComesFromElsewhereIsShownAtEachIndex) {
    for (std::ptrdiff_t index = 0; index <= 4; ++index) EXPECT_TRUE(Layout::make(four, index, 32)) << index;
}

}  // namespace
}  // namespace kelvane
