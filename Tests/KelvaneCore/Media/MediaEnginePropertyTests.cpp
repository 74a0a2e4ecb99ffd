#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "Media/MediaEngine.h"
#include "MediaPrinting.h"
#include "Support/ClipBuilder.h"
#include "Timeline/Framing.h"
#include "Timeline/TimelineLayout.h"
#include "Timeline/TimelinePlacement.h"

namespace kelvane {
namespace {

using testing::audioClip;
using testing::FakeFile;
using testing::FakeMediaPlatform;
using testing::videoClip;

constexpr double sourceSeconds = 100;

/// Random but repeatable timelines over three sources, with trims that lie on no particular grid.
class Timelines {
public:
    explicit Timelines(unsigned seed) : random_(seed) {}

    std::vector<Clip> next() { return next(std::uniform_int_distribution<std::size_t>(0, 30)(random_)); }
    std::vector<Clip> next(std::size_t count) {
        std::vector<Clip> clips(count);
        std::uint64_t id = 0;
        for (Clip& clip : clips) {
            const double start = between(0, 50);
            const double end = start + between(1.0 / 30 + 1e-9, 12);
            if (chance(0.4)) {
                clip = audioClip(++id, "/media/sound.wav", sourceSeconds).stretch(start, end).volume(volume());
                if (chance(0.8)) clip.timelineStart = between(0, 60);
            } else {
                const char* path = chance(0.3) ? "/media/silent.mov" : "/media/video.mov";
                clip = videoClip(++id, path, sourceSeconds).stretch(start, end).volume(volume()).zoom(between(1, 3));
            }
        }
        return clips;
    }

private:
    double between(double low, double high) { return std::uniform_real_distribution(low, high)(random_); }
    bool chance(double probability) { return std::bernoulli_distribution(probability)(random_); }
    double volume() { return chance(0.3) ? 0 : between(0, 1); }

