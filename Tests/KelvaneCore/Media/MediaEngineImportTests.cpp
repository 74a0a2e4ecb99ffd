#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

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
using testing::FakeTrack;
using testing::videoClip;
using Lines = std::vector<std::string>;

/// The orientation of a picture stored on its side: a quarter turn clockwise about a stored height of `height`.
AffineTransform quarterTurn(double height) { return {0, 1, -1, 0, height, 0}; }

class ImportTest : public ::testing::Test {
protected:
    Result<MediaEngine::ImportedClip> import(FakeFile file) {
        platform_.addFile(url_, std::move(file));
        return MediaEngine::importClip(platform_, url_, {});
    }

    FakeMediaPlatform platform_;
    const FileURL url_ = FileURL::fromPath("/media/take 1.mov");
};

TEST_F(ImportTest, AVideoWithSoundBecomesAFreshClipWithAThumbnail) {
    const auto imported = import(FakeFile::video(10));
    ASSERT_TRUE(imported);
    Clip expected;
    expected.id = imported->clip.id;
    expected.url = url_;
    expected.sourceDuration = 10;
    expected.end = 10;
    EXPECT_EQ(imported->clip, expected);
    EXPECT_EQ(imported->clip.audioOnly, std::nullopt);
    EXPECT_NE(imported->clip.id, UUID());
    EXPECT_NE(imported->picture, nullptr);
    EXPECT_EQ(platform_.calls(), (Lines{"openAsset take 1.mov", "loadTracks take 1.mov video",
                                        "loadDuration take 1.mov", "image take 1.mov at 300/600 within 1024x1024"}));
}

TEST_F(ImportTest, EachImportHasItsOwnIdentity) {
    const auto first = import(FakeFile::video(10));
    const auto second = import(FakeFile::video(10));
    ASSERT_TRUE(first && second);
    EXPECT_NE(first->clip.id, second->clip.id);
}

TEST_F(ImportTest, AFileOfSoundAloneBecomesAnAudioClipWithoutAPicture) {
    const auto imported = import(FakeFile::audio(2.5));
    ASSERT_TRUE(imported);
    EXPECT_EQ(imported->clip.audioOnly, true);
    EXPECT_EQ(imported->clip.end, 2.5);
    EXPECT_EQ(imported->clip.sourceDuration, 2.5);
    EXPECT_EQ(imported->clip.timelineStart, std::nullopt);
    EXPECT_EQ(imported->clip.audioTrackID, std::nullopt);
    EXPECT_EQ(imported->clip.originalURL, std::nullopt);
    EXPECT_EQ(imported->picture, nullptr);
    EXPECT_EQ(platform_.calls(), (Lines{"openAsset take 1.mov", "loadTracks take 1.mov video",
                                        "loadTracks take 1.mov audio", "loadDuration take 1.mov"}));
}

TEST_F(ImportTest, TheThumbnailIsTakenAtHalfASecondOrInTheMiddleOfAShorterVideo) {
    struct Row {
        double seconds;
        const char* time;
    };
    for (const Row& row : {Row{0.6, "180/600"},
                           {10, "300/600"},
                           {1, "300/600"},
                           {1.001, "300/600"},
                           {0.999, "300/600"},
                           {0.99, "297/600"},
                           {1.0 / 30, "10/600"},
                           {86400, "300/600"}}) {
        platform_.clearCalls();
        ASSERT_TRUE(import(FakeFile::video(row.seconds))) << row.seconds;
        EXPECT_EQ(platform_.calls("image"), Lines{fmt::format("image take 1.mov at {} within 1024x1024", row.time)});
    }
}

TEST_F(ImportTest, AVideoWhosePictureCannotBeDecodedStillImports) {
    platform_.failOn("image", "The picture is damaged.");
    const auto imported = import(FakeFile::video(10));
    ASSERT_TRUE(imported);
    EXPECT_EQ(imported->picture, nullptr);
    EXPECT_EQ(imported->clip.end, 10);
}

TEST_F(ImportTest, RefusesWhatIsNeitherOrHasNoUsableLengthByItsNameWithExtension) {
    struct Row {
        const char* what;
        FakeFile file;
    };
    const Row rows[] = {
        {"neither picture nor sound", FakeFile::neither(5)},
        {"no length", FakeFile::video(0)},
        {"no length of sound", FakeFile::audio(0)},
        {"shorter than one frame", FakeFile::video(0.033)},
        {"a negative length", FakeFile::video(-1)},
        {"an unknown length", FakeFile::video(std::nan(""))},
        {"an endless length", FakeFile::audio(std::numeric_limits<double>::infinity())},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(errorOf(import(row.file)), Error("“take 1.mov” has an invalid trim range or could not be read."));
        EXPECT_EQ(platform_.count("image"), 0U);
    }
}

