#include <random>

#include "KelvaneCore/Media/FFmpeg/Source/SourceFixture.h"
#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/MediaEngine.h"

namespace kelvane::testing {
namespace {

using Random = std::mt19937;

int pick(Random& random, int least, int most) {
    return least + static_cast<int>(random() % static_cast<unsigned>(most - least + 1));
}
const char* pick(Random& random, std::initializer_list<const char*> names) {
    return names.begin()[pick(random, 0, static_cast<int>(names.size()) - 1)];
}

/// A movie of a random structure: groups, their reordering, references, length and container.
struct RandomMovie {
    std::string file;
    SampleMovie movie;
    std::string told;
};

std::vector<std::string> randomH264(Random& random) {
    return {"-c:v",
            "libx264",
            "-preset",
            "veryfast",
            "-qp",
            "14",
            "-pix_fmt",
            "yuv420p",
            "-x264-params",
            "scenecut=0:keyint=" + std::to_string(pick(random, 1, 14)) + ":min-keyint=1:open-gop=" +
                std::to_string(pick(random, 0, 1)) + ":bframes=" + std::to_string(pick(random, 0, 7)) +
                ":b-adapt=0:b-pyramid=" + pick(random, {"none", "strict", "normal"}) +
                ":ref=" + std::to_string(pick(random, 1, 5)) + ":weightp=0"};
}

std::vector<std::string> randomHevc(Random& random) {
    return {"-c:v",
            "libx265",
            "-preset",
            "ultrafast",
            "-x265-params",
            "log-level=none:qp=14:scenecut=0:b-adapt=0:keyint=" + std::to_string(pick(random, 2, 14)) +
                ":min-keyint=1:open-gop=" + std::to_string(pick(random, 0, 1)) +
                ":bframes=" + std::to_string(pick(random, 0, 4))};
}

RandomMovie randomMovie(unsigned seed) {
    Random random(seed);
    RandomMovie made;
    SampleMovie& movie = made.movie;
    movie.width = 96;
    movie.height = 64;
    movie.frames = pick(random, 2, 40);
    const int codec = pick(random, 0, 5);
    const char* extension = nullptr;
    if (codec <= 3) {
        movie.video = randomH264(random);
        extension = pick(random, {"mp4", "mkv", "ts", "mov"});
    } else if (codec == 4) {
        movie.video = randomHevc(random);
        extension = pick(random, {"mp4", "mkv"});
    } else {
        movie.video = {"-c:v",      "mpeg2video",
                       "-qscale:v", "2",
                       "-bf",       std::to_string(pick(random, 0, 2)),
                       "-g",        std::to_string(pick(random, 2, 12))};
        extension = pick(random, {"ts", "mpg"});
    }
    made.file = std::string("a.") + extension;
    made.told = "movie " + std::to_string(seed) + ": " + std::to_string(movie.frames) + " frames, " + extension;
    for (const std::string& word : movie.video) made.told += " " + word;
    return made;
}

struct Drawn {
    int number = -9;
    StillImagePtr image;
};

/// The number that an upright still shows; -2 for none.
int numberOfStill(const StillImage& image) {
    return readSampleNumber([&](double x, double y) {
               const auto row = static_cast<std::size_t>(y * image.height);
               const auto column = static_cast<std::size_t>(x * image.width);
               return static_cast<int>(image.pixels[(row * image.width + column) * 4 + 1]);
           })
        .value_or(-2);
}

/// The stills of a movie, asked for in one call.
std::vector<Drawn> drawn(FFmpegPlatform& platform, const FileURL& file, const std::vector<MediaTime>& times) {
    std::vector<Drawn> all(times.size());
    const auto done = platform.sourceStills(file, times, {2000, 2000},
                                            [&](std::size_t index, const TimedStill& still) -> Result<void> {
                                                all[index] = {numberOfStill(*still.image), still.image};
                                                return {};
                                            },
                                            {});
    EXPECT_TRUE(done) << done.error().message;
    return all;
}

class RandomMovies : public ::testing::TestWithParam<unsigned> {
protected:
    void SetUp() override { skipWithoutTool(); }
    TempFolder folder_;
    FFmpegPlatform platform_;
};

TEST_P(RandomMovies, GiveTheSameStillsInABatchAndAlone) {
    const RandomMovie random = randomMovie(GetParam());
    SCOPED_TRACE(random.told);
    const FileURL file = makeSampleMovie(folder_.path(), random.file, random.movie);
    Random numbers(GetParam() + 1000);
    const int last = random.movie.frames - 1;
    std::vector<MediaTime> times{{last, 30}, {std::max(last - 1, 0), 30}, {std::max(last - 2, 0), 30}, {0, 30}};
    for (int i = 0; i < 8; ++i) times.push_back({pick(numbers, 0, last), 30});
    const std::vector<Drawn> batch = drawn(platform_, file, times);
    for (std::size_t i = 0; i < times.size(); ++i) {
        EXPECT_EQ(batch[i].number, times[i].value) << "in a batch";
        const Drawn alone = drawn(platform_, file, {times[i]}).front();
        EXPECT_EQ(alone.number, times[i].value) << "alone";
        ASSERT_TRUE(alone.image && batch[i].image);
        EXPECT_EQ(alone.image->pixels, batch[i].image->pixels) << "frame " << times[i].value;
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomMovies, ::testing::Range(0U, 32U));

class RandomDamagedMovies : public RandomMovies {
protected:
    /// The pictures' luma at these frames, each from a reader of its own or all from one.
    static std::vector<std::vector<std::uint8_t>> readerLuma(const FileURL& file, const std::vector<int>& frames,
                                                             bool alone) {
        std::vector<std::vector<std::uint8_t>> all;
        // One thread: what a decoder makes of damage depends on how many it has.
        std::unique_ptr<VideoFrameReader> reader;
        for (const int n : frames) {
            if (alone || !reader) reader = openReader(file, {.threads = 1, .skipUnneeded = true});
            if (!reader) return all;
            const auto frame = reader->frame({n, 30}, {});
            EXPECT_TRUE(frame && *frame);
            if (!frame || !*frame) return all;
            std::vector<std::uint8_t>& luma = all.emplace_back();
            for (int y = 0; y < (*frame)->height; ++y) {
                const std::uint8_t* row = (*frame)->data[0] + static_cast<std::ptrdiff_t>(y) * (*frame)->linesize[0];
                luma.insert(luma.end(), row, row + (*frame)->width);
            }
        }
        return all;
    }
};

/// The places of a movie's key frames among its packets.
std::vector<int> keyPackets(const FileURL& file) {
    std::vector<int> keys;
    const auto demuxer = SourceDemuxer::open(*firstTrack(file, MediaType::video));
    for (int i = 0;; ++i) {
        const auto packet = (*demuxer)->next();
        if (!packet || !*packet) return keys;
        if (((*packet)->flags & AV_PKT_FLAG_KEY) != 0) keys.push_back(i);
    }
}

TEST_P(RandomDamagedMovies, GiveTheSameFramesInABatchAndAlone) {
    RandomMovie random = randomMovie(GetParam());
    // HEVC's decoder doesn't tell of lost parts, and leaves there what its memory held.
    for (unsigned seed = GetParam(); random.movie.video[1] == "libx265"; random = randomMovie(seed)) seed += 1000;
    // Times lie apart from the pictures there, so that only pictures are damaged.
    if (!random.file.ends_with(".mp4")) random.file = "a.mov";
    // Longer than the longest group.
    random.movie.frames += 16;
    const FileURL file = makeSampleMovie(folder_.path(), random.file, random.movie);
    Random numbers(GetParam() + 1000);
    const std::vector<int> keys = keyPackets(file);
    ASSERT_GE(keys.size(), 2U);
    const int hurt = keys[static_cast<std::size_t>(pick(numbers, 1, static_cast<int>(keys.size()) - 1))];
    const double part = pick(numbers, 1, 3) / 4.0;
    SCOPED_TRACE(random.told + ", packet " + std::to_string(hurt) + " lost by " + std::to_string(part));
    wipeFrames(file, hurt, hurt, part);
    const int last = random.movie.frames - 1;
    std::vector<int> frames{std::min(hurt, last), std::min(hurt + 1, last), last};
    for (int i = 0; i < 6; ++i) frames.push_back(pick(numbers, 0, last));
    std::ranges::sort(frames);
    const auto batch = readerLuma(file, frames, false);
    const auto alone = readerLuma(file, frames, true);
    ASSERT_EQ(batch.size(), alone.size());
    for (std::size_t i = 0; i < batch.size(); ++i) EXPECT_TRUE(alone[i] == batch[i]) << "frame " << frames[i];
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomDamagedMovies, ::testing::Range(100U, 164U));

class LastGroups : public RandomMovies {};

TEST_P(LastGroups, AreWholeInAnEditAndInItsExport) {
    const RandomMovie random = randomMovie(GetParam());
    SCOPED_TRACE(random.told);
    SampleMovie movie = random.movie;
    movie.width = 180;
    movie.height = 320;
    const FileURL file = makeSampleMovie(folder_.path(), random.file, movie);
    auto imported = MediaEngine::importClip(platform_, file, {});
    ASSERT_TRUE(imported) << imported.error().message;
    Clip clip = imported->clip;
    constexpr int shown = 4;
    clip.start = (movie.frames - shown) / 30.0;
    clip.end = movie.frames / 30.0;
    const auto media = MediaEngine::build(platform_, std::vector{clip}, {180, 320}, frameDuration(30), {});
    ASSERT_TRUE(media) << media.error().message;
    const FileURL out = FileURL::fromPath(folder_.path("out.mp4"));
    const auto session = MediaEngine::exporter(platform_, *media, ExportContainer::mp4);
    ASSERT_TRUE(session);
    const auto exported = (*session)->exportTo(out, ExportContainer::mp4, {});
    ASSERT_TRUE(exported) << exported.error().message;
    const auto reader = openReader(out);
    for (int i = 0; i < shown; ++i) {
        const int number = movie.frames - shown + i;
        EXPECT_EQ(numberAt(*reader, {i, 30}), number) << "exported";
        const auto still = [&](std::size_t, const TimedStill& still) -> Result<void> {
            EXPECT_EQ(numberOfStill(*still.image), number) << "alone";
            return {};
        };
        EXPECT_TRUE(platform_.timelineStills(*media, {{i, 30}}, {2000, 2000}, still, {}));
    }
}

// Movies of short open groups with reordered frames.
INSTANTIATE_TEST_SUITE_P(Seeds, LastGroups, ::testing::Values(4U, 5U));

}  // namespace
}  // namespace kelvane::testing
