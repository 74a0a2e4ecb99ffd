#include <algorithm>

#include "KelvaneCore/Media/FFmpeg/PacketWatch.h"
#include "SourceFixture.h"

namespace kelvane::testing {
namespace {

class FrameReader : public ::testing::Test {
protected:
    void SetUp() override { skipWithoutTool(); }
    FileURL make(const std::string& name, const SampleMovie& movie) {
        return makeSampleMovie(folder_.path(), name, movie);
    }
    TempFolder folder_;
};

TEST_F(FrameReader, ShowsAFrameFromItsExactBeginningOn) {
    SampleMovie movie;
    movie.rateNumerator = 30000;
    movie.rateDenominator = 1001;
    movie.output = {"-video_track_timescale", "30000"};
    const auto reader = openReader(make("a.mp4", movie));
    ASSERT_TRUE(reader);
    EXPECT_EQ(numberAt(*reader, {20 * 1001, 30000}), 20);
    EXPECT_EQ(numberAt(*reader, {20 * 1001 - 1, 30000}), 19);
    // Less than a tick of the file's clock before the beginning: the clock can't tell the two apart.
    EXPECT_EQ(numberAt(*reader, {20LL * 1001 * 60000 - 59999, 1800000000}), 20);
    EXPECT_EQ(numberAt(*reader, {20LL * 1001 * 60000 - 60000, 1800000000}), 19);
    EXPECT_EQ(numberAt(*reader, {20LL * 1001 * 60000, 1800000000}), 20);
}

TEST_F(FrameReader, GivesTheSamePointerWhileTheFrameStays) {
    const auto reader = openReader(make("a.mp4", {}));
    ASSERT_TRUE(reader);
    const auto first = reader->frame({100, 600}, {});
    const auto again = reader->frame({119, 600}, {});
    const auto next = reader->frame({120, 600}, {});
    ASSERT_TRUE(first && again && next);
    EXPECT_EQ(first->get(), again->get());
    EXPECT_NE(first->get(), next->get());
}

TEST_F(FrameReader, ShowsNothingBeforeALateTrack) {
    SampleMovie movie;
    movie.soundSeconds = 3;
    movie.soundDelay = -0.5;
    const auto reader = openReader(make("a.mp4", movie));
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->track().facts().timeRange.start, (MediaTime{1, 2}));
    EXPECT_EQ(numberAt(*reader, {0, 600}), -1);
    EXPECT_EQ(numberAt(*reader, {200, 600}), -1);
    EXPECT_EQ(numberAt(*reader, {270, 600}), -1);
    EXPECT_EQ(numberAt(*reader, {299, 600}), -1);
    EXPECT_EQ(numberAt(*reader, {300, 600}), 0);
    EXPECT_EQ(numberAt(*reader, {320, 600}), 1);
}

TEST_F(FrameReader, BridgesASmallGapBeforeTheFirstFrame) {
    SampleMovie movie;
    movie.soundSeconds = 3;
    movie.soundDelay = -0.08;
    const auto reader = openReader(make("a.mp4", movie));
    ASSERT_TRUE(reader);
    EXPECT_GT(reader->track().facts().timeRange.start, MediaTime{});
    for (const int time : {0, 24, 47, 48}) EXPECT_EQ(numberAt(*reader, {time, 600}), 0) << time;
    EXPECT_EQ(numberAt(*reader, {68, 600}), 1);
}

TEST_F(FrameReader, BeginsAnEditThatLiesBetweenKeyFramesAtItsFrame) {
    SampleMovie movie;
    movie.video = x264("keyint=90:bframes=3");
    movie.frames = 90;
    const FileURL whole = make("whole.mp4", movie);
    const FileURL cut = FileURL::fromPath(folder_.path() + "/cut.mp4");
    runSampleTool({"-ss", "0.5", "-i", whole.path(), "-c", "copy", cut.path()});
    const auto reader = openReader(cut);
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->track().facts().timeRange.start, MediaTime{});
    EXPECT_EQ(numberAt(*reader, {0, 600}), 15);
    EXPECT_EQ(numberAt(*reader, {600, 600}), 45);
    EXPECT_EQ(numberAt(*reader, {20, 600}), 16);
}

TEST_F(FrameReader, JumpsFarInFragmentsWithoutAnIndex) {
    SampleMovie movie;
    movie.width = 64;
    movie.height = 64;
    movie.frames = 1800;
    movie.video = x264("keyint=30:bframes=2");
    movie.output = {"-movflags", "frag_keyframe+delay_moov"};
    const auto reader = openReader(make("a.mp4", movie), {.threads = 1});
    ASSERT_TRUE(reader);
    for (const int n : {1700, 3, 900, 1799, 0, 1250}) EXPECT_EQ(numberAt(*reader, {n, 30}), n);
}

/// One way to ask for every second frame or so, and what that may cost.
struct Pass {
    const char* name;
    const char* parameters;
    int threads;
};