TEST_F(ImportTest, AFileOfNeitherKindIsRefusedBeforeItsLengthIsAsked) {
    EXPECT_FALSE(import(FakeFile::neither()));
    EXPECT_EQ(platform_.count("loadDuration"), 0U);
}

TEST_F(ImportTest, FailuresOfThePlatformPassUpUnchanged) {
    const Error error("The disk went away.", "POSIX", 5);
    for (const char* call :
         {"openAsset", "loadTracks take 1.mov video", "loadTracks take 1.mov audio", "loadDuration"}) {
        SCOPED_TRACE(call);
        platform_.clearFailures();
        platform_.failOn(call, error);
        EXPECT_EQ(errorOf(import(FakeFile::audio(10))), error);
    }
}

TEST_F(ImportTest, AStopBeforehandOpensNothing) {
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(errorOf(MediaEngine::importClip(platform_, url_, stop.get_token())), Error::cancelled());
    EXPECT_EQ(platform_.calls(), Lines{});
}

class CapabilitiesTest : public ::testing::Test {
protected:
    /// A video clip of a file that only this clip uses.
    Clip clipOf(FakeFile file, double zoom = 1) {
        const std::uint64_t number = ++files_;
        const FileURL url = FileURL::fromPath(fmt::format("/media/{}.mov", number));
        const double seconds = file.duration;
        platform_.addFile(url, std::move(file));
        return videoClip(number, url, seconds).zoom(zoom);
    }
    Clip clipOf(Size size, double zoom = 1, float rate = 30) {
        return clipOf(FakeFile::video(10, size, {}, rate), zoom);
    }
    Result<ExportCapabilities> capabilities(const std::vector<Clip>& clips) {
        return MediaEngine::exportCapabilities(platform_, clips, {});
    }

    FakeMediaPlatform platform_;
    std::uint64_t files_ = 0;
};

TEST_F(CapabilitiesTest, WithoutVideoTheDefaultHoldsAndNothingIsOpened) {
    const ExportCapabilities expected{{1080, 1920}, 30};
    EXPECT_EQ(capabilities({}), Result<ExportCapabilities>(expected));
    EXPECT_EQ(capabilities({audioClip(1), audioClip(2)}), Result<ExportCapabilities>(expected));
    EXPECT_EQ(platform_.calls(), Lines{});
}

