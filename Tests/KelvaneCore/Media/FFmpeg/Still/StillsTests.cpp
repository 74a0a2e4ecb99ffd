#include <atomic>
#include <cmath>
#include <fstream>
#include <map>
#include <random>
#include <set>

#include "KelvaneCore/Media/FFmpeg/PacketWatch.h"
#include "KelvaneCore/Media/FFmpeg/Source/SourceFixture.h"
#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/FFmpeg/Picture/PictureScaler.h"
#include "Media/MediaEngine.h"
#include "Media/MediaError.h"

namespace kelvane::testing {
namespace {

constexpr Size large{2000, 2000};

/// What one still was, as a test compares it.
struct Seen {
    int number = -9;
    /// Milliseconds, to the nearest one: finer than any frame, coarser than any file's clock.
    std::int64_t actual = -1;
    bool operator==(const Seen&) const = default;
};
void PrintTo(const Seen& seen, std::ostream* stream) { *stream << seen.number << " at " << seen.actual << " ms"; }

std::int64_t milliseconds(double seconds) { return std::llround(seconds * 1000); }

/// The number that an upright still of a whole sample picture shows; -2 for none.
int numberOfStill(const StillImage& image) {
    return readSampleNumber([&](double x, double y) {
               const auto row = static_cast<std::size_t>(y * image.height);
               const auto column = static_cast<std::size_t>(x * image.width);
               return static_cast<int>(image.pixels[(row * image.width + column) * 4 + 1]);
           })
        .value_or(-2);
}

class Stills : public ::testing::Test {
protected:
    void SetUp() override { skipWithoutTool(); }
    FileURL make(const std::string& name, const SampleMovie& movie) {
        return makeSampleMovie(folder_.path(), name, movie);
    }
    /// A movie of 90 small frames.
    static SampleMovie movieOf(std::vector<std::string> video, std::vector<std::string> output = {}) {
        SampleMovie movie;
        movie.width = 160;
        movie.height = 96;
        movie.frames = 90;
        movie.video = std::move(video);
        movie.output = std::move(output);
        return movie;
    }
    /// What the stills of a source show, in the order of `times`.
    std::vector<Seen> seen(const FileURL& file, const std::vector<MediaTime>& times) {
        std::vector<Seen> all(times.size());
        const auto done = platform_.sourceStills(
            file, times, large,
            [&](std::size_t index, const TimedStill& still) -> Result<void> {
                EXPECT_EQ(all.at(index), Seen()) << "still " << index << " came twice";
                all[index] = {numberOfStill(*still.image), milliseconds(still.actualTime.seconds())};
                return {};
            },
            {});
        EXPECT_TRUE(done) << done.error().message;
        return all;
    }
    EditedMediaPtr edit(const std::vector<Clip>& clips, Size size, double rate = 30) {
        auto media = MediaEngine::build(platform_, clips, size, frameDuration(rate), {});
        EXPECT_TRUE(media) << media.error().message;
        return media ? *media : nullptr;
    }
    Clip clip(const FileURL& file, double start, double end) {
        auto imported = MediaEngine::importClip(platform_, file, {});
        EXPECT_TRUE(imported) << imported.error().message;
        Clip made = imported->clip;
        made.start = start;
        made.end = end;
        return made;
    }

