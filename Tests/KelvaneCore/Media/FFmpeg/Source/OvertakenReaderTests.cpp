#include <map>
#include <random>

#include "SourceFixture.h"

namespace kelvane::testing {
namespace {

/// What one moment shows: the frame's stamp and a sum over its pixels.
struct Seen {
    std::int64_t stamp = AV_NOPTS_VALUE;
    std::uint64_t pixels = 0;
    bool operator==(const Seen&) const = default;
};
void PrintTo(const Seen& seen, std::ostream* stream) { *stream << seen.stamp << " with " << seen.pixels; }

Seen seen(const SharedFrame& frame) {
    if (!frame) return {};
    Seen result{frame->pts, 14695981039346656037U};
    const auto* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame->format));
    for (int plane = 0; plane < 3 && frame->data[plane] != nullptr; ++plane) {
        const int width = plane == 0 ? frame->width : AV_CEIL_RSHIFT(frame->width, format->log2_chroma_w);
        const int height = plane == 0 ? frame->height : AV_CEIL_RSHIFT(frame->height, format->log2_chroma_h);
        for (int y = 0; y < height; ++y) {
            const std::uint8_t* row = frame->data[plane] + static_cast<std::ptrdiff_t>(y) * frame->linesize[plane];
            for (int x = 0; x < width * ((format->comp[0].depth + 7) / 8); ++x)
                result.pixels = (result.pixels ^ row[x]) * 1099511628211U;
        }
    }
    return result;
}

/// A call that is overtaken before its packet number `packets` + 1; negative for one that never is.
FrameCall overtakenAfter(int packets) {
    FrameCall call;
    if (packets >= 0) call.isOvertaken = [left = packets]() mutable { return left-- == 0; };
    return call;
}

std::unique_ptr<VideoFrameReader> open(const std::shared_ptr<const FFmpegTrack>& track, int threads) {
    auto reader = VideoFrameReader::open(track, {.threads = threads, .skipUnneeded = true});
    EXPECT_TRUE(reader) << reader.error().message;
    return reader ? std::move(*reader) : nullptr;
}

/// Asks one reader for random moments of `span` seconds, most calls overtaken after a few packets, and compares what is
/// exact with a new reader, what isn't with the picture of its own moment, and what is passed likewise.
void compareWithNewReaders(const FileURL& file, double span, int calls, unsigned seed, int threads = 2) {
    const auto track = firstTrack(file, MediaType::video);
    ASSERT_TRUE(track);
    const FFmpegTrack::Facts& facts = track->facts();
    const auto reader = open(track, threads);
    ASSERT_TRUE(reader);
    std::map<std::int64_t, Seen> fresh;
    const auto expected = [&](MediaTime time) {
        const auto [place, isNew] = fresh.try_emplace(VideoFrameReader::stampAt(*track, time).value_or(INT64_MIN));
        if (isNew) place->second = seen(*open(track, threads)->frame(time, {}));
        return place->second;
    };
    const auto timeOf = [&](std::int64_t stamp) {
        return MediaTime{(stamp - facts.zero) * facts.timeBase.num, facts.timeBase.den};
    };
    std::mt19937 random(seed);
    const auto last = static_cast<std::int64_t>(span * 30);
    std::int64_t at = 0;
    for (int i = 0; i < calls; ++i) {
        // A pointer that mostly moves a little, either way, and now and then far.
        const bool jumps = random() % 8 == 0;
        at = jumps ? static_cast<std::int64_t>(random()) % last : at + static_cast<std::int64_t>(random() % 25) - 12;
        at = std::clamp<std::int64_t>(at, 0, last);
        const MediaTime time{at * 20, 600};
        FrameCall call = overtakenAfter(random() % 4 == 0 ? -1 : static_cast<int>(random() % 12));
        std::vector<ShownFrame> passed;
        if (random() % 3 == 0) {
            call.keepFrom = MediaTime{std::max<std::int64_t>(at - 6, 0) * 20, 600};
            call.passed = [&](const ShownFrame& shown) { passed.push_back(shown); };
        }
        const auto shown = reader->frame(time, call, {});
        ASSERT_TRUE(shown) << shown.error().message;
        if (shown->isExact) {
            ASSERT_EQ(seen(shown->frame), expected(time)) << "call " << i << ", frame " << at;
        } else if (shown->frame) {
            ASSERT_LE(shown->frame->pts, VideoFrameReader::stampAt(*track, time)) << "call " << i;
            ASSERT_EQ(seen(shown->frame), expected(timeOf(shown->frame->pts))) << "call " << i << ", on the way";
        }
        for (const ShownFrame& one : passed) {
            ASSERT_LT(one.from, one.until);
            ASSERT_EQ(seen(one.frame), expected(timeOf(one.from))) << "call " << i << ", passed";
            ASSERT_EQ(seen(one.frame), expected(timeOf(one.until - 1))) << "call " << i << ", passed, to its end";
        }
    }
}

