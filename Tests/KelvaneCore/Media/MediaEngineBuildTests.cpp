#include <fmt/format.h>
#include <gtest/gtest.h>

#include "Media/MediaEngine.h"
#include "MediaPrinting.h"
#include "Support/ClipBuilder.h"
#include "Timeline/Framing.h"

namespace kelvane {
namespace {

using testing::audioClip;
using testing::FakeFile;
using testing::FakeMediaPlatform;
using testing::FakeTrack;
using testing::videoClip;
using Lines = std::vector<std::string>;

MediaTime units(std::int64_t value) { return {value, 600}; }
MediaTimeRange range(std::int64_t start, std::int64_t end) { return {units(start), units(end - start)}; }

class BuildTest : public ::testing::Test {
protected:
    BuildTest() {
        addFile("a.mov", FakeFile::video(10));
        addFile("b.mov", FakeFile::video(10, {1920, 1080}));
        addFile("silent.mov", FakeFile::silentVideo(10));
        addFile("song.wav", FakeFile::audio(10));
        addFile("voice.wav", FakeFile::audio(10));
    }
    void addFile(const char* name, FakeFile file) {
        platform_.addFile(FileURL::fromPath(fmt::format("/media/{}", name)), std::move(file));
    }
    Result<EditedMediaPtr> tryBuild(const std::vector<Clip>& clips) {
        return MediaEngine::build(platform_, clips, Framing::size, {1, 30}, {});
    }
    EditedMedia build(const std::vector<Clip>& clips) {
        const Result<EditedMediaPtr> media = tryBuild(clips);
        EXPECT_TRUE(media) << (media ? "" : media.error().message);
        return media ? **media : EditedMedia();
    }
    /// Each segment of a track as a line.
    static Lines segments(const EditedMedia& media, CompositionTrackID id) {
        Lines lines;
        const CompositionTrack* track = media.composition.track(id);
        if (track == nullptr) return {"no such track"};
        for (const CompositionSegment& segment : track->segments) {
            lines.push_back(segment.isEmpty() ? fmt::format("{} gap", FakeMediaPlatform::describe(segment.target))
                                              : fmt::format("{} {} {}", FakeMediaPlatform::describe(segment.target),
                                                            segment.source->url().fileName(),
                                                            FakeMediaPlatform::describe(segment.sourceRange)));
        }
        return lines;
    }
    static std::vector<MediaTimeRange> instructionRanges(const EditedMedia& media) {
        std::vector<MediaTimeRange> ranges;
        for (const VideoInstruction& instruction : media.video.instructions) ranges.push_back(instruction.timeRange);
        return ranges;
    }