    TempFolder folder_;
    FFmpegPlatform platform_;
};

TEST_F(Stills, AreExactInAnyOrderAndStorage) {
    struct Row {
        const char* name;
        const char* file;
        SampleMovie movie;
        /// When frame n begins, seconds.
        double (*begins)(int) = [](int n) { return n / 30.0; };
    };
    SampleMovie uneven = movieOf(x264("keyint=24:bframes=3"),
                                 {"-fps_mode", "passthrough", "-bsf:v", "setts=pts=PTS:dts=DTS:duration=1/30/TB"});
    uneven.videoFilter = "settb=1/3000,setpts=100*(N+2*floor(N/5))";
    const std::vector<Row> rows{
        {"reordered", "a.mp4", movieOf(x264("keyint=24:bframes=5:b-adapt=0:b-pyramid=normal"))},
        {"open groups", "b.mp4", movieOf(x264("keyint=15:min-keyint=15:scenecut=0:open-gop=1:bframes=3:b-adapt=0"))},
        {"one key frame", "c.mov", movieOf(x264("keyint=9999:bframes=3"))},
        {"key frames alone", "d.mp4", movieOf(x264("keyint=1"))},
        {"HEVC", "e.mp4",
         movieOf({"-c:v", "libx265", "-preset", "fast", "-x265-params", "log-level=none:keyint=20:qp=16"})},
        {"Matroska", "f.mkv", movieOf(x264("keyint=24:bframes=3"))},
        {"a transport stream", "g.ts", movieOf(x264("keyint=24:bframes=3"))},
        {"fragments", "h.mp4", movieOf(x264("keyint=12:bframes=2"), {"-movflags", "frag_keyframe+delay_moov"})},
        {"uneven frames", "i.mp4", uneven, [](int n) { return (n + 2 * (n / 5)) / 30.0; }},
    };
    for (const Row& row : rows) {
        const FileURL file = make(row.file, row.movie);
        std::mt19937 random(3);
        std::vector<int> numbers{0, 1, 89, 45, 45, 44, 45, 12, 13, 14, 15, 24, 23, 88, 0};
        for (int i = 0; i < 9; ++i) numbers.push_back(static_cast<int>(random() % 90));
        std::vector<MediaTime> times;
        std::vector<Seen> expected;
        for (const int n : numbers) {
            // A little behind the frame's beginning.
            times.push_back({std::llround(row.begins(n) * 3000) + 40, 3000});
            expected.push_back({n, milliseconds(row.begins(n))});
        }
        EXPECT_EQ(seen(file, times), expected) << row.name;
        std::ranges::sort(numbers);
        std::ranges::sort(times);
        std::ranges::sort(expected, {}, &Seen::number);
        EXPECT_EQ(seen(file, times), expected) << row.name << ", sorted";
        EXPECT_EQ(seen(file, {times[9]}), (std::vector{expected[9]})) << row.name << ", one";
    }
}

TEST_F(Stills, ShowTheFirstBeforeTheTrackAndTheLastBehindIt) {
    const FileURL plain = make("a.mp4", movieOf(x264("keyint=24:bframes=3")));
    EXPECT_EQ(seen(plain, {{3, 1}, {-5, 1}, {1000000, 1}, {2999, 1000}}),
              (std::vector<Seen>{{89, 2967}, {0, 0}, {89, 2967}, {89, 2967}}));
    SampleMovie late = movieOf(x264("keyint=24:bframes=3"));
    late.soundSeconds = 4;
    late.soundDelay = -1;
    EXPECT_EQ(seen(make("late.mp4", late), {{0, 1}, {1, 2}, {1, 1}, {3, 2}, {10, 1}}),
              (std::vector<Seen>{{0, 1000}, {0, 1000}, {0, 1000}, {15, 1500}, {89, 3967}}));
}

TEST_F(Stills, OfNoTimesAreNone) { EXPECT_EQ(seen(make("a.mp4", {}), {}), std::vector<Seen>()); }

TEST_F(Stills, OfTurnedMoviesAreUpright) {
    const FileURL file = make("a.mp4", {});
    // The picture as stored, shown a quarter turn to the right.
    for (const double scale : {1.0, 1.0 / 65536}) {
        setSampleMatrix(file, 0, 1, -1, 0, 180, 0, scale);
        int count = 0;
        const auto done = platform_.sourceStills(
            file, {{1, 1}}, {90, 1000},
            [&](std::size_t, const TimedStill& still) -> Result<void> {
                ++count;
                const StillImage& image = *still.image;
                EXPECT_EQ(image.width, 90);
                EXPECT_EQ(image.height, 160);
                const auto number = readSampleNumber([&](double x, double y) {
                    const auto row = static_cast<std::size_t>(x * image.height);
                    const auto column = static_cast<std::size_t>((1 - y) * image.width);
                    return static_cast<int>(image.pixels[(row * 90 + std::min<std::size_t>(column, 89)) * 4 + 1]);
                });
                EXPECT_EQ(number, 30);
                return {};
            },
            {});
        EXPECT_TRUE(done);
        EXPECT_EQ(count, 1);
    }
}

TEST_F(Stills, OfInterlacedMoviesAreWholePictures) {
    SampleMovie movie;
    movie.height = 192;
    movie.frames = 90;
    // Two of three pictures, so that no bit of the number stands still in both fields.
    movie.videoFilter = "select='lt(mod(n,3),2)',setpts=N/30/TB,tinterlace=mode=interleave_top,setfield=tff";
    movie.video = {"-c:v", "libx264", "-qp", "8", "-flags", "+ildct+ilme", "-x264-params", "tff=1:keyint=10"};
    EXPECT_EQ(seen(make("a.mp4", movie), {{20, 15}, {3, 15}, {29, 15}, {7, 15}}),
              (std::vector<Seen>{{60, 1333}, {9, 200}, {87, 1933}, {21, 467}}));
}

TEST_F(Stills, OfHighDynamicRangeAreOfStandardRange) {
    const FileURL file = FileURL::fromPath(folder_.path("hdr.mp4"));
    // Reference white, which is 75% of the signal (ITU-R BT.2408), on the left; black on the right.
    runSampleTool(
        {"-f", "lavfi", "-i", "color=black:s=320x180:r=30:d=1,format=yuv420p10le,drawbox=0:0:160:180:0xBFBFBF:fill",
         "-vf", "scale=out_color_matrix=bt2020:out_range=tv,format=yuv420p10le", "-c:v", "libx265", "-x265-params",
         "log-level=none:colorprim=bt2020:transfer=arib-std-b67:colormatrix=bt2020nc:range=limited", "-color_primaries",
         "bt2020", "-color_trc", "arib-std-b67", "-colorspace", "bt2020nc", "-color_range", "tv", file.path()});
    int count = 0;
    const auto done = platform_.sourceStills(file, {{1, 2}}, large,
                                             [&](std::size_t, const TimedStill& still) -> Result<void> {
                                                 ++count;
                                                 const auto pixel = [&](std::size_t x) {
                                                     return &still.image->pixels[(90 * 320 + x) * 4];
                                                 };
                                                 for (int i = 0; i < 3; ++i) {
                                                     // As it stands, the signal would be 191.
                                                     EXPECT_GT(pixel(80)[i], 220) << i;
                                                     EXPECT_LT(pixel(80)[i], 246) << i;
                                                     EXPECT_LT(pixel(240)[i], 3) << i;
                                                 }
                                                 return {};
                                             },
                                             {});
    EXPECT_TRUE(done);
    EXPECT_EQ(count, 1);
}

TEST_F(Stills, OfDamagedMoviesAreOfTheFramesThatDecode) {
    const FileURL file = make("a.mp4", movieOf(x264("keyint=1")));
    wipeFrames(file, 20, 24);
    EXPECT_EQ(seen(file, {{22, 30}, {19, 30}, {25, 30}, {60, 30}}),
              (std::vector<Seen>{{19, 633}, {19, 633}, {25, 833}, {60, 2000}}));
    const FileURL head = make("head.mp4", movieOf(x264("keyint=1")));
    wipeFrames(head, 0, 4);
    EXPECT_EQ(seen(head, {{0, 30}, {3, 30}, {5, 30}, {50, 30}}),
              (std::vector<Seen>{{5, 167}, {5, 167}, {5, 167}, {50, 1667}}));
}

TEST_F(Stills, OfAMovieThatDoesNotDecodeFail) {
    const FileURL file = make("Beach.mp4", movieOf(x264("keyint=1")));
    wipeFrames(file, 0, 89);
    const auto done = platform_.sourceStills(
        file, {{1, 1}, {2, 1}}, large,
        [](std::size_t, const TimedStill&) -> Result<void> { return fail("nothing should come"); }, {});
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().message, "“Beach.mp4” has no picture that can be decoded.");
}

TEST_F(Stills, OfSoundAloneFail) {
    const FileURL file = makeSampleSound(folder_.path(), "a.m4a", 1);
    const auto done = platform_.sourceStills(file, {{0, 1}}, large, {}, {});
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().message, "“a.m4a” has no picture.");
}

