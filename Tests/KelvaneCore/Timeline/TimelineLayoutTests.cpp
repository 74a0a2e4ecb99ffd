#include <gtest/gtest.h>

#include <algorithm>

#include "Support/ClipBuilder.h"
#include "Timeline/TimelineLayout.h"

namespace kelvane {
namespace {

using testing::audioClip;
using testing::uuid;
using testing::videoClip;
using Clips = std::vector<Clip>;
using Lanes = std::vector<UUID>;
using TimelineLayout::ClipFrame;
using TimelineLayout::Snap;

Clip video(std::uint64_t id, double seconds) { return videoClip(id, "/v.mov", seconds); }
Clip audio(std::uint64_t id, double at, double seconds, std::uint64_t lane = 0) {
    auto clip = audioClip(id, "/a.wav", seconds).at(at);
    if (lane != 0) clip.lane(uuid(lane));
    return clip;
}

std::vector<UUID> ids(const Clips& clips) {
    std::vector<UUID> out;
    for (const Clip& clip : clips) out.push_back(clip.id);
    return out;
}
std::vector<UUID> uuids(std::initializer_list<std::uint64_t> numbers) {
    std::vector<UUID> out;
    for (const auto number : numbers) out.push_back(uuid(number));
    return out;
}

TEST(TimelineDuration, EndsWithWhateverEndsLast) {
    const struct {
        Clips clips;
        double seconds;
    } rows[] = {
        {{}, 0},
        {{video(1, 4)}, 4},
        {{video(1, 4), video(2, 2.5)}, 6.5},
        {{video(1, 4), audio(2, 1, 2), video(3, 2)}, 6},
        {{video(1, 4), audio(2, 3, 2)}, 5},
        {{audio(1, 5, 2), audio(2, 1, 3)}, 7},
        {{Clip(audioClip(1, "/a.wav", 3))}, 3},
        {{Clip(videoClip(1).at(100))}, 10},
        {{Clip(videoClip(1).stretch(2, 5))}, 3},
    };
    for (const auto& row : rows) EXPECT_EQ(TimelineLayout::duration(row.clips), row.seconds);
}

TEST(AudioTracks, ComeInOrderOfFirstAppearance) {
    const struct {
        Clips clips;
        Lanes lanes;
    } rows[] = {
        {{}, {}},
        {{video(1, 4)}, {}},
        {{audio(1, 0, 1), video(2, 1), audio(3, 0, 1)}, uuids({1, 3})},
        {{audio(1, 0, 1, 9), audio(2, 0, 1), video(3, 1), audio(4, 5, 1, 9)}, uuids({9, 2})},
        {{audio(1, 0, 1, 2), audio(2, 0, 1)}, uuids({2})},
        {{Clip(videoClip(1).lane(uuid(8))), audio(2, 0, 1, 7)}, uuids({7})},
    };
    for (const auto& row : rows) EXPECT_EQ(TimelineLayout::audioTracks(row.clips), row.lanes);
}

TEST(AudioTracks, OfManyLanesStayInOrder) {
    Clips clips;
    Lanes lanes;
    for (std::uint64_t i = 0; i < 200; ++i) {
        clips.push_back(audio(1000 + i, 0, 1, 500 - i % 100));
        if (i < 100) lanes.push_back(uuid(500 - i));
    }
    EXPECT_EQ(TimelineLayout::audioTracks(clips), lanes);
}

TEST(PreservingAudioTrackOrder, ReordersSoundsWithinTheirSlots) {
    const Clips clips = {audio(1, 0, 1, 11), video(2, 1), audio(3, 0, 1, 12),
                         audio(4, 0, 1, 11), video(5, 1), audio(6, 0, 1, 13)};
    const struct {
        Lanes tracks;
        std::vector<UUID> order;
    } rows[] = {
        {uuids({11, 12, 13}), uuids({1, 2, 4, 3, 5, 6})},
        {uuids({13, 12, 11}), uuids({6, 2, 3, 1, 5, 4})},
        {uuids({12}), uuids({3, 2, 1, 4, 5, 6})},
        {uuids({77, 12, 88, 11, 99}), uuids({3, 2, 1, 4, 5, 6})},
        {{}, uuids({1, 2, 4, 3, 5, 6})},
    };
    for (const auto& row : rows) {
        const Clips ordered = TimelineLayout::preservingAudioTrackOrder(clips, row.tracks);
        EXPECT_EQ(ids(ordered), row.order);
        // Clips move whole.
        for (const Clip& clip : ordered) EXPECT_NE(std::ranges::find(clips, clip), clips.end());
    }
}

TEST(PreservingAudioTrackOrder, GivesTheLanesInTheWantedOrder) {
    const Clips clips = {audio(1, 0, 1), audio(2, 0, 1), audio(3, 0, 1)};
    EXPECT_EQ(TimelineLayout::audioTracks(TimelineLayout::preservingAudioTrackOrder(clips, uuids({3, 1, 2}))),
              uuids({3, 1, 2}));
}

TEST(PreservingAudioTrackOrder, AnUnusedLaneChangesNothing) {
    const Clips clips = {audio(1, 0, 1), video(2, 1), audio(3, 0, 1)};
    EXPECT_EQ(TimelineLayout::preservingAudioTrackOrder(clips, uuids({50, 1, 51, 3})), clips);
    EXPECT_EQ(TimelineLayout::preservingAudioTrackOrder({}, uuids({50})), Clips());
}

TEST(PreservingAudioTrackOrderDeathTest, ALaneListedTwiceEndsTheProgram) {
    EXPECT_DEATH(TimelineLayout::preservingAudioTrackOrder({}, uuids({1, 2, 1})), "lists a lane twice");
}

TEST(InsertionIndex, CountsAClipsMiddleAsBehindIt) {
    const Clips clips = {audio(1, 0, 9), video(2, 4), audio(3, 0, 9), video(4, 2), audio(5, 0, 9)};
    const struct {
        double position;
        std::size_t index;
    } rows[] = {{-1, 1}, {0, 1}, {1.999, 1}, {2, 3}, {4, 3}, {4.999, 3}, {5, 5}, {6, 5}, {100, 5}};
    for (const auto& row : rows)
        EXPECT_EQ(TimelineLayout::insertionIndex(row.position, clips), row.index) << row.position;
    EXPECT_EQ(TimelineLayout::insertionIndex(3, {}), 0u);
    EXPECT_EQ(TimelineLayout::insertionIndex(0, Clips{audio(1, 0, 1), audio(2, 0, 1)}), 2u);
}

TEST(Snapping, TakesTheNearestPairAndTheLaterOfATie) {
    using Values = std::vector<double>;
    const struct {
        double position;
        Values edges;
        Values targets;
        double tolerance;
        std::optional<Snap> result;
    } rows[] = {
        {10, {0, 2}, {9.9, 12.05}, 0.2, Snap{12.05 - 2, 12.05}},
        {10, {}, {10}, 1, std::nullopt},
        {10, {0}, {}, 1, std::nullopt},
        {10, {0}, {10.5}, 0.25, std::nullopt},
        {10, {0}, {10.25}, 0.25, Snap{10.25, 10.25}},
        {10, {0}, {9.5, 10.5}, 1, Snap{10.5, 10.5}},
        {10, {0}, {10.5, 9.5}, 1, Snap{9.5, 9.5}},
        {10, {0, 2}, {10, 12}, 0, Snap{10, 12}},
        {0.25, {0, 2}, {2}, 1, Snap{0, 2}},
        {0.25, {2}, {1.5}, 1, std::nullopt},
        {0.25, {0, 2}, {1.9, 0.5}, 1, Snap{0.5, 0.5}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(TimelineLayout::snap(row.position, row.edges, row.targets, row.tolerance), row.result) << &row - rows;
    const auto near = TimelineLayout::snap(10, Values{0, 2}, Values{9.9, 12.05}, 0.2);
    EXPECT_NEAR(near->position, 10.05, 1e-12);
}

TEST(TrimEdges, LieWithinSixPointsOrAQuarterOfTheClip) {
    using std::nullopt;
    const struct {
        double x;
        double width;
        std::optional<TrimEdge> edge;
    } rows[] = {{2, 8, TrimEdge::start},   {6, 8, TrimEdge::end},     {4, 8, nullopt},
                {2.001, 8, nullopt},       {5.999, 8, nullopt},       {0, 100, TrimEdge::start},
                {6, 100, TrimEdge::start}, {6.001, 100, nullopt},     {93.999, 100, nullopt},
                {94, 100, TrimEdge::end},  {100, 100, TrimEdge::end}, {-3, 100, TrimEdge::start},
                {200, 100, TrimEdge::end}, {0, 0, TrimEdge::start}};
    for (const auto& row : rows) EXPECT_EQ(TimelineLayout::trimEdge(row.x, row.width), row.edge) << row.x;
}

TEST(ClipFrames, StandOffTheirSlots) {
    const struct {
        double slot;
        ClipFrame frame;
    } rows[] = {{0, {0.0625, 0.875}}, {-5, {0.0625, 0.875}}, {1, {0.0625, 0.875}}, {16, {1, 14}},
                {48, {3, 42}},        {100, {3, 94}},        {1000, {3, 994}}};
    for (const auto& row : rows) EXPECT_EQ(TimelineLayout::clipFrame(row.slot), row.frame) << row.slot;
}

}  // namespace
}  // namespace kelvane
