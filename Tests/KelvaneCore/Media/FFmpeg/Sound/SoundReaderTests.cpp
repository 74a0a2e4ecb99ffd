#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "Media/FFmpeg/Sound/SoundReader.h"
#include "Media/FFmpeg/Sound/SoundRenderer.h"
#include "Media/MediaError.h"
#include "SoundTestFiles.h"
#include "Support/TempFolder.h"

namespace kelvane {
namespace {

using namespace testing;

double leftAt(std::int64_t sample) { return testSound(static_cast<double>(sample) / soundSampleRate, 0); }

std::vector<float> readAt(SoundReader& reader, std::int64_t first, std::size_t count) {
    std::vector<float> sound(count * 2);
    const auto read = reader.read(first, sound, {});
    EXPECT_TRUE(read) << (read ? "" : read.error().message);
    return sound;
}

std::unique_ptr<SoundReader> openReader(const std::string& path) {
    auto reader = SoundReader::open(trackOf(path));
    EXPECT_TRUE(reader);
    return std::move(*reader);
}

struct Row {
    SoundFile file;
    /// Largest deviation from the sound itself, root of mean square; the sound's own is 0.19.
    double deviation = 0;
    /// Samples of the encoder's delay, at the file's rate, that the container has no place to tell.
    int delay = 0;
};

class SoundPositions : public ::testing::TestWithParam<Row> {};

TEST_P(SoundPositions, EverySampleIsAtItsPlaceReadInOrderAndOutOfOrder) {
    const TempFolder folder;
    const Row& row = GetParam();
    const auto path = folder.path(row.file.name);
    if (!writeSound(path, row.file)) GTEST_SKIP() << "no encoder " << row.file.encoder;
    const auto reader = openReader(path);
    const auto expected = [&](std::int64_t sample) {
        return testSound(static_cast<double>(sample) / soundSampleRate - static_cast<double>(row.delay) / row.file.rate,
                         0);
    };
    const auto whole = readAt(*reader, 0, 3 * soundSampleRate);
    const std::size_t inner = 2400;
    EXPECT_EQ(bestShift(whole, inner, 48000, expected), 0);
    EXPECT_LT(deviation(whole, inner, 3 * soundSampleRate - 2 * inner, expected), row.deviation);
    // The first quarter of a second, so that an encoder's delay shows.
    EXPECT_EQ(bestShift(whole, 130, 12000, expected), 0);
    for (const std::int64_t first : {96000, 61000, 12345, 110001, 0}) {
        const auto part = readAt(*reader, first, 24000);
        const auto shifted = [&](std::int64_t i) { return expected(first + i); };
        EXPECT_EQ(bestShift(part, 200, 20000, shifted), 0) << "from " << first;
        EXPECT_LT(deviation(part, 200, 20000, shifted), row.deviation) << "from " << first;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, SoundPositions,
    ::testing::Values(
        Row{{"48k.wav", "wav", "pcm_s16le", 48000}, 1e-4}, Row{{"44k.wav", "wav", "pcm_s16le", 44100}, 3e-4},
        Row{{"22k.wav", "wav", "pcm_s16le", 22050}, 3e-4}, Row{{"96k.wav", "wav", "pcm_s16le", 96000}, 3e-4},
        Row{{"8k.wav", "wav", "pcm_s16le", 8000}, 2e-3}, Row{{"odd.wav", "wav", "pcm_s16le", 44101}, 1e-3},
        Row{{"44k.flac", "flac", "flac", 44100}, 3e-4}, Row{{"48k.flac", "flac", "flac", 48000}, 1e-4},
        Row{{"44k.m4a", "mp4", "aac", 44100}, 0.03}, Row{{"48k.m4a", "mp4", "aac", 48000}, 0.03},
        Row{{"22k.m4a", "mp4", "aac", 22050}, 0.02}, Row{{"44k-aac.mkv", "matroska", "aac", 44100}, 0.06, 1024},
        Row{{"48k-flac.mkv", "matroska", "flac", 48000}, 1e-4}, Row{{"44k-pcm.mov", "mov", "pcm_s16le", 44100}, 3e-4},
        Row{{"44k.mp3", "mp3", "libmp3lame", 44100}, 0.02}, Row{{"48k.mp3", "mp3", "libmp3lame", 48000}, 0.02},
        Row{{"22k.mp3", "mp3", "libmp3lame", 22050}, 0.02}, Row{{"48k.opus", "ogg", "libopus", 48000}, 0.03},
        Row{{"48k-opus.webm", "webm", "libopus", 48000}, 0.03}, Row{{"44k.ogg", "ogg", "libvorbis", 44100}, 0.03},
        Row{{"48k.ts", "mpegts", "aac", 48000}, 0.06, 1024}),
    [](const auto& row) {
        std::string name = row.param.file.name;
        std::ranges::replace_if(name, [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
        return name;
    });

struct SeamRow {
    SoundFile file;
    /// Between both ways when the halves are opened apart. A perceptual decoder makes up noise as it goes.
    double difference = 0;
};

class SoundSeams : public ::testing::TestWithParam<SeamRow> {};

TEST_P(SoundSeams, AClipSplitInTwoSoundsLikeTheWholeOne) {
    const TempFolder folder;
    const auto path = folder.path(GetParam().file.name);
    if (!writeSound(path, GetParam().file)) GTEST_SKIP() << "no encoder";
    const auto track = trackOf(path);
    EditedMedia whole;
    addSound(whole, {{0, track, 0.5, 2, 1}});
    const auto expected = render(whole, 2);
    EditedMedia split;
    addSound(split, {{0, track, 0.5, 0.77, 1}, {0.77, track, 1.27, 1.23, 1}});
    EXPECT_EQ(render(split, 2), expected);
    // Each half on a track of its own is opened and sought by itself.
    EditedMedia apart;
    addSound(apart, {{0, track, 0.5, 0.77, 1}});
    addSound(apart, {{0.77, track, 1.27, 1.23, 1}});
    const auto other = render(apart, 2);
    double largest = 0;
    for (std::size_t i = 0; i < other.size(); ++i)
        largest = std::max(largest, std::fabs(double{other[i]} - expected[i]));
    EXPECT_LE(largest, GetParam().difference);
}

INSTANTIATE_TEST_SUITE_P(Formats, SoundSeams,
                         ::testing::Values(SeamRow{{"48k.wav", "wav", "pcm_s16le", 48000}, 0},
                                           SeamRow{{"44k.wav", "wav", "pcm_s16le", 44100}, 1e-6},
                                           SeamRow{{"22k.wav", "wav", "pcm_s16le", 22050}, 1e-6},
                                           SeamRow{{"96k.flac", "flac", "flac", 96000}, 1e-6},
                                           SeamRow{{"44k.m4a", "mp4", "aac", 44100}, 1e-4},
                                           SeamRow{{"48k.m4a", "mp4", "aac", 48000}, 1e-4},
                                           SeamRow{{"44k-aac.mkv", "matroska", "aac", 44100}, 1e-4},
                                           SeamRow{{"44k.mp3", "mp3", "libmp3lame", 44100}, 1e-6}));

TEST(SoundReader, MonoSoundsOnBothSidesAtItsOwnLevel) {
    const TempFolder folder;
    ASSERT_TRUE(writeSound(folder.path("mono.wav"), {"mono.wav", "wav", "pcm_f32le", 48000, 1}));
    const auto sound = readAt(*openReader(folder.path("mono.wav")), 4800, 4800);
    for (std::size_t i = 0; i < 4800; ++i) {
        ASSERT_NEAR(sound[i * 2], leftAt(static_cast<std::int64_t>(4800 + i)), 1e-6);
        ASSERT_EQ(sound[i * 2], sound[i * 2 + 1]);
    }
}

TEST(SoundReader, SixChannelsComeDownToTwoWithoutExceedingFullScale) {
    const TempFolder folder;
    SoundFile file{"six.wav", "wav", "pcm_f32le", 48000, 6};
    file.sound = [](double, int) { return 1.0; };
    ASSERT_TRUE(writeSound(folder.path("six.wav"), file));
    const auto sound = readAt(*openReader(folder.path("six.wav")), 4800, 100);
    for (const float sample : sound) ASSERT_NEAR(sample, 1.0F, 1e-5F);
    // The centre is on both sides, at the same level.
    file.sound = [](double, int channel) { return channel == 2 ? 1.0 : 0.0; };
    ASSERT_TRUE(writeSound(folder.path("centre.wav"), file));
    const auto centre = readAt(*openReader(folder.path("centre.wav")), 4800, 100);
    EXPECT_NEAR(centre[0], 0.7071 / (1 + 2 * 0.7071), 1e-3);
    EXPECT_EQ(centre[0], centre[1]);
}

TEST(SoundReader, SilenceStandsBeforeALateTrackInGapsAndBehindTheEnd) {
    const TempFolder folder;
    SoundFile file{"gap.mkv", "matroska", "flac", 48000, 2, 3};
    file.gapAt = 1.2;
    file.gap = 0.75;
    ASSERT_TRUE(writeSound(folder.path("gap.mkv"), file));
    const auto reader = openReader(folder.path("gap.mkv"));
    const auto sound = readAt(*reader, 0, 5 * soundSampleRate);
    // The encoder's frames are 4608 samples: the gap begins with the first frame at or behind 1.2 s.
    const std::size_t from = (57600 + 4607) / 4608 * 4608;
    const std::size_t to = from + 36000;
    EXPECT_LT(deviation(sound, 0, from, leftAt), 1e-4);
    for (std::size_t i = from * 2; i < to * 2; ++i) ASSERT_EQ(sound[i], 0) << i / 2;
    EXPECT_LT(deviation(sound, to, 3 * 48000 - from, leftAt), 1e-4);
    for (std::size_t i = (3 * 48000 + 36000) * 2; i < sound.size(); ++i) ASSERT_EQ(sound[i], 0) << i / 2;
    // Likewise when reading begins inside of the gap.
    const auto part = readAt(*reader, static_cast<std::int64_t>(from) + 100, 48000);
    for (std::size_t i = 0; i < (36000 - 100) * 2; ++i) ASSERT_EQ(part[i], 0) << i / 2;
    EXPECT_NE(part[(36000 - 99) * 2], 0);
}

TEST(SoundReader, AGapOfHoursTakesNoMemoryAndNoTime) {
    const TempFolder folder;
    SoundFile file{"hours.mkv", "matroska", "flac", 44100, 2, 2};
    file.gapAt = 1;
    file.gap = 20000;
    ASSERT_TRUE(writeSound(folder.path("hours.mkv"), file));
    const auto reader = openReader(folder.path("hours.mkv"));
    const auto sound = readAt(*reader, 0, 5 * soundSampleRate);
    EXPECT_LT(deviation(sound, 2400, 40000, leftAt), 3e-4);
    for (std::size_t i = 2 * 60000; i < sound.size(); ++i) ASSERT_EQ(sound[i], 0);
    const std::int64_t late = 20001LL * soundSampleRate + 24000;
    const auto after = readAt(*reader, late, 12000);
    // Time stamps of this container are whole milliseconds: 24 samples either way.
    EXPECT_LE(std::abs(bestShift(after, 200, 10000, [&](std::int64_t i) { return leftAt(late + i); })), 24);
}

TEST(SoundReader, ALateTrackKeepsItsPlace) {
    const TempFolder folder;
    SoundFile file{"late.mka", "matroska", "flac", 48000, 2, 2};
    file.start = 0.5;
    ASSERT_TRUE(writeSound(folder.path("late.mka"), file));
    // As an asset whose picture begins at zero: the track's own zero is the file's.
    auto facts = trackOf(folder.path("late.mka"))->facts();
    facts.zero = 0;
    auto reader = SoundReader::open(std::make_shared<const FFmpegTrack>(facts));
    ASSERT_TRUE(reader);
    const auto sound = readAt(**reader, 0, 96000);
    for (std::size_t i = 0; i < 24000 * 2; ++i) ASSERT_EQ(sound[i], 0) << i / 2;
    EXPECT_LT(deviation(sound, 24000, 48000, [](std::int64_t i) { return leftAt(i - 24000); }), 1e-4);
}

TEST(SoundReader, TwoMinutesOfAnotherRateEndOnTheSample) {
    const TempFolder folder;
    SoundFile file{"long.wav", "wav", "pcm_s16le", 44100, 1, 120};
    ASSERT_TRUE(writeSound(folder.path("long.wav"), file));
    const auto reader = openReader(folder.path("long.wav"));
    std::vector<float> sound;
    for (std::int64_t at = 0; at < 120LL * soundSampleRate; at += 48000) sound = readAt(*reader, at, 48000);
    const auto last = [](std::int64_t i) { return leftAt(119LL * soundSampleRate + i); };
    EXPECT_EQ(bestShift(sound, 200, 40000, last), 0);
    EXPECT_LT(deviation(sound, 0, 47900, last), 3e-4);
}

TEST(SoundReader, DamageIsSilentAndMovesNothing) {
    const TempFolder folder;
    ASSERT_TRUE(writeSound(folder.path("whole.m4a"), {"whole.m4a", "mp4", "aac", 48000, 2, 6}));
    std::string bytes = folder.read("whole.m4a");
    const auto data = bytes.find("mdat");
    ASSERT_NE(data, std::string::npos);
    const std::size_t middle = data + (bytes.size() - data) / 3;
    for (std::size_t i = middle; i < middle + 8000; ++i) bytes[i] = static_cast<char>(i * 131 + (i >> 3));
    folder.write("damaged.m4a", bytes);
    const auto sound = readAt(*openReader(folder.path("damaged.m4a")), 0, 6 * soundSampleRate);
    EXPECT_EQ(bestShift(sound, 2400, 40000, leftAt), 0);
    EXPECT_EQ(bestShift(sound, 5 * 48000, 40000, leftAt), 0);
    EXPECT_LT(deviation(sound, 5 * 48000, 40000, leftAt), 0.02);
}

TEST(SoundReader, AChangeOfRateAndChannelsInMidStreamIsHeardThrough) {
    const TempFolder folder;
    SoundFile first{"a.mp3", "mp3", "libmp3lame", 44100, 2, 2};
    SoundFile second{"b.mp3", "mp3", "libmp3lame", 32000, 1, 2};
    if (!writeSound(folder.path("a.mp3"), first)) GTEST_SKIP() << "no encoder";
    ASSERT_TRUE(writeSound(folder.path("b.mp3"), second));
    const std::string head = folder.read("a.mp3");
    folder.write("both.mp3", head + folder.read("b.mp3"));
    const auto reader = openReader(folder.path("both.mp3"));
    const auto sound = readAt(*reader, 0, 4 * soundSampleRate);
    EXPECT_EQ(bestShift(sound, 2400, 40000, leftAt), 0);
    double loud = 0;
    for (std::size_t i = 2 * 120000; i < 2 * 160000; ++i) loud = std::max(loud, std::fabs(double{sound[i]}));
    EXPECT_GT(loud, 0.1);
}

TEST(SoundReader, AReplacedFileIsAnInvalidClip) {
    const TempFolder folder;
    ASSERT_TRUE(writeSound(folder.path("take1.wav"), {"take1.wav", "wav", "pcm_s16le"}));
    const auto track = trackOf(folder.path("take1.wav"));
    folder.write("take1.wav", "something else");
    EXPECT_EQ(SoundReader::open(track).error(), MediaError::invalidClip("take1"));
}

TEST(SoundReader, AStopEndsReadingAsCancelled) {
    const TempFolder folder;
    ASSERT_TRUE(writeSound(folder.path("take1.wav"), {"take1.wav", "wav", "pcm_s16le"}));
    const auto reader = openReader(folder.path("take1.wav"));
    std::stop_source stop;
    stop.request_stop();
    std::vector<float> sound(2000);
    EXPECT_EQ(reader->read(0, sound, stop.get_token()), std::unexpected(Error::cancelled()));
    // And goes on when asked again.
    EXPECT_LT(deviation(readAt(*reader, 0, 1000), 0, 1000, leftAt), 1e-4);
}

}  // namespace
}  // namespace kelvane
