#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <functional>
#include <thread>

#include "KelvaneCore/Media/FFmpeg/PacketWatch.h"
#include "KelvaneCore/Media/FFmpeg/Sound/SoundTestFiles.h"
#include "Media/FFmpeg/Export/FFmpegExportSession.h"
#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/FFmpeg/Sound/SoundRenderer.h"
#include "Media/MediaEngine.h"
#include "Media/MediaError.h"
#include "Support/ClipBuilder.h"
#include "Support/Gate.h"
#include "Support/TempFolder.h"

namespace kelvane {
namespace {

using namespace testing;

/// A stretch of a numbered movie on the timeline, seconds.
struct Piece {
    std::string movie;
    double from = 0;
    double length = 0;
    float volume = 1;
};

class ExportSessionTest : public ::testing::Test {
protected:
    std::string movie(const std::string& name, MovieFile file = {}) {
        EXPECT_TRUE(writeMovie(folder_.path(name), file));
        return folder_.path(name);
    }

    /// Pieces back to back with their sound, on a canvas of the movies' own size.
    EditedMedia timeline(const std::vector<Piece>& pieces, MediaTime frame = {20, 600}, Size canvas = {144, 256}) {
        EditedMedia media;
        const auto track = media.composition.addTrack(MediaType::video);
        std::vector<SoundSegment> sound;
        MediaTime cursor;
        for (const auto& piece : pieces) {
            const auto source = trackOf(piece.movie, MediaType::video);
            const MediaTimeRange range{MediaTime::fromSeconds(piece.from), MediaTime::fromSeconds(piece.length)};
            EXPECT_TRUE(media.composition.insert(track, source, range, cursor));
            VideoInstruction instruction{{cursor, range.duration}, {}};
            AffineTransform transform;
            transform.a = canvas.width / 144;
            transform.d = canvas.height / 256;
            instruction.layers.push_back({track, cursor, transform});
            media.video.instructions.push_back(instruction);
            if (piece.volume > 0)
                sound.push_back({cursor.seconds(), trackOf(piece.movie), piece.from, piece.length, piece.volume});
            cursor = cursor + range.duration;
        }
        media.video.renderSize = canvas;
        media.video.frameDuration = frame;
        if (!sound.empty()) addSound(media, sound);
        return media;
    }

    static std::unique_ptr<ExportSession> session(const EditedMedia& media) {
        auto made = makeFFmpegExportSession(std::make_shared<const EditedMedia>(media));
        if (!media.video.instructions.empty()) made->videoComposition = media.video;
        if (!media.audio.tracks.empty()) made->audioMix = media.audio;
        made->indexAtHead = true;
        return made;
    }

    Result<void> exported(const EditedMedia& media, const std::string& name = "out.mp4") {
        const auto container = name.ends_with("mov") ? ExportContainer::mov : ExportContainer::mp4;
        return session(media)->exportTo(folder_.url(name), container, {});
    }

    TakenApart parts(const EditedMedia& media, const std::string& name = "out.mp4") {
        const auto done = exported(media, name);
        EXPECT_TRUE(done) << (done ? "" : done.error().message);
        return done ? takeApart(folder_.path(name)) : TakenApart{};
    }