TEST_F(CapabilitiesTest, TheLargestSizeIsWhatEveryVideoFillsAfterCropAndZoom) {
    struct Row {
        const char* what;
        std::vector<Clip> clips;
        Size expected;
    };
    const Size landscape{3840, 2160};
    const Row rows[] = {
        {"4K portrait", {clipOf({2160, 3840})}, {2160, 3840}},
        {"4K portrait at zoom 1.2", {clipOf({2160, 3840}, 1.2)}, {1440, 2560}},
        {"4K portrait at zoom 1.5", {clipOf({2160, 3840}, 1.5)}, {1440, 2560}},
        {"4K portrait at zoom 1.51", {clipOf({2160, 3840}, 1.51)}, {1080, 1920}},
        {"8K portrait at zoom 2", {clipOf({4320, 7680}, 2)}, {2160, 3840}},
        {"4K on its side, turned", {clipOf(FakeFile::video(10, landscape, quarterTurn(2160)))}, {2160, 3840}},
        {"4K on its side, not turned", {clipOf(landscape)}, {1080, 1920}},
        {"8K landscape", {clipOf({7680, 4320})}, {2160, 3840}},
        {"1440 and 4K", {clipOf({1440, 2560}), clipOf({2160, 3840})}, {1440, 2560}},
        {"4K and 1440", {clipOf({2160, 3840}), clipOf({1440, 2560})}, {1440, 2560}},
        {"1440, 4K and 1080", {clipOf({1440, 2560}), clipOf({2160, 3840}), clipOf({1080, 1920})}, {1080, 1920}},
        {"1080, then 4K", {clipOf({1080, 1920}), clipOf({2160, 3840})}, {1080, 1920}},
        {"below 720", {clipOf({320, 240})}, {1080, 1920}},
        {"4K within the slack", {clipOf({2159.9995, 3840})}, {2160, 3840}},
        {"4K short of the slack", {clipOf({2159.99, 3840})}, {1440, 2560}},
        {"sound beside it counts for nothing", {audioClip(90), clipOf({2160, 3840}), audioClip(91)}, {2160, 3840}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(capabilities(row.clips), Result<ExportCapabilities>({row.expected, 30}));
    }
}

TEST_F(CapabilitiesTest, TheRateIsTheSlowestSources) {
    const Size size{1080, 1920};
    struct Row {
        std::vector<Clip> clips;
        double expected;
    };
    const Row rows[] = {
        {{clipOf(size, 1, 60), clipOf(size, 1, 24)}, 24},
        {{clipOf(size, 1, 60), clipOf(size, 1, 0)}, 30},
        {{clipOf(size, 1, 120)}, 60},
        {{clipOf(size, 1, std::nanf(""))}, 30},
        {{clipOf(size, 1, 29.97F)}, double{29.97F}},
    };
    for (const Row& row : rows)
        EXPECT_EQ(capabilities(row.clips), Result<ExportCapabilities>({Framing::size, row.expected}));
}

TEST_F(CapabilitiesTest, EveryVideoClipIsOpenedInOrderAndItsFirstTrackAsked) {
    FakeFile twoTracks = FakeFile::video(10, {2160, 3840});
    twoTracks.videoTracks.push_back({{320, 240}, {}, 10, {}});
    const std::vector<Clip> clips{clipOf(twoTracks), audioClip(50), clipOf({2160, 3840})};
    EXPECT_EQ(capabilities(clips), Result<ExportCapabilities>({Framing::ultraHDSize, 30}));
    EXPECT_EQ(platform_.calls(), (Lines{"openAsset 1.mov", "loadTracks 1.mov video", "loadNaturalSize 1.mov video",
                                        "loadOrientation 1.mov video", "loadNominalFrameRate 1.mov video",
                                        "openAsset 2.mov", "loadTracks 2.mov video", "loadNaturalSize 2.mov video",
                                        "loadOrientation 2.mov video", "loadNominalFrameRate 2.mov video"}));
}

TEST_F(CapabilitiesTest, TrimVolumePositionAndValidityPlayNoPart) {
    Clip clip = clipOf({2160, 3840});
    clip.start = 9;
    clip.end = 900;
    clip.volume = 7;
    clip.horizontal = -1;
    clip.timelineStart = -3;
    EXPECT_EQ(capabilities({clip}), Result<ExportCapabilities>({Framing::ultraHDSize, 30}));
}

TEST_F(CapabilitiesTest, AClipThatSaysItIsNoSoundIsAVideoClip) {
    Clip clip = clipOf({2160, 3840});
    clip.audioOnly = false;
    EXPECT_EQ(capabilities({clip}), Result<ExportCapabilities>({Framing::ultraHDSize, 30}));
}

TEST_F(CapabilitiesTest, AVideoClipWithoutAPictureFailsByItsBaseName) {
    EXPECT_EQ(errorOf(capabilities({clipOf(FakeFile::audio(10))})),
              Error("“1” does not contain a supported video track."));
}

TEST_F(CapabilitiesTest, FailuresOfThePlatformPassUpUnchanged) {
    const Clip clip = clipOf({1080, 1920});
    const Error error("The disk went away.", "POSIX", 5);
    for (const char* call : {"openAsset", "loadTracks", "loadNaturalSize", "loadOrientation", "loadNominalFrameRate"}) {
        SCOPED_TRACE(call);
        platform_.clearFailures();
        platform_.failOn(call, error);
        EXPECT_EQ(errorOf(capabilities({clip})), error);
    }
}

TEST_F(CapabilitiesTest, AStopEndsItBeforeTheNextVideoClip) {
    const std::vector<Clip> clips{clipOf({1080, 1920}), audioClip(50), clipOf({1080, 1920})};
    std::stop_source stop;
    platform_.setObserver([&](const std::string& line) {
        if (line == "loadNominalFrameRate 1.mov video") stop.request_stop();
    });
    EXPECT_EQ(errorOf(MediaEngine::exportCapabilities(platform_, clips, stop.get_token())), Error::cancelled());
    EXPECT_EQ(platform_.calls("openAsset"), Lines{"openAsset 1.mov"});
}

}  // namespace
}  // namespace kelvane
