#include <sys/stat.h>

#include <cmath>
#include <fstream>
#include <random>

#include "Media/FFmpeg/Source/FFmpegProbe.h"
#include "Media/MediaEngine.h"
#include "SourceFixture.h"

namespace kelvane::testing {
namespace {

class Asset : public ::testing::Test {
protected:
    void SetUp() override { skipWithoutTool(); }
    FileURL make(const std::string& name, const SampleMovie& movie) {
        return makeSampleMovie(folder_.path(), name, movie);
    }
    FileURL path(const std::string& name) { return FileURL::fromPath(folder_.path() + "/" + name); }
    /// What the tool writes into a pipe, where it can't go back to fill in a length.
    FileURL makePiped(const std::string& name, const FileURL& source, const std::vector<std::string>& words) {
        std::vector<std::string> all{"ffmpeg", "-nostdin", "-v", "quiet", "-i", source.path()};
        all.insert(all.end(), words.begin(), words.end());
        all.emplace_back("pipe:1");
        std::string output;
        EXPECT_EQ(runTool(all, &output), 0);
        std::ofstream(path(name).path(), std::ios::binary) << output;
        return path(name);
    }
    static std::string failureOf(const FileURL& url) {
        const auto asset = FFmpegAsset::open(url, {});
        return asset ? "opened" : asset.error().message;
    }
    TempFolder folder_;
};

TEST_F(Asset, TellsTheFactsOfAMovie) {
    SampleMovie movie;
    movie.frames = 90;
    movie.soundSeconds = 3;
    const auto asset = openSource(make("a.mp4", movie));
    ASSERT_TRUE(asset);
    EXPECT_NEAR(*asset->loadDuration(), 3, 0.001);
    const auto video = tracksOf(*asset, MediaType::video);
    const auto audio = tracksOf(*asset, MediaType::audio);
    ASSERT_EQ(video.size(), 1U);
    ASSERT_EQ(audio.size(), 1U);
    EXPECT_EQ(*video[0]->loadNaturalSize(), (Size{320, 180}));
    EXPECT_EQ(*video[0]->loadOrientation(), AffineTransform{});
    EXPECT_FLOAT_EQ(*video[0]->loadNominalFrameRate(), 30);
    EXPECT_EQ(*video[0]->loadTimeRange(), (MediaTimeRange{{0, 600}, {3, 1}}));
    EXPECT_EQ(audio[0]->facts().sampleRate, 48000);
    EXPECT_EQ(audio[0]->facts().channels, 1);
    EXPECT_EQ(*audio[0]->loadTimeRange(), (MediaTimeRange{{0, 600}, {3, 1}}));
}

TEST_F(Asset, ListsTracksInTheFilesOrder) {
    SampleMovie movie;
    const FileURL small = make("small.mp4", movie);
    movie.width = 640;
    movie.height = 360;
    const FileURL large = make("large.mp4", movie);
    const FileURL both = path("both.mp4");
    runSampleTool({"-i", small.path(), "-i", large.path(), "-map", "0", "-map", "1", "-c", "copy", "-disposition:v:0",
                   "0", "-disposition:v:1", "default", both.path()});
    const auto asset = openSource(both);
    ASSERT_TRUE(asset);
    const auto tracks = tracksOf(*asset, MediaType::video);
    ASSERT_EQ(tracks.size(), 2U);
    EXPECT_EQ(tracks[0]->facts().naturalSize, (Size{320, 180}));
    EXPECT_EQ(tracks[1]->facts().naturalSize, (Size{640, 360}));
}

TEST_F(Asset, IsAsLongAsTheTracksThatClipsPlay) {
    SampleMovie movie;
    movie.soundSeconds = 2;
    const FileURL shown = make("shown.mp4", movie);
    movie.soundSeconds = 3;
    movie.frames = 150;
    const FileURL other = make("other.mp4", movie);
    struct Row {
        const char* name;
        std::vector<std::string> words;
        double duration;
    };
    for (const Row& row :
         {Row{"pictures.mov", {"-map", "0", "-map", "1:v"}, 2}, Row{"pictures.mkv", {"-map", "0", "-map", "1:v"}, 2},
          Row{"sounds.mp4", {"-map", "0", "-map", "1:a"}, 2}, Row{"both.ts", {"-map", "0", "-map", "1"}, 2},
          Row{"first.mp4", {"-map", "0:v", "-map", "1:a", "-map", "0:a"}, 3}}) {
        std::vector<std::string> words{"-i", shown.path(), "-i", other.path()};
        words.insert(words.end(), row.words.begin(), row.words.end());
        words.insert(words.end(), {"-c", "copy", path(row.name).path()});
        runSampleTool(words);
        const auto asset = openSource(path(row.name));
        ASSERT_TRUE(asset);
        EXPECT_GE(tracksOf(*asset, MediaType::video).size() + tracksOf(*asset, MediaType::audio).size(), 3U);
        // AAC in a transport stream keeps its encoder's delay.
        EXPECT_NEAR(*asset->loadDuration(), row.duration, 0.06) << row.name;
    }
}

TEST_F(Asset, BeginsWithTheTracksThatClipsPlay) {
    // A transport stream's clock runs from anywhere, here from the second picture's beginning.
    const FileURL file = make("a.mp4", {.frames = 30});
    const FileURL late = path("late.ts");
    runSampleTool(
        {"-itsoffset", "2", "-i", file.path(), "-i", file.path(), "-map", "0", "-map", "1", "-c", "copy", late.path()});
    const auto asset = openSource(late);
    ASSERT_TRUE(asset);
    ASSERT_EQ(tracksOf(*asset, MediaType::video).size(), 2U);
    EXPECT_NEAR(*asset->loadDuration(), 1, 0.05);
    EXPECT_EQ(tracksOf(*asset, MediaType::video)[0]->facts().timeRange.start, MediaTime());
}

TEST_F(Asset, WidensByThePixelAspect) {
    SampleMovie movie;
    movie.videoFilter = "setsar=4/3";
    for (const char* name : {"a.mp4", "a.mkv", "a.ts", "a.avi"}) {
        const auto track = firstTrack(make(name, movie), MediaType::video);
        ASSERT_TRUE(track) << name;
        EXPECT_NEAR(track->facts().naturalSize.width, 320 * 4.0 / 3, 0.001) << name;
        EXPECT_EQ(track->facts().naturalSize.height, 180) << name;
    }
}

/// A display matrix, and which corner of the stored picture it shows at the top left, top right and bottom left.
struct Orientation {
    const char* name;
    double a, b, c, d;
    int topLeft, topRight, bottomLeft;
    /// Of all nine values.
    double scale = 1;
};

class Orientations : public ::testing::TestWithParam<Orientation> {
protected:
    void SetUp() override { skipWithoutTool(); }
};

TEST_P(Orientations, MapTheStoredPictureToTheOneShown) {
    const Orientation& row = GetParam();
    TempFolder folder;
    const FileURL file = makeSampleMovie(folder.path(), "a.mp4", {});
    setSampleMatrix(file, row.a, row.b, row.c, row.d, 7, 9, row.scale);
    const auto track = firstTrack(file, MediaType::video);
    ASSERT_TRUE(track);
    const AffineTransform map = track->facts().orientation;
    const Rect shown = map.boundingRect({0, 0, 320, 180});
    EXPECT_EQ(shown.x, 0);
    EXPECT_EQ(shown.y, 0);
    const AffineTransform back = map.inverted();
    // The stored corner that shows at a place of the displayed picture.
    const auto cornerAt = [&](double x, double y) {
        const double px = x * shown.width;
        const double py = y * shown.height;
        const double sx = back.a * px + back.c * py + back.tx;
        const double sy = back.b * px + back.d * py + back.ty;
        return (sy < 90 ? 0 : 2) + (sx < 160 ? 0 : 1);
    };
    EXPECT_EQ(cornerAt(0.1, 0.1), row.topLeft);
    EXPECT_EQ(cornerAt(0.9, 0.1), row.topRight);
    EXPECT_EQ(cornerAt(0.1, 0.9), row.bottomLeft);
    EXPECT_DOUBLE_EQ(std::abs(map.determinant()), std::abs(row.a * row.d - row.b * row.c));
}

INSTANTIATE_TEST_SUITE_P(
    Matrix, Orientations,
    ::testing::Values(
        Orientation{"Upright", 1, 0, 0, 1, 0, 1, 2}, Orientation{"QuarterClockwise", 0, 1, -1, 0, 2, 0, 3},
        Orientation{"Half", -1, 0, 0, -1, 3, 2, 1}, Orientation{"QuarterCounterclockwise", 0, -1, 1, 0, 1, 3, 0},
        Orientation{"MirroredSideways", -1, 0, 0, 1, 1, 0, 3}, Orientation{"MirroredUpsideDown", 1, 0, 0, -1, 2, 3, 0},
        Orientation{"Transposed", 0, 1, 1, 0, 0, 2, 1}, Orientation{"TransposedTheOtherWay", 0, -1, -1, 0, 3, 1, 2},
        Orientation{"Doubled", 2, 0, 0, 2, 0, 1, 2}, Orientation{"HalvedAndTurned", 0, 0.5, -0.5, 0, 2, 0, 3},
        Orientation{"WidenedByTheMatrix", 2, 0, 0, 1, 0, 1, 2},
        Orientation{"TurnedWithALastValueOf16384", 0, 1, -1, 0, 2, 0, 3, 1.0 / 65536},
        Orientation{"MirroredAndHalvedInAll", -1, 0, 0, 1, 1, 0, 3, 0.5}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(DisplayMatrix, GoesToTheNearestQuarterAndPassesOverAFlatOne) {
    constexpr std::int32_t one = 65536;
    const Size size{100, 50};
    const std::int32_t flat[9] = {one, 0, 0, 0, 0, 0, 0, 0, 1 << 30};
    EXPECT_EQ(FFmpegProbe::orientation(flat, size), AffineTransform{});
    const std::int32_t huge[9] = {one * 1000, 0, 0, 0, one, 0, 0, 0, 1 << 30};
    EXPECT_EQ(FFmpegProbe::orientation(huge, size), AffineTransform{});
    // A last value in the unit of the others means one as well.
    const std::int32_t mistaken[9] = {0, one, 0, -one, 0, 0, 0, 0, one};
    EXPECT_EQ(FFmpegProbe::orientation(mistaken, size), (AffineTransform{0, 1, -1, 0, 50, 0}));
    // As does one in whole numbers by which all others were multiplied.
    const std::int32_t whole[9] = {0, one * 16384, 0, -one * 16384, 0, 0, 0, 0, 16384};
    EXPECT_EQ(FFmpegProbe::orientation(whole, size), (AffineTransform{0, 1, -1, 0, 50, 0}));
    // Without one, the others stand for themselves.
    const std::int32_t none[9] = {0, one, 0, -one, 0, 0, 0, 0, 0};
    EXPECT_EQ(FFmpegProbe::orientation(none, size), (AffineTransform{0, 1, -1, 0, 50, 0}));
    // 80 degrees clockwise.
    const auto c = static_cast<std::int32_t>(one * 0.17364818);
    const auto s = static_cast<std::int32_t>(one * 0.98480775);
    const std::int32_t skew[9] = {c, s, 0, -s, c, 0, 0, 0, 1 << 30};
    const AffineTransform map = FFmpegProbe::orientation(skew, size);
    EXPECT_EQ(map.a, 0);
    EXPECT_NEAR(map.b, 1, 1e-4);
    EXPECT_NEAR(map.c, -1, 1e-4);
    EXPECT_EQ(map.d, 0);
    EXPECT_NEAR(map.tx, 50, 1e-2);
    EXPECT_EQ(map.ty, 0);
}

TEST_F(Asset, MeasuresAFrameRateThatTheContainerMakesUp) {
    SampleMovie movie;
    movie.frames = 120;
    movie.rateNumerator = 24;
    for (const char* name : {"a.flv", "a.mkv", "a.ts", "a.avi", "a.mov", "a.webm"}) {
        SampleMovie copy = movie;
        if (std::string(name) == "a.webm") copy.video = {"-c:v", "libvpx", "-b:v", "1M", "-deadline", "realtime"};
        const auto track = firstTrack(make(name, copy), MediaType::video);
        ASSERT_TRUE(track) << name;
        EXPECT_NEAR(track->facts().nominalFrameRate, 24, 0.05) << name;
    }
    movie.videoFilter = "settb=1/3000,setpts=125*(N+floor(N/2))";
    movie.output = {"-fps_mode", "passthrough"};
    const auto uneven = firstTrack(make("uneven.mp4", movie), MediaType::video);
    ASSERT_TRUE(uneven);
    EXPECT_NEAR(uneven->facts().nominalFrameRate, 16, 0.15);
}

TEST_F(Asset, KeepsALateSoundLate) {
    SampleMovie movie;
    movie.frames = 90;
    movie.soundSeconds = 2;
    movie.soundDelay = 0.5;
    for (const char* name : {"a.mp4", "a.mkv", "a.ts"}) {
        const auto asset = openSource(make(name, movie));
        ASSERT_TRUE(asset) << name;
        const auto audio = tracksOf(*asset, MediaType::audio);
        const auto video = tracksOf(*asset, MediaType::video);
        ASSERT_EQ(audio.size(), 1U) << name;
        ASSERT_EQ(video.size(), 1U) << name;
        const double offset = (audio[0]->facts().timeRange.start - video[0]->facts().timeRange.start).seconds();
        // A transport stream holds the encoder's own delay of one packet as sound.
        EXPECT_NEAR(offset, 0.5, 0.0225) << name;
        EXPECT_NEAR(*asset->loadDuration(), 3, 0.05) << name;
    }
}

/// Files of sound alone: the length of each is that of the sound that went in.
TEST_F(Asset, MeasuresSoundAlone) {
    struct Row {
        const char* name;
        std::vector<std::string> words;
        /// What the format can't say about its end, seconds: coding blocks that can't be trimmed.
        double slack;
    };
    const std::vector<Row> rows{{"a.wav", {}, 0.0001},
                                {"a.flac", {}, 0.0001},
                                {"a.m4a", {"-c:a", "aac"}, 0.0006},
                                {"alac.m4a", {"-c:a", "alac"}, 0.0006},
                                {"a.mp3", {"-c:a", "libmp3lame"}, 0.0001},
                                {"bare.mp3", {"-c:a", "libmp3lame", "-write_xing", "0", "-id3v2_version", "0"}, 0.08},
                                {"a.aac", {"-c:a", "aac"}, 0.05},
                                {"a.ogg", {"-c:a", "libvorbis"}, 0.0001},
                                {"a.opus", {"-c:a", "libopus"}, 0.0001},
                                {"a.webm", {"-c:a", "libopus"}, 0.002},
                                {"a.mka", {"-c:a", "aac"}, 0.05},
                                {"a.ac3", {"-c:a", "ac3"}, 0.04},
                                {"a.aiff", {}, 0.0001},
                                {"a.caf", {}, 0.0001},
                                {"fragments.mp4", {"-c:a", "aac", "-movflags", "frag_keyframe+empty_moov"}, 0.05}};
    for (const Row& row : rows) {
        const FileURL file = makeSampleSound(folder_.path(), row.name, 4.2, 48000, row.words);
        const auto asset = openSource(file);
        ASSERT_TRUE(asset) << row.name;
        const auto audio = tracksOf(*asset, MediaType::audio);
        ASSERT_EQ(audio.size(), 1U) << row.name;
        EXPECT_NEAR(*asset->loadDuration(), 4.2, row.slack) << row.name;
        EXPECT_EQ(audio[0]->facts().timeRange.start, MediaTime{}) << row.name;
        EXPECT_NEAR(audio[0]->facts().timeRange.end().seconds(), *asset->loadDuration(), 0.001) << row.name;
    }
}

TEST_F(Asset, MeasuresFilesThatDontSayHowLongTheyAre) {
    const FileURL sound = makeSampleSound(folder_.path(), "source.wav", 3.5);
    SampleMovie movie;
    movie.frames = 105;
    movie.soundSeconds = 3.5;
    const FileURL film = make("source.mp4", movie);
    struct Row {
        const char* name;
        const FileURL* source;
        std::vector<std::string> words;
    };
    const std::vector<Row> rows{{"a.flac", &sound, {"-f", "flac"}},
                                {"a.wav", &sound, {"-f", "wav"}},
                                {"a.mkv", &film, {"-c", "copy", "-f", "matroska"}},
                                {"a.flv", &film, {"-c", "copy", "-f", "flv"}},
                                {"a.mp4", &film, {"-c", "copy", "-f", "mp4", "-movflags", "frag_keyframe+empty_moov"}},
                                {"a.ts", &film, {"-c", "copy", "-f", "mpegts"}}};
    for (const Row& row : rows) {
        const auto asset = openSource(makePiped(row.name, *row.source, row.words));
        ASSERT_TRUE(asset) << row.name;
        EXPECT_NEAR(*asset->loadDuration(), 3.5, 0.07) << row.name;
    }
}

TEST_F(Asset, MeasuresWhatIsLeftOfATruncatedFile) {
    SampleMovie movie;
    movie.frames = 300;
    movie.soundSeconds = 10;
    movie.video = {"-c:v",     "libx264", "-preset",  "ultrafast", "-g",       "15",   "-b:v",         "600k",
                   "-minrate", "600k",    "-maxrate", "600k",      "-bufsize", "300k", "-x264-params", "nal-hrd=cbr"};
    struct Row {
        const char* name;
        std::vector<std::string> words;
    };
    for (const Row& row :
         {Row{"a.mp4", {"-movflags", "+faststart"}}, Row{"a.mkv", {}}, Row{"a.ts", {}}, Row{"a.flv", {}},
          Row{"a.avi", {}}, Row{"f.mp4", {"-movflags", "frag_keyframe+empty_moov"}}}) {
        movie.output = row.words;
        const FileURL file = make(row.name, movie);
        const auto whole = std::filesystem::file_size(file.path());
        truncateSample(file, whole / 2);
        const auto asset = openSource(file);
        ASSERT_TRUE(asset) << row.name;
        EXPECT_EQ(tracksOf(*asset, MediaType::video).size(), 1U) << row.name;
        EXPECT_GT(*asset->loadDuration(), 3.0) << row.name;
        EXPECT_LT(*asset->loadDuration(), 7.0) << row.name;
    }
}

TEST_F(Asset, HasNoTracksForPicturesTextsAndPlayLists) {
    SampleMovie movie;
    const FileURL film = make("film.mp4", movie);
    std::vector<FileURL> files;
    for (const char* name : {"a.jpg", "a.png", "a.bmp", "a.webp"}) {
        files.push_back(path(name));
        runSampleTool({"-i", film.path(), "-frames:v", "1", files.back().path()});
    }
    for (const char* name : {"a.gif", "b.webp", "a.apng"}) {
        files.push_back(path(name));
        runSampleTool({"-i", film.path(), "-frames:v", "20", files.back().path()});
    }
    for (const char* frames : {"1", "5"}) {
        const FileURL avif = path(std::string(frames) + ".avif");
        const std::vector<std::string> words{"ffmpeg", "-v",   "quiet",      "-i",        film.path(), "-frames:v",
                                             frames,   "-c:v", "libaom-av1", "-cpu-used", "8",         avif.path()};
        // Not every build of the tool can write these.
        if (runTool(words) == 0) files.push_back(avif);
    }
    const auto text = [&](const char* name, const std::string& content) {
        files.push_back(path(name));
        std::ofstream(files.back().path()) << content;
    };
    text("a.srt", "1\n00:00:00,000 --> 00:00:02,000\nHello\n\n2\n00:00:02,000 --> 00:00:04,000\nAgain\n");
    text("a.vtt", "WEBVTT\n\n00:00.000 --> 00:02.000\nHello\n");
    text("a.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-VERSION:3\n#EXTINF:2,\nfilm.mp4\n#EXT-X-ENDLIST\n");
    text("a.txt", "ffconcat version 1.0\nfile film.mp4\n");
    text("a.html", "<html><body>Not a movie</body></html>");
    text("empty.mp4", "");
    for (const FileURL& file : files) {
        const auto asset = openSource(file);
        ASSERT_TRUE(asset) << file.path();
        EXPECT_TRUE(asset->loadTracks(MediaType::video)->empty()) << file.path();
        EXPECT_TRUE(asset->loadTracks(MediaType::audio)->empty()) << file.path();
    }
}

TEST_F(Asset, TakesNoCoverPictureForATrack) {
    SampleMovie movie;
    const FileURL film = make("film.mp4", movie);
    const FileURL cover = path("cover.png");
    runSampleTool({"-i", film.path(), "-frames:v", "1", cover.path()});
    const FileURL sound = makeSampleSound(folder_.path(), "plain.m4a", 2);
    const FileURL both = path("covered.m4a");
    runSampleTool({"-i", sound.path(), "-i", cover.path(), "-map", "0", "-map", "1", "-c", "copy", "-disposition:v:0",
                   "attached_pic", both.path()});
    const auto asset = openSource(both);
    ASSERT_TRUE(asset);
    EXPECT_TRUE(asset->loadTracks(MediaType::video)->empty());
    EXPECT_EQ(asset->loadTracks(MediaType::audio)->size(), 1U);
}

TEST_F(Asset, RefusesInWordsWhatIsNoRegularFile) {
    EXPECT_EQ(failureOf(path("Gone.mov")), "“Gone.mov” could not be opened: No such file or directory.");
    EXPECT_EQ(failureOf(folder_.url()), "“" + folder_.url().fileName() + "” is a folder, not a media file.");
    ASSERT_EQ(::mkfifo(path("Pipe.mov").path().c_str(), 0600), 0);
    EXPECT_EQ(failureOf(path("Pipe.mov")), "“Pipe.mov” is not a regular file.");
    EXPECT_EQ(failureOf(FileURL::fromPath("/dev/zero")), "“zero” is not a regular file.");
    EXPECT_EQ(failureOf(*FileURL::parse("https://example.com/a.mp4")), "“a.mp4” is not a file on this computer.");
}

TEST_F(Asset, EndsAsCancelledWhenAStopWasRequested) {
    const FileURL file = make("a.mp4", {});
    std::stop_source source;
    source.request_stop();
    const auto asset = FFmpegAsset::open(file, source.get_token());
    ASSERT_FALSE(asset);
    EXPECT_TRUE(asset.error().isCancelled());
}

/// Damage of every kind, small files so that many fit: nothing may crash, hang or answer nonsense.
TEST_F(Asset, OutlivesDamage) {
    SampleMovie movie;
    movie.width = 64;
    movie.height = 48;
    movie.frames = 40;
    movie.soundSeconds = 1.3;
    std::mt19937 random(3);
    struct Row {
        const char* name;
        std::vector<std::string> words;
    };
    for (const Row& row :
         {Row{"a.mp4", {"-movflags", "+faststart"}}, Row{"a.mkv", {}}, Row{"a.ts", {}}, Row{"a.flv", {}},
          Row{"a.avi", {}}, Row{"f.mp4", {"-movflags", "frag_keyframe+empty_moov"}}}) {
        movie.output = row.words;
        const FileURL file = make(row.name, movie);
        std::ifstream input(file.path(), std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(input)), {});
        for (int round = 0; round < 25; ++round) {
            std::string damaged = bytes;
            // The first kilobytes hold the headers, where damage tells most.
            const std::size_t reach = round % 2 == 0 ? std::min<std::size_t>(4096, damaged.size()) : damaged.size();
            for (int i = 0; i < 1 + round; ++i) damaged[random() % reach] = static_cast<char>(random());
            if (round % 3 == 0) damaged.resize(random() % damaged.size());
            const FileURL broken = path("damaged");
            std::ofstream(broken.path(), std::ios::binary) << damaged;
            const auto asset = FFmpegAsset::open(broken, {});
            if (!asset) continue;
            EXPECT_TRUE(std::isfinite(*(*asset)->loadDuration()));
            for (const auto& track : tracksOf(**asset, MediaType::video)) {
                auto reader = VideoFrameReader::open(track);
                if (!reader) continue;
                for (const int time : {0, 400, 100, 100000}) EXPECT_TRUE((*reader)->frame({time, 600}, {}));
            }
        }
    }
}

}  // namespace
}  // namespace kelvane::testing