    TempFolder folder_;
};

/// A movie's pictures tell their numbers, its sound its time.
MovieFile numbered(double shift = 0, int frames = 90) {
    MovieFile file;
    file.frames = frames;
    file.sound = [shift](double t, int c) { return testSound(t + shift, c); };
    return file;
}

/// The boxes of a movie in order.
std::vector<std::string> boxes(const std::string& bytes) {
    std::vector<std::string> names;
    const auto number = [&](std::size_t at, int count) {
        std::uint64_t value = 0;
        for (int i = 0; i < count; ++i)
            value = value << 8 | static_cast<unsigned char>(bytes[at + static_cast<std::size_t>(i)]);
        return value;
    };
    for (std::size_t at = 0; at + 8 <= bytes.size();) {
        names.push_back(bytes.substr(at + 4, 4));
        const auto length = number(at, 4);
        at += length == 1 ? number(at + 8, 8) : std::max<std::uint64_t>(length, 8);
    }
    return names;
}

TEST_F(ExportSessionTest, EveryPictureAndSampleIsWhereTheTimelineSays) {
    const auto a = movie("a.mp4", numbered());
    const auto b = movie("b.mp4", numbered(50));
    auto media = timeline({{a, 0.5, 1}, {b, 1, 0.7}, {a, 0, 0.8}, {a, 0.8, 0.5}});
    SoundFile chirp{"tone.wav", "wav", "pcm_f32le", 48000, 2, 2};
    chirp.sound = [](double t, int c) { return testSound(t + 100, c); };
    ASSERT_TRUE(writeSound(folder_.path("tone.wav"), chirp));
    const auto out = parts(media);
    ASSERT_EQ(out.pictures.size(), 90U);
    for (int n = 0; n < 90; ++n) {
        const int number = n < 30 ? 15 + n : n < 51 ? 30 + n - 30 : n - 51;
        EXPECT_EQ(out.pictures[static_cast<std::size_t>(n)].number, number) << n;
        EXPECT_EQ(av_rescale_q(out.pictures[static_cast<std::size_t>(n)].pts, out.pictureBase, {1, 30}), n);
    }
    EXPECT_EQ(out.soundStart, 0);
    EXPECT_EQ(out.soundDuration, 3 * 48000);
    struct Part {
        std::size_t from;
        double shift;
    };
    for (const auto& [from, shift] : {Part{0, 0.5}, Part{48000, 51 - 1.0}, Part{81600, -1.7}, Part{120000, -1.7}}) {
        const auto expected = [&](std::int64_t i) { return testSound(static_cast<double>(i) / 48000 + shift, 0); };
        EXPECT_EQ(bestShift(out.sound, from + 600, 20000, expected), 0) << from;
        EXPECT_LT(deviation(out.sound, from + 1200, 20000, expected), 0.04) << from;
    }
}

TEST_F(ExportSessionTest, LengthsThatRoundingShortensEndInTheLastPicture) {
    const FileURL file = FileURL::fromPath(movie("a.mp4", numbered(0, 120)));
    std::vector<Clip> clips;
    for (const double length : {0.296, 0.455, 0.394, 0.478, 0.269, 0.409})
        clips.push_back(videoClip(clips.size() + 1, file.path(), 4).stretch(1, 1 + length));
    FFmpegPlatform platform;
    const auto media = MediaEngine::build(platform, clips, {144, 256}, {1, 30}, {});
    ASSERT_TRUE(media) << media.error().message;
    ASSERT_TRUE((*media)->video.instructions.back().layers.empty());
    for (const char* name : {"out.mp4", "out.mov"}) {
        const auto out = parts(**media, name);
        ASSERT_EQ(out.pictures.size(), 70U);
        std::vector<int> last;
        for (std::size_t n = 66; n < 70; ++n) last.push_back(out.pictures[n].number);
        // The sixth clip begins 1,135 units in; the last picture lies on the sliver.
        EXPECT_EQ(last, (std::vector{39, 40, 41, 42})) << name;
    }
}

TEST_F(ExportSessionTest, OverlaysSoundAtTheirPlaceAndTheTailIsBlack) {
    auto media = timeline({{movie("a.mp4", numbered()), 0, 2, 0}});
    SoundFile file{"tone.wav", "wav", "pcm_f32le", 44100, 2, 2};
    ASSERT_TRUE(writeSound(folder_.path("tone.wav"), file));
    addSound(media, {{1.5, trackOf(folder_.path("tone.wav")), 0.25, 1.5, 1}});
    const auto picture = media.composition.tracks().front().id;
    const MediaTimeRange tail{MediaTime::fromSeconds(2), MediaTime::fromSeconds(1)};
    ASSERT_TRUE(media.composition.insertEmpty(picture, tail));
    media.video.instructions.push_back({tail, {}});
    const auto out = parts(media);
    ASSERT_EQ(out.pictures.size(), 90U);
    for (int n = 0; n < 90; ++n) EXPECT_EQ(out.pictures[static_cast<std::size_t>(n)].number, n < 60 ? n : -1) << n;
    const auto expected = [&](std::int64_t i) { return testSound(static_cast<double>(i) / 48000 - 1.25, 0); };
    EXPECT_EQ(bestShift(out.sound, 72600, 60000, expected), 0);
    for (std::size_t i = 0; i < 70000 * 2; ++i) ASSERT_LT(std::fabs(out.sound[i]), 1e-3F) << i / 2;
    EXPECT_EQ(out.soundDuration, 3 * 48000);
}

TEST_F(ExportSessionTest, TheMovieIsHighProfileInRec709WithItsIndexAtTheHead) {
    const auto media = timeline({{movie("a.mp4", numbered()), 0, 1}});
    for (const std::string name : {"out.mp4", "out.mov"}) {
        const auto out = parts(media, name);
        EXPECT_EQ(out.streams, 2);
        EXPECT_EQ(out.profile, FF_PROFILE_H264_HIGH);
        EXPECT_EQ(out.primaries, AVCOL_PRI_BT709);
        EXPECT_EQ(out.transfer, AVCOL_TRC_BT709);
        EXPECT_EQ(out.matrix, AVCOL_SPC_BT709);
        EXPECT_EQ(out.range, AVCOL_RANGE_MPEG);
        EXPECT_EQ(out.width, 144);
        EXPECT_EQ(out.height, 256);
        EXPECT_EQ(out.soundRate, 48000);
        const auto names = boxes(folder_.read(name));
        const auto index = std::ranges::find(names, "moov");
        const auto data = std::ranges::find(names, "mdat");
        ASSERT_NE(index, names.end());
        ASSERT_NE(data, names.end());
        EXPECT_LT(index, data) << name;
        EXPECT_EQ(folder_.read(name).substr(8, 4), name == "out.mov" ? "qt  " : "isom");
    }
}

TEST_F(ExportSessionTest, WithoutTheWishTheIndexStandsAtTheEnd) {
    auto made = session(timeline({{movie("a.mp4", numbered()), 0, 1}}));
    made->indexAtHead = false;
    ASSERT_TRUE(made->exportTo(folder_.url("out.mp4"), ExportContainer::mp4, {}));
    EXPECT_EQ(boxes(folder_.read("out.mp4")).back(), "moov");
    EXPECT_EQ(takeApart(folder_.path("out.mp4")).pictures.size(), 30U);
}

TEST_F(ExportSessionTest, FramesComeAtOneRateAndCoverTheWholeTimeline) {
    const auto source = movie("a.mp4", numbered());
    struct Row {
        MediaTime frame;
        double length;
        std::size_t count;
    };
    for (const auto& [frame, length, count] :
         {Row{{1000, 24000}, 2, 48}, Row{{1, 25}, 2, 50}, Row{{1001, 30000}, 2, 60}, Row{{1001, 24000}, 2, 48},
          Row{{1001, 60000}, 2, 120}, Row{{1, 60}, 2, 120}, Row{{20, 600}, 1 + 1.0 / 600, 31},
          Row{{20, 600}, 1.0 / 30, 1}, Row{{20, 600}, 1.0 / 600, 1}, Row{{1300, 60000}, 1, 47}}) {
        folder_.write("out.mp4");
        ASSERT_EQ(unlink(folder_.path("out.mp4").c_str()), 0);
        const auto out = parts(timeline({{source, 0, length}}, frame));
        ASSERT_EQ(out.pictures.size(), count) << frame.value << "/" << frame.timescale;
        const AVRational step{static_cast<int>(frame.value), frame.timescale};
        for (std::size_t n = 0; n < count; ++n) {
            const auto& picture = out.pictures[n];
            const auto number = static_cast<std::int64_t>(n);
            EXPECT_EQ(av_compare_ts(picture.pts, out.pictureBase, number, step), 0) << n;
            const double time = static_cast<double>(n) * av_q2d(step);
            EXPECT_EQ(picture.number, static_cast<int>(std::floor(time * 30 + 1e-9))) << n;
        }
        EXPECT_EQ(av_compare_ts(out.pictureDuration, out.pictureBase, static_cast<std::int64_t>(count), step), 0);
        EXPECT_EQ(out.soundDuration, std::llround(length * 600) * 80);
    }
}

TEST_F(ExportSessionTest, ATimeRangeExportsItsStretchAlone) {
    auto made = session(timeline({{movie("a.mp4", numbered()), 0, 3}}));
    made->timeRange = MediaTimeRange{MediaTime::fromSeconds(1), MediaTime::fromSeconds(0.5)};
    ASSERT_TRUE(made->exportTo(folder_.url("out.mp4"), ExportContainer::mp4, {}));
    const auto out = takeApart(folder_.path("out.mp4"));
    ASSERT_EQ(out.pictures.size(), 15U);
    EXPECT_EQ(out.pictures.front().number, 30);
    EXPECT_EQ(out.soundDuration, 24000);
    const auto expected = [&](std::int64_t i) { return testSound(static_cast<double>(i) / 48000 + 1, 0); };
    EXPECT_EQ(bestShift(out.sound, 600, 20000, expected), 0);
}

TEST_F(ExportSessionTest, SoundAloneMakesAMovieWithoutPictures) {
    EditedMedia media;
    SoundFile file{"tone.wav", "wav", "pcm_f32le", 44100, 2, 2};
    ASSERT_TRUE(writeSound(folder_.path("tone.wav"), file));
    addSound(media, {{0.5, trackOf(folder_.path("tone.wav")), 0, 1.5, 1}});
    media.video.renderSize = {1080, 1920};
    const auto out = parts(media);
    EXPECT_EQ(out.streams, 1);
    EXPECT_EQ(out.soundDuration, 96000);
    const auto expected = [&](std::int64_t i) { return testSound(static_cast<double>(i) / 48000 - 0.5, 0); };
    EXPECT_EQ(bestShift(out.sound, 24600, 60000, expected), 0);
}

TEST_F(ExportSessionTest, PicturesAloneMakeAMovieWithoutSound) {
    const auto out = parts(timeline({{movie("a.mp4", numbered()), 0, 1, 0}}));
    EXPECT_EQ(out.streams, 1);
    EXPECT_EQ(out.pictures.size(), 30U);
}

TEST_F(ExportSessionTest, NeitherPicturesNorSoundIsNoExport) {
    EditedMedia media;
    EXPECT_EQ(exported(media), std::unexpected(MediaError::exportUnavailable()));
    EXPECT_EQ(session(media)->estimateOutputFileLength({}).error(), MediaError::exportUnavailable());
    EXPECT_FALSE(folder_.exists("out.mp4"));
    auto odd = timeline({{movie("a.mp4", numbered()), 0, 1}});
    odd.video.renderSize = {145, 256};
    EXPECT_EQ(exported(odd), std::unexpected(MediaError::exportUnavailable()));
}

TEST_F(ExportSessionTest, BothContainersAreOffered) {
    const auto types = session({})->supportedFileTypes();
    EXPECT_EQ(types, (std::vector{ExportContainer::mp4, ExportContainer::mov}));
}

TEST_F(ExportSessionTest, LoudMixesStayWithinFullScale) {
    auto media = timeline({{movie("a.mp4", numbered()), 0, 2}});
    SoundFile file{"loud.wav", "wav", "pcm_f32le", 48000, 2, 2};
    file.sound = [](double t, int c) { return 6 * testSound(t, c); };
    ASSERT_TRUE(writeSound(folder_.path("loud.wav"), file));
    addSound(media, {{0, trackOf(folder_.path("loud.wav")), 0, 2, 1}});
    const auto out = parts(media);
    float largest = 0;
    for (const float sample : out.sound) largest = std::max(largest, std::fabs(sample));
    // The encoder may overshoot a little; cut off at full scale the mix would have gone to 4.
    EXPECT_LT(largest, 1.15F);
    EXPECT_GT(largest, 0.8F);
    const auto expected = [&](std::int64_t i) { return testSound(static_cast<double>(i) / 48000, 0); };
    EXPECT_EQ(bestShift(out.sound, 4800, 60000, expected), 0);
}

TEST_F(ExportSessionTest, AFailureToWriteNamesTheFileAndTheReason) {
    const auto media = timeline({{movie("a.mp4", numbered()), 0, 1}});
    folder_.write("there.mp4", "someone's");
    EXPECT_EQ(exported(media, "there.mp4").error().message, "“there.mp4” could not be written: File exists.");
    EXPECT_EQ(folder_.read("there.mp4"), "someone's");
    EXPECT_EQ(exported(media, "none/out.mp4").error().message,
              "“out.mp4” could not be written: No such file or directory.");
}

TEST_F(ExportSessionTest, AFileThatMayNotGrowFailsInWords) {
    MovieFile noisy = numbered();
    noisy.luma = [](int n, int x, int y) { return 16 + (x * 7919 + y * 104729 + n * 1299709 + x * y * 31) % 200; };
    const auto media = timeline({{movie("a.mp4", noisy), 0, 3}});
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{200'000, before.rlim_max};
    auto* const handler = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    const auto result = exported(media);
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().message, "“out.mp4” could not be written: File too large.");
}

TEST_F(ExportSessionTest, AMovieThatIsToHaveAnotherNameIsCalledByThat) {
    const auto media = timeline({{movie("a.mp4", numbered()), 0, 1}});
    auto hidden = session(media);
    hidden->shownName = "Film.mp4";
    const auto result = hidden->exportTo(folder_.url("no such folder/.hidden.mp4"), ExportContainer::mp4, {});
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().message, "“Film.mp4” could not be written: No such file or directory.");
}

TEST_F(ExportSessionTest, AFullDiskFailsInWords) {
    folder_.makeFolder("small");
    if (mount("tmpfs", folder_.path("small").c_str(), "tmpfs", 0, "size=128k") != 0)
        GTEST_SKIP() << "no small file system without the rights to mount one";
    MovieFile noisy = numbered();
    noisy.luma = [](int n, int x, int y) { return 16 + (x * 7919 + y * 104729 + n * 1299709 + x * y * 31) % 200; };
    const auto result = exported(timeline({{movie("a.mp4", noisy), 0, 3}}), "small/movie.mp4");
    umount(folder_.path("small").c_str());
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().message, "“movie.mp4” could not be written: No space left on device.");
}

