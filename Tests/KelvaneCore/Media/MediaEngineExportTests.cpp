#include <gtest/gtest.h>

#include <thread>

#include "Media/MediaEngine.h"
#include "Media/MediaError.h"
#include "MediaPrinting.h"
#include "Support/ClipBuilder.h"
#include "Support/TempFolder.h"
#include "Timeline/Framing.h"

namespace kelvane {
namespace {

using testing::audioClip;
using testing::errorOf;
using testing::FakeExportRecord;
using testing::FakeFile;
using testing::FakeMediaPlatform;
using testing::TempFolder;
using testing::videoClip;
using Lines = std::vector<std::string>;
using Estimate = Result<std::optional<std::int64_t>>;

class ExportTest : public ::testing::Test {
protected:
    ExportTest() {
        platform_.addFile(FileURL::fromPath("/media/video.mov"), FakeFile::video(10));
        platform_.addFile(FileURL::fromPath("/media/sound.wav"), FakeFile::audio(10));
    }
    EditedMediaPtr mediaOf(const std::vector<Clip>& clips) {
        return MediaEngine::build(platform_, clips, Framing::size, {1, 30}, {}).value();
    }
    Estimate estimate(const std::vector<Clip>& clips, ExportContainer container = ExportContainer::mp4) {
        return MediaEngine::estimatedExportBytes(platform_, clips, Framing::hdSize, 29.97, container, {});
    }

