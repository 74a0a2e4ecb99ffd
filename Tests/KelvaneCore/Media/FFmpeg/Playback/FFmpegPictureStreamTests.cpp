#include <atomic>
#include <filesystem>
#include <latch>
#include <random>
#include <thread>

#include "KelvaneCore/Media/FFmpeg/PacketWatch.h"
#include "Media/MediaError.h"
#include "PlaybackFixture.h"

namespace kelvane::testing {
namespace {

class PictureStreams : public Playback {
protected:
    /// Two files, four shots and a black end: [0, 1) a, [1, 2) b, [2, 3) a from 3 s on, [3, 4) a from its beginning.
    EditedMediaPtr cuts() {
        const FileURL a = movie("a.mp4");
        const FileURL b = movie("b.mkv", "keyint=15:open-gop=1:bframes=3:b-adapt=0");
        Clip sound = clip(makeSampleSound(folder_.path(), "s.wav", 5), 0, 5);
        sound.timelineStart = 0;
        return edit({clip(a, 0, 1), clip(b, 1.5, 2.5), clip(a, 3, 4), clip(a, 0, 1), sound});
    }
};

TEST_F(PictureStreams, ShowWhatAnExportDrawsAtTheSameSize) {
    const EditedMediaPtr media = cuts();
    const auto stream = pictures(media);
    std::mt19937 random(3);
    for (int n = 0; n < 150; n += 7) EXPECT_TRUE(pixelsOf(*show(*stream, n)) == expected(media, {n, 30})) << n;
    for (int i = 0; i < 30; ++i) {
        const auto n = static_cast<std::int64_t>(random() % 150);
        EXPECT_TRUE(pixelsOf(*show(*stream, n)) == expected(media, {n, 30})) << n;
    }
    for (int n = 119; n > 50; n -= 2) EXPECT_TRUE(pixelsOf(*show(*stream, n)) == expected(media, {n, 30})) << n;
}

TEST_F(PictureStreams, GiveTheSamePointerWhileThePictureStays) {
    const EditedMediaPtr media = cuts();
    const auto stream = pictures(media);
    const auto first = stream->picture({200, 600}, 1, {});
    const auto again = stream->picture({219, 600}, 1, {});
    ASSERT_TRUE(first && again);
    EXPECT_EQ(first->picture, again->picture);
    EXPECT_EQ(again->time, (MediaTime{219, 600}));
    EXPECT_NE(show(*stream, 11), first->picture);
    EXPECT_EQ(show(*stream, 10), first->picture);
    EXPECT_EQ(show(*stream, 130), show(*stream, 140)) << "black";
}

TEST_F(PictureStreams, PicturesLiveAsLongAsTheirHolder) {
    const EditedMediaPtr media = cuts();
    VideoPicturePtr kept;
    {
        const auto stream = pictures(media);
        kept = show(*stream, 40);
        stream->setCanvas({30, 40});
        for (int n = 0; n < 60; ++n) show(*stream, n);
    }
    EXPECT_TRUE(pixelsOf(*kept) == expected(media, {40, 30}));
    EXPECT_EQ(kept->width, 90);
    EXPECT_EQ(kept->height, 160);
    for (const VideoPicture::Plane& plane : kept->planes) EXPECT_GE(plane.stride, plane.width);
}

TEST_F(PictureStreams, DrawOnTheCanvasOfTheMomentAndForgetThoseOfTheOldOne) {
    const EditedMediaPtr media = cuts();
    const auto stream = pictures(media);
    show(*stream, 5);
    EXPECT_GT(platform_.pictures().bytes(), 0);
    stream->setCanvas({61, 107});
    EXPECT_EQ(platform_.pictures().bytes(), 0);
    for (const int n : {5, 45, 140}) EXPECT_TRUE(pixelsOf(*show(*stream, n)) == expected(media, {n, 30}, {61, 107}));
}

TEST_F(PictureStreams, OfAnEditGoOnWithTheReadersOfTheOneBefore) {
    const FileURL a = movie("a.mp4");
    const FileURL b = movie("b.mp4");
    const auto first = edit({clip(a, 0, 1), clip(a, 3, 4), clip(b, 0, 1)});
    auto stream = pictures(first);
    for (int n = 0; n < 90; ++n) {
        stream->prepareCut({n, 30}, {1, 2}, {});
        show(*stream, n);
    }
    const std::int64_t readers = opened();
    const int probes = platform_.probeCount();
    EXPECT_EQ(readers, 3) << "two of a, where a cut jumps, and one of b";
    const auto second = edit({clip(a, 0.5, 1.2), clip(a, 2, 3), clip(b, 0.3, 1)});
    // The old one may still be there.
    const auto next = pictures(second);
    stream.reset();
    for (int n = 0; n < 70; ++n) {
        next->prepareCut({n, 30}, {1, 2}, {});
        show(*next, n);
    }
    EXPECT_TRUE(pixelsOf(*show(*next, 50)) == expected(second, {50, 30}));
    EXPECT_EQ(opened(), readers);
    EXPECT_EQ(platform_.probeCount(), probes);
}

TEST_F(PictureStreams, DecodeEachPacketOnceInOrder) {
    const auto stream = pictures(edit({clip(movie("a.mp4"), 0, 4)}));
    for (int n = 0; n < 120; ++n) show(*stream, n);
    EXPECT_EQ(packets(), 120);
}

TEST_F(PictureStreams, FindAPreparedCutDecoded) {
    const auto stream =
        pictures(edit({clip(movie("a.mp4"), 0, 1), clip(movie("b.mp4", "keyint=120:bframes=0"), 2.5, 3.5)}));
    for (int n = 0; n < 20; ++n) show(*stream, n);
    EXPECT_EQ(opened(), 1);
    stream->prepareCut({20, 30}, {1, 2}, {});
    EXPECT_EQ(opened(), 2);
    for (int n = 20; n < 30; ++n) show(*stream, n);
    const std::int64_t before = packets();
    show(*stream, 30);
    EXPECT_EQ(packets(), before);
    EXPECT_EQ(opened(), 2);
}

TEST_F(PictureStreams, PrepareACutWithinAFileWithoutLeavingWhatShows) {
    const FileURL a = movie("a.mp4", "keyint=120:bframes=0");
    const auto stream = pictures(edit({clip(a, 2, 3), clip(a, 1, 2)}));
    for (int n = 0; n < 20; ++n) show(*stream, n);
    stream->prepareCut({20, 30}, {1, 2}, {});
    EXPECT_EQ(opened(), 2);
    const std::int64_t before = packets();
    for (int n = 20; n < 30; ++n) show(*stream, n);
    EXPECT_LE(packets() - before, 10);
    const std::int64_t atCut = packets();
    show(*stream, 30);
    EXPECT_EQ(packets(), atCut);
    EXPECT_EQ(opened(), 2);
}

TEST_F(PictureStreams, PrepareACutAfterThePictureThatIsWantedNow) {
    const auto stream = pictures(edit(
        {clip(movie("a.mp4", "keyint=120:bframes=0"), 0, 3), clip(movie("b.mp4", "keyint=120:bframes=0"), 3.5, 4)}));
    show(*stream, 0);
    std::latch isAmid(1);
    std::latch isPreparing(1);
    std::atomic<int> shown = 0;
    std::atomic<int> prepared = 0;
    /// As it was when the last packet was read of what shows.
    int preparedMeanwhile = 0;
    std::thread::id showing;
    {
        const PacketWatch watch([&](int) {
            if (std::this_thread::get_id() != showing) {
                if (++prepared == 1) isPreparing.count_down();
                return;
            }
            preparedMeanwhile = prepared;
            if (++shown == 3) {
                isAmid.count_down();
                isPreparing.wait();
            }
            // Time enough for whoever doesn't hold back.
            for (int i = 0; shown > 3 && i < 20; ++i) std::this_thread::yield();
        });
        const std::jthread preparer([&] {
            isAmid.wait();
            stream->prepareCut({89, 30}, {1, 2}, {});
        });
        showing = std::this_thread::get_id();
        show(*stream, 80);
    }
    EXPECT_GT(shown, 70);
    EXPECT_GT(prepared, 100);
    EXPECT_LT(preparedMeanwhile, 20) << "what it opens with, of more than a hundred";
    const std::int64_t before = packets();
    show(*stream, 90);
    EXPECT_EQ(packets(), before) << "and it was prepared in the end";
}

TEST_F(PictureStreams, PrepareNothingWhereNothingIsCut) {
    const FileURL a = movie("a.mp4");
    const auto stream = pictures(edit({clip(a, 0, 1), clip(a, 1, 2), clip(movie("b.mp4"), 0, 1)}));
    show(*stream, 0);
    stream->prepareCut({0, 30}, {3, 2}, {});
    EXPECT_EQ(opened(), 1) << "the same shot goes on, and b is too far";
    stream->prepareCut({30, 30}, {1, 1}, {});
    EXPECT_EQ(opened(), 2);
    stream->prepareCut({60, 30}, {10, 1}, {});
    EXPECT_EQ(opened(), 2) << "no cut behind the last one";
}

TEST_F(PictureStreams, TakeAReaderOverThatIsBeingPrepared) {
    const auto media = edit({clip(movie("a.mp4"), 0, 1), clip(movie("b.mp4", "keyint=120:bframes=0"), 3, 4)});
    const auto stream = pictures(media);
    show(*stream, 29);
    {
        const std::jthread other([&] { stream->prepareCut({29, 30}, {1, 2}, {}); });
        EXPECT_TRUE(pixelsOf(*show(*stream, 30)) == expected(media, {30, 30}));
    }
    EXPECT_LE(opened(), 3);
}

TEST_F(PictureStreams, EndAnOvertakenCallWithAnEarlierPictureAndTheNextOneExactly) {
    const auto media = edit({clip(movie("a.mp4", "keyint=120:bframes=0"), 0, 4)});
    const auto stream = pictures(media);
    stream->overtake(1);
    show(*stream, 10);
    stream->overtake(3);
    const std::int64_t before = packets();
    const auto overtaken = stream->picture({80, 30}, 2, {});
    ASSERT_TRUE(overtaken);
    EXPECT_FALSE(overtaken->isExact);
    EXPECT_EQ(packets(), before);
    ASSERT_TRUE(overtaken->picture);
    EXPECT_LT(overtaken->time, (MediaTime{80, 30}));
    EXPECT_GE(overtaken->time, (MediaTime{10, 30}));
    EXPECT_TRUE(pixelsOf(*overtaken->picture) == expected(media, overtaken->time));
    const auto exact = stream->picture({80, 30}, 3, {});
    ASSERT_TRUE(exact && exact->isExact);
    EXPECT_TRUE(pixelsOf(*exact->picture) == expected(media, {80, 30}));
    const auto gone = stream->picture({60, 30}, 2, {});
    ASSERT_TRUE(gone);
    EXPECT_FALSE(gone->isExact);
    EXPECT_EQ(gone->picture, nullptr) << "the decoder stands behind it";
}

TEST_F(PictureStreams, StayExactHoweverTheyAreOvertaken) {
    const EditedMediaPtr media = cuts();
    const auto stream = pictures(media);
    std::atomic<std::uint64_t> number = 0;
    std::jthread pointer([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            stream->overtake(++number);
            std::this_thread::yield();
        }
    });
    std::mt19937 random(9);
    std::int64_t at = 60;
    for (int i = 0; i < 200; ++i) {
        at = std::clamp<std::int64_t>(at + static_cast<std::int64_t>(random() % 31) - 15, 0, 149);
        const auto shown = stream->picture({at, 30}, random() % 3 == 0 ? UINT64_MAX : number.load(), {});
        ASSERT_TRUE(shown);
        ASSERT_LE(shown->time, (MediaTime{at, 30}));
        if (shown->isExact) ASSERT_EQ(shown->time, (MediaTime{at, 30}));
        if (shown->picture && i % 5 == 0) ASSERT_TRUE(pixelsOf(*shown->picture) == expected(media, shown->time)) << i;
    }
}

TEST_F(PictureStreams, StepBackWithoutDecodingTheGroupAgain) {
    const auto media = edit({clip(movie("a.mp4", "keyint=60:min-keyint=60:bframes=3:b-adapt=0"), 0, 4)});
    const auto stream = pictures(media);
    // A leap, so that nothing was played before.
    show(*stream, 118);
    show(*stream, 117);
    const std::int64_t before = packets();
    for (int n = 116; n > 61; --n) EXPECT_TRUE(pixelsOf(*show(*stream, n)) == expected(media, {n, 30})) << n;
    EXPECT_EQ(packets(), before);
}

TEST_F(PictureStreams, StepBackThroughWhatWasPlayedWithoutDecoding) {
    const auto stream = pictures(edit({clip(movie("a.mp4"), 0, 4)}));
    for (int n = 0; n < 100; ++n) show(*stream, n);
    const std::int64_t before = packets();
    for (int n = 99; n >= 0; --n) show(*stream, n);
    EXPECT_EQ(packets(), before);
}

TEST_F(PictureStreams, ShowNothingOfASourceThatWasReplacedOrHasGone) {
    const FileURL a = movie("Beach.mp4");
    const auto media = edit({clip(a, 0, 4)});
    const auto stream = pictures(media);
    const auto failureAt = [&](int n) {
        const auto shown = stream->picture({n, 30}, 1, {});
        return shown ? Error("shown") : shown.error();
    };
    show(*stream, 10);
    EXPECT_EQ(platform_.readers().count(), 1U);
    std::filesystem::rename(a.path(), a.path() + ".away");
    EXPECT_EQ(failureAt(10), MediaError::invalidClip("Beach")) << "kept";
    EXPECT_EQ(failureAt(50), MediaError::invalidClip("Beach"));
    EXPECT_EQ(platform_.readers().count(), 0U);
    movie("Beach.mp4", "keyint=5");
    EXPECT_EQ(failureAt(50), MediaError::invalidClip("Beach"));
    stream->prepareCut({-1, 30}, {1, 1}, {});
    EXPECT_EQ(platform_.readers().count(), 0U);
}

TEST_F(PictureStreams, TellOfASourceWithoutAPictureThatDecodes) {
    const FileURL a = movie("a.mp4");
    wipeFrames(a, 0, 119);
    FFmpegPlatform other;
    auto imported = MediaEngine::importClip(other, a, {});
    ASSERT_TRUE(imported);
    const auto broken = MediaEngine::build(other, std::vector<Clip>{imported->clip}, {1080, 1920}, {1, 30}, {});
    ASSERT_TRUE(broken);
    const auto stream = other.makePictureStream(*broken, canvas);
    for (int i = 0; i < 2; ++i) {
        const auto shown = stream->picture({1, 1}, 1, {});
        ASSERT_FALSE(shown);
        EXPECT_EQ(shown.error().message, "“a.mp4” has no picture that can be decoded.");
    }
}

TEST_F(PictureStreams, GoOverABrokenStretchAsAnExportDoes) {
    const FileURL a = movie("a.mp4", "keyint=5:bframes=0");
    wipeFrames(a, 43, 62);
    const auto media = edit({clip(a, 0, 4)});
    const auto stream = pictures(media);
    for (int n = 35; n < 75; ++n) EXPECT_TRUE(pixelsOf(*show(*stream, n)) == expected(media, {n, 30})) << n;
    EXPECT_FALSE(pixelsOf(*show(*stream, 70)) == pixelsOf(*show(*stream, 42))) << "it goes on behind it";
    for (const int n : {50, 44, 61, 43, 66, 20})
        EXPECT_TRUE(pixelsOf(*show(*stream, n)) == expected(media, {n, 30})) << n;
    EXPECT_EQ(platform_.readers().count(), 1U);
}

TEST_F(PictureStreams, EndAsCancelledOnAStopAndGoOnAfterwards) {
    const auto media = edit({clip(movie("a.mp4"), 0, 4)});
    const auto stream = pictures(media);
    std::stop_source stopped;
    stopped.request_stop();
    const auto refused = stream->picture({30, 30}, 1, stopped.get_token());
    ASSERT_FALSE(refused);
    EXPECT_TRUE(refused.error().isCancelled());
    stream->prepareCut({-1, 30}, {1, 1}, stopped.get_token());
    EXPECT_EQ(opened(), 0);
    EXPECT_TRUE(pixelsOf(*show(*stream, 30)) == expected(media, {30, 30}));
}

TEST_F(PictureStreams, RefuseACanvasThatNoPictureFits) {
    const auto stream = pictures(edit({clip(movie("a.mp4"), 0, 4)}));
    stream->setCanvas({0, 0});
    for (const int second : {1, 100}) {
        const auto shown = stream->picture({second, 1}, 1, {});
        ASSERT_FALSE(shown);
        EXPECT_EQ(shown.error().message, "A picture of this size can't be made.");
    }
    stream->setCanvas(canvas);
    show(*stream, 3);
}

}  // namespace
}  // namespace kelvane::testing