TEST_F(ExportSessionTest, ASourceThatHasGoneEndsTheRunWithItsBaseName) {
    const auto a = movie("a.mp4", numbered());
    const auto b = movie("Take 2.mp4", numbered());
    auto media = timeline({{a, 0, 1}, {b, 0, 1}});
    ASSERT_EQ(unlink(b.c_str()), 0);
    EXPECT_EQ(exported(media), std::unexpected(MediaError::invalidClip("Take 2")));
    // Without pictures it is the sound that finds out.
    media.video.instructions.clear();
    EXPECT_EQ(exported(media, "sound.mp4"), std::unexpected(MediaError::invalidClip("Take 2")));
    // A replaced one is refused alike.
    folder_.write("Take 2.mp4", "another");
    EXPECT_EQ(exported(media, "again.mp4"), std::unexpected(MediaError::invalidClip("Take 2")));
    EXPECT_EQ(session(media)->estimateOutputFileLength({}).error(), MediaError::invalidClip("Take 2"));
}

TEST_F(ExportSessionTest, ASessionCancelledBeforeItsRunEndsAtOnce) {
    const auto media = timeline({{movie("a.mp4", numbered()), 0, 1}});
    auto made = session(media);
    made->cancelExport();
    EXPECT_EQ(made->exportTo(folder_.url("out.mp4"), ExportContainer::mp4, {}), std::unexpected(Error::cancelled()));
    EXPECT_EQ(made->estimateOutputFileLength({}).error(), Error::cancelled());
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(session(media)->exportTo(folder_.url("out.mp4"), ExportContainer::mp4, stop.get_token()),
              std::unexpected(Error::cancelled()));
    EXPECT_FALSE(folder_.exists("out.mp4"));
}

