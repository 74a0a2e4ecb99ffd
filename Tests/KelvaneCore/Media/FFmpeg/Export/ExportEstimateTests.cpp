#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>

#include "KelvaneCore/Media/FFmpeg/PacketWatch.h"
#include "KelvaneCore/Media/FFmpeg/Sound/SoundTestFiles.h"
#include "Media/FFmpeg/Export/ExportEstimate.h"
#include "Media/FFmpeg/Export/ExportPlan.h"
#include "Media/FFmpeg/Export/ExportRun.h"
#include "Media/FFmpeg/Export/FFmpegExportSession.h"
#include "Support/TempFolder.h"

namespace kelvane {
namespace {

using namespace testing;

/// Pictures of three kinds: a drifting pattern, coarse noise that stands still, and noise that changes with every
/// frame.
int drifting(int frame, int x, int y) { return 30 + ((x + frame) * 3 + y * 2) % 180; }
int still(int, int x, int y) { return 16 + ((x / 4) * 7919 + (y / 4) * 104729) % 200; }
int restless(int frame, int x, int y) { return 100 + ((x / 8) * 31 + (y / 8) * 17 + frame * 13) % 50; }

class ExportEstimateTest : public ::testing::Test {
protected:
    std::string movie(const std::string& name, std::function<int(int, int, int)> luma) {
        MovieFile file;
        file.frames = 300;
        file.luma = std::move(luma);
        EXPECT_TRUE(writeMovie(folder_.path(name), file));
        return folder_.path(name);
    }

    static void append(EditedMedia& media, const std::string& path, double from, double length) {
        auto& composition = media.composition;
        if (composition.tracks().empty()) composition.addTrack(MediaType::video);
        const auto id = composition.tracks().front().id;
        const MediaTime at = composition.tracks().front().end();
        const MediaTimeRange range{MediaTime::fromSeconds(from), MediaTime::fromSeconds(length)};
        EXPECT_TRUE(composition.insert(id, trackOf(path, MediaType::video), range, at));
        VideoInstruction instruction{{at, range.duration}, {}};
        AffineTransform transform;
        transform.a = transform.d = 2.5;
        instruction.layers.push_back({id, at, transform});
        media.video.instructions.push_back(instruction);
        media.video.renderSize = {360, 640};
        media.video.frameDuration = {20, 600};
    }

    /// The forecast, and the length of the movie that is then made.
    std::pair<double, double> both(const EditedMedia& media, ExportContainer container = ExportContainer::mp4) {
        auto session = makeFFmpegExportSession(std::make_shared<const EditedMedia>(media));
        if (!media.video.instructions.empty()) session->videoComposition = media.video;
        session->audioMix = media.audio;
        session->indexAtHead = true;
        session->outputFileType = container;
        session->timeRange = MediaTimeRange{{}, media.composition.duration()};
        const auto estimate = session->estimateOutputFileLength({});
        EXPECT_TRUE(estimate) << (estimate ? "" : estimate.error().message);
        const std::string name = std::string("out.") + std::string(rawValue(container));
        const auto done = session->exportTo(folder_.url(name), container, {});
        EXPECT_TRUE(done) << (done ? "" : done.error().message);
        struct stat status{};
        stat(folder_.path(name).c_str(), &status);
        return {static_cast<double>(estimate.value_or(0)), static_cast<double>(status.st_size)};
    }

    TempFolder folder_;
};

TEST_F(ExportEstimateTest, ALongTimelineOfUnlikeClipsIsWithinAQuarter) {
    const auto a = movie("a.mp4", drifting);
    const auto b = movie("b.mp4", still);
    const auto c = movie("c.mp4", restless);
    EditedMedia media;
    for (const auto& [path, from, length] : {std::tuple{a, 0.0, 6.0},
                                             {b, 1.0, 5.0},
                                             {c, 2.0, 7.0},
                                             {a, 3.0, 4.0},
                                             {b, 0.0, 3.0},
                                             {c, 0.5, 5.0},
                                             {a, 0.0, 8.0}}) {
        append(media, path, from, length);
    }
    addSound(media, {{0, trackOf(a), 0, 6, 1}, {11, trackOf(c), 2, 7, 1}});
    const auto [estimate, real] = both(media);
    EXPECT_NEAR(estimate / real, 1, 0.25);
}

TEST_F(ExportEstimateTest, AShortTimelineIsKnownToAFewHundredths) {
    EditedMedia media;
    append(media, movie("a.mp4", drifting), 0, 4);
    addSound(media, {{0, trackOf(folder_.path("a.mp4")), 0, 4, 1}});
    const auto [estimate, real] = both(media, ExportContainer::mov);
    EXPECT_NEAR(estimate / real, 1, 0.03);
}

TEST_F(ExportEstimateTest, SoundAloneIsForecastToo) {
    SoundFile file{"long.wav", "wav", "pcm_s16le", 44100, 2, 40};
    file.sound = [](double t, int c) { return t < 20 ? testSound(t, c) : 0.3 * std::sin(t * t * 40); };
    ASSERT_TRUE(writeSound(folder_.path("long.wav"), file));
    EditedMedia media;
    addSound(media, {{0, trackOf(folder_.path("long.wav")), 0, 40, 1}});
    const auto [estimate, real] = both(media);
    EXPECT_NEAR(estimate / real, 1, 0.25);
}

/// A stop that comes when all the work is done, as late as one can be noticed.
TEST_F(ExportEstimateTest, AStoppedRunGivesNoEstimateWhateverItCounted) {
    EditedMedia media;
    append(media, movie("a.mp4", drifting), 0, 1);
    addSound(media, {{0, trackOf(folder_.path("a.mp4")), 0, 1, 1}});
    auto session = makeFFmpegExportSession(std::make_shared<const EditedMedia>(media));
    session->videoComposition = media.video;
    session->audioMix = media.audio;
    const auto plan = ExportPlan::make(media, *session);
    ASSERT_TRUE(plan);
    for (const auto& [picture, sound] : {std::pair{true, true}, {true, false}, {false, true}, {false, false}}) {
        ExportPlan part = *plan;
        part.hasPicture = picture;
        part.hasSound = sound;
        ExportRun going({}, {});
        EXPECT_TRUE(estimateExport(part, ExportContainer::mp4, true, going)) << picture << sound;
        std::stop_source stop;
        stop.request_stop();
        ExportRun stopped(stop.get_token(), {});
        const auto estimate = estimateExport(part, ExportContainer::mp4, true, stopped);
        ASSERT_FALSE(estimate) << picture << sound;
        EXPECT_TRUE(estimate.error().isCancelled());
    }
}

/// The encoder holds all pictures back until the last one came, of which it must look ahead: what it gives out then is
/// no longer wanted.
TEST_F(ExportEstimateTest, AStopWhileTheEncoderEmptiesIsNoEstimate) {
    EditedMedia media;
    append(media, movie("a.mp4", restless), 0, 1);
    int packets = 0;
    for (const bool stopped : {false, true}) {
        auto session = makeFFmpegExportSession(std::make_shared<const EditedMedia>(media));
        session->videoComposition = media.video;
        std::stop_source stop;
        const PacketWatch watch([&](int number) {
            if (stopped && number == packets) stop.request_stop();
        });
        const auto estimate = session->estimateOutputFileLength(stop.get_token());
        packets = watch.count();
        if (stopped)
            EXPECT_EQ(estimate, std::unexpected(Error::cancelled()));
        else
            EXPECT_TRUE(estimate);
    }
}

}  // namespace
}  // namespace kelvane
