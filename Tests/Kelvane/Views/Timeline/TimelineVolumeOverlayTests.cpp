#include <gtest/gtest.h>

#include "Views/Timeline/Drawing/TimelineVolumeOverlay.h"

namespace kelvane::testing {
namespace {

TEST(TimelineVolumeOverlay, TheLineStandsByTheVolume) {
    EXPECT_EQ((TimelineVolumeOverlay{1, 100, 86}).lineY(), 12);
    EXPECT_EQ((TimelineVolumeOverlay{0.5, 100, 86}).lineY(), 43);
    EXPECT_EQ((TimelineVolumeOverlay{0, 100, 86}).lineY(), 74);
    EXPECT_EQ((TimelineVolumeOverlay{0.5, 100, 25}).lineY(), 12.5);
    EXPECT_EQ((TimelineVolumeOverlay{0.5, 100, 24}).lineY(), 12.5) << "lower clips leave it a point";
    EXPECT_EQ((TimelineVolumeOverlay{0, 100, 10}).lineY(), 13);
}

TEST(TimelineVolumeOverlay, TheLineLeavesTheEdgesFree) {
    EXPECT_EQ((TimelineVolumeOverlay{1, 8, 86}).lineInset(), 2);
    EXPECT_EQ((TimelineVolumeOverlay{1, 24, 86}).lineInset(), 6);
    EXPECT_EQ((TimelineVolumeOverlay{1, 1000, 86}).lineInset(), 6);
}

TEST(TimelineVolumeOverlay, AMutedClipsLineIsFainter) {
    EXPECT_EQ((TimelineVolumeOverlay{0.01, 100, 86}).lineOpacity(), 0.65);
    EXPECT_EQ((TimelineVolumeOverlay{0, 100, 86}).lineOpacity(), 0.35);
}

TEST(TimelineVolumeOverlay, ThereIsRoomForAHandleFromTwentyTwoPointsAndForItsValueFromFiftyFour) {
    for (const auto& [width, handle, value] :
         {std::tuple(21.9, false, false), {22.0, true, false}, {53.9, true, false}, {54.0, true, true}}) {
        const TimelineVolumeOverlay shown{0.5, width, 86, true};
        EXPECT_EQ(shown.hasHandle(), handle) << width;
        EXPECT_EQ(shown.hasValue(), value) << width;
        const TimelineVolumeOverlay hidden{0.5, width, 86, false};
        EXPECT_FALSE(hidden.hasHandle() || hidden.hasValue()) << width;
    }
    EXPECT_EQ((TimelineVolumeOverlay{0.625, 100, 86, true}).value(), "63%");
}

TEST(TimelineVolumeOverlay, OnlyAMutedClipThatShowsNoValueHasAMark) {
    EXPECT_TRUE((TimelineVolumeOverlay{0, 22, 86, false}).hasMutedMark());
    EXPECT_FALSE((TimelineVolumeOverlay{0, 21, 86, false}).hasMutedMark());
    EXPECT_FALSE((TimelineVolumeOverlay{0, 100, 86, true}).hasMutedMark());
    EXPECT_FALSE((TimelineVolumeOverlay{0.1, 100, 86, false}).hasMutedMark());
}

}  // namespace
}  // namespace kelvane::testing