TEST_F(Stills, OfAMovieThatVanishedFailInWords) {
    const FileURL file = make("Beach.mp4", movieOf(x264("keyint=10")));
    const EditedMediaPtr media = edit({clip(file, 0, 2)}, {180, 320});
    std::filesystem::remove(file.path());
    const auto refuse = [](std::size_t, const TimedStill&) -> Result<void> { return fail("nothing should come"); };
    const auto source = platform_.sourceStills(file, {{1, 1}}, large, refuse, {});
    ASSERT_FALSE(source);
    EXPECT_EQ(source.error(), platform_.openAsset(file, {}).error());
    EXPECT_NE(source.error().message.find("Beach.mp4"), std::string::npos) << source.error().message;
    const auto timeline = platform_.timelineStills(media, {{1, 1}, {1, 2}}, large, refuse, {});
    ASSERT_FALSE(timeline);
    EXPECT_EQ(timeline.error(), MediaError::invalidClip("Beach"));
}

TEST_F(Stills, ReadNothingMoreOnceAStopIsAskedFor) {
    SampleMovie movie;
    movie.frames = 300;
    movie.video = x264("keyint=9999");
    const FileURL file = make("a.mp4", movie);
    const EditedMediaPtr media = edit({clip(file, 0, 10)}, {720, 1280});
    for (const bool ofTimeline : {false, true}) {
        std::stop_source source;
        std::atomic<int> count = 0;
        std::atomic<int> asked = 0;
        // The second still lies far behind the first.
        const PacketWatch watch([&](int number) {
            if (number < 150 || asked != 0) return;
            asked = number;
            source.request_stop();
        });
        const StillConsumer consume = [&](std::size_t, const TimedStill&) -> Result<void> {
            ++count;
            return {};
        };
        const std::vector<MediaTime> times{{0, 1}, {9, 1}};
        const auto done = ofTimeline ? platform_.timelineStills(media, times, large, consume, source.get_token())
                                     : platform_.sourceStills(file, times, large, consume, source.get_token());
        ASSERT_FALSE(done);
        EXPECT_TRUE(done.error().isCancelled()) << done.error().message;
        ASSERT_GT(asked, 0);
        EXPECT_LE(watch.count(), asked + 1);
        EXPECT_EQ(count, 1);
    }
}