TEST_F(FrameReader, DecodesEachPacketAtMostOnceInAPass) {
    for (const Pass& pass :
         {Pass{"closed groups", "keyint=10:min-keyint=10:scenecut=0:bframes=0", 1},
          Pass{"reordered", "keyint=12:min-keyint=12:scenecut=0:bframes=3:b-adapt=0", 1},
          Pass{"open groups", "keyint=15:min-keyint=15:scenecut=0:open-gop=1:bframes=3:b-adapt=0", 1},
          Pass{"two threads", "keyint=10:min-keyint=10:scenecut=0:bframes=0", 2}}) {
        SampleMovie movie;
        movie.width = 160;
        movie.height = 96;
        movie.rateNumerator = 60;
        movie.frames = 120;
        movie.video = x264(pass.parameters);
        const FileURL file = make("a.mp4", movie);
        for (const bool skip : {false, true}) {
            for (const int step : {1, 2, 3, 5}) {
                const auto reader = openReader(file, {.threads = pass.threads, .skipUnneeded = skip});
                ASSERT_TRUE(reader);
                for (int n = 0; n < 120; n += step) ASSERT_EQ(numberAt(*reader, {n, 60}), n) << pass.name;
                EXPECT_LE(reader->packetsDecoded(), 120) << pass.name << ", every " << step << ", skipping " << skip;
            }
        }
    }
}

TEST_F(FrameReader, DecodesFromTheLastKeyFrameAndPassesOverWhatIsNotReferredTo) {
    SampleMovie movie;
    movie.width = 160;
    movie.height = 96;
    movie.frames = 120;
    movie.video = x264("keyint=20:min-keyint=20:scenecut=0:bframes=3:b-adapt=0");
    const FileURL file = make("a.mp4", movie);
    // What the decoder reads behind a frame before it gives it back.
    constexpr int behind = 6;
    for (int n = 0; n < 120; ++n) {
        const auto reader = openReader(file, {.threads = 1, .skipUnneeded = true});
        ASSERT_TRUE(reader);
        ASSERT_EQ(numberAt(*reader, {n, 30}), n);
        EXPECT_LE(reader->packetsDecoded(), n % 20 + 1 + behind) << "frame " << n;
        // Farther on, by a seek.
        const int far = std::min(n + 50, 119);
        const std::int64_t before = reader->packetsDecoded();
        ASSERT_EQ(numberAt(*reader, {far, 30}), far);
        EXPECT_LE(reader->packetsDecoded() - before, far % 20 + 1 + behind) << "frame " << far << " after " << n;
    }
}

TEST_F(FrameReader, ReadsOnAfterACancelledCall) {
    SampleMovie movie;
    movie.frames = 600;
    movie.video = x264("keyint=9999:bframes=3");
    const auto reader = openReader(make("a.mp4", movie), {.threads = 1});
    ASSERT_TRUE(reader);
    std::stop_source stopped;
    stopped.request_stop();
    const auto refused = reader->frame({300, 30}, stopped.get_token());
    ASSERT_FALSE(refused);
    EXPECT_TRUE(refused.error().isCancelled());
    for (int i = 0; i < 5; ++i) {
        // While it reads on to the frame.
        std::stop_source source;
        const PacketWatch watch([&](int number) {
            if (number == 40 + i) source.request_stop();
        });
        const auto result = reader->frame({500 + 20 * (i % 2), 30}, source.get_token());
        ASSERT_FALSE(result) << i;
        EXPECT_TRUE(result.error().isCancelled());
    }
    EXPECT_EQ(numberAt(*reader, {450, 30}), 450);
    EXPECT_EQ(numberAt(*reader, {10, 30}), 10);
}

TEST_F(FrameReader, MakesWholePicturesOfInterlacedOnes) {
    SampleMovie movie;
    movie.width = 320;
    movie.height = 192;
    movie.frames = 90;
    // Two of three pictures, so that no bit of the number stands still in both fields.
    movie.videoFilter = "select='lt(mod(n,3),2)',setpts=N/30/TB,tinterlace=mode=interleave_top,setfield=tff";
    movie.video = {"-c:v", "libx264", "-qp", "8", "-flags", "+ildct+ilme", "-x264-params", "tff=1"};
    const auto reader = openReader(make("a.mp4", movie));
    ASSERT_TRUE(reader);
    for (const int frame : {3, 20, 7, 29}) {
        const auto picture = reader->frame({frame, 15}, {});
        ASSERT_TRUE(picture && *picture);
        // The lines of the lower field came from the next picture; now all lines are the upper field's.
        for (const int parity : {0, 1}) {
            const auto number = readSampleNumber([&](double x, double y) {
                const int row = static_cast<int>(y * (*picture)->height) / 2 * 2 + parity;
                const int column = static_cast<int>(x * (*picture)->width);
                return static_cast<int>((*picture)->data[0][row * (*picture)->linesize[0] + column]);
            });
            EXPECT_EQ(number, 3 * frame) << "lines of parity " << parity;
        }
    }
}

}  // namespace
}  // namespace kelvane::testing
