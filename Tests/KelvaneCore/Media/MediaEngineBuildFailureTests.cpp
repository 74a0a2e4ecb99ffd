#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "Media/MediaEngine.h"
#include "Media/MediaError.h"
#include "MediaPrinting.h"
#include "Support/ClipBuilder.h"
#include "Timeline/Framing.h"

namespace kelvane {
namespace {

using testing::audioClip;
using testing::errorOf;
using testing::FakeFile;
using testing::FakeMediaPlatform;
using testing::videoClip;
using Lines = std::vector<std::string>;

const Error invalidTake("“take 1” has an invalid trim range or could not be read.");
const Error invalidSong("“song” has an invalid trim range or could not be read.");

class BuildFailureTest : public ::testing::Test {
protected:
    BuildFailureTest() {
        platform_.addFile(take_, FakeFile::video(10));
        platform_.addFile(song_, FakeFile::audio(10));
    }
    Error failureOf(const std::vector<Clip>& clips, std::stop_token stop = {}) {
        return errorOf(MediaEngine::build(platform_, clips, Framing::size, {1, 30}, std::move(stop)));
    }

    FakeMediaPlatform platform_;
    const FileURL take_ = FileURL::fromPath("/media/take 1.mov");
    const FileURL song_ = FileURL::fromPath("/media/song.wav");
};

TEST_F(BuildFailureTest, WithoutItsFirstTracksThereIsNoEdit) {
    platform_.failOn("addMutableTrack video", "");
    EXPECT_EQ(failureOf({}), MediaError::exportUnavailable());

    platform_.clearFailures();
    platform_.clearCalls();
    platform_.failOn("addMutableTrack audio", "");
    EXPECT_EQ(failureOf({videoClip(1, take_)}), MediaError::exportUnavailable());
    EXPECT_EQ(platform_.calls(), (Lines{"addMutableTrack video", "addMutableTrack audio"}));
}

TEST_F(BuildFailureTest, AnInvalidClipIsRefusedByItsBaseNameBeforeItIsOpened) {
    Clip video = videoClip(1, take_);
    video.zoom = 4;
    EXPECT_EQ(failureOf({video}), invalidTake);
    Clip audio = audioClip(1, song_);
    audio.timelineStart = -1;
    EXPECT_EQ(failureOf({audio}), invalidSong);
    EXPECT_EQ(platform_.count("openAsset"), 0U);
}

TEST_F(BuildFailureTest, AVideoClipNeedsAPictureAndAnOverlayNeedsSound) {
    platform_.addFile(take_, FakeFile::audio(10));
    EXPECT_EQ(failureOf({videoClip(1, take_)}), Error("“take 1” does not contain a supported video track."));
    platform_.addFile(song_, FakeFile::silentVideo(10));
    EXPECT_EQ(failureOf({audioClip(1, song_)}), invalidSong);
    EXPECT_EQ(platform_.count("addMutableTrack audio"), 2U);
    platform_.addFile(song_, FakeFile::neither());
    EXPECT_EQ(failureOf({audioClip(1, song_)}), invalidSong);
    EXPECT_EQ(failureOf({videoClip(1, song_)}), Error("“song” does not contain a supported video track."));
}

TEST_F(BuildFailureTest, ATrimMayPassAVideosLengthByAMillisecond) {
    struct Row {
        double length;
        double end;
        bool passes;
    };
    // The clip was made when the source was longer; what counts is the length that the source has now.
    for (const Row& row : {Row{2, 2, true},
                           {2, 2.001, true},
                           {2, 2.0011, false},
                           {1.9989, 2, false},
                           {1.9991, 2, true},
                           {1, 5, false},
                           {0, 1, false}}) {
        SCOPED_TRACE(fmt::format("{} of {}", row.end, row.length));
        platform_.addFile(take_, FakeFile::video(row.length));
        platform_.clearCalls();
        EXPECT_EQ(failureOf({videoClip(1, take_, 60).stretch(0, row.end)}), row.passes ? Error() : invalidTake);
        EXPECT_EQ(platform_.count("insertTimeRange 1"), row.passes ? 1U : 0U);
    }
}

TEST_F(BuildFailureTest, AnOverlaysTrimMayPassItsSoundTrackByTwoMilliseconds) {
    struct Row {
        const char* what;
        MediaTimeRange covered;
        double start;
        double end;
        bool passes;
    };
    const Row rows[] = {
        {"all of it", {{0, 600}, {1200, 600}}, 0, 2, true},
        {"1.9 ms short", {{0, 10000}, {19981, 10000}}, 0, 2, true},
        {"2.1 ms short", {{0, 10000}, {19979, 10000}}, 0, 2, false},
        {"one unit short", {{0, 600}, {1199, 600}}, 0, 2, true},
        {"two units short", {{0, 600}, {1198, 600}}, 0, 2, false},
        {"begins 1.9 ms late", {{19, 10000}, {90000, 10000}}, 0, 2, true},
        {"begins 2.1 ms late", {{21, 10000}, {90000, 10000}}, 0, 2, false},
        {"begins late, but the trim too", {{300, 600}, {6000, 600}}, 0.5, 2, true},
        {"elsewhere altogether", {{3000, 600}, {600, 600}}, 0, 2, false},
        {"no length", {{0, 600}, {0, 600}}, 0, 2, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        FakeFile file = FakeFile::audio(10);
        file.audioTracks.front().timeRange = row.covered;
        platform_.addFile(song_, file);
        EXPECT_EQ(failureOf({audioClip(1, song_).stretch(row.start, row.end)}), row.passes ? Error() : invalidSong);
    }
}

TEST_F(BuildFailureTest, AnOverlayIsMeasuredByItsTrackAndNotByTheFilesLength) {
    FakeFile file = FakeFile::audio(10);
    file.duration = 0.1;
    platform_.addFile(song_, file);
    EXPECT_EQ(failureOf({audioClip(1, song_)}), Error());
    EXPECT_EQ(platform_.count("loadDuration"), 0U);
}

TEST_F(BuildFailureTest, AnOverlayWithoutATrackOfItsOwnIsRefused) {
    platform_.failOn("addMutableTrack audio", Error(""), 1, 1);
    EXPECT_EQ(failureOf({audioClip(1, song_)}), invalidSong);
    EXPECT_EQ(platform_.count("loadTimeRange"), 0U);
}

TEST_F(BuildFailureTest, FailuresOfThePlatformPassUpUnchanged) {
    const Error error("The disk went away.", "POSIX", 5);
    const std::vector<Clip> clips{videoClip(1, take_).stretch(0, 1), audioClip(2, song_).at(3)};
    for (const char* call : {"openAsset take", "loadTracks take 1.mov video", "loadDuration take", "insertTimeRange 1",
                             "loadTracks take 1.mov audio", "loadTimeRange take", "insertTimeRange 2",
                             "loadNaturalSize", "loadOrientation", "openAsset song", "loadTracks song.wav audio",
                             "loadTimeRange song", "insertTimeRange 3", "insertEmptyTimeRange"}) {
        SCOPED_TRACE(call);
        platform_.clearFailures();
        platform_.clearCalls();
        platform_.failOn(call, error);
        EXPECT_EQ(failureOf(clips), error);
        EXPECT_TRUE(platform_.calls().back().starts_with(call));
    }
}

TEST_F(BuildFailureTest, ASourceThatWentMissingIsAClipThatCannotBeRead) {
    for (const int code : {ENOENT, ENOTDIR}) {
        SCOPED_TRACE(code);
        platform_.clearFailures();
        platform_.failOn("openAsset take", Error::posix("“take 1.mov” could not be opened", code));
        EXPECT_EQ(failureOf({audioClip(2, song_), videoClip(1, take_)}), invalidTake);
        platform_.clearFailures();
        platform_.failOn("openAsset song", Error::posix("“song.wav” could not be opened", code));
        EXPECT_EQ(failureOf({audioClip(2, song_), videoClip(1, take_)}), invalidSong);
    }
}

TEST_F(BuildFailureTest, EveryVideoClipIsLookedAtBeforeAnyOverlay) {
    const Clip goodVideo = videoClip(1, take_);
    const Clip badVideo = videoClip(2, "/media/second.mov");
    const Clip badAudio = audioClip(3, "/media/third.wav");
    const Clip badAudioToo = audioClip(4, "/media/fourth.wav");
    const auto missing = [](const char* name) { return Error(fmt::format("“{}” could not be opened.", name)); };
    EXPECT_EQ(failureOf({badAudio, goodVideo, badVideo}), missing("second.mov"));
    EXPECT_EQ(failureOf({badAudio, goodVideo, badAudioToo}), missing("third.wav"));
    EXPECT_EQ(failureOf({badAudioToo, badAudio}), missing("fourth.wav"));
}

TEST_F(BuildFailureTest, AStopEndsItBeforeTheNextClip) {
    struct Row {
        const char* what;
        std::vector<Clip> clips;
        const char* stopAt;
        Lines opened;
    };
    const Clip take = videoClip(1, take_).clip();
    const Clip song = audioClip(2, song_).clip();
    const Row rows[] = {
        {"before a video clip", {take, take}, "loadOrientation", {"openAsset take 1.mov"}},
        {"before the first overlay", {song, take}, "loadOrientation", {"openAsset take 1.mov"}},
        {"before the next overlay", {song, song}, "insertTimeRange 3", {"openAsset song.wav"}},
        {"before the first clip", {take}, "addMutableTrack video", {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        std::stop_source stop;
        platform_.clearCalls();
        platform_.setObserver([&](const std::string& line) {
            if (line.starts_with(row.stopAt)) stop.request_stop();
        });
        EXPECT_EQ(failureOf(row.clips, stop.get_token()), Error::cancelled());
        EXPECT_EQ(platform_.calls("openAsset"), row.opened);
    }
}

TEST_F(BuildFailureTest, AStopComesBeforeTheNextClipsOwnFaults) {
    std::stop_source stop;
    stop.request_stop();
    Clip clip = videoClip(1, take_);
    clip.zoom = 9;
    EXPECT_EQ(failureOf({clip}, stop.get_token()), Error::cancelled());
}

TEST_F(BuildFailureTest, TimesBeyondAllReasonAreRefusedInWords) {
    FakeFile endless = FakeFile::video(1e300);
    platform_.addFile(take_, endless);
    platform_.addFile(song_, FakeFile::audio(10));
    const Error noLength("A stretch of the timeline has no length that can be played.");
    EXPECT_EQ(failureOf({videoClip(1, take_, 1e300)}), Error());
    EXPECT_EQ(failureOf({videoClip(1, take_, 1e300).stretch(1e299, 1e300)}), noLength);
    EXPECT_EQ(failureOf({videoClip(1, take_, 1e300), videoClip(1, take_, 1e300)}), noLength);
    EXPECT_EQ(failureOf({audioClip(1, song_).at(1e300)}), noLength);
}

}  // namespace
}  // namespace kelvane
