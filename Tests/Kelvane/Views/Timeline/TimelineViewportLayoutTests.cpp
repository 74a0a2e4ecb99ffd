#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Support/ClipBuilder.h"
#include "Views/Timeline/TimelineMetrics.h"
#include "Views/Timeline/TimelineViewportLayout.h"

namespace kelvane {
namespace {

using namespace TimelineViewportLayout;
using namespace TimelineMetrics;
using testing::audioClip;
using testing::uuid;
using testing::videoClip;

TEST(TimelineTime, IsShownInWholeSecondsAndMinutesThatGoOn) {
    const struct {
        double seconds;
        const char* text;
    } rows[] = {
        {0, "00:00"},      {-3, "00:00"}, {std::nan(""), "00:00"}, {std::numeric_limits<double>::infinity(), "00:00"},
        {59.9, "00:59"},   {60, "01:00"}, {3661, "61:01"},         {3 * 3600.0, "180:00"},
        {36000, "600:00"},
    };
    for (const auto& row : rows) EXPECT_EQ(timeDisplay(row.seconds), row.text) << row.seconds;
}

TEST(TimelineTicks, StandEightyPointsApartAtLeast) {
    const struct {
        double pointsPerSecond;
        double interval;
    } rows[] = {
        {secondWidth * TimelineMetrics::maximumZoom, 0.5},
        {160, 0.5},
        {159, 1},
        {80, 1},
        // Zoom 1: 80 / 32 is 2.5.
        {secondWidth, 5},
        {8, 10},
        {5.4, 15},
        {0.1, 1800},
        {0.03, 3600},
        // A day in a narrow window: no step is wide enough any more.
        {0.001, 3600},
    };
    for (const auto& row : rows) EXPECT_EQ(tickInterval(row.pointsPerSecond), row.interval) << row.pointsPerSecond;
}

TEST(TimelineTicks, OfThreeHoursAreAnHourApartAtMost) {
    const double duration = 3 * 3600.0;
    for (const double width : {1.0, 200.0, 740.0, 1280.0, 10000.0}) {
        const double lowest = zoomRange(width, duration).lower * secondWidth;
        EXPECT_LE(tickInterval(lowest), 3600) << width;
    }
}

TEST(TimelineZoom, ReachesDownToWhereTheWholeTimelineFits) {
    const struct {
        double viewportWidth;
        double duration;
        ZoomRange range;
    } rows[] = {
        // An empty timeline counts as one second, which fits at zoom 1.
        {1000, 0, {1, 6}},
        {1000, 31, {1, 6}},
        {1000, 62.5, {0.5, 6}},
        {320, 100, {0.1, 6}},
        // A viewport of no width counts as one point.
        {0, 100, {1 / 3200.0, 6}},
        {-5, 0.5, {1 / 32.0, 6}},
    };
    for (const auto& row : rows) {
        const ZoomRange range = zoomRange(row.viewportWidth, row.duration);
        EXPECT_DOUBLE_EQ(range.lower, row.range.lower) << row.viewportWidth << " " << row.duration;
        EXPECT_EQ(range.upper, row.range.upper);
        EXPECT_LE(range.lower, 1);
    }
    EXPECT_EQ((ZoomRange{0.5, 6}.clamped(0.1)), 0.5);
    EXPECT_EQ((ZoomRange{0.5, 6}.clamped(7)), 6);
    EXPECT_EQ((ZoomRange{0.5, 6}.clamped(2)), 2);
}

TEST(TimelineHeights, GrowByARowForEachLaneUntilTheViewportScrolls) {
    const struct {
        std::size_t lanes;
        double content;
        double viewport;
        double newLane;
    } rows[] = {
        {0, 116, 116, 0}, {1, 210, 210, 0}, {2, 304, 304, 64}, {3, 398, 348, 158}, {6, 680, 348, 440},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(contentHeight(row.lanes), row.content) << row.lanes;
        EXPECT_EQ(viewportHeight(row.lanes), row.viewport) << row.lanes;
        EXPECT_EQ(offsetOfNewLane(row.lanes), row.newLane) << row.lanes;
    }
    EXPECT_EQ(contentWidth(0, 32), 1);
    EXPECT_EQ(contentWidth(10, 32), 320);
}

TEST(TimelinePoint, CountsFromTheTimeUnderTheViewportsMiddle) {
    // The offset's x is the playhead's place in the content, under the middle.
    EXPECT_EQ(contentPoint({500, 30}, {320, 0}, 1000), QPointF(320, 30));
    EXPECT_EQ(contentPoint({0, 30}, {320, 94}, 1000), QPointF(-180, 124));
    EXPECT_EQ(contentPoint({1000, 0}, {0, 0}, 1000), QPointF(500, 0));
}

TEST(TimelineClipFrame, StandsOffItsPlaceInTheRowOfItsLane) {
    const std::vector<Clip> clips{
        videoClip(1, "/v.mov", 2),
        audioClip(2, "/a.wav", 4).at(1),
        videoClip(3, "/v.mov", 100),
        audioClip(4, "/b.wav", 0.5).at(3).lane(uuid(9)),
        audioClip(5, "/a.wav", 1).at(10).lane(uuid(2)),
        audioClip(6, "/a.wav", 1),
    };
    const TimelinePlacement placement(clips);
    // Sixty-four points take insets of three, an eighth of a point wide ones of a sixteenth.
    EXPECT_EQ(clipFrame(placement, 0, 32), QRectF(3, 22, 58, 86));
    EXPECT_EQ(clipFrame(placement, 1, 32), QRectF(35, 116, 122, 86));
    EXPECT_EQ(clipFrame(placement, 2, 32), QRectF(67, 22, 3194, 86));
    EXPECT_EQ(clipFrame(placement, 3, 32), QRectF(97, 210, 14, 86));
    EXPECT_EQ(clipFrame(placement, 4, 32), QRectF(322, 116, 28, 86));
    // Audio without a position lies at the beginning, in a lane of its own.
    EXPECT_EQ(clipFrame(placement, 5, 32), QRectF(2, 304, 28, 86));
    // Less than a point wide.
    EXPECT_EQ(clipFrame(placement, 0, 0.1), QRectF(0.0625, 22, 0.875, 86));
}

TEST(TimelineVolumeLine, RunsFromTwelvePointsBelowTheTopToTwelveAboveTheBottom) {
    EXPECT_EQ(volumeLine(1, 86), 12);
    EXPECT_EQ(volumeLine(0, 86), 74);
    EXPECT_EQ(volumeLine(0.5, 86), 43);
    EXPECT_EQ(volumeLine(0.5, 26), 13);
    // Too low for a line that moves by more than a point.
    EXPECT_EQ(volumeLine(0, 25), 13);
    EXPECT_EQ(volumeLine(0, 24), 13);
    EXPECT_EQ(volumeLine(0.5, 10), 12.5);
}

}  // namespace
}  // namespace kelvane
