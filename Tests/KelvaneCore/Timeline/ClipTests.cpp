#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Support/ClipBuilder.h"
#include "Timeline/Clip.h"

namespace kelvane {
namespace {

using testing::audioClip;
using testing::uuid;
using testing::videoClip;

constexpr double infinity = std::numeric_limits<double>::infinity();
const double notANumber = std::nan("");

/// A sound of 20 s that plays its seconds 5 to 15 at `at` on the timeline.
Clip sound(double at) { return audioClip(1, "/media/sound.wav", 20).stretch(5, 15).at(at); }
/// A picture of 20 s that plays its seconds 5 to 15.
Clip picture() { return videoClip(1, "/media/video.mov", 20).stretch(5, 15); }

TEST(Clip, TellsWhatItIs) {
    const Clip clip = picture();
    EXPECT_EQ(clip.name(), "video");
    EXPECT_EQ(clip.duration(), 10);
    EXPECT_FALSE(clip.isAudio());
    EXPECT_EQ(clip.audioPosition(), 0);
    EXPECT_EQ(clip.lane(), uuid(1));

    Clip audio = audioClip(1).lane(uuid(9));
    EXPECT_TRUE(audio.isAudio());
    EXPECT_EQ(audio.lane(), uuid(9));
    audio.setAudioPosition(0);
    EXPECT_EQ(audio.timelineStart, 0.0);
    audio.audioOnly = false;
    EXPECT_FALSE(audio.isAudio());
}

TEST(Clip, EqualsWhenAllFieldsAreEqual) {
    const Clip clip = Clip(audioClip(1).at(2).lane(uuid(3)).original(FileURL::fromPath("/card/a.wav")));
    EXPECT_EQ(clip, Clip(clip));
    const auto differs = [&](auto change) {
        Clip other = clip;
        change(other);
        return other != clip;
    };
    EXPECT_TRUE(differs([](Clip& c) { c.id = uuid(2); }));
    EXPECT_TRUE(differs([](Clip& c) { c.url = FileURL::fromPath("/b"); }));
    EXPECT_TRUE(differs([](Clip& c) { c.sourceDuration = 1; }));
    EXPECT_TRUE(differs([](Clip& c) { c.start = 1; }));
    EXPECT_TRUE(differs([](Clip& c) { c.end = 1; }));
    EXPECT_TRUE(differs([](Clip& c) { c.zoom = 2; }));
    EXPECT_TRUE(differs([](Clip& c) { c.horizontal = 1; }));
    EXPECT_TRUE(differs([](Clip& c) { c.vertical = 1; }));
    EXPECT_TRUE(differs([](Clip& c) { c.volume = 0; }));
    EXPECT_TRUE(differs([](Clip& c) { c.audioOnly = false; }));
    EXPECT_TRUE(differs([](Clip& c) { c.timelineStart.reset(); }));
    EXPECT_TRUE(differs([](Clip& c) { c.audioTrackID.reset(); }));
    EXPECT_TRUE(differs([](Clip& c) { c.originalURL.reset(); }));
}

TEST(ClipValidity, HoldsWithinEveryRange) {
    const Clip rows[] = {
        videoClip(1),
        audioClip(1),
        videoClip(1, "/v.mov", 10).stretch(0, 1.0 / 30),
        videoClip(1, "/v.mov", 10).stretch(10 - 0.0334, 10),
        videoClip(1, "/v.mov", 10).stretch(0, 10 + 0.001),
        videoClip(1).zoom(1),
        videoClip(1).zoom(3),
        videoClip(1).position(-1, 1),
        videoClip(1).position(1, -1),
        videoClip(1).volume(0),
        videoClip(1).volume(1),
        audioClip(1).at(0),
        audioClip(1).at(1e9),
        videoClip(1).at(3),
    };
    for (const Clip& clip : rows) EXPECT_TRUE(clip.isValid()) << &clip - rows;
}

TEST(ClipValidity, EndsAtEveryRangesEdge) {
    const Clip rows[] = {
        videoClip(1, "/v.mov", 10).stretch(0, 10.0011),
        videoClip(1, "/v.mov", 10).stretch(-0.001, 5),
        videoClip(1, "/v.mov", 10).stretch(0, 1.0 / 30 - 1e-9),
        videoClip(1, "/v.mov", 10).stretch(5, 5),
        videoClip(1, "/v.mov", 10).stretch(6, 5),
        videoClip(1, "/v.mov", 0),
        videoClip(1, "/v.mov", -1),
        videoClip(1).zoom(0.99),
        videoClip(1).zoom(3.01),
        videoClip(1).position(-1.01, 0),
        videoClip(1).position(1.01, 0),
        videoClip(1).position(0, -1.01),
        videoClip(1).position(0, 1.01),
        videoClip(1).volume(-0.01),
        videoClip(1).volume(1.01),
        audioClip(1).at(-0.001),
        videoClip(1).at(-0.001),
    };
    for (const Clip& clip : rows) EXPECT_FALSE(clip.isValid()) << &clip - rows;
}

TEST(ClipValidity, NeverHoldsForNumbersThatAreNotFinite) {
    for (const double value : {notANumber, infinity, -infinity}) {
        const Clip rows[] = {
            videoClip(1, "/v.mov", value).stretch(0, 1),
            videoClip(1).stretch(value, 5),
            videoClip(1).stretch(0, value),
            videoClip(1).zoom(value),
            videoClip(1).position(value, 0),
            videoClip(1).position(0, value),
            videoClip(1).volume(value),
            audioClip(1).at(value),
            videoClip(1).at(value),
        };
        for (const Clip& clip : rows) EXPECT_FALSE(clip.isValid()) << &clip - rows << " " << value;
    }
    EXPECT_FALSE(Clip(videoClip(1, "/v.mov", infinity)).isValid());
}

TEST(ClipTrimming, MovesTheEndWithinTheSource) {
    const struct {
        double delta;
        double end;
    } rows[] = {
        {2, 17}, {-3, 12}, {5, 20}, {100, 20}, {-10, 5 + 1.0 / 30 + 0.000001}, {-1000, 5 + 1.0 / 30 + 0.000001}};
    for (const auto& row : rows) {
        for (Clip clip : {picture(), sound(7)}) {
            const Clip trimmed = clip.trimmed(TrimEdge::end, row.delta);
            clip.end = row.end;
            EXPECT_EQ(trimmed, clip) << row.delta;
            EXPECT_TRUE(trimmed.isValid());
        }
    }
}

TEST(ClipTrimming, BringsAnEndBeyondTheSourceBackToIt) {
    const Clip clip = videoClip(1, "/v.mov", 10).stretch(0, 10.001);
    EXPECT_EQ(clip.trimmed(TrimEdge::end, 0).end, 10);
}

TEST(ClipTrimming, MovesAVideosStartWithinTheSource) {
    const struct {
        double delta;
        double start;
    } rows[] = {
        {2, 7}, {-3, 2}, {-5, 0}, {-100, 0}, {10, 15 - (1.0 / 30 + 0.000001)}, {1000, 15 - (1.0 / 30 + 0.000001)}};
    for (const auto& row : rows) {
        Clip clip = picture();
        const Clip trimmed = clip.trimmed(TrimEdge::start, row.delta);
        clip.start = row.start;
        EXPECT_EQ(trimmed, clip) << row.delta;
        EXPECT_TRUE(trimmed.isValid());
    }
    Clip placed = picture();
    placed.timelineStart = 4;
    EXPECT_EQ(placed.trimmed(TrimEdge::start, 2).timelineStart, 4.0);
}

TEST(ClipTrimming, KeepsASoundWhereItLiesOnTheTimeline) {
    const struct {
        double at;
        double delta;
        double start;
        double newAt;
    } rows[] = {
        {7, 2, 7, 9}, {7, -3, 2, 4}, {7, -100, 0, 2}, {2, -100, 3, 0}, {2, -2, 3, 0}, {0, -1, 5, 0}, {5, -100, 0, 0},
    };
    for (const auto& row : rows) {
        Clip clip = sound(row.at);
        const Clip trimmed = clip.trimmed(TrimEdge::start, row.delta);
        clip.start = row.start;
        clip.timelineStart = row.newAt;
        EXPECT_EQ(trimmed, clip) << row.at << " " << row.delta;
    }
    const Clip last = sound(7).trimmed(TrimEdge::start, 1000);
    EXPECT_EQ(last.start, 15 - trimMargin);
    EXPECT_DOUBLE_EQ(*last.timelineStart, 7 + 10 - trimMargin);
    EXPECT_TRUE(last.isValid());
}

TEST(ClipTrimming, GivesASoundWithoutAPositionOne) {
    const Clip clip = audioClip(1, "/a.wav", 20).stretch(5, 15);
    const Clip pulled = clip.trimmed(TrimEdge::start, -3);
    EXPECT_EQ(pulled.start, 5);
    EXPECT_EQ(pulled.timelineStart, 0.0);
    const Clip pushed = clip.trimmed(TrimEdge::start, 3);
    EXPECT_EQ(pushed.start, 8);
    EXPECT_EQ(pushed.timelineStart, 3.0);
    EXPECT_EQ(clip.trimmed(TrimEdge::end, -3).timelineStart, std::nullopt);
}

TEST(ClipTrimming, ADeltaThatIsNotFiniteChangesNothing) {
    for (const double delta : {notANumber, infinity, -infinity}) {
        for (const TrimEdge edge : {TrimEdge::start, TrimEdge::end}) {
            EXPECT_EQ(picture().trimmed(edge, delta), picture());
            EXPECT_EQ(sound(2).trimmed(edge, delta), sound(2));
        }
    }
}

TEST(ClipSplitting, CutsAVideoInTwo) {
    const auto halves = picture().split(4);
    ASSERT_TRUE(halves);
    Clip first = picture();
    first.end = 9;
    Clip second = picture();
    second.start = 9;
    second.id = halves->second.id;
    EXPECT_EQ(halves->first, first);
    EXPECT_EQ(halves->second, second);
    EXPECT_NE(halves->second.id, first.id);
    EXPECT_TRUE(halves->first.isValid() && halves->second.isValid());
}

TEST(ClipSplitting, LeavesAVideosOtherFieldsInBothHalves) {
    Clip clip = videoClip(1).at(3).lane(uuid(8)).zoom(2).volume(0.5).position(0.1, -0.2);
    clip.originalURL = FileURL::fromPath("/card/v.mov");
    const auto halves = clip.split(5);
    ASSERT_TRUE(halves);
    for (Clip half : {halves->first, halves->second}) {
        half.id = clip.id;
        half.start = clip.start;
        half.end = clip.end;
        EXPECT_EQ(half, clip);
    }
}

TEST(ClipSplitting, KeepsBothHalvesOfASoundInItsLane) {
    const auto halves = sound(2).split(4);
    ASSERT_TRUE(halves);
    Clip first = sound(2);
    first.end = 9;
    first.audioTrackID = uuid(1);
    Clip second = sound(6);
    second.id = halves->second.id;
    second.start = 9;
    second.audioTrackID = uuid(1);
    EXPECT_EQ(halves->first, first);
    EXPECT_EQ(halves->second, second);
    EXPECT_EQ(halves->first.lane(), sound(2).lane());

    Clip laned = sound(2);
    laned.audioTrackID = uuid(9);
    const auto both = laned.split(4);
    ASSERT_TRUE(both);
    EXPECT_EQ(both->first.audioTrackID, uuid(9));
    EXPECT_EQ(both->second.audioTrackID, uuid(9));
}

TEST(ClipSplitting, GivesOnlyTheSecondHalfAPosition) {
    const auto halves = Clip(audioClip(1)).split(4);
    ASSERT_TRUE(halves);
    EXPECT_EQ(halves->first.timelineStart, std::nullopt);
    EXPECT_EQ(halves->second.timelineStart, 4.0);
}

TEST(ClipSplitting, NeedsTheShortestLengthOnBothSides) {
    const Clip clip = videoClip(1, "/v.mov", 10);
    EXPECT_TRUE(clip.split(1.0 / 30));
    EXPECT_FALSE(clip.split(1.0 / 30 - 1e-9));
    EXPECT_FALSE(clip.split(10 - 1.0 / 30 + 1e-9));
    // Of two shortest lengths there is one place to cut.
    const Clip pair = videoClip(1, "/v.mov", 10).stretch(0, 2.0 / 30);
    EXPECT_TRUE(pair.split(1.0 / 30));
    for (const double offset : {0.0, -1.0, 10.0, 11.0, notANumber, infinity, -infinity})
        EXPECT_FALSE(clip.split(offset)) << offset;
}

TEST(ClipSplitting, AClipOfTheShortestLengthIsValidAndCannotBeSplit) {
    const Clip clip = videoClip(1, "/v.mov", 10).stretch(0, 1.0 / 30);
    EXPECT_TRUE(clip.isValid());
    for (const double offset : {0.0, 1.0 / 60, 1.0 / 30, 0.02}) EXPECT_FALSE(clip.split(offset)) << offset;
}

}  // namespace
}  // namespace kelvane
