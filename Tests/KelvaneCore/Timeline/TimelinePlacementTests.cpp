#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "Support/ClipBuilder.h"
#include "Timeline/TimelineLayout.h"
#include "Timeline/TimelinePlacement.h"

namespace kelvane {
namespace {

using testing::audioClip;
using testing::uuid;
using testing::videoClip;
using Clips = std::vector<Clip>;

/// Random but repeatable arrays of `count` clips with trims on no particular grid, in a handful of lanes.
Clips randomClips(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    const auto between = [&](double low, double high) { return std::uniform_real_distribution(low, high)(random); };
    const auto chance = [&](double probability) { return std::bernoulli_distribution(probability)(random); };
    Clips clips;
    for (std::size_t i = 0; i < count; ++i) {
        const double start = between(0, 50);
        const double end = start + between(minimumClipLength, 12);
        if (chance(0.6)) {
            clips.push_back(videoClip(i + 1, "/media/video.mov", 100).stretch(start, end));
            continue;
        }
        auto clip = audioClip(i + 1, "/media/sound.wav", 100).stretch(start, end);
        if (chance(0.9)) clip.at(between(0, 300));
        if (chance(0.7)) clip.lane(uuid(5000 + std::uniform_int_distribution<unsigned>(0, 7)(random)));
        clips.push_back(clip);
    }
    return clips;
}

// The definitions, written out once more in the plainest way.

double startOf(const Clips& clips, std::size_t index) {
    if (clips[index].isAudio()) return clips[index].timelineStart.value_or(0);
    double sum = 0;
    for (std::size_t i = 0; i < index; ++i)
        if (!clips[i].isAudio()) sum += clips[i].end - clips[i].start;
    return sum;
}

double endOfAll(const Clips& clips) {
    double end = 0;
    for (const Clip& clip : clips)
        if (!clip.isAudio()) end += clip.end - clip.start;
    for (const Clip& clip : clips)
        if (clip.isAudio()) end = std::max(end, clip.timelineStart.value_or(0) + (clip.end - clip.start));
    return end;
}

std::vector<UUID> lanesOf(const Clips& clips) {
    std::vector<UUID> lanes;
    for (const Clip& clip : clips) {
        if (!clip.isAudio()) continue;
        const UUID lane = clip.audioTrackID.value_or(clip.id);
        if (std::ranges::find(lanes, lane) == lanes.end()) lanes.push_back(lane);
    }
    return lanes;
}

std::size_t insertionIndexOf(const Clips& clips, double position) {
    double offset = 0;
    for (std::size_t i = 0; i < clips.size(); ++i) {
        if (clips[i].isAudio()) continue;
        const double duration = clips[i].end - clips[i].start;
        if (offset + 0.5 * duration > position) return i;
        offset += duration;
    }
    return clips.size();
}

/// The video clip whose stretch holds `time`.
std::optional<std::size_t> videoShownAt(const Clips& clips, double time) {
    double offset = 0;
    for (std::size_t i = 0; i < clips.size(); ++i) {
        if (clips[i].isAudio()) continue;
        const double end = offset + (clips[i].end - clips[i].start);
        if (offset <= time && time < end) return i;
        offset = end;
    }
    return std::nullopt;
}

/// Times worth asking for: every start, end and middle, their neighbours, places between, and what is no time.
std::vector<double> questions(const Clips& clips, const TimelinePlacement& placement) {
    const double infinity = std::numeric_limits<double>::infinity();
    std::vector<double> times{0,   -0.0,     -1,        endOfAll(clips),
                              1e9, infinity, -infinity, std::numeric_limits<double>::quiet_NaN()};
    for (std::size_t i = 0; i < placement.size(); i += 1 + placement.size() / 50) {
        const auto& span = placement.span(i);
        for (const double time : {span.start, span.end, span.start + 0.5 * clips[i].duration(), span.start + 0.01})
            times.insert(times.end(), {time, std::nextafter(time, -infinity), std::nextafter(time, infinity)});
    }
    return times;
}

class TimelinePlacementProperty : public ::testing::TestWithParam<std::size_t> {};

INSTANTIATE_TEST_SUITE_P(Sizes, TimelinePlacementProperty, ::testing::Values(0, 1, 2, 3, 5, 17, 100, 1000));

TEST_P(TimelinePlacementProperty, IsWhatTheDefinitionsSayToTheLastBit) {
    for (unsigned seed = 0; seed < 8; ++seed) {
        const Clips clips = randomClips(GetParam(), seed);
        const TimelinePlacement placement(clips);
        ASSERT_EQ(placement.size(), clips.size());
        const std::vector<UUID> lanes = lanesOf(clips);
        for (std::size_t i = 0; i < clips.size(); ++i) {
            const double start = startOf(clips, i);
            EXPECT_EQ(placement.span(i), (TimelineSpan<double>{start, start + (clips[i].end - clips[i].start)}));
            EXPECT_EQ(placement.index(clips[i].id), i);
            EXPECT_EQ(placement.start(clips[i].id), start);
            if (clips[i].isAudio())
                EXPECT_EQ(lanes.at(placement.lane(i).value()), clips[i].lane());
            else
                EXPECT_EQ(placement.lane(i), std::nullopt);
        }
        EXPECT_EQ(placement.lanes(), lanes);
        EXPECT_EQ(placement.duration(), endOfAll(clips));
        EXPECT_EQ(placement.index(uuid(99999)), std::nullopt);
        EXPECT_EQ(placement.start(uuid(99999)), placement.videoEnd());
        for (const double time : questions(clips, placement)) {
            EXPECT_EQ(placement.insertionIndex(time), insertionIndexOf(clips, time)) << time;
            EXPECT_EQ(placement.videoAt(time), videoShownAt(clips, time)) << time;
        }
    }
}

TEST_P(TimelinePlacementProperty, AgreesWithTheTimelinesLayout) {
    for (unsigned seed = 20; seed < 28; ++seed) {
        const Clips clips = randomClips(GetParam(), seed);
        const TimelinePlacement placement(clips);
        EXPECT_EQ(placement.duration(), TimelineLayout::duration(clips));
        EXPECT_EQ(placement.lanes(), TimelineLayout::audioTracks(clips));
        for (const double time : questions(clips, placement))
            EXPECT_EQ(placement.insertionIndex(time), TimelineLayout::insertionIndex(time, clips)) << time;
    }
}

TEST(TimelinePlacement, OfTwoClipsWithOneIDFindsTheFirst) {
    const Clips clips{videoClip(1), videoClip(2), videoClip(1)};
    const TimelinePlacement placement(clips);
    EXPECT_EQ(placement.index(uuid(1)), 0U);
    EXPECT_EQ(placement.start(uuid(1)), 0);
}

TEST(TimelinePlacement, OfNothingIsEmpty) {
    const TimelinePlacement placement;
    EXPECT_EQ(placement.size(), 0U);
    EXPECT_EQ(placement.duration(), 0);
    EXPECT_EQ(placement.start(uuid(1)), 0);
    EXPECT_EQ(placement.insertionIndex(0), 0U);
    EXPECT_EQ(placement.videoAt(0), std::nullopt);
    EXPECT_TRUE(placement.lanes().empty());
}

}  // namespace
}  // namespace kelvane