/// Runs `work` on a thread, calls `end` while the source's packet is held back that is the first one for which `isDue`
/// answers yes, and gives what the work came to.
template <class Work, class Due, class End>
auto interrupted(Work work, Due isDue, End end) {
    Gate gate;
    gate.close();
    std::atomic<bool> isHeld = false;
    const PacketWatch watch([&](int number) {
        if (isDue(number) && !isHeld.exchange(true)) (void)gate.pass({});
    });
    std::optional<decltype(work())> result;
    std::jthread thread([&] { result = work(); });
    EXPECT_TRUE(gate.waitForArrivals());
    end();
    const int before = watch.count();
    gate.open();
    thread.join();
    // One that is under way for the pictures, one for the sound.
    EXPECT_LE(watch.count(), before + 2);
    return *result;
}

TEST_F(ExportSessionTest, ARunIsCancelledInTheMiddleByEitherWay) {
    const auto media =
        timeline({{movie("a.mp4", numbered()), 0, 3}, {folder_.path("a.mp4"), 0, 3}}, {1, 60}, {720, 1280});
    for (const bool byToken : {false, true}) {
        auto made = session(media);
        std::stop_source stop;
        const std::string name = byToken ? "token.mp4" : "call.mp4";
        const auto result =
            interrupted([&] { return made->exportTo(folder_.url(name), ExportContainer::mp4, stop.get_token()); },
                        [&](int) { return made->progress() > 0.1F; },
                        [&] {
                            if (byToken)
                                stop.request_stop();
                            else
                                made->cancelExport();
                        });
        EXPECT_EQ(result, std::unexpected(Error::cancelled()));
        EXPECT_GT(made->progress(), 0.1F);
        EXPECT_LT(made->progress(), 1.0F);
    }
}