TEST_F(Stills, AFailureOfTheConsumerIsPassedOn) {
    const FileURL file = make("a.mp4", movieOf(x264("keyint=10")));
    int count = 0;
    const auto done = platform_.sourceStills(file, {{0, 1}, {1, 1}, {2, 1}}, large,
                                             [&](std::size_t, const TimedStill&) -> Result<void> {
                                                 ++count;
                                                 return fail("The disk is full.");
                                             },
                                             {});
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().message, "The disk is full.");
    EXPECT_EQ(count, 1);
}

/// The mean difference of two pictures of one size, 0 to 255.
double meanDifference(const StillImage& a, const StillImage& b) {
    EXPECT_EQ(a.width, b.width);
    EXPECT_EQ(a.height, b.height);
    if (a.pixels.size() != b.pixels.size()) return 255;
    double sum = 0;
    for (std::size_t i = 0; i < a.pixels.size(); ++i) sum += std::abs(a.pixels[i] - b.pixels[i]);
    return sum / (static_cast<double>(a.pixels.size()) * 3 / 4);
}

/// The frames of an exported movie.
class ExportedFrames {
public:
    ExportedFrames(const FileURL& file, std::vector<MediaTime> times) {
        const auto reader = openReader(file);
        std::ranges::sort(times);
        for (const MediaTime time : times) {
            const auto frame = reader->frame(time, {});
            EXPECT_TRUE(frame && *frame);
            frames_[time.seconds()] = *frame;
        }
    }
    /// Fitted into `size`.
    StillImagePtr at(MediaTime time, Size size) {
        const auto drawn = scaler_.draw(*frames_.at(time.seconds()), {1080, 1920},
                                        AffineTransform::scaling(size.width / 1080, size.height / 1920), size);
        const auto still = PictureScaler::still(**drawn);
        return still ? *still : nullptr;
    }

private:
    std::map<double, SharedFrame> frames_;
    PictureScaler scaler_;
};