    std::mt19937 random_;
};

class BuildPropertyTest : public ::testing::TestWithParam<unsigned> {
protected:
    BuildPropertyTest() {
        platform_.addFile(FileURL::fromPath("/media/video.mov"), FakeFile::video(sourceSeconds));
        platform_.addFile(FileURL::fromPath("/media/silent.mov"), FakeFile::silentVideo(sourceSeconds));
        platform_.addFile(FileURL::fromPath("/media/sound.wav"), FakeFile::audio(sourceSeconds));
        platform_.setRecording(false);
    }
    FakeMediaPlatform platform_;
};

INSTANTIATE_TEST_SUITE_P(Seeds, BuildPropertyTest, ::testing::Range(0U, 20U));

TEST_P(BuildPropertyTest, TheBuildPutsEveryClipWhereTheTimelineRangesSay) {
    Timelines timelines(GetParam());
    for (int round = 0; round < 50; ++round) {
        const std::vector<Clip> clips = timelines.next();
        const Result<EditedMediaPtr> media = MediaEngine::build(platform_, clips, Framing::size, {1, 30}, {});
        ASSERT_TRUE(media) << media.error().message;
        const std::vector<MediaTimeRange> ranges = MediaEngine::timelineRanges(clips);
        ASSERT_EQ(ranges.size(), clips.size());
        std::size_t instruction = 0;
        CompositionTrackID overlay = 3;
        for (std::size_t i = 0; i < clips.size(); ++i) {
            if (clips[i].isAudio()) {
                const CompositionTrack* track = (*media)->composition.track(overlay++);
                ASSERT_NE(track, nullptr);
                EXPECT_EQ(track->segments.back().target, ranges[i]);
                EXPECT_EQ(track->segments.back().sourceRange, MediaEngine::sourceRange(clips[i]));
                continue;
            }
            EXPECT_EQ((*media)->video.instructions.at(instruction).timeRange, ranges[i]);
            EXPECT_EQ((*media)->composition.track(1)->segments.at(instruction).target, ranges[i]);
            EXPECT_EQ((*media)->video.instructions[instruction].layers.size(), 1U);
            ++instruction;
        }
    }
}

TEST_P(BuildPropertyTest, ThePlacementIsTheCompositionsButForItsRounding) {
    Timelines timelines(GetParam());
    for (const std::size_t count : {1, 10, 100, 1000}) {
        const std::vector<Clip> clips = timelines.next(count);
        const Result<EditedMediaPtr> media = MediaEngine::build(platform_, clips, Framing::size, {1, 30}, {});
        ASSERT_TRUE(media) << media.error().message;
        const TimelinePlacement placement(clips);
        const TimelineSpans<MediaTime> spans = MediaEngine::timelineSpans(clips);
        // Half a unit for each length that is rounded: those before, and the clip's own or its position.
        double slack = 1.5 / compositionTimescale;
        std::size_t instruction = 0;
        CompositionTrackID overlay = 3;
        for (std::size_t i = 0; i < clips.size(); ++i) {
            const bool isAudio = clips[i].isAudio();
            const MediaTimeRange target = isAudio ? (*media)->composition.track(overlay++)->segments.back().target
                                                  : (*media)->video.instructions.at(instruction++).timeRange;
            EXPECT_EQ(spans[i], (TimelineSpan<MediaTime>{target.start, target.end()}));
            const double own = isAudio ? 1.5 / compositionTimescale : slack;
            ASSERT_NEAR(placement.span(i).start, target.start.seconds(), own);
            ASSERT_NEAR(placement.span(i).end, target.end().seconds(), own);
            if (!isAudio) slack += 0.5 / compositionTimescale;
        }
        ASSERT_NEAR(placement.videoEnd(), spans.videoEnd().seconds(), slack);
    }
}

TEST_P(BuildPropertyTest, AClipFoundByTimeIsTheOneOfTheInstructionInForce) {
    Timelines timelines(GetParam());
    const std::vector<Clip> clips = timelines.next(1000);
    const Result<EditedMediaPtr> media = MediaEngine::build(platform_, clips, Framing::size, {1, 30}, {});
    ASSERT_TRUE(media) << media.error().message;
    const TimelineSpans<MediaTime> spans = MediaEngine::timelineSpans(clips);
    const auto& videos = spans.videos();
    for (std::size_t i = 0; i < videos.size(); ++i) {
        const VideoInstruction& shown = (*media)->video.instructions[i];
        const MediaTime last = shown.timeRange.end() - MediaTime{1, compositionTimescale};
        for (const MediaTime time : {shown.timeRange.start, last}) {
            EXPECT_EQ(spans.videoAt(time), videos[i]);
            EXPECT_EQ((*media)->video.instructionAt(time), &shown);
            EXPECT_EQ(spans.videoAt(time.seconds(), &MediaTime::seconds), videos[i]);
        }
    }
    EXPECT_EQ(spans.videoAt(spans.videoEnd()), std::nullopt);
    EXPECT_EQ(spans.videoAt(MediaTime{-1, compositionTimescale}), std::nullopt);
}

TEST_P(BuildPropertyTest, TracksAndInstructionsHaveNoHolesAndEndWithTheTimeline) {
    Timelines timelines(GetParam());
    for (int round = 0; round < 50; ++round) {
        const std::vector<Clip> clips = timelines.next();
        const EditedMedia media = **MediaEngine::build(platform_, clips, Framing::size, {1, 30}, {});
        for (const CompositionTrack& track : media.composition.tracks()) {
            MediaTime end;
            for (const CompositionSegment& segment : track.segments) {
                EXPECT_EQ(segment.target.start, end);
                EXPECT_GT(segment.target.duration, MediaTime());
                EXPECT_EQ(segment.target.duration, segment.sourceRange.duration);
                end = segment.target.end();
            }
        }
        MediaTime end;
        for (const VideoInstruction& instruction : media.video.instructions) {
            EXPECT_EQ(instruction.timeRange.start, end);
            end = instruction.timeRange.end();
            EXPECT_EQ(media.video.instructionAt(instruction.timeRange.start), &instruction);
            EXPECT_EQ(media.video.instructionAt(end - MediaTime{1, 600}), &instruction);
        }
        const bool hasPicture = media.composition.track(1) != nullptr;
        EXPECT_EQ(hasPicture, !media.video.instructions.empty());
        if (hasPicture) {
            // Each clip is rounded by at most half a unit, so the picture and the sum differ by no more than that each.
            const double slack = (static_cast<double>(clips.size()) * 0.5 + 1) / 600;
            EXPECT_NEAR(end.seconds(), TimelineLayout::duration(clips), slack);
            EXPECT_GE(end, media.composition.track(1)->end());
        }
    }
}

TEST_P(BuildPropertyTest, BuildingTwiceGivesTheSameEdit) {
    Timelines timelines(GetParam());
    const std::vector<Clip> clips = timelines.next();
    const auto build = [&] { return **MediaEngine::build(platform_, clips, Framing::size, {1, 30}, {}); };
    EXPECT_EQ(build(), build());
}

TEST_P(BuildPropertyTest, EveryTrackThatSoundsHasItsGainsInTheMix) {
    Timelines timelines(GetParam());
    for (int round = 0; round < 50; ++round) {
        const EditedMedia media = **MediaEngine::build(platform_, timelines.next(), Framing::size, {1, 30}, {});
        std::vector<CompositionTrackID> audible;
        for (const CompositionTrack& track : media.composition.tracks())
            if (track.type == MediaType::audio) audible.push_back(track.id);
        std::vector<CompositionTrackID> mixed;
        for (const TrackGains& gains : media.audio.tracks) {
            mixed.push_back(gains.track);
            for (std::size_t i = 1; i < gains.points.size(); ++i) EXPECT_LT(gains.points[i - 1].at, gains.points[i].at);
        }
        EXPECT_EQ(mixed, audible);
    }
}

/// Where the last sound of a timeline ends.
MediaTime soundEnd(const EditedMedia& media) {
    MediaTime end;
    for (const CompositionTrack& track : media.composition.tracks())
        for (const CompositionSegment& segment : track.segments)
            if (track.type == MediaType::audio && !segment.isEmpty()) end = std::max(end, segment.target.end());
    return end;
}

/// Checks each picture of the movie that a timeline makes at one frame rate.
void expectPicturesUnlessSoundOutlasts(const EditedMedia& media) {
    MediaTime pictureEnd;
    for (const VideoInstruction& instruction : media.video.instructions)
        if (!instruction.layers.empty()) pictureEnd = instruction.timeRange.end();
    const MediaTime frame = media.video.frameDuration;
    const MediaTime end = media.composition.duration();
    const bool isBlack = soundEnd(media) > pictureEnd && end - pictureEnd >= frame;
    for (std::int64_t n = 0; MediaTime{n * frame.value, frame.timescale} < end; ++n) {
        const MediaTime time{n * frame.value, frame.timescale};
        const MediaTime pictured = picturedTime(media, time);
        if (time < pictureEnd) {
            EXPECT_EQ(pictured, time);
            continue;
        }
        const VideoInstruction* shown = media.video.instructionAt(pictured);
        EXPECT_EQ(shown == nullptr || shown->layers.empty(), isBlack)
            << "frame " << n << " of " << end.seconds() << " s, pictures end at " << pictureEnd.seconds();
        if (!isBlack) EXPECT_LT((pictureEnd - pictured).seconds(), frame.seconds() + 0.002);
    }
}

TEST_P(BuildPropertyTest, AMovieEndsInItsLastPictureUnlessSoundOutlastsIt) {
    Timelines timelines(GetParam());
    for (const MediaTime frame : {MediaTime{1, 24}, MediaTime{1001, 30000}, MediaTime{1, 30}, MediaTime{1, 60}}) {
        for (int round = 0; round < 20; ++round) {
            std::vector<Clip> clips = timelines.next();
            if (round % 2 == 0) std::erase_if(clips, [](const Clip& clip) { return clip.isAudio(); });
            if (std::ranges::all_of(clips, &Clip::isAudio)) continue;
            expectPicturesUnlessSoundOutlasts(**MediaEngine::build(platform_, clips, Framing::size, frame, {}));
        }
    }
}

TEST_P(BuildPropertyTest, ManyClipsWhoseLengthsAreRoundedDownEndInTheLastPicture) {
    // Each loses up to 0.49/600 s: together many frames.
    std::mt19937 random(GetParam());
    std::vector<Clip> clips;
    for (std::uint64_t id = 1; id <= 1000; ++id) {
        const double units = static_cast<double>(std::uniform_int_distribution(20, 80)(random));
        const double lost = std::uniform_real_distribution(0.0, 0.49)(random);
        clips.push_back(videoClip(id, "/media/silent.mov", sourceSeconds).stretch(1, 1 + (units + lost) / 600));
    }
    const EditedMedia media = **MediaEngine::build(platform_, clips, Framing::size, {1, 30}, {});
    const MediaTimeRange tail = media.video.instructions.back().timeRange;
    ASSERT_GT(tail.duration, (MediaTime{1, 30}));
    ASSERT_TRUE(media.video.instructions.back().layers.empty());
    expectPicturesUnlessSoundOutlasts(media);
    // The same stretch stays black where sound goes on in it.
    ASSERT_LT(tail.end().seconds(), sourceSeconds);
    clips.push_back(audioClip(2000, "/media/sound.wav", sourceSeconds).stretch(0, tail.end().seconds()));
    const Result<EditedMediaPtr> sounding = MediaEngine::build(platform_, clips, Framing::size, {1, 30}, {});
    ASSERT_TRUE(sounding) << sounding.error().message;
    expectPicturesUnlessSoundOutlasts(**sounding);
}

}  // namespace
}  // namespace kelvane
