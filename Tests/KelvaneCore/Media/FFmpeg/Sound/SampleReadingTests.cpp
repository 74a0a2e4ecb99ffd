#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>

#include "KelvaneCore/Media/FFmpeg/Source/SourceFixture.h"
#include "Media/AudioSampleReader.h"
#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/MediaError.h"
#include "SoundTestFiles.h"

namespace kelvane {
namespace {

using namespace testing;

/// What the reader yields of a file.
struct Heard {
    Result<bool> result = false;
    std::vector<double> times;
    std::vector<float> amplitudes;
};

Heard hear(const FileURL& url, double start = 0, std::optional<double> end = {}) {
    FFmpegPlatform platform;
    Heard heard;
    heard.result = AudioSampleReader::read(platform, url, start, end,
                                           [&](double time, float amplitude) {
                                               heard.times.push_back(time);
                                               heard.amplitudes.push_back(amplitude);
                                           },
                                           {});
    EXPECT_TRUE(std::ranges::is_sorted(heard.times));
    return heard;
}

Heard hear(const std::string& path, double start = 0, std::optional<double> end = {}) {
    return hear(FileURL::fromPath(path), start, end);
}

/// The part of `heard` with times in [`start`, `end`).
Heard part(const Heard& heard, double start, double end) {
    const auto first = std::ranges::lower_bound(heard.times, start) - heard.times.begin();
    const auto last = std::ranges::lower_bound(heard.times, end) - heard.times.begin();
    return {heard.result,
            {heard.times.begin() + first, heard.times.begin() + last},
            {heard.amplitudes.begin() + first, heard.amplitudes.begin() + last}};
}

/// The time of the loudest frame.
double loudest(const Heard& heard) {
    if (heard.times.empty()) return -1;
    return heard.times[static_cast<std::size_t>(std::ranges::max_element(heard.amplitudes) - heard.amplitudes.begin())];
}

float peakOf(const Heard& heard) { return heard.amplitudes.empty() ? 0 : *std::ranges::max_element(heard.amplitudes); }

std::string nameOf(const SoundFile& file) {
    std::string name = file.name;
    std::ranges::replace_if(name, [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
    return name;
}

// Sound that is kept bit by bit

/// Multiples of 1/64, which every whole-number and float format holds exactly.
double steps(std::int64_t sample, int channel) {
    return static_cast<double>((sample * 37 + channel * 11) % 97 - 48) / 64;
}

class ExactSamples : public ::testing::TestWithParam<SoundFile> {};

TEST_P(ExactSamples, EveryFrameComesWithItsOwnTimeAndAmplitude) {
    const TempFolder folder;
    SoundFile file = GetParam();
    file.seconds = 2;
    file.sound = [&](double seconds, int channel) { return steps(std::llround(seconds * file.rate), channel); };
    const auto path = folder.path(file.name);
    if (!writeSound(path, file)) GTEST_SKIP() << "no encoder " << file.encoder;
    const Heard whole = hear(path);
    ASSERT_EQ(whole.result, true);
    ASSERT_EQ(whole.times.size(), static_cast<std::size_t>(2 * file.rate));
    for (std::size_t i = 0; i < whole.times.size(); ++i) {
        float expected = 0;
        for (int c = 0; c < file.channels; ++c)
            expected = std::max(expected, static_cast<float>(std::fabs(steps(static_cast<std::int64_t>(i), c))));
        ASSERT_EQ(whole.times[i], static_cast<double>(i) / file.rate);
        ASSERT_EQ(whole.amplitudes[i], expected) << "frame " << i;
    }
    for (const auto& [start, end] : {std::pair{0.5, 1.25}, {1.125, 1.1328125}, {1.75, 9.0}, {1.998046875, 2.0}}) {
        const Heard some = hear(path, start, end);
        const Heard expected = part(whole, start, end);
        ASSERT_EQ(some.result, true);
        EXPECT_EQ(some.times, expected.times) << start;
        EXPECT_EQ(some.amplitudes, expected.amplitudes) << start;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, ExactSamples,
    ::testing::Values(
        SoundFile{"u8.wav", "wav", "pcm_u8", 44100, 1}, SoundFile{"s16.wav", "wav", "pcm_s16le", 44100, 2},
        SoundFile{"s24.wav", "wav", "pcm_s24le", 48000, 2}, SoundFile{"s32.wav", "wav", "pcm_s32le", 48000, 2},
        SoundFile{"f32.wav", "wav", "pcm_f32le", 44100, 2}, SoundFile{"f64.wav", "wav", "pcm_f64le", 96000, 1},
        SoundFile{"six.wav", "wav", "pcm_s16le", 48000, 6}, SoundFile{"odd.wav", "wav", "pcm_s16le", 44101, 3},
        SoundFile{"slow.wav", "wav", "pcm_s16le", 8000, 1}, SoundFile{"s24.aiff", "aiff", "pcm_s24be", 44100, 2},
        SoundFile{"s16.caf", "caf", "pcm_s16le", 44100, 2}, SoundFile{"s16.flac", "flac", "flac", 44100, 2},
        SoundFile{"six.flac", "flac", "flac", 48000, 6}, SoundFile{"pcm.mov", "mov", "pcm_s16le", 44100, 2},
        SoundFile{"f32.mov", "mov", "pcm_f32le", 48000, 2}, SoundFile{"alac.m4a", "ipod", "alac", 44100, 2},
        SoundFile{"flac.mkv", "matroska", "flac", 48000, 2}, SoundFile{"pcm.mkv", "matroska", "pcm_s16le", 44100, 2},
        SoundFile{"wv.wv", "wv", "wavpack", 44100, 2}, SoundFile{"tta.tta", "tta", "tta", 44100, 2}),
    [](const auto& row) { return nameOf(row.param); });

TEST(SampleReading, EachOfSixChannelsCountsAsMuchAsAnother) {
    for (int loud = 0; loud < 6; ++loud) {
        const TempFolder folder;
        SoundFile file{"six.wav", "wav", "pcm_f32le", 48000, 6, 0.1};
        file.sound = [&](double, int channel) { return channel == loud ? -0.75 : 0.125; };
        ASSERT_TRUE(writeSound(folder.path("six.wav"), file));
        const Heard heard = hear(folder.path("six.wav"));
        ASSERT_EQ(heard.amplitudes.size(), 4800U);
        EXPECT_EQ(std::ranges::count(heard.amplitudes, 0.75F), 4800) << "channel " << loud;
    }
}

TEST(SampleReading, FloatsBeyondFullScaleStayAndWhatIsNoNumberIsSilent) {
    const TempFolder folder;
    SoundFile file{"float.wav", "wav", "pcm_f32le", 1000, 2, 0.008};
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<std::pair<double, double>> frames{{0.2, -0.7}, {1.75, 0},   {-20, 3},    {nan, nan},
                                                        {nan, 0.5},  {inf, 0.25}, {-inf, inf}, {0, 0}};
    file.sound = [&](double seconds, int channel) {
        const auto& frame = frames.at(static_cast<std::size_t>(std::llround(seconds * 1000)));
        return channel == 0 ? frame.first : frame.second;
    };
    ASSERT_TRUE(writeSound(folder.path("float.wav"), file));
    EXPECT_EQ(hear(folder.path("float.wav")).amplitudes, (std::vector<float>{0.7F, 1.75F, 20, 0, 0.5F, 0.25F, 0, 0}));
}

// Sound that is heard alike only

struct ClickRow {
    SoundFile file;
    /// The encoder's delay that the container has no place to tell, samples.
    int delay = 0;
};

class Clicks : public ::testing::TestWithParam<ClickRow> {};

TEST_P(Clicks, LieAtTheirPlacesReadFromAnywhere) {
    const TempFolder folder;
    SoundFile file = GetParam().file;
    const std::vector<std::int64_t> clicks{file.rate / 50, file.rate, 2 * file.rate + 77};
    file.sound = [&](double seconds, int) {
        return std::ranges::count(clicks, std::llround(seconds * file.rate)) > 0 ? 0.9 : 0.0;
    };
    const auto path = folder.path(file.name);
    if (!writeSound(path, file)) GTEST_SKIP() << "no encoder " << file.encoder;
    const double tolerance = 2.01 / file.rate;
    for (const std::int64_t click : clicks) {
        const double at = static_cast<double>(click + GetParam().delay) / file.rate;
        EXPECT_NEAR(loudest(part(hear(path), at - 0.015, at + 0.2)), at, tolerance);
        EXPECT_NEAR(loudest(hear(path, std::max(at - 0.3, 0.0), at + 0.3)), at, tolerance);
        EXPECT_NEAR(loudest(hear(path, at - 0.01, at + 0.01)), at, tolerance);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, Clicks,
    ::testing::Values(
        ClickRow{{"44k.m4a", "ipod", "aac", 44100}}, ClickRow{{"48k.m4a", "ipod", "aac", 48000, 1}},
        ClickRow{{"48k.mp4", "mp4", "aac", 48000}}, ClickRow{{"44k.mov", "mov", "aac", 44100}},
        ClickRow{{"44k.mp3", "mp3", "libmp3lame", 44100}}, ClickRow{{"48k.mp3", "mp3", "libmp3lame", 48000, 1}},
        ClickRow{{"22k.mp3", "mp3", "libmp3lame", 22050}}, ClickRow{{"44k.ogg", "ogg", "libvorbis", 44100}},
        ClickRow{{"48k.opus", "ogg", "libopus", 48000}}, ClickRow{{"48k.webm", "webm", "libopus", 48000}},
        ClickRow{{"six.m4a", "ipod", "aac", 48000, 6}}, ClickRow{{"48k.ac3", "ac3", "ac3", 48000}, 256},
        ClickRow{{"44k.mkv", "matroska", "aac", 44100}, 1024}, ClickRow{{"48k.ts", "mpegts", "aac", 48000}, 1024}),
    [](const auto& row) { return nameOf(row.param.file); });

TEST(SampleReading, AnEncodersDelayThatMatroskaTellsIsTakenOff) {
    const TempFolder folder;
    SoundFile file{"44k.mkv", "matroska", "aac", 44100};
    const std::vector<std::int64_t> clicks{file.rate / 50, file.rate, 2 * file.rate + 77};
    file.sound = [&](double seconds, int) {
        return std::ranges::count(clicks, std::llround(seconds * file.rate)) > 0 ? 0.9 : 0.0;
    };
    ASSERT_TRUE(writeSound(folder.path(file.name), file));
    // The delay of 1024 samples, 23,219,955 ns, in the place of the track's language.
    auto bytes = folder.read(file.name);
    const auto language = bytes.find("\x22\xB5\x9C\x83und");
    ASSERT_NE(language, std::string::npos);
    bytes.replace(language, 7, "\x56\xAA\x84\x01\x62\x4E\xF3");
    folder.write(file.name, bytes);
    const auto path = folder.path(file.name);
    for (const std::int64_t click : clicks) {
        const double at = static_cast<double>(click) / file.rate;
        EXPECT_NEAR(loudest(part(hear(path), at - 0.015, at + 0.2)), at, 2.01 / file.rate);
        EXPECT_NEAR(loudest(hear(path, std::max(at - 0.3, 0.0), at + 0.3)), at, 2.01 / file.rate);
        EXPECT_NEAR(loudest(hear(path, at - 0.01, at + 0.01)), at, 2.01 / file.rate);
    }
}

TEST(SampleReading, AWrongNumberOfBytesASecondInTheHeaderMovesNothing) {
    struct Row {
        SoundFile file;
        /// Whether the number, which the libraries write truly for this encoder, is put in by hand.
        bool falsified = false;
    };
    // A compressed file gets its number from the encoder's settings, which have no influence on what it holds.
    for (Row& row : std::vector<Row>{{{"ima.wav", "wav", "adpcm_ima_wav", 44100, 2}},
                                     {{"ms.wav", "wav", "adpcm_ms", 22050, 1}},
                                     {{"ima.w64", "w64", "adpcm_ima_wav", 44100, 1}},
                                     {{"s16.wav", "wav", "pcm_s16le", 44100, 2}, true}}) {
        SCOPED_TRACE(row.file.name);
        const TempFolder folder;
        const auto path = folder.path(row.file.name);
        row.file.seconds = 8;
        if (!writeSound(path, row.file)) continue;
        if (row.falsified) {
            auto data = folder.read(row.file.name);
            data.replace(data.find("fmt ") + 16, 4, std::string("\x80\x3E\0\0", 4));
            folder.write(row.file.name, data);
        }
        EXPECT_NEAR(trackOf(path)->facts().timeRange.end().seconds(), 8, 0.1);
        const Heard whole = hear(path);
        ASSERT_EQ(whole.result, true);
        for (const auto& [start, end] : {std::pair{0.75, 1.5}, {4.0, 4.25}, {7.5, 7.75}}) {
            const Heard some = hear(path, start, end);
            const Heard expected = part(whole, start, end);
            EXPECT_GT(expected.times.size(), 1000U);
            EXPECT_TRUE(some.times == expected.times) << start;
            EXPECT_TRUE(some.amplitudes == expected.amplitudes) << start;
        }
    }
}

// Where sound lies in its file

TEST(SampleReading, ALateSoundTrackBeginsLate) {
    skipWithoutTool();
    struct Row {
        const char* name;
        std::vector<std::string> audio;
        /// The first frame's time; an encoder's delay that the file shows as sound comes before the sound itself.
        double first;
        double tolerance;
    };
    const Row rows[] = {{"late.mov", {"-c:a", "pcm_s16le"}, 0.5, 0},
                        {"late.mp4", {"-c:a", "aac", "-b:a", "160k"}, 0.478, 0},
                        {"late.mkv", {"-c:a", "pcm_s16le"}, 0.5, 0.001},
                        {"late-flac.mkv", {"-c:a", "flac"}, 0.5, 0.001}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const TempFolder folder;
        SampleMovie movie;
        movie.soundSeconds = 1;
        movie.soundDelay = 0.5;
        movie.audio = row.audio;
        const FileURL url = makeSampleMovie(folder.path(), row.name, movie);
        const Heard heard = hear(url);
        ASSERT_EQ(heard.result, true);
        ASSERT_FALSE(heard.times.empty());
        EXPECT_NEAR(heard.times.front(), row.first, row.tolerance + 1e-12);
        EXPECT_NEAR(heard.times.back(), 1.5, 0.03);
        const auto loud = std::ranges::find_if(heard.amplitudes, [](float amplitude) { return amplitude > 0.2F; });
        ASSERT_NE(loud, heard.amplitudes.end());
        EXPECT_NEAR(heard.times[static_cast<std::size_t>(loud - heard.amplitudes.begin())], 0.5, 0.003);
        // Silence before it isn't handed over.
        EXPECT_EQ(hear(url, 0, 0.47).times, std::vector<double>());
        EXPECT_EQ(hear(url, 0, 0.47).result, true);
        const Heard some = hear(url, 0.75, 1.0);
        EXPECT_EQ(some.times, part(heard, 0.75, 1.0).times);
        EXPECT_EQ(some.times.size(), 12000U);
    }
}

TEST(SampleReading, AHoleIsNotFilled) {
    for (const SoundFile& form :
         {SoundFile{"hole.mkv", "matroska", "pcm_s16le", 48000, 1}, SoundFile{"hole.m4a", "ipod", "alac", 48000, 1}}) {
        SCOPED_TRACE(form.name);
        const TempFolder folder;
        SoundFile file = form;
        file.seconds = 2;
        file.gapAt = 1;
        file.gap = 0.5;
        file.sound = [](double, int) { return 0.5; };
        if (!writeSound(folder.path(file.name), file)) GTEST_SKIP() << "no encoder";
        const Heard heard = hear(folder.path(file.name));
        ASSERT_EQ(heard.result, true);
        EXPECT_EQ(heard.amplitudes, std::vector<float>(heard.amplitudes.size(), 0.5F));
        EXPECT_EQ(heard.times.size(), 96000U);
        // The container keeps time stamps for whole packets of the encoder.
        const auto after = std::ranges::adjacent_find(heard.times, [](double a, double b) { return b - a > 0.1; });
        ASSERT_NE(after, heard.times.end());
        EXPECT_NEAR(*after, 1, 0.1);
        EXPECT_NEAR(*(after + 1) - *after, 0.5, 0.0015);
    }
}

TEST(SampleReading, AFileWithoutSoundYieldsFalse) {
    const TempFolder folder;
    ASSERT_TRUE(writeMovie(folder.path("silent.mp4"), {.frames = 5, .soundRate = 0}));
    EXPECT_EQ(hear(folder.path("silent.mp4")).result, false);
    EXPECT_EQ(hear(folder.write("text.wav", "no sound at all")).result, false);
}

TEST(SampleReading, AStartBehindTheEndReadsNothing) {
    const TempFolder folder;
    for (const SoundFile& form : {SoundFile{"a.wav", "wav", "pcm_s16le"}, SoundFile{"a.m4a", "ipod", "aac"},
                                  SoundFile{"a.mp3", "mp3", "libmp3lame"}, SoundFile{"a.flac", "flac", "flac"}}) {
        SoundFile file = form;
        file.seconds = 1;
        ASSERT_TRUE(writeSound(folder.path(file.name), file));
        for (const double start : {1.2, 2.5, 1000.0, 1e12, 1e300}) {
            const Heard heard = hear(folder.path(file.name), start);
            EXPECT_EQ(heard.result, true) << file.name << start;
            EXPECT_EQ(heard.times, std::vector<double>());
        }
    }
    ASSERT_TRUE(writeMovie(folder.path("movie.mp4"), {.frames = 30}));
    EXPECT_EQ(hear(folder.path("movie.mp4"), 2).result.error(), MediaError::invalidClip("movie.mp4"));
    EXPECT_EQ(hear(folder.path("movie.mp4"), 2, 3).result, true);
}

TEST(SampleReading, ACoverPictureLeavesTheSoundAsItIs) {
    skipWithoutTool();
    const TempFolder folder;
    for (const SoundFile& form : {SoundFile{"a.mp3", "mp3", "libmp3lame"}, SoundFile{"a.m4a", "ipod", "aac"},
                                  SoundFile{"a.flac", "flac", "flac"}}) {
        SCOPED_TRACE(form.name);
        SoundFile file = form;
        file.seconds = 1;
        ASSERT_TRUE(writeSound(folder.path(file.name), file));
        const auto pictured = folder.path("pictured-" + file.name);
        // Made first: with a limit of pictures, the tool's newer versions leave a packet of sound out as well.
        runSampleTool(
            {"-f", "lavfi", "-i", "color=red:s=64x64,format=rgb24", "-frames:v", "1", folder.path("cover.png")});
        runSampleTool({"-i", folder.path(file.name), "-i", folder.path("cover.png"), "-map", "0:a", "-map", "1:v", "-c",
                       "copy", "-disposition:v:0", "attached_pic", pictured});
        const Heard plain = hear(folder.path(file.name), 0, 0.9);
        const Heard heard = hear(pictured, 0, 0.9);
        ASSERT_EQ(heard.result, true);
        EXPECT_EQ(heard.times, plain.times);
        EXPECT_EQ(heard.amplitudes, plain.amplitudes);
        EXPECT_GE(hear(pictured).times.size(), 47900U);
        // It is read as a movie is.
        EXPECT_EQ(hear(pictured, 3).result.error(), MediaError::invalidClip("pictured-" + file.name));
        EXPECT_EQ(hear(folder.path(file.name), 3).result, true);
    }
}

// Damage

/// Overwrites `count` bytes from `first` on.
void damage(const std::string& path, std::uint64_t first, std::uint64_t count, char byte) {
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(first));
    for (std::uint64_t i = 0; i < count; ++i) file.put(static_cast<char>(byte ^ static_cast<char>(i * 151 >> 3)));
}

TEST(SampleReading, DamagedStretchesArePassedOver) {
    const TempFolder folder;
    for (const SoundFile& form : {SoundFile{"a.m4a", "ipod", "aac"}, SoundFile{"a.mp3", "mp3", "libmp3lame"},
                                  SoundFile{"a.flac", "flac", "flac"}, SoundFile{"a.mkv", "matroska", "aac"},
                                  SoundFile{"a.ogg", "ogg", "libvorbis"}}) {
        SCOPED_TRACE(form.name);
        SoundFile file = form;
        file.seconds = 6;
        const auto path = folder.path(file.name);
        ASSERT_TRUE(writeSound(path, file));
        const Heard whole = hear(path);
        const auto size = std::filesystem::file_size(path);
        damage(path, size * 2 / 5, size / 10, 0x5a);
        const Heard heard = hear(path);
        ASSERT_EQ(heard.result, true) << heard.result.error().message;
        // MP3 has no time stamps, so that what was lost moves the rest.
        EXPECT_NEAR(heard.times.back(), whole.times.back(), form.muxer == "mp3" ? 0.7 : 0.1);
        // What lies before the damage and behind it is as it was.
        EXPECT_EQ(part(heard, 0, 1).amplitudes, part(whole, 0, 1).amplitudes);
        EXPECT_NEAR(peakOf(part(heard, 5, 5.5)), peakOf(part(whole, 5, 5.5)), 0.02);
    }
}

TEST(SampleReading, SoundOfWhichNothingDecodesFailsInWords) {
    const TempFolder folder;
    const auto path = folder.path("a.m4a");
    ASSERT_TRUE(writeSound(path, {"a.m4a", "ipod", "aac"}));
    // The head of the media data stands at byte 36 or so; the index behind it stays whole.
    const std::string data = folder.read("a.m4a");
    const auto media = data.find("mdat");
    const auto index = data.find("moov");
    ASSERT_LT(media, index);
    const Heard before = hear(path);
    ASSERT_EQ(before.result, true);
    std::string broken = data;
    std::fill(broken.begin() + static_cast<std::ptrdiff_t>(media) + 4,
              broken.begin() + static_cast<std::ptrdiff_t>(index) - 4, '\xff');
    folder.write("a.m4a", broken);
    const Heard heard = hear(path);
    ASSERT_FALSE(heard.result);
    EXPECT_EQ(heard.result.error(), Error("“a.m4a” has no sound that can be decoded."));
    EXPECT_EQ(heard.times, std::vector<double>());
}

TEST(SampleReading, AShortenedFileIsReadAsFarAsItGoes) {
    const TempFolder folder;
    for (const SoundFile& form : {SoundFile{"a.wav", "wav", "pcm_s16le"}, SoundFile{"a.mp3", "mp3", "libmp3lame"},
                                  SoundFile{"a.flac", "flac", "flac"}}) {
        SoundFile file = form;
        file.seconds = 4;
        const auto path = folder.path(file.name);
        ASSERT_TRUE(writeSound(path, file));
        truncateSample(FileURL::fromPath(path), std::filesystem::file_size(path) / 2);
        const Heard heard = hear(path);
        ASSERT_EQ(heard.result, true) << heard.result.error().message;
        EXPECT_NEAR(heard.times.back(), 2, 0.2) << file.name;
    }
}

TEST(SampleReading, AMissingFileFailsInWords) {
    const TempFolder folder;
    EXPECT_EQ(hear(folder.path("gone.wav")).result.error().message,
              "“gone.wav” could not be opened: No such file or directory.");
    EXPECT_EQ(hear(folder.makeFolder("folder.wav")).result.error().message,
              "“folder.wav” is a folder, not a media file.");
}

}  // namespace
}  // namespace kelvane