/// A movie and the damage done to it.
struct Footage {
    const char* name;
    const char* file;
    std::vector<std::string> video;
    std::vector<std::string> output{};
    const char* filter = "";
    /// Frames of which `part` is wiped.
    int wipeFrom = 0;
    int wipeTo = -1;
    double part = 1;
};
void PrintTo(const Footage& footage, std::ostream* stream) { *stream << footage.name; }

std::vector<std::string> x264(const std::string& parameters) {
    return {"-c:v", "libx264", "-preset", "veryfast", "-qp", "16", "-pix_fmt", "yuv420p", "-x264-params", parameters};
}

std::vector<Footage> footages() {
    const auto closed = x264("keyint=24:min-keyint=24:scenecut=0:bframes=5:b-adapt=0:b-pyramid=normal");
    const auto open = x264("keyint=15:min-keyint=15:scenecut=0:open-gop=1:bframes=3:b-adapt=0");
    const auto plain = x264("keyint=20:min-keyint=20:scenecut=0:bframes=2");
    const std::vector<std::string> hevc{"-c:v",         "libx265",
                                        "-preset",      "ultrafast",
                                        "-x265-params", "log-level=none:keyint=20:min-keyint=20:scenecut=0:bframes=3"};
    const std::vector<std::string> mpeg2{"-c:v", "mpeg2video", "-qscale:v", "2", "-bf", "2", "-g", "12"};
    return {{"ReorderedFrames", "a.mp4", closed},
            {"OpenGroups", "a.mp4", open},
            {"OpenGroupsInMatroska", "a.mkv", open},
            {"OneKeyFrame", "a.mov", x264("keyint=9999:bframes=3")},
            {"UnevenFrames", "a.mp4", closed, {"-fps_mode", "passthrough"}, "settb=1/3000,setpts=100*(N+2*floor(N/5))"},
            {"Hevc", "a.mp4", hevc},
            {"TransportStreamOfOpenGroups", "a.ts", mpeg2},
            {"Fragments", "a.mp4", plain, {"-movflags", "frag_keyframe+delay_moov"}},
            {"Avi", "a.avi", {"-c:v", "mpeg4", "-qscale:v", "2", "-bf", "2", "-g", "24"}},
            {"LostKeyFrame", "a.mp4", plain, {}, "", 20, 20},
            {"LostHalfAKeyFrame", "a.mp4", plain, {}, "", 40, 40, 0.5},
            {"LostHevcKeyFrame", "a.mp4", hevc, {}, "", 20, 20},
            {"LostBeginning", "a.mp4", plain, {}, "", 0, 8}};
}

class Overtaken : public ::testing::TestWithParam<Footage> {
protected:
    void SetUp() override { skipWithoutTool(); }
};

TEST_P(Overtaken, ReadersShowAfterwardsWhatNewOnesShow) {
    const Footage& footage = GetParam();
    const TempFolder folder;
    SampleMovie movie;
    movie.width = 128;
    movie.height = 80;
    movie.frames = 90;
    movie.video = footage.video;
    movie.output = footage.output;
    movie.videoFilter = footage.filter;
    const FileURL file = makeSampleMovie(folder.path(), footage.file, movie);
    if (footage.wipeTo >= footage.wipeFrom) wipeFrames(file, footage.wipeFrom, footage.wipeTo, footage.part);
    // What several threads make of a picture whose end is missing differs from run to run.
    const int threads = footage.wipeTo >= footage.wipeFrom ? 1 : 2;
    for (const unsigned seed : {1U, 2U, 3U}) compareWithNewReaders(file, 3, 150, seed, threads);
}