    FakeMediaPlatform platform_;
};

TEST_F(BuildTest, EveryCallComesInItsOrder) {
    const EditedMedia media = build({
        audioClip(1, "/media/song.wav").stretch(1, 4).at(0.5).volume(0.25),
        videoClip(2, "/media/a.mov").stretch(2, 4).volume(0.5),
        audioClip(3, "/media/voice.wav").stretch(0, 5).at(3).volume(0),
        videoClip(4, "/media/b.mov").stretch(0, 1).volume(0).zoom(2).position(-1, 0.5),
    });
    EXPECT_EQ(platform_.calls(), (Lines{
                                     "addMutableTrack video",
                                     "addMutableTrack audio",
                                     "openAsset a.mov",
                                     "loadTracks a.mov video",
                                     "loadDuration a.mov",
                                     "insertTimeRange 1 a.mov video [1200/600, 2400/600) at 0/600",
                                     "loadTracks a.mov audio",
                                     "loadTimeRange a.mov audio",
                                     "insertTimeRange 2 a.mov audio [1200/600, 2400/600) at 0/600",
                                     "loadNaturalSize a.mov video",
                                     "loadOrientation a.mov video",
                                     "openAsset b.mov",
                                     "loadTracks b.mov video",
                                     "loadDuration b.mov",
                                     "insertTimeRange 1 b.mov video [0/600, 600/600) at 1200/600",
                                     "loadNaturalSize b.mov video",
                                     "loadOrientation b.mov video",
                                     "openAsset song.wav",
                                     "loadTracks song.wav audio",
                                     "addMutableTrack audio",
                                     "loadTimeRange song.wav audio",
                                     "insertTimeRange 3 song.wav audio [600/600, 2400/600) at 300/600",
                                     "openAsset voice.wav",
                                     "loadTracks voice.wav audio",
                                     "addMutableTrack audio",
                                     "loadTimeRange voice.wav audio",
                                     "insertTimeRange 4 voice.wav audio [0/600, 3000/600) at 1800/600",
                                     "insertEmptyTimeRange 1 [1800/600, 4800/600)",
                                 }));

    EXPECT_EQ(segments(media, 1), (Lines{"[0/600, 1200/600) a.mov [1200/600, 2400/600)",
                                         "[1200/600, 1800/600) b.mov [0/600, 600/600)", "[1800/600, 4800/600) gap"}));
    EXPECT_EQ(segments(media, 2), Lines{"[0/600, 1200/600) a.mov [1200/600, 2400/600)"});
    EXPECT_EQ(segments(media, 3), (Lines{"[0/600, 300/600) gap", "[300/600, 2100/600) song.wav [600/600, 2400/600)"}));
    EXPECT_EQ(segments(media, 4), (Lines{"[0/600, 1800/600) gap", "[1800/600, 4800/600) voice.wav [0/600, 3000/600)"}));

    VideoComposition video;
    video.renderSize = {1080, 1920};
    video.frameDuration = {1, 30};
    video.colorPrimaries = video.colorTransferFunction = video.colorYCbCrMatrix = ColorTag::rec709;
    video.instructions = {
        {range(0, 1200), {{1, units(0), Framing::transform({1080, 1920}, {}, 1, 0, 0, Framing::size)}}},
        {range(1200, 1800), {{1, units(1200), Framing::transform({1920, 1080}, {}, 2, -1, 0.5, Framing::size)}}},
        {range(1800, 4800), {}},
    };
    EXPECT_EQ(media.video, video);
    const AudioMix audio{
        {{2, {{units(0), 0.5F}, {units(1200), 0}}}, {3, {{units(300), 0.25F}}}, {4, {{units(1800), 0}}}}};
    EXPECT_EQ(media.audio, audio);
}

TEST_F(BuildTest, AnEmptyTimelineHasNoTracksNoInstructionsAndNoMix) {
    const EditedMedia media = build({});
    EXPECT_EQ(platform_.calls(),
              (Lines{"addMutableTrack video", "addMutableTrack audio", "removeTrack 1", "removeTrack 2"}));
    EXPECT_TRUE(media.composition.tracks().empty());
    EXPECT_TRUE(media.video.instructions.empty());
    EXPECT_TRUE(media.audio.tracks.empty());
    EXPECT_EQ(media.video.renderSize, Framing::size);
}

TEST_F(BuildTest, OverlaysAloneHaveNoPicture) {
    const EditedMedia media = build({audioClip(1, "/media/song.wav").at(1), audioClip(2, "/media/voice.wav")});
    ASSERT_EQ(media.composition.tracks().size(), 2U);
    EXPECT_EQ(media.composition.tracks()[0].id, 3);
    EXPECT_EQ(media.composition.tracks()[1].id, 4);
    EXPECT_TRUE(media.video.instructions.empty());
    EXPECT_EQ(media.video.renderSize, Framing::size);
    EXPECT_EQ(media.video.frameDuration, MediaTime({1, 30}));
    EXPECT_EQ(media.audio, (AudioMix{{{3, {{units(600), 1}}}, {4, {{units(0), 1}}}}}));
}

TEST_F(BuildTest, SoundThatOutlastsThePictureIsCoveredWithBlack) {
    const EditedMedia media =
        build({videoClip(1, "/media/a.mov").stretch(0, 2), audioClip(2, "/media/song.wav").stretch(0, 4).at(1)});
    EXPECT_EQ(instructionRanges(media), (std::vector{range(0, 1200), range(1200, 3000)}));
    EXPECT_EQ(media.video.instructions[0].layers.size(), 1U);
    EXPECT_TRUE(media.video.instructions[1].layers.empty());
    EXPECT_EQ(segments(media, 1).back(), "[1200/600, 3000/600) gap");
    EXPECT_EQ(media.composition.duration(), units(3000));
}

TEST_F(BuildTest, ASliverOfRoundingLeavesAVeryShortBlackTail) {
    // Each clip of 20.4 units becomes one of 20, while their sum of 61.2 units becomes 61.
    const double length = 20.4 / 600;
    const EditedMedia media =
        build({videoClip(1, "/media/a.mov").stretch(0, length), videoClip(2, "/media/a.mov").stretch(0, length),
               videoClip(3, "/media/a.mov").stretch(0, length)});
    EXPECT_EQ(instructionRanges(media), (std::vector{range(0, 20), range(20, 40), range(40, 60), range(60, 61)}));
    EXPECT_TRUE(media.video.instructions.back().layers.empty());
}

TEST_F(BuildTest, APictureThatOutlastsTheTotalLeavesNoTail) {
    // Each clip of 20.6 units becomes one of 21, while their sum of 61.8 units becomes 62.
    const double length = 20.6 / 600;
    const EditedMedia media =
        build({videoClip(1, "/media/a.mov").stretch(0, length), videoClip(2, "/media/a.mov").stretch(0, length),
               videoClip(3, "/media/a.mov").stretch(0, length)});
    EXPECT_EQ(instructionRanges(media), (std::vector{range(0, 21), range(21, 42), range(42, 63)}));
    EXPECT_EQ(segments(media, 1),
              (Lines{"[0/600, 21/600) a.mov [0/600, 21/600)", "[21/600, 42/600) a.mov [0/600, 21/600)",
                     "[42/600, 63/600) a.mov [0/600, 21/600)"}));
}

TEST_F(BuildTest, AMutedClipLeavesAGapInTheSoundAndItsSoundIsNotLoaded) {
    platform_.failOn("loadTracks a.mov audio", "Its sound is damaged.");
    platform_.failOn("loadTimeRange a.mov", "Its sound is damaged.");
    const EditedMedia media =
        build({videoClip(1, "/media/a.mov").stretch(0, 2).volume(0), videoClip(2, "/media/b.mov").stretch(0, 1)});
    EXPECT_EQ(media.audio, (AudioMix{{{2, {{units(0), 0}, {units(1200), 1}}}}}));
    EXPECT_EQ(segments(media, 2), (Lines{"[0/600, 1200/600) gap", "[1200/600, 1800/600) b.mov [0/600, 600/600)"}));
}

TEST_F(BuildTest, WithoutAnySoundTheSoundTrackGoes) {
    struct Row {
        const char* what;
        std::vector<Clip> clips;
    };
    FakeFile late = FakeFile::video(10);
    late.audioTracks.front().timeRange = range(3000, 6000);
    addFile("late.mov", late);
    const Row rows[] = {
        {"all muted", {videoClip(1, "/media/a.mov").volume(0), videoClip(2, "/media/b.mov").volume(0)}},
        {"none has sound", {videoClip(1, "/media/silent.mov")}},
        {"the sound begins behind the trim", {videoClip(1, "/media/late.mov").stretch(0, 5)}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        const EditedMedia media = build(row.clips);
        EXPECT_EQ(media.audio, AudioMix());
        ASSERT_EQ(media.composition.tracks().size(), 1U);
        EXPECT_EQ(media.composition.tracks()[0].type, MediaType::video);
    }
}

TEST_F(BuildTest, AClipWithoutSoundStillSetsItsVolume) {
    const EditedMedia media = build(
        {videoClip(1, "/media/a.mov").stretch(0, 1), videoClip(2, "/media/silent.mov").stretch(0, 1).volume(0.3)});
    EXPECT_EQ(media.audio, (AudioMix{{{2, {{units(0), 1}, {units(600), 0.3F}}}}}));
}

TEST_F(BuildTest, SoundKeepsItsDistanceFromThePicture) {
    struct Row {
        const char* what;
        MediaTimeRange covered;
        double start;
        double end;
        const char* inserted;
    };
    const Row rows[] = {
        {"late, from the file's head", range(300, 6000), 0, 2, "[300/600, 1200/600) at 900/600"},
        {"late, trimmed behind its start", range(300, 6000), 1, 2, "[600/600, 1200/600) at 600/600"},
        {"ends early", range(0, 900), 0, 2, "[0/600, 900/600) at 600/600"},
        {"late and early", range(60, 120), 0, 1, "[60/600, 120/600) at 660/600"},
        {"begins before the file's zero", range(-20, 6000), 0, 2, "[0/600, 1200/600) at 600/600"},
        {"in units of samples", {{24001, 48000}, {96000, 48000}}, 0, 1, "[24001/48000, 48000/48000) at 72001/48000"},
        {"in a timescale that can't be mixed",
         {{1, 999999937}, {999999900, 999999937}},
         0,
         2,
         "[1/48000, 47999/48000) at 48001/48000"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        FakeFile file = FakeFile::video(10);
        file.audioTracks.front().timeRange = row.covered;
        addFile("offset.mov", file);
        const EditedMedia media = build({videoClip(1, "/media/silent.mov").stretch(0, 1),
                                         videoClip(2, "/media/offset.mov").stretch(row.start, row.end)});
        const auto& segments = media.composition.track(2)->segments;
        ASSERT_EQ(segments.size(), 2U);
        EXPECT_TRUE(segments[0].isEmpty());
        EXPECT_EQ(segments[1].source->url().fileName(), "offset.mov");
        EXPECT_EQ(fmt::format("{} at {}", FakeMediaPlatform::describe(segments[1].sourceRange),
                              FakeMediaPlatform::describe(segments[1].target.start)),
                  row.inserted);
    }
}

TEST_F(BuildTest, TheFirstTrackOfEachTypeIsTheOneThatPlays) {
    FakeFile file = FakeFile::video(10);
    file.videoTracks.push_back({{640, 480}, {}, 10, range(0, 6000)});
    file.audioTracks.push_back({{}, {}, 0, range(600, 6000)});
    addFile("two.mov", file);
    const EditedMedia media = build({videoClip(1, "/media/two.mov").stretch(0, 1)});
    EXPECT_EQ(media.video.instructions.at(0).layers.at(0).transform,
              Framing::transform({1080, 1920}, {}, 1, 0, 0, Framing::size));
    EXPECT_EQ(media.composition.track(1)->segments.at(0).source->loadNaturalSize(), (Result<Size>({1080, 1920})));
    EXPECT_EQ(segments(media, 2), Lines{"[0/600, 600/600) two.mov [0/600, 600/600)"});
}

TEST_F(BuildTest, OverlaysOfOneLaneAreTracksOfTheirOwn) {
    const UUID lane = testing::uuid(77);
    const EditedMedia media = build({audioClip(1, "/media/song.wav").stretch(0, 1).lane(lane),
                                     audioClip(2, "/media/song.wav").stretch(1, 2).at(0.5).lane(lane)});
    ASSERT_EQ(media.composition.tracks().size(), 2U);
    EXPECT_EQ(segments(media, 3), Lines{"[0/600, 600/600) song.wav [0/600, 600/600)"});
    EXPECT_EQ(segments(media, 4), (Lines{"[0/600, 300/600) gap", "[300/600, 900/600) song.wav [600/600, 1200/600)"}));
}

TEST_F(BuildTest, AnOverlayIsInsertedWholeAlthoughItsSoundIsAHairShort) {
    FakeFile file = FakeFile::audio(10);
    file.audioTracks.front().timeRange = {{95, 48000}, {479000, 48000}};
    addFile("hair.wav", file);
    const EditedMedia media = build({audioClip(1, "/media/hair.wav").stretch(0, 2)});
    EXPECT_EQ(segments(media, 3), Lines{"[0/600, 1200/600) hair.wav [0/600, 1200/600)"});
}

TEST_F(BuildTest, ATurnedPhoneClipFillsTheCanvas) {
    addFile("phone.mov", FakeFile::video(10, {1920, 1080}, {0, 1, -1, 0, 1080, 0}));
    const EditedMedia media = build({videoClip(1, "/media/phone.mov")});
    const AffineTransform transform = media.video.instructions.at(0).layers.at(0).transform;
    EXPECT_EQ(transform, (AffineTransform{0, 1, -1, 0, 1080, 0}));
    EXPECT_EQ(transform.boundingRect({0, 0, 1920, 1080}), (Rect{0, 0, 1080, 1920}));
}

TEST_F(BuildTest, FramingIsTheSameAtEveryOutputSize) {
    const std::vector<Clip> clips{videoClip(1, "/media/b.mov").zoom(1.5).position(0.25, -0.5)};
    for (const Size canvas : {Framing::hdSize, Framing::size, Framing::quadHDSize, Framing::ultraHDSize}) {
        const EditedMedia media = **MediaEngine::build(platform_, clips, canvas, {1, 25}, {});
        EXPECT_EQ(media.video.renderSize, canvas);
        EXPECT_EQ(media.video.frameDuration, MediaTime({1, 25}));
        const AffineTransform transform = media.video.instructions.at(0).layers.at(0).transform;
        // The source's crop, told in parts of the source, does not depend on the canvas.
        const Rect shown = transform.inverted().boundingRect({0, 0, canvas.width, canvas.height});
        EXPECT_NEAR(shown.x, 946.875, 1e-9);
        EXPECT_NEAR(shown.y, 90, 1e-9);
        EXPECT_NEAR(shown.width, 405, 1e-9);
        EXPECT_NEAR(shown.height, 720, 1e-9);
    }
}

TEST_F(BuildTest, AVideoClipsTimelinePositionAndLaneMeanNothing) {
    Clip clip = videoClip(1, "/media/a.mov").stretch(0, 1).at(5).lane(testing::uuid(9));
    clip.audioOnly = false;
    EXPECT_EQ(segments(build({clip}), 1), Lines{"[0/600, 600/600) a.mov [0/600, 600/600)"});
}

TEST(SourceRange, RoundsTheStartAndTheLengthEachByItself) {
    struct Row {
        double start;
        double end;
        MediaTimeRange expected;
    };
    const Row rows[] = {
        {0, 1, range(0, 600)},
        {1, 4.25, range(600, 2550)},
        {0.4 / 600, 20.8 / 600, range(0, 20)},
        {0.6 / 600, 21.2 / 600, range(1, 22)},
        {1.0 / 3, 2.0 / 3, range(200, 400)},
    };
    for (const Row& row : rows)
        EXPECT_EQ(MediaEngine::sourceRange(videoClip(1).stretch(row.start, row.end)), row.expected);
}

TEST(TimelineRanges, VideoFollowsVideoAndSoundLiesWhereItSays) {
    const std::vector<Clip> clips{
        videoClip(1).stretch(0, 1), audioClip(2).stretch(2, 4).at(7.25), videoClip(3).stretch(5, 5.5).at(100),
        audioClip(4).stretch(0, 1), videoClip(5).stretch(0, 2),
    };
    EXPECT_EQ(MediaEngine::timelineRanges(clips),
              (std::vector{range(0, 600), range(4350, 5550), range(600, 900), range(0, 600), range(900, 2100)}));
    EXPECT_EQ(MediaEngine::timelineRanges({}), std::vector<MediaTimeRange>());
}

}  // namespace
}  // namespace kelvane