/// How many packets `work` reads when nothing stops it.
int packetsOf(const std::function<void()>& work) {
    const PacketWatch watch;
    work();
    return watch.count();
}

TEST_F(ExportSessionTest, AnEstimateIsCancelledInTheMiddle) {
    const auto media = timeline({{movie("a.mp4", numbered()), 0, 3}, {folder_.path("a.mp4"), 0, 3}}, {1, 60});
    const int packets = packetsOf([&] { EXPECT_TRUE(session(media)->estimateOutputFileLength({})); });
    // Amid the sound, which comes first, and amid the pictures.
    for (const int packet : {packets / 10, packets * 9 / 10}) {
        auto made = session(media);
        std::stop_source stop;
        const auto result = interrupted([&] { return made->estimateOutputFileLength(stop.get_token()); },
                                        [&](int number) { return number == packet; }, [&] { stop.request_stop(); });
        EXPECT_EQ(result, std::unexpected(Error::cancelled()));
    }
}

TEST_F(ExportSessionTest, ProgressRisesToOne) {
    const auto media = timeline({{movie("a.mp4", numbered()), 0, 3, 0}}, {1, 60}, {360, 640});
    const int packets = packetsOf([&] { EXPECT_TRUE(exported(media)); });
    auto made = session(media);
    EXPECT_EQ(made->progress(), 0.0F);
    float last = 0;
    const auto look = [&] {
        EXPECT_GE(made->progress(), last);
        last = made->progress();
    };
    float amid = 0;
    const PacketWatch watch([&](int number) {
        look();
        if (number != packets) return;
        // The run goes on to write what the packets so far gave.
        const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (last < 0.4F && std::chrono::steady_clock::now() < end) look();
        amid = last;
    });
    EXPECT_TRUE(made->exportTo(folder_.url("again.mp4"), ExportContainer::mp4, {}));
    EXPECT_GE(amid, 0.4F);
    EXPECT_LT(amid, 1.0F);
    EXPECT_EQ(made->progress(), 1.0F);
}

}  // namespace
}  // namespace kelvane