INSTANTIATE_TEST_SUITE_P(Footage, Overtaken, ::testing::ValuesIn(footages()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(OvertakenRealMedia, ShowsAfterwardsWhatNewOnesShow) {
    if (mediaFolder().empty()) GTEST_SKIP() << "the collection of real files isn't here";
    for (const char* name : {"ios9.mov", "sample.flv", "sample.avi", "test-webm.webm", "corrupted.mp4", "0.ts"}) {
        SCOPED_TRACE(name);
        const FileURL file = FileURL::fromPath(mediaFolder() + "/" + name);
        const auto track = firstTrack(file, MediaType::video);
        ASSERT_TRUE(track);
        compareWithNewReaders(file, std::min(track->facts().timeRange.end().seconds(), 3.0), 16, 5);
    }
}

class OvertakenReader : public ::testing::Test {
protected:
    void SetUp() override { skipWithoutTool(); }
    FileURL make(const std::string& parameters, int frames = 120) {
        SampleMovie movie;
        movie.width = 160;
        movie.height = 96;
        movie.frames = frames;
        movie.video = x264(parameters);
        return makeSampleMovie(folder_.path(), "a.mp4", movie);
    }
    TempFolder folder_;
};

/// Calls until the picture is exact, each overtaken after `packets`; how many packets the decoder was given.
std::int64_t packetsUntilExact(VideoFrameReader& reader, MediaTime time, int packets) {
    const std::int64_t before = reader.packetsDecoded();
    for (int i = 0; i < 1000; ++i) {
        const auto shown = reader.frame(time, overtakenAfter(packets), {});
        EXPECT_TRUE(shown) << shown.error().message;
        if (!shown || shown->isExact) break;
    }
    return reader.packetsDecoded() - before;
}

TEST_F(OvertakenReader, GoesOnWhereItWasWithoutDecodingAnythingTwice) {
    const FileURL file = make("keyint=60:min-keyint=60:scenecut=0:bframes=3:b-adapt=0");
    for (const int n : {59, 100, 7}) {
        const auto alone = openReader(file, {.threads = 1, .skipUnneeded = true});
        const std::int64_t needed = packetsUntilExact(*alone, {n, 30}, -1);
        for (const int packets : {1, 2, 5}) {
            const auto reader = openReader(file, {.threads = 1, .skipUnneeded = true});
            EXPECT_EQ(packetsUntilExact(*reader, {n, 30}, packets), needed) << n << ", " << packets << " at a time";
            EXPECT_EQ(numberAt(*reader, {n, 30}), n);
        }
    }
}

TEST_F(OvertakenReader, GivesTheLastFrameThatItCameTo) {
    const auto reader = openReader(make("keyint=120:bframes=0"), {.threads = 1});
    ASSERT_TRUE(reader);
    EXPECT_EQ(numberAt(*reader, {10, 30}), 10);
    const auto none = reader->frame({50, 30}, overtakenAfter(0), {});
    ASSERT_TRUE(none);
    EXPECT_FALSE(none->isExact);
    // The frame behind the one shown was decoded already, to know when that one ends.
    EXPECT_EQ(numberOf(none->frame), 11);
    const auto some = reader->frame({50, 30}, overtakenAfter(12), {});
    ASSERT_TRUE(some);
    EXPECT_FALSE(some->isExact);
    EXPECT_GT(numberOf(some->frame), 15);
    EXPECT_LT(numberOf(some->frame), 30);
    // Behind a time that is asked for next there is nothing to give.
    const auto back = reader->frame({3, 30}, overtakenAfter(0), {});
    ASSERT_TRUE(back);
    EXPECT_FALSE(back->isExact);
    EXPECT_EQ(back->frame, nullptr);
    EXPECT_EQ(numberAt(*reader, {3, 30}), 3);
}

TEST_F(OvertakenReader, SeeksAheadWhereAKeyFrameLiesBetween) {
    const auto reader = openReader(make("keyint=20:min-keyint=20:scenecut=0:bframes=0"), {.threads = 1});
    ASSERT_TRUE(reader);
    ASSERT_TRUE(reader->frame({5, 30}, overtakenAfter(4), {}));
    const std::int64_t before = reader->packetsDecoded();
    EXPECT_EQ(numberAt(*reader, {101, 30}), 101);
    EXPECT_LE(reader->packetsDecoded() - before, 5);
}

TEST_F(OvertakenReader, HandsOutWhatItPassesFromAPlaceOnAndSkipsNoneOfIt) {
    const auto reader = openReader(make("keyint=60:min-keyint=60:scenecut=0:bframes=3:b-adapt=0"),
                                   {.threads = 1, .skipUnneeded = true});
    ASSERT_TRUE(reader);
    std::vector<int> passed;
    FrameCall call;
    call.keepFrom = MediaTime{90, 30};
    call.passed = [&](const ShownFrame& shown) {
        EXPECT_EQ(shown.until - shown.from, reader->track().facts().timeBase.den / 30);
        passed.push_back(numberOf(shown.frame));
    };
    const auto shown = reader->frame({100, 30}, call, {});
    ASSERT_TRUE(shown);
    EXPECT_EQ(numberOf(shown->frame), 100);
    EXPECT_EQ(passed, (std::vector<int>{90, 91, 92, 93, 94, 95, 96, 97, 98, 99}));
}

TEST_F(OvertakenReader, TellsWhichMomentsShowAFrame) {
    const FileURL file = make("keyint=30:bframes=2", 60);
    const auto reader = openReader(file, {.threads = 1, .skipUnneeded = true});
    ASSERT_TRUE(reader);
    const std::int64_t tick = reader->track().facts().timeBase.den / 30;
    const auto rangeAt = [&](MediaTime time) {
        const auto shown = reader->frame(time, FrameCall(), {});
        EXPECT_TRUE(shown && shown->frame && shown->isExact);
        return std::pair(shown->from, shown->until);
    };
    EXPECT_EQ(rangeAt({0, 30}), (std::pair<std::int64_t, std::int64_t>(INT64_MIN, tick)));
    EXPECT_EQ(rangeAt({1, 30}), std::pair(tick, 2 * tick));
    EXPECT_EQ(rangeAt({45, 30}), std::pair(45 * tick, 46 * tick));
    EXPECT_EQ(rangeAt({100, 30}), (std::pair<std::int64_t, std::int64_t>(59 * tick, INT64_MAX)));
}

}  // namespace
}  // namespace kelvane::testing
