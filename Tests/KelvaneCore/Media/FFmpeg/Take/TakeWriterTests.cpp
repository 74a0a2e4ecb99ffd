#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <limits>
#include <new>
#include <utility>

#include "../Sound/SoundTestFiles.h"
#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/FFmpeg/Sound/SoundReader.h"
#include "Media/MediaEngine.h"
#include "Media/MediaError.h"
#include "Support/KilledProcess.h"
#include "Support/TempFolder.h"

namespace {

/// Why the next call of fdatasync fails, an errno value; 0 when it doesn't.
int syncFailure = 0;

}  // namespace

/// Takes the system's place in this program, so that a disk can be seen to fail.
extern "C" int fdatasync(int file) {
    if (syncFailure != 0) {
        errno = std::exchange(syncFailure, 0);
        return -1;
    }
    return static_cast<int>(::syscall(SYS_fdatasync, file));
}

namespace kelvane {
namespace {

using namespace testing;

constexpr std::int64_t second = soundSampleRate;

double voiceAt(std::int64_t sample) { return testSound(static_cast<double>(sample) / soundSampleRate, 0); }

std::vector<float> voice(std::int64_t first, std::int64_t count) {
    std::vector<float> samples(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<float>(voiceAt(first + static_cast<std::int64_t>(i)));
    return samples;
}

/// Blocks of a device that gives no two alike.
Result<void> writeVoice(TakeWriter& writer, std::int64_t from, std::int64_t to) {
    for (std::int64_t at = from, count = 1; at < to; at += count) {
        count = std::min<std::int64_t>((at * 7) % 1900 + 1, to - at);
        if (auto written = writer.write(voice(at, count)); !written) return written;
    }
    return {};
}

class Takes : public ::testing::Test {
protected:
    std::unique_ptr<TakeWriter> make(std::string_view name = "take.m4a") {
        auto made = platform.makeTakeWriter(folder.url(name));
        EXPECT_TRUE(made) << (made ? "" : made.error().message);
        return made ? std::move(*made) : nullptr;
    }
    void record(std::int64_t length) {
        const auto writer = make();
        ASSERT_TRUE(writeVoice(*writer, 0, length));
        ASSERT_TRUE(writer->finish());
    }
    Result<Clip> import(std::string_view name = "take.m4a") {
        auto imported = MediaEngine::importClip(platform, folder.url(name), {});
        if (!imported) return fail(imported.error());
        return imported->clip;
    }
    /// Left side of what the engine hears of the file.
    std::vector<float> hear(std::int64_t first, std::int64_t count, std::string_view name = "take.m4a") {
        auto reader = SoundReader::open(trackOf(folder.path(name)));
        EXPECT_TRUE(reader);
        std::vector<float> sound(static_cast<std::size_t>(count) * 2);
        if (reader) EXPECT_TRUE((*reader)->read(first, sound, {}));
        return sound;
    }
    /// The file's boxes, in order.
    std::vector<std::string> boxes(std::string_view name = "take.m4a") {
        const std::string bytes = folder.read(name);
        const auto number = [&](std::size_t at, int count) {
            std::uint64_t value = 0;
            for (int i = 0; i < count; ++i) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
            return value;
        };
        std::vector<std::string> types;
        for (std::size_t at = 0; at + 16 <= bytes.size();) {
            const std::uint64_t size = number(at, 4);
            types.push_back(bytes.substr(at + 4, 4));
            at += static_cast<std::size_t>(size == 1 ? number(at + 8, 8) : std::max<std::uint64_t>(size, 8));
        }
        return types;
    }

    TempFolder folder;
    FFmpegPlatform platform;
};

class TakeLengths : public Takes, public ::testing::WithParamInterface<std::int64_t> {};

TEST_P(TakeLengths, AreExactAndEverySampleIsAtItsPlace) {
    const std::int64_t length = GetParam();
    record(length);
    const auto clip = import();
    ASSERT_TRUE(clip) << clip.error().message;
    EXPECT_TRUE(clip->audioOnly);
    EXPECT_NEAR(clip->sourceDuration, static_cast<double>(length) / soundSampleRate, 1.0 / soundSampleRate);
    EXPECT_EQ(boxes(), (std::vector<std::string>{"ftyp", "mdat", "moov"}));
    AVFormatContext* opened = nullptr;
    ASSERT_EQ(avformat_open_input(&opened, folder.path("take.m4a").c_str(), nullptr, nullptr), 0);
    const FormatContextPtr format(opened);
    // Newer versions of the library tell a length only then.
    ASSERT_GE(avformat_find_stream_info(opened, nullptr), 0);
    ASSERT_EQ(opened->nb_streams, 1U);
    const AVCodecParameters& codec = *opened->streams[0]->codecpar;
    EXPECT_EQ(codec.codec_id, AV_CODEC_ID_AAC);
    EXPECT_EQ(codec.ch_layout.nb_channels, 1);
    EXPECT_EQ(codec.sample_rate, soundSampleRate);
    EXPECT_EQ(av_rescale(opened->duration, soundSampleRate, AV_TIME_BASE), length);

    const std::int64_t edge = 240;
    const auto sound = hear(0, length + second / 10);
    const auto inner = static_cast<std::size_t>(length - 2 * edge);
    EXPECT_EQ(bestShift(sound, edge, std::min<std::size_t>(inner, 20000), voiceAt, 48), 0);
    // A voice that has just set in is coded less well.
    EXPECT_LT(deviation(sound, edge, inner, voiceAt), length < 4096 ? 0.05 : 0.03);
    // Its end is where the sound ends.
    if (length > second)
        EXPECT_LT(deviation(sound, static_cast<std::size_t>(length - 4800), 4800 - edge, voiceAt), 0.03);
    // What the last packet decodes to behind it is as good as silent.
    const auto silence = [](std::int64_t) { return 0.0; };
    EXPECT_LT(deviation(sound, static_cast<std::size_t>(length + 1), 4000, silence), 1e-3);
}

// The least that a clip may be long; a packet; a fragment less the delay, and a sample to each side; more of them.
INSTANTIATE_TEST_SUITE_P(Samples, TakeLengths,
                         ::testing::Values(1600, 2047, 2048, 22 * 1024 - 1, 22 * 1024, 22 * 1024 + 1, 23 * 1024, second,
                                           3 * second + 17, 10 * second - 1));

TEST_F(Takes, OfLessThanAThirtiethOfASecondAreWholeFilesThatNoTimelineTakes) {
    for (const std::int64_t length : {0, 1, 500, 1024, 1599}) {
        record(length);
        EXPECT_EQ(boxes(), (std::vector<std::string>{"ftyp", "mdat", "moov"})) << length;
        const auto clip = import();
        ASSERT_FALSE(clip) << length;
        EXPECT_EQ(clip.error(), MediaError::invalidClip("take.m4a")) << length;
        std::filesystem::remove(folder.path("take.m4a"));
    }
}

TEST_F(Takes, HoldAllButHalfASecondWhileTheyGrow) {
    const auto writer = make();
    std::int64_t written = 0;
    for (const std::int64_t until : {second, 2 * second + 5, 5 * second}) {
        ASSERT_TRUE(writeVoice(*writer, written, until));
        written = until;
        const auto clip = import();
        ASSERT_TRUE(clip) << clip.error().message;
        EXPECT_LE(clip->sourceDuration * soundSampleRate, static_cast<double>(written));
        // A fragment, the packet that the encoder looks ahead, and its delay.
        EXPECT_GE(clip->sourceDuration * soundSampleRate, static_cast<double>(written - 26 * 1024));
        const auto length = static_cast<std::int64_t>(std::lround(clip->sourceDuration * soundSampleRate));
        const auto sound = hear(0, length);
        EXPECT_EQ(bestShift(sound, 240, 20000, voiceAt, 48), 0);
        EXPECT_LT(deviation(sound, 240, static_cast<std::size_t>(length - 480), voiceAt), 0.03);
    }
}

/// What a child process tells before it is killed.
struct Told {
    std::atomic<std::int64_t> handed = 0;
    std::atomic<bool> finished = false;
};

TEST_F(Takes, OpenAndHoldAllButTheLastSecondWhereverTheProgramIsKilled) {
    void* shared = mmap(nullptr, sizeof(Told), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    constexpr std::int64_t length = 2 * second + 123;
    int opened = 0;
    ChildEnd end = ChildEnd::killed;
    for (int step = 1; end == ChildEnd::killed; ++step) {
        auto* told = new (shared) Told;
        std::filesystem::remove(folder.path("take.m4a"));
        end = killAtFileOperation(step, [&] {
            auto writer = platform.makeTakeWriter(folder.url("take.m4a"));
            for (std::int64_t at = 0; writer && at < length; at += 480) {
                const std::int64_t count = std::min<std::int64_t>(480, length - at);
                if (!(*writer)->write(voice(at, count))) return false;
                told->handed = at + count;
            }
            told->finished = writer && (*writer)->finish().has_value();
            return told->finished.load();
        });
        if (end == ChildEnd::notPermitted) GTEST_SKIP() << "no process may watch another here";
        ASSERT_NE(end, ChildEnd::failed) << "step " << step;
        const auto clip = import();
        if (told->handed <= second) continue;
        ASSERT_TRUE(clip) << "step " << step << ": " << clip.error().message;
        ++opened;
        EXPECT_GE(clip->sourceDuration * soundSampleRate, static_cast<double>(told->handed - second)) << step;
        // Without the index of the whole, the last packet may count in full.
        EXPECT_LE(clip->sourceDuration * soundSampleRate, static_cast<double>(length + 1024)) << step;
        const auto sound = hear(0, told->handed - second);
        EXPECT_LT(deviation(sound, 240, static_cast<std::size_t>(told->handed - second - 480), voiceAt), 0.03) << step;
    }
    munmap(shared, sizeof(Told));
    EXPECT_EQ(end, ChildEnd::done);
    EXPECT_GT(opened, 8);
}

TEST_F(Takes, OpenWhereverTheirLastFragmentIsTorn) {
    const auto writer = make();
    ASSERT_TRUE(writeVoice(*writer, 0, second));
    const std::string before = folder.read("take.m4a");
    ASSERT_TRUE(writeVoice(*writer, second, second * 3 / 2));
    const std::string after = folder.read("take.m4a");
    ASSERT_GT(after.size(), before.size() + 2000);
    const auto whole = import();
    folder.write("before.m4a", before);
    const auto least = import("before.m4a");
    ASSERT_TRUE(whole && least);
    for (std::size_t size = before.size() + 1; size < after.size(); size += 391) {
        folder.write("torn.m4a", after.substr(0, size));
        const auto clip = import("torn.m4a");
        ASSERT_TRUE(clip) << size << ": " << clip.error().message;
        EXPECT_GE(clip->sourceDuration, least->sourceDuration) << size;
        EXPECT_LE(clip->sourceDuration, whole->sourceDuration) << size;
        const auto length = static_cast<std::int64_t>(least->sourceDuration * soundSampleRate);
        const auto sound = hear(0, length, "torn.m4a");
        EXPECT_LT(deviation(sound, 240, static_cast<std::size_t>(length - 480), voiceAt), 0.03) << size;
        std::filesystem::remove(folder.path("torn.m4a"));
    }
}

TEST_F(Takes, TakeNothingFromTheFileThatIsInTheirPlace) {
    folder.write("take.m4a", "a letter");
    const auto made = platform.makeTakeWriter(folder.url("take.m4a"));
    ASSERT_FALSE(made);
    EXPECT_EQ(made.error().message, "“take.m4a” could not be written: File exists.");
    EXPECT_EQ(folder.read("take.m4a"), "a letter");
}

TEST_F(Takes, SayWhyTheirFolderTakesNoFile) {
    const auto made = platform.makeTakeWriter(folder.url("none/take.m4a"));
    ASSERT_FALSE(made);
    EXPECT_EQ(made.error().message, "“take.m4a” could not be written: No such file or directory.");
}

TEST_F(Takes, OfAFullDiskFailInWordsAndKeepWhatWasWhole) {
    folder.makeFolder("small");
    if (mount("none", folder.path("small").c_str(), "tmpfs", 0, "size=64k") != 0)
        GTEST_SKIP() << "no small disk can be mounted here";
    Result<void> written;
    Result<void> finished;
    Result<Clip> clip;
    {
        const auto writer = make("small/take.m4a");
        written = writeVoice(*writer, 0, 20 * second);
        finished = writer->finish();
        clip = import("small/take.m4a");
    }
    umount(folder.path("small").c_str());
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().message, "“take.m4a” could not be written: No space left on device.");
    ASSERT_FALSE(finished);
    EXPECT_EQ(finished.error(), written.error());
    ASSERT_TRUE(clip) << clip.error().message;
    EXPECT_GT(clip->sourceDuration, 2);
}

TEST_F(Takes, ThatMayGrowNoFurtherFailInWords) {
    const auto writer = make();
    ASSERT_TRUE(writeVoice(*writer, 0, second));
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{std::filesystem::file_size(folder.path("take.m4a")) + 5000, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const auto written = writeVoice(*writer, second, 3 * second);
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().message, "“take.m4a” could not be written: File too large.");
    EXPECT_TRUE(import());
}

TEST_F(Takes, OfADiskThatFailsLateFailInWords) {
    const auto writer = make();
    ASSERT_TRUE(writeVoice(*writer, 0, second));
    syncFailure = EIO;
    const auto written = writeVoice(*writer, second, 2 * second);
    syncFailure = 0;
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().message, "“take.m4a” could not be written: Input/output error.");
    EXPECT_EQ(writer->write(voice(0, 10)).error(), written.error());
    EXPECT_EQ(writer->finish().error(), written.error());
}

TEST_F(Takes, OfDisksThatKnowNoSyncAreWrittenAllTheSame) {
    const auto writer = make();
    syncFailure = EINVAL;
    EXPECT_TRUE(writeVoice(*writer, 0, second));
    EXPECT_EQ(syncFailure, 0);
    EXPECT_TRUE(writer->finish());
    EXPECT_TRUE(import());
}

TEST_F(Takes, PassOverWhatIsNoSample) {
    const auto writer = make();
    std::vector<float> samples = voice(0, second);
    samples[100] = std::numeric_limits<float>::quiet_NaN();
    samples[20000] = std::numeric_limits<float>::infinity();
    samples[30000] = -1e30F;
    ASSERT_TRUE(writer->write(samples));
    ASSERT_TRUE(writer->finish());
    const auto clip = import();
    ASSERT_TRUE(clip);
    EXPECT_NEAR(clip->sourceDuration, 1, 1e-4);
    const auto sound = hear(0, second);
    EXPECT_LT(std::abs(*std::ranges::max_element(sound, {}, [](float x) { return std::abs(x); })), 1.2F);
}

TEST_F(Takes, EndOnceAndTakeNothingAfterwards) {
    const auto writer = make();
    ASSERT_TRUE(writeVoice(*writer, 0, second));
    EXPECT_TRUE(writer->finish());
    const std::string file = folder.read("take.m4a");
    EXPECT_TRUE(writer->finish());
    EXPECT_FALSE(writer->write(voice(0, 4096)));
    EXPECT_EQ(folder.read("take.m4a"), file);
}

}  // namespace
}  // namespace kelvane
