#include <gtest/gtest.h>

#include <array>

#include "Support/ClipBuilder.h"
#include "Views/Timeline/TimelineGestures.h"
#include "Views/Timeline/TimelineMetrics.h"

namespace kelvane {
namespace {

using namespace TimelineGestures;
using testing::audioClip;
using testing::uuid;
using testing::videoClip;

constexpr double pointsPerSecond = TimelineMetrics::secondWidth;

TEST(TimelineClipPart, HasAnEdgeOfAQuarterOfTheWidthAndSixPointsAtMost) {
    const struct {
        double x;
        double width;
        ClipPart part;
    } rows[] = {
        {0, 8, ClipPart::start},      {2, 8, ClipPart::start},   {2.01, 8, ClipPart::body}, {5.99, 8, ClipPart::body},
        {6, 8, ClipPart::end},        {8, 8, ClipPart::end},     {6, 24, ClipPart::start},  {6.01, 24, ClipPart::body},
        {18, 24, ClipPart::end},      {6, 500, ClipPart::start}, {7, 500, ClipPart::body},  {494, 500, ClipPart::end},
        {493.9, 500, ClipPart::body},
    };
    for (const auto& row : rows) EXPECT_EQ(clipPart(row.x, 60, row.width, 1), row.part) << row.x << " " << row.width;
}

TEST(TimelineClipPart, HasTheVolumeLineSevenPointsAroundIt) {
    EXPECT_EQ(clipPart(50, 12, 100, 1), ClipPart::volume);
    EXPECT_EQ(clipPart(50, 5, 100, 1), ClipPart::volume);
    EXPECT_EQ(clipPart(50, 19, 100, 1), ClipPart::volume);
    EXPECT_EQ(clipPart(50, 19.1, 100, 1), ClipPart::body);
    EXPECT_EQ(clipPart(50, 4.9, 100, 1), ClipPart::body);
    EXPECT_EQ(clipPart(50, 43, 100, 0.5), ClipPart::volume);
    EXPECT_EQ(clipPart(50, 74, 100, 0), ClipPart::volume);
    // An edge comes first.
    EXPECT_EQ(clipPart(3, 12, 100, 1), ClipPart::start);
}

TEST(TimelineVolumeDrag, MovesByTheLinesWayAndStaysBetweenSilenceAndFull) {
    const Clip half = videoClip(1, "/v.mov", 10).volume(0.5);
    EXPECT_EQ(volumeDragged(half, 0).volume, 0.5);
    EXPECT_DOUBLE_EQ(volumeDragged(half, -31).volume, 1);
    EXPECT_DOUBLE_EQ(volumeDragged(half, 15.5).volume, 0.25);
    EXPECT_EQ(volumeDragged(half, 10000).volume, 0);
    EXPECT_EQ(volumeDragged(half, -10000).volume, 1);
}

TEST(TimelineSnapTargets, AreTheBeginningThePlayheadAndBothEndsOfTheOthers) {
    const std::vector<Clip> clips{
        videoClip(1, "/v.mov", 2), audioClip(2, "/a.wav", 4).at(1.5), videoClip(3, "/v.mov", 3),
        videoClip(4, "/v.mov", 1), audioClip(5, "/b.wav", 1),
    };
    const TimelinePlacement placement(clips);
    // The clip that is left out still pushes those behind it.
    EXPECT_EQ(snapTargets(clips, placement, 0.7, uuid(3)), (std::vector<double>{0, 0.7, 0, 2, 1.5, 5.5, 5, 6, 0, 1}));
    EXPECT_EQ(snapTargets(clips, placement, 0.7, uuid(2)), (std::vector<double>{0, 0.7, 0, 2, 2, 5, 5, 6, 0, 1}));
    EXPECT_EQ(snapTargets({}, {}, 0, uuid(1)), (std::vector<double>{0, 0}));
}

TEST(TimelineTrim, SnapsWithinEightPoints) {
    const Clip clip = videoClip(1, "/v.mov", 20).stretch(5, 10);
    const std::array targets{0.0, 8.0};
    const Snapping snapping{targets, pointsPerSecond, true};
    // The clip lies from 2 to 7, the playhead at 8: 32 points further.
    const Trim near = trimmed(clip, 2, TrimEdge::end, 25, snapping);
    EXPECT_EQ(near.draft.end, 11);
    EXPECT_EQ(near.snapTime, 8.0);
    EXPECT_EQ(trimmed(clip, 2, TrimEdge::end, 24, snapping).snapTime, 8.0);
    const Trim far = trimmed(clip, 2, TrimEdge::end, 23, snapping);
    EXPECT_DOUBLE_EQ(far.draft.end, 10 + 23 / 32.0);
    EXPECT_FALSE(far.snapTime);
    EXPECT_EQ(trimmed(clip, 2, TrimEdge::end, 41, snapping).snapTime, std::nullopt);
}

TEST(TimelineTrim, DrawsNoLineWhereTheSourceEndsBefore) {
    const Clip clip = videoClip(1, "/v.mov", 10).stretch(5, 9.9);
    const std::array targets{7.2};
    // The clip lies from 2 to 6.9; a tenth of a second is left of its source.
    const Trim trim = trimmed(clip, 2, TrimEdge::end, 9, {targets, pointsPerSecond, true});
    EXPECT_EQ(trim.draft.end, 10);
    EXPECT_FALSE(trim.snapTime);
}

TEST(TimelineTrim, SnapsNothingWhileSnappingIsOff) {
    const Clip clip = videoClip(1, "/v.mov", 20).stretch(5, 10);
    const std::array targets{8.0};
    const Trim trim = trimmed(clip, 2, TrimEdge::end, 31, {targets, pointsPerSecond, false});
    EXPECT_DOUBLE_EQ(trim.draft.end, 10 + 31 / 32.0);
    EXPECT_FALSE(trim.snapTime);
}

TEST(TimelineTrim, OfTheHeadMovesTheInPoint) {
    const Clip clip = videoClip(1, "/v.mov", 20).stretch(5, 10);
    const std::array targets{2.5};
    const Trim trim = trimmed(clip, 2, TrimEdge::start, 20, {targets, pointsPerSecond, true});
    EXPECT_EQ(trim.draft.start, 5.5);
    EXPECT_EQ(trim.draft.end, 10);
    EXPECT_EQ(trim.snapTime, 2.5);
}

TEST(TimelineAudioDrag, SnapsByEitherEndAndByTheNearest) {
    const Clip clip = audioClip(1, "/a.wav", 4).at(10);
    const std::vector<UUID> lanes{uuid(1)};
    const std::array targets{0.0, 11.0, 15.9};
    const Snapping snapping{targets, pointsPerSecond, true};
    // To 11.1: the start is a tenth from 11, the end eight tenths from 15.9.
    AudioDrag drag = audioDragged(clip, lanes, 35.2, 0, snapping);
    EXPECT_DOUBLE_EQ(drag.translation, 32);
    EXPECT_EQ(drag.snapTime, 11.0);
    // To 11.8: the end is a tenth from 15.9.
    drag = audioDragged(clip, lanes, 57.6, 0, snapping);
    EXPECT_NEAR(drag.translation, 1.9 * 32, 1e-9);
    EXPECT_EQ(drag.snapTime, 15.9);
    drag = audioDragged(clip, lanes, 57.6, 0, {targets, pointsPerSecond, false});
    EXPECT_NEAR(drag.translation, 57.6, 1e-9);
    EXPECT_FALSE(drag.snapTime);
}

TEST(TimelineAudioDrag, NeverGoesBeforeTheBeginning) {
    const Clip clip = audioClip(1, "/a.wav", 4).at(2);
    const AudioDrag drag = audioDragged(clip, std::vector{uuid(1)}, -500, 0, {{}, pointsPerSecond, true});
    EXPECT_EQ(drag.translation, -64);
    EXPECT_FALSE(drag.snapTime);
}

TEST(TimelineAudioDrag, GoesByRowsAmongTheLanesThatThereAre) {
    const Clip clip = audioClip(2, "/a.wav", 4).at(2);
    const std::vector<UUID> lanes{uuid(1), uuid(2), uuid(3)};
    const struct {
        double down;
        UUID lane;
        double shift;
    } rows[] = {
        {0, uuid(2), 0},     {46, uuid(2), 0},  {47, uuid(3), 94},   {94, uuid(3), 94},
        {9000, uuid(3), 94}, {-46, uuid(2), 0}, {-47, uuid(1), -94}, {-9000, uuid(1), -94},
    };
    for (const auto& row : rows) {
        const AudioDrag drag = audioDragged(clip, lanes, 0, row.down, {{}, pointsPerSecond, true});
        EXPECT_EQ(drag.lane, row.lane) << row.down;
        EXPECT_EQ(drag.laneTranslation, row.shift) << row.down;
    }
    // A lane that isn't shown: the clip stays in it.
    const AudioDrag lost = audioDragged(clip, std::vector{uuid(7)}, 32, 200, {{}, pointsPerSecond, true});
    EXPECT_FALSE(lost.lane);
    EXPECT_EQ(lost.laneTranslation, 0);
    EXPECT_EQ(lost.translation, 32);
}

TEST(TimelineVideoDrag, GoesByTheMiddlesOfTheClips) {
    const std::vector<Clip> clips{videoClip(1, "/v.mov", 2), audioClip(9, "/a.wav", 50), videoClip(2, "/v.mov", 4),
                                  videoClip(3, "/v.mov", 2)};
    const TimelinePlacement placement(clips);
    const struct {
        std::uint64_t id;
        double time;
        std::ptrdiff_t index;
    } rows[] = {
        {1, 0.5, 0}, {1, 1.5, 1}, {1, 3.9, 1}, {1, 4.1, 2}, {1, 100, 3}, {3, 0.9, 0},  {3, 1, 2},
        {3, 6.5, 3}, {3, 7.5, 3}, {2, -5, 0},  {2, 3, 2},   {77, 0, 0},  {77, 100, 3},
    };
    for (const auto& row : rows)
        EXPECT_EQ(videoDragged(placement, uuid(row.id), row.time), row.index) << row.id << " " << row.time;
}

}  // namespace
}  // namespace kelvane