    FakeMediaPlatform platform_;
};

TEST_F(ExportTest, ASessionIsSetUpWithPictureAndSoundAndNoOutput) {
    const EditedMediaPtr media = mediaOf({videoClip(1), audioClip(2)});
    const auto session = MediaEngine::exporter(platform_, media, ExportContainer::mp4);
    ASSERT_TRUE(session);
    EXPECT_EQ((*session)->videoComposition, std::optional(media->video));
    EXPECT_EQ((*session)->audioMix, std::optional(media->audio));
    EXPECT_TRUE((*session)->indexAtHead);
    EXPECT_EQ((*session)->outputFileType, std::nullopt);
    EXPECT_EQ((*session)->timeRange, std::nullopt);
    EXPECT_EQ(platform_.exportRecords().front().media, media);
    EXPECT_EQ(platform_.count("makeExportSession"), 1U);
}

TEST_F(ExportTest, SettingsAreLeftOutWhereTheTimelineHasNothingForThem) {
    struct Row {
        const char* what;
        std::vector<Clip> clips;
        bool picture;
        bool sound;
    };
    const Row rows[] = {
        {"sound alone", {audioClip(1)}, false, true},
        {"a muted picture", {videoClip(1).volume(0)}, true, false},
        {"nothing", {}, false, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        const auto session = MediaEngine::exporter(platform_, mediaOf(row.clips), ExportContainer::mov);
        ASSERT_TRUE(session);
        EXPECT_EQ((*session)->videoComposition.has_value(), row.picture);
        EXPECT_EQ((*session)->audioMix.has_value(), row.sound);
        EXPECT_TRUE((*session)->indexAtHead);
    }
}

TEST_F(ExportTest, APlatformWithoutEncoderOrFormatIsAnsweredInWords) {
    const EditedMediaPtr media = mediaOf({videoClip(1)});
    platform_.exports.supportedFileTypes = {ExportContainer::mov};
    EXPECT_EQ(errorOf(MediaEngine::exporter(platform_, media, ExportContainer::mp4)), MediaError::exportUnavailable());
    EXPECT_TRUE(MediaEngine::exporter(platform_, media, ExportContainer::mov));
    platform_.exports.supportedFileTypes = {};
    EXPECT_EQ(errorOf(MediaEngine::exporter(platform_, media, ExportContainer::mov)), MediaError::exportUnavailable());
    platform_.exports.available = false;
    EXPECT_EQ(errorOf(MediaEngine::exporter(platform_, media, ExportContainer::mov)), MediaError::exportUnavailable());
}

TEST_F(ExportTest, AnEstimateBuildsTheTimelineAndAsksForAllOfIt) {
    platform_.exports.estimate = 123456;
    EXPECT_EQ(estimate({videoClip(1).stretch(1, 3), audioClip(2).at(1).stretch(0, 4)}), Estimate(123456));
    const FakeExportRecord record = platform_.exportRecords().front();
    EXPECT_EQ(record.timeRange, (MediaTimeRange{{0, 600}, {3000, 600}}));
    EXPECT_EQ(record.media->video.renderSize, Framing::hdSize);
    EXPECT_EQ(record.media->video.frameDuration.value, 1001);
    EXPECT_EQ(record.media->video.frameDuration.timescale, 30000);
    EXPECT_EQ(record.outputFileType, ExportContainer::mp4);
    EXPECT_EQ(record.file, std::nullopt);
}

TEST_F(ExportTest, AForecastOfNothingIsNoForecast) {
    struct Row {
        std::int64_t forecast;
        std::optional<std::int64_t> expected;
    };
    for (const Row& row : {Row{-1, std::nullopt}, {0, std::nullopt}, {1, 1}, {5'000'000'000, 5'000'000'000}}) {
        platform_.exports.estimate = row.forecast;
        EXPECT_EQ(estimate({videoClip(1)}, ExportContainer::mov), Estimate(row.expected)) << row.forecast;
    }
}

TEST_F(ExportTest, AnEstimateFailsAsItsStepsDo) {
    EXPECT_EQ(errorOf(estimate({videoClip(1, "/media/none.mov")})), Error("“none.mov” could not be opened."));
    EXPECT_EQ(platform_.count("makeExportSession"), 0U);

    platform_.exports.supportedFileTypes = {ExportContainer::mov};
    EXPECT_EQ(errorOf(estimate({videoClip(1)})), MediaError::exportUnavailable());
    EXPECT_EQ(platform_.count("estimateOutputFileLength"), 0U);

    platform_.exports.supportedFileTypes = {ExportContainer::mp4};
    platform_.exports.estimate = fail("The encoder gave up.");
    EXPECT_EQ(errorOf(estimate({videoClip(1)})), Error("The encoder gave up."));
}

TEST_F(ExportTest, AStopEndsAnEstimateBehindTheBuildAndBehindTheForecast) {
    struct Row {
        const char* stopAt;
        const char* notReached;
    };
    for (const Row& row : {Row{"loadOrientation", "makeExportSession"}, {"estimateOutputFileLength", "nothing"}}) {
        SCOPED_TRACE(row.stopAt);
        std::stop_source stop;
        platform_.clearCalls();
        platform_.setObserver([&](const std::string& line) {
            if (line.starts_with(row.stopAt)) stop.request_stop();
        });
        EXPECT_EQ(errorOf(MediaEngine::estimatedExportBytes(platform_, std::vector<Clip>{videoClip(1)}, Framing::size,
                                                            30, ExportContainer::mp4, stop.get_token())),
                  Error::cancelled());
        EXPECT_EQ(platform_.count(row.stopAt), 1U);
        EXPECT_EQ(platform_.count(row.notReached), 0U);
    }
}

TEST(ExportFailure, IsDescribedByAllThatTheErrorSays) {
    struct Row {
        const char* message;
        const char* reason;
        const char* suggestion;
        const char* expected;
    };
    const Row rows[] = {
        {"The disk is full.", "", "", "Video export failed.\n\nThe disk is full."},
        {"The disk is full.", "No room.", "", "Video export failed.\n\nThe disk is full.\n\nNo room."},
        {"The disk is full.", "", "Make room.", "Video export failed.\n\nThe disk is full.\n\nMake room."},
        {"The disk is full.", "No room.", "Make room.",
         "Video export failed.\n\nThe disk is full.\n\nNo room.\n\nMake room."},
    };
    for (const Row& row : rows) {
        Error error(row.message);
        error.failureReason = row.reason;
        error.recoverySuggestion = row.suggestion;
        EXPECT_EQ(MediaEngine::exportFailureDescription(error), row.expected);
    }
}

// The fake's own sessions: what others' tests rely on.

class FakeSessionTest : public ExportTest {
protected:
    std::unique_ptr<ExportSession> session() {
        return MediaEngine::exporter(platform_, mediaOf({videoClip(1)}), ExportContainer::mp4).value();
    }

    TempFolder folder_;
};

TEST_F(FakeSessionTest, ARunWritesItsFileAndIsRecorded) {
    platform_.exports.contents = "frames";
    const auto run = session();
    EXPECT_TRUE(run->exportTo(folder_.url("a.mp4"), ExportContainer::mp4, {}));
    EXPECT_EQ(folder_.read("a.mp4"), "frames");
    EXPECT_EQ(run->progress(), 1);
    const FakeExportRecord record = platform_.exportRecords().front();
    EXPECT_TRUE(record.finished);
    EXPECT_FALSE(record.cancelled);
    EXPECT_EQ(record.file, folder_.url("a.mp4"));
    EXPECT_EQ(record.container, ExportContainer::mp4);
    EXPECT_TRUE(record.indexAtHead);
}

TEST_F(FakeSessionTest, ARunNeverWritesOverAFile) {
    folder_.write("a.mp4", "old");
    const auto run = session();
    EXPECT_FALSE(run->exportTo(folder_.url("a.mp4"), ExportContainer::mp4, {}));
    EXPECT_EQ(folder_.read("a.mp4"), "old");
}

TEST_F(FakeSessionTest, AHeldRunShowsItsProgressAndEndsWhenReleased) {
    platform_.exportGate.close();
    platform_.setProgress(0.25F);
    const auto run = session();
    Result<void> result;
    std::jthread worker([&] { result = run->exportTo(folder_.url("a.mp4"), ExportContainer::mp4, {}); });
    ASSERT_TRUE(platform_.exportGate.waitForArrivals());
    EXPECT_EQ(run->progress(), 0.25F);
    EXPECT_TRUE(folder_.exists("a.mp4"));
    platform_.exportGate.open();
    worker.join();
    EXPECT_TRUE(result);
}

TEST_F(FakeSessionTest, AHeldRunEndsAsCancelledByEitherWay) {
    for (const bool byStop : {true, false}) {
        platform_.exportGate.close();
        const auto run = session();
        std::stop_source stop;
        Result<void> result;
        const FileURL file = folder_.url(byStop ? "a.mp4" : "b.mp4");
        std::jthread worker([&] { result = run->exportTo(file, ExportContainer::mp4, stop.get_token()); });
        ASSERT_TRUE(platform_.exportGate.waitForArrivals());
        if (byStop)
            stop.request_stop();
        else
            run->cancelExport();
        worker.join();
        EXPECT_EQ(errorOf(result), Error::cancelled());
        EXPECT_TRUE(platform_.exportRecords().back().cancelled);
    }
}

TEST_F(FakeSessionTest, ACancelledSessionEndsAtOnceAndWritesNothing) {
    const auto run = session();
    run->cancelExport();
    EXPECT_EQ(errorOf(run->exportTo(folder_.url("a.mp4"), ExportContainer::mp4, {})), Error::cancelled());
    EXPECT_EQ(folder_.entries(), Lines{});
}

TEST_F(FakeSessionTest, AnOpenHeldAtTheGateGoesOnWhenReleasedOrStopped) {
    const FileURL url = FileURL::fromPath("/media/video.mov");
    for (const bool stopped : {false, true}) {
        platform_.openGate.close();
        std::stop_source stop;
        Result<MediaAssetPtr> asset;
        std::jthread worker([&] { asset = platform_.openAsset(url, stop.get_token()); });
        ASSERT_TRUE(platform_.openGate.waitForArrivals());
        EXPECT_EQ(platform_.openGate.waiting(), 1);
        if (stopped)
            stop.request_stop();
        else
            platform_.openGate.open();
        worker.join();
        EXPECT_EQ(asset.has_value(), !stopped);
        EXPECT_EQ(platform_.openGate.waiting(), 0);
    }
}

TEST_F(FakeSessionTest, ASetFailureCanLetCallsPassAndEndAfterSome) {
    const FileURL url = FileURL::fromPath("/media/video.mov");
    platform_.failOn("openAsset", Error("Once."), 1, 1);
    EXPECT_TRUE(platform_.openAsset(url, {}));
    EXPECT_EQ(errorOf(platform_.openAsset(url, {})), Error("Once."));
    EXPECT_TRUE(platform_.openAsset(url, {}));
}

}  // namespace
}  // namespace kelvane