TEST_F(Stills, OfTimelinesEqualTheExportedFrames) {
    const auto footage = [&](const std::string& name, const std::string& size, int seed) {
        const FileURL file = FileURL::fromPath(folder_.path(name));
        std::vector<std::string> words{
            "-f",
            "lavfi",
            "-i",
            "testsrc2=s=" + size + ":r=30:d=0.6,format=yuv420p,noise=alls=12:allf=t:all_seed=" + std::to_string(seed) +
                ",gblur=1.2," + plainColorFilter,
            "-c:v",
            "libx264",
            "-preset",
            "veryfast",
            "-crf",
            "18",
            "-bf",
            "2"};
        words.insert(words.end(), plainColorWords().begin(), plainColorWords().end());
        words.push_back(file.path());
        runSampleTool(words);
        return file;
    };
    const FileURL landscape = footage("landscape.mp4", "1920x1080", 1);
    const FileURL portrait = footage("portrait.mp4", "1080x1920", 2);
    const FileURL small = footage("small.mp4", "640x360", 3);
    const FileURL huge = footage("huge.mp4", "2560x1440", 4);
    const FileURL turned = footage("turned.mp4", "1920x1080", 5);
    setSampleMatrix(turned, 0, 1, -1, 0, 1080, 0);
    std::vector<Clip> clips{clip(landscape, 0, 0.2), clip(portrait, 0.1, 0.3), clip(small, 0, 0.2),
                            clip(huge, 0.2, 0.4),    clip(turned, 0.3, 0.5),   clip(landscape, 0.3, 0.5)};
    clips[0].zoom = 1.7;
    const EditedMediaPtr media = edit(clips, {1080, 1920});
    ASSERT_TRUE(media);
    const FileURL file = FileURL::fromPath(folder_.path("out.mp4"));
    auto session = MediaEngine::exporter(platform_, media, ExportContainer::mp4);
    ASSERT_TRUE(session);
    const auto exported = (*session)->exportTo(file, ExportContainer::mp4, {});
    ASSERT_TRUE(exported) << exported.error().message;

    // Frames beside the cuts and in between, out of order.
    std::vector<MediaTime> times;
    for (const int frame : {35, 0, 5, 6, 3, 9, 12, 15, 17, 21, 26, 30}) times.push_back({frame, 30});
    ExportedFrames frames(file, times);
    for (const Size maximum : {Size{1280, 1280}, Size{400, 400}, Size{2000, 2000}}) {
        std::set<std::size_t> came;
        const auto done = platform_.timelineStills(
            media, times, maximum,
            [&](std::size_t index, const TimedStill& still) -> Result<void> {
                came.insert(index);
                EXPECT_EQ(still.actualTime, times[index]);
                const Size size{static_cast<double>(still.image->width), static_cast<double>(still.image->height)};
                EXPECT_LE(size.height, maximum.height);
                const auto frame = frames.at(times[index], size);
                const double difference = meanDifference(*still.image, *frame);
                EXPECT_LT(difference, 2) << "frame " << times[index].seconds() * 30 << " at " << size.height;
                RecordProperty("difference_" + std::to_string(index) + "_" + std::to_string(still.image->height),
                               std::to_string(difference));
                return {};
            },
            {});
        ASSERT_TRUE(done) << done.error().message;
        EXPECT_EQ(came.size(), times.size());
    }
}

TEST_F(Stills, OfTimelinesWithALatePictureAreBlackUntilItsStartAsInTheExport) {
    SampleMovie movie = movieOf(x264("keyint=15:bframes=3"));
    movie.width = 180;
    movie.height = 320;
    movie.soundSeconds = 3;
    movie.soundDelay = -0.5;
    const EditedMediaPtr media = edit({clip(make("late.mp4", movie), 0, 1)}, {180, 320});
    ASSERT_TRUE(media);
    const FileURL file = FileURL::fromPath(folder_.path("out.mp4"));
    const auto session = MediaEngine::exporter(platform_, media, ExportContainer::mp4);
    ASSERT_TRUE(session);
    const auto exported = (*session)->exportTo(file, ExportContainer::mp4, {});
    ASSERT_TRUE(exported) << exported.error().message;
    const auto reader = openReader(file);
    ASSERT_TRUE(reader);
    std::vector<MediaTime> times;
    std::vector<int> expected;
    for (int frame = 0; frame < 30; ++frame) {
        times.push_back({frame, 30});
        // A black picture has no number.
        expected.push_back(frame < 15 ? -2 : frame - 15);
        EXPECT_EQ(numberAt(*reader, times.back()), expected.back()) << "exported frame " << frame;
    }
    std::vector<int> stills(times.size(), -9);
    const auto done = platform_.timelineStills(media, times, large,
                                               [&](std::size_t index, const TimedStill& still) -> Result<void> {
                                                   stills[index] = numberOfStill(*still.image);
                                                   return {};
                                               },
                                               {});
    ASSERT_TRUE(done) << done.error().message;
    EXPECT_EQ(stills, expected);
}

TEST_F(Stills, OfTimelinesShowWhatTheEditSays) {
    SampleMovie portrait = movieOf(x264("keyint=15:bframes=3"));
    portrait.width = 180;
    portrait.height = 320;
    SampleMovie other = portrait;
    other.firstNumber = 1000;
    other.rateNumerator = 25;
    const FileURL first = make("first.mp4", portrait);
    const FileURL second = make("second.mkv", other);
    Clip tail = clip(makeSampleSound(folder_.path(), "tail.wav", 2), 0, 2);
    tail.timelineStart = 2.5;
    const EditedMediaPtr media = edit({clip(first, 1, 2), clip(second, 0, 1), clip(first, 0, 1), tail}, {180, 320});
    ASSERT_TRUE(media);
    const std::vector<MediaTime> times{{29, 10}, {0, 1}, {1, 1},    {2, 1}, {35, 10}, {29, 30},
                                       {59, 30}, {0, 1}, {1000, 1}, {3, 2}, {4, 1},   {-1, 1}};
    const std::vector<Seen> expected{{27, 2900},   {30, 0}, {1000, 1000},  {0, 2000},    {-2, 3500}, {59, 967},
                                     {1024, 1967}, {30, 0}, {-2, 1000000}, {1012, 1500}, {-2, 4000}, {-2, -1000}};
    std::vector<Seen> all(times.size());
    std::vector<StillImagePtr> images(times.size());
    const auto done = platform_.timelineStills(media, times, large,
                                               [&](std::size_t index, const TimedStill& still) -> Result<void> {
                                                   all[index] = {numberOfStill(*still.image),
                                                                 milliseconds(still.actualTime.seconds())};
                                                   images[index] = still.image;
                                                   return {};
                                               },
                                               {});
    ASSERT_TRUE(done) << done.error().message;
    EXPECT_EQ(all, expected);
    for (std::size_t i = 0; i < times.size(); ++i) {
        EXPECT_EQ(images[i]->width, 180);
        EXPECT_EQ(images[i]->height, 320);
        if (expected[i].number != -2) continue;
        for (std::size_t p = 0; p < images[i]->pixels.size(); ++p)
            ASSERT_EQ(images[i]->pixels[p], p % 4 == 3 ? 255 : 0) << i;
    }
}

TEST_F(Stills, OfTimelinesWithASourceThatDoesNotDecodeFailAsTheExportDoes) {
    const FileURL good = make("good.mp4", movieOf(x264("keyint=15")));
    const FileURL broken = make("broken.mp4", movieOf(x264("keyint=1")));
    wipeFrames(broken, 0, 89);
    const EditedMediaPtr media = edit({clip(good, 0, 1), clip(broken, 0, 1)}, {180, 320});
    ASSERT_TRUE(media);
    int brightest = 0;
    const auto stills = [&](const std::vector<MediaTime>& times) {
        return platform_.timelineStills(media, times, large,
                                        [&](std::size_t, const TimedStill& still) -> Result<void> {
                                            for (std::size_t p = 0; p < still.image->pixels.size(); p += 4)
                                                brightest = std::max<int>(brightest, still.image->pixels[p + 1]);
                                            return {};
                                        },
                                        {});
    };
    // What shows the good one alone comes.
    ASSERT_TRUE(stills({{1, 2}, {3, 4}}));
    EXPECT_GT(brightest, 100);
    const Error failure("“broken.mp4” has no picture that can be decoded.");
    EXPECT_EQ(stills({{3, 2}, {1, 2}}), std::unexpected(failure));
    auto session = platform_.makeExportSession(media);
    session->videoComposition = media->video;
    EXPECT_EQ(session->exportTo(folder_.url("out.mp4"), ExportContainer::mp4, {}), std::unexpected(failure));
    session->outputFileType = ExportContainer::mp4;
    EXPECT_EQ(session->estimateOutputFileLength({}), std::unexpected(failure));
}

}  // namespace
}  // namespace kelvane::testing
