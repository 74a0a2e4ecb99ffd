#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <random>
#include <thread>

#include "Media/MediaError.h"
#include "SourceFixture.h"

namespace kelvane::testing {
namespace {

/// One way to store a numbered movie.
struct Storage {
    const char* name;
    const char* file;
    SampleMovie movie;
    /// When frame n begins, in units of 1/3000 s; none for the movie's own rate from 0.
    std::int64_t (*begins)(int) = nullptr;
    /// The stream doesn't say how far its frames are reordered.
    bool silentAboutOrder = false;
};

std::vector<std::string> x264(const std::string& parameters) {
    return {"-c:v", "libx264", "-preset", "veryfast", "-qp", "16", "-pix_fmt", "yuv420p", "-x264-params", parameters};
}

std::vector<Storage> storages() {
    std::vector<Storage> all;
    const auto add = [&](const char* name, const char* file, std::vector<std::string> video,
                         std::vector<std::string> output = {}) -> Storage& {
        Storage storage{name, file, {}};
        storage.movie.width = 160;
        storage.movie.height = 96;
        storage.movie.frames = 90;
        storage.movie.video = std::move(video);
        storage.movie.output = std::move(output);
        all.push_back(storage);
        return all.back();
    };
    add("EachFrameAKeyFrame", "a.mp4", x264("keyint=1"));
    add("ReorderedFrames", "a.mp4", x264("keyint=24:bframes=5:b-adapt=0:b-pyramid=normal"));
    add("OpenGroups", "a.mp4", x264("keyint=15:min-keyint=15:scenecut=0:open-gop=1:bframes=3:b-adapt=0"));
    // So short that the decoder holds all of the last groups when the file ends.
    const auto few = [](Storage& storage, int frames) { storage.movie.frames = frames; };
    few(add("OpenGroupsOfThree", "a.mp4", x264("keyint=3:min-keyint=1:scenecut=0:open-gop=1:bframes=2:b-adapt=0")), 12);
    few(add("OpenGroupsOfFiveInMatroska", "a.mkv",
            x264("keyint=5:min-keyint=1:scenecut=0:open-gop=1:bframes=3:b-adapt=0")),
        21);
    few(add("OpenGroupsWithAPyramid", "a.mov",
            x264("keyint=9:min-keyint=1:scenecut=0:open-gop=1:bframes=7:b-adapt=0:b-pyramid=normal")),
        34);
    add("OneKeyFrame", "a.mov", x264("keyint=9999:bframes=3"));
    add("NegativeOffsets", "a.mp4", x264("keyint=24:bframes=3"), {"-movflags", "negative_cts_offsets"});
    add("Fragments", "a.mp4", x264("keyint=12:bframes=2"), {"-movflags", "frag_keyframe+delay_moov"});
    // Without an edit list, the frames begin as late as the decoder lags.
    add("FragmentsThatStartLate", "a.mp4", x264("keyint=12:bframes=2"),
        {"-movflags", "frag_keyframe+empty_moov+default_base_moof"})
        .begins = [](int n) -> std::int64_t { return std::int64_t{100} * (n + 2); };
    add("Hevc", "a.mp4", {"-c:v", "libx265", "-preset", "ultrafast", "-x265-params", "log-level=none:keyint=20:qp=16"});
    add("ProRes", "a.mov", {"-c:v", "prores_ks", "-pix_fmt", "yuv422p10le"});
    add("MotionJpeg", "a.mov", {"-c:v", "mjpeg", "-q:v", "2", "-pix_fmt", "yuvj420p"});
    add("Matroska", "a.mkv", x264("keyint=24:bframes=3"));
    add("WebM", "a.webm", {"-c:v", "libvpx-vp9", "-crf", "10", "-b:v", "0", "-deadline", "realtime", "-g", "30"});
    add("TransportStream", "a.ts", x264("keyint=24:bframes=3"));
    add("TransportStreamOfOpenGroups", "a.ts", {"-c:v", "mpeg2video", "-qscale:v", "2", "-bf", "2", "-g", "12"});
    add("ProgramStream", "a.mpg", {"-c:v", "mpeg2video", "-qscale:v", "2", "-bf", "2", "-g", "12"});
    add("Avi", "a.avi", {"-c:v", "mpeg4", "-qscale:v", "2", "-g", "25"});
    add("AviOfReorderedFrames", "a.avi", {"-c:v", "mpeg4", "-qscale:v", "2", "-bf", "2", "-g", "24"});
    add("Flash", "a.flv", x264("keyint=24:bframes=2"));
    // Clocks that these rates don't go into: every frame's stamp is rounded, half of them upward.
    const auto rate = [](Storage& storage, int numerator) {
        storage.movie.rateNumerator = numerator;
        storage.movie.rateDenominator = 1001;
    };
    rate(add("TransportStreamAtFilmRate", "a.ts", x264("keyint=24:bframes=3")), 24000);
    rate(add("TransportStreamAtTwiceTheNtscRate", "a.ts", x264("keyint=24:bframes=3")), 60000);
    rate(add("MatroskaAtFilmRate", "a.mkv", x264("keyint=24:bframes=3")), 24000);
    Storage& uneven = add("UnevenFrames", "a.mp4", x264("keyint=24:bframes=3"),
                          {"-fps_mode", "passthrough", "-bsf:v", "setts=pts=PTS:dts=DTS:duration=1/30/TB"});
    uneven.movie.videoFilter = "settb=1/3000,setpts=100*(N+2*floor(N/5))";
    uneven.begins = [](int n) -> std::int64_t { return 100 * (n + 2 * (n / 5)); };
    Storage& ntsc = add("NtscRate", "a.mov", x264("keyint=24:bframes=3"));
    ntsc.movie.rateNumerator = 30000;
    ntsc.movie.rateDenominator = 1001;
    // Deep pyramids whose parameter sets don't tell the depth.
    const auto silent = [&](const char* name, const char* file, std::vector<std::string> output = {}) {
        Storage& storage =
            add(name, file, x264("keyint=60:bframes=7:b-adapt=0:b-pyramid=normal:ref=4:scenecut=0"), std::move(output));
        storage.silentAboutOrder = true;
    };
    silent("DeepOrderUntold", "a.mp4");
    silent("DeepOrderUntoldInFragments", "a.mp4", {"-movflags", "frag_keyframe+delay_moov"});
    silent("DeepOrderUntoldInMatroska", "a.mkv");
    silent("DeepOrderUntoldInATransportStream", "a.ts");
    silent("DeepOrderUntoldInFlash", "a.flv");
    Storage& odd = add("OddSize", "a.mp4", {"-c:v", "libx264", "-qp", "10", "-pix_fmt", "yuv444p"});
    odd.movie.width = 161;
    odd.movie.height = 97;
    return all;
}

/// Bits of an H.264 parameter set, most significant first.
class Bits {
public:
    explicit Bits(char* bytes) : bytes_(bytes) {}
    int next() {
        const int bit = bytes_[at_ / 8] >> (7 - at_ % 8) & 1;
        ++at_;
        return bit;
    }
    int next(int count) {
        int value = 0;
        while (count-- > 0) value = value << 1 | next();
        return value;
    }
    /// Exponential Golomb code.
    int code() {
        int zeros = 0;
        while (next() == 0 && zeros < 31) ++zeros;
        return (1 << zeros) - 1 + next(zeros);
    }
    void set(int bit) {
        const char mask = static_cast<char>(1 << (7 - at_ % 8));
        bytes_[at_ / 8] = static_cast<char>(bit != 0 ? bytes_[at_ / 8] | mask : bytes_[at_ / 8] & ~mask);
        ++at_;
    }
    [[nodiscard]] std::size_t place() const { return at_; }

private:
    char* bytes_;
    std::size_t at_ = 0;
};

/// Ends an H.264 parameter set (as x264 writes them: high profile, frames only) before its usability information.
/// `set` begins with the profile and has `size` bytes.
void cutUsability(char* set, std::size_t size) {
    Bits bits(set);
    bits.next(24);
    bits.code();
    // Chroma format, both depths, lossless, scaling matrices.
    for (int i = 0; i < 3; ++i) bits.code();
    bits.next(2);
    bits.code();
    if (bits.code() == 0) bits.code();
    bits.code();
    bits.next();
    bits.code();
    bits.code();
    ASSERT_EQ(bits.next(), 1) << "frames only";
    bits.next();
    if (bits.next() == 1)
        for (int i = 0; i < 4; ++i) bits.code();
    bits.set(0);
    bits.set(1);
    while (bits.place() < size * 8) bits.set(0);
}

/// Takes what the parameter sets of an x264 movie say about the order of frames out of them, in place.
void silenceOrder(const FileURL& file) {
    std::ifstream input(file.path(), std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(input)), {});
    input.close();
    const std::string head("\x67\x64\0", 3);
    const std::string mark("\0\0\1", 3);
    int found = 0;
    for (std::size_t at = bytes.find(head); at != std::string::npos; at = bytes.find(head, at + 3), ++found) {
        // Behind a start code the set ends at the next one; in a header, its length stands before it.
        const bool marked = bytes.compare(at - 3, 3, mark) == 0;
        const std::size_t size =
            marked ? bytes.find(mark, at) - at : static_cast<std::size_t>(static_cast<unsigned char>(bytes[at - 1]));
        ASSERT_LT(size, 64U);
        cutUsability(bytes.data() + at + 1, size - 1);
    }
    EXPECT_GT(found, 0);
    std::ofstream(file.path(), std::ios::binary) << bytes;
}

/// The movie of a storage, in `folder`.
FileURL makeStored(const std::string& folder, const Storage& storage) {
    const FileURL file = makeSampleMovie(folder, storage.file, storage.movie);
    if (storage.silentAboutOrder) silenceOrder(file);
    return file;
}

/// The time at which frame n is asked for.
MediaTime askFor(const Storage& storage, int n) {
    if (storage.begins != nullptr) return {storage.begins(n), 3000};
    return {std::int64_t{n} * storage.movie.rateDenominator, storage.movie.rateNumerator};
}

void PrintTo(const Storage& storage, std::ostream* stream) { *stream << storage.name; }

class Frames : public ::testing::TestWithParam<Storage> {
protected:
    void SetUp() override { skipWithoutTool(); }
    TempFolder folder_;
};

TEST_P(Frames, ComeExactInAndOutOfOrder) {
    const Storage& storage = GetParam();
    const FileURL file = makeStored(folder_.path(), storage);
    const auto reader = openReader(file, {.threads = 2});
    ASSERT_TRUE(reader);
    const int count = storage.movie.frames;
    for (int n = 0; n < count; ++n) ASSERT_EQ(numberAt(*reader, askFor(storage, n)), n) << "in order";
    std::mt19937 random(7);
    for (int i = 0; i < 60; ++i) {
        const int n = static_cast<int>(random() % static_cast<unsigned>(count));
        ASSERT_EQ(numberAt(*reader, askFor(storage, n)), n) << "out of order, ask " << i;
    }
    EXPECT_EQ(numberAt(*reader, {1000, 1}), count - 1);
    EXPECT_EQ(numberAt(*reader, {0, 600}), 0);
}

TEST_P(Frames, ComeExactWhenUnneededOnesAreSkipped) {
    const Storage& storage = GetParam();
    const FileURL file = makeStored(folder_.path(), storage);
    const auto reader = openReader(file, {.threads = 1, .skipUnneeded = true});
    ASSERT_TRUE(reader);
    std::mt19937 random(11);
    for (int n = 0; n < storage.movie.frames; n += 1 + static_cast<int>(random() % 17))
        ASSERT_EQ(numberAt(*reader, askFor(storage, n)), n);
    for (int i = 0; i < 20; ++i) {
        const int n = static_cast<int>(random() % static_cast<unsigned>(storage.movie.frames));
        ASSERT_EQ(numberAt(*reader, askFor(storage, n)), n);
    }
}

INSTANTIATE_TEST_SUITE_P(Storage, Frames, ::testing::ValuesIn(storages()),
                         [](const auto& info) { return std::string(info.param.name); });

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
        std::stop_source source;
        std::jthread other([&] { source.request_stop(); });
        const auto result = reader->frame({500 + i, 30}, source.get_token());
        if (!result)
            EXPECT_TRUE(result.error().isCancelled());
        else
            EXPECT_EQ(numberOf(*result), 500 + i);
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

TEST_F(FrameReader, PassesOverADamagedFrame) {
    SampleMovie movie;
    movie.video = x264("keyint=1");
    const FileURL file = make("a.mp4", movie);
    wipeFrames(file, 20, 20);
    const auto reader = openReader(file);
    ASSERT_TRUE(reader);
    EXPECT_EQ(numberAt(*reader, {19, 30}), 19);
    EXPECT_EQ(numberAt(*reader, {20, 30}), 19);
    EXPECT_EQ(numberAt(*reader, {21, 30}), 21);
    EXPECT_EQ(numberAt(*reader, {20, 30}), 19);
}

TEST_F(FrameReader, GoesOnBehindALongDamagedStretch) {
    SampleMovie movie;
    movie.width = 64;
    movie.height = 48;
    movie.frames = 700;
    movie.video = x264("keyint=1");
    const FileURL file = make("a.mp4", movie);
    wipeFrames(file, 50, 640);
    const auto reader = openReader(file);
    ASSERT_TRUE(reader);
    EXPECT_EQ(numberAt(*reader, {100, 30}), 49);
    EXPECT_EQ(numberAt(*reader, {660, 30}), 660);
    EXPECT_EQ(numberAt(*reader, {600, 30}), 49);
    EXPECT_EQ(numberAt(*reader, {10, 30}), 10);
}

TEST_F(FrameReader, ShowsNothingOfATrackThatDoesNotDecode) {
    SampleMovie movie;
    movie.video = x264("keyint=1");
    const FileURL file = make("a.mp4", movie);
    wipeFrames(file, 0, 59);
    const auto reader = openReader(file);
    ASSERT_TRUE(reader);
    EXPECT_EQ(numberAt(*reader, {0, 30}), -1);
    EXPECT_EQ(numberAt(*reader, {30, 30}), -1);
    EXPECT_TRUE(reader->isUndecodable());
    EXPECT_EQ(reader->undecodable().message, "“a.mp4” has no picture that can be decoded.");
}

TEST_F(FrameReader, ShowsTheFirstFrameThatDecodesBehindALongDamagedBeginning) {
    SampleMovie movie;
    movie.width = 64;
    movie.height = 48;
    movie.frames = 1200;
    movie.video = x264("keyint=1");
    const FileURL file = make("a.mp4", movie);
    wipeFrames(file, 0, 1149);
    for (const bool endFirst : {true, false}) {
        const auto reader = openReader(file);
        ASSERT_TRUE(reader);
        if (endFirst) EXPECT_EQ(numberAt(*reader, {1160, 30}), 1160);
        EXPECT_EQ(numberAt(*reader, {0, 30}), 1150);
        EXPECT_EQ(numberAt(*reader, {700, 30}), 1150);
        EXPECT_EQ(numberAt(*reader, {1199, 30}), 1199);
        EXPECT_FALSE(reader->isUndecodable());
    }
}

TEST_F(FrameReader, RefusesAFileThatWasReplaced) {
    const FileURL file = make("Beach.mp4", {});
    const auto track = firstTrack(file, MediaType::video);
    ASSERT_TRUE(track);
    truncateSample(file, 1000);
    const auto changed = VideoFrameReader::open(track);
    ASSERT_FALSE(changed);
    EXPECT_EQ(changed.error(), MediaError::invalidClip("Beach"));
    std::filesystem::remove(file.path());
    const auto gone = VideoFrameReader::open(track);
    ASSERT_FALSE(gone);
    EXPECT_EQ(gone.error(), MediaError::invalidClip("Beach"));
}

/// What can happen to a file while it is being read.
struct Change {
    const char* name;
    void (*happen)(const FileURL&);
};

class ChangedFile : public ::testing::TestWithParam<std::tuple<Change, const char*>> {
protected:
    void SetUp() override { skipWithoutTool(); }
    TempFolder folder_;
};

TEST_P(ChangedFile, FailsWithItsNameWhileItIsRead) {
    const auto& [change, extension] = GetParam();
    SampleMovie movie;
    movie.frames = 90;
    movie.videoFilter = "noise=alls=12:allf=t";
    movie.video = x264("keyint=15");
    movie.video[5] = "4";
    movie.output = std::string(extension) == ".mp4" ? std::vector<std::string>{"-movflags", "+faststart"}
                                                    : std::vector<std::string>{};
    const FileURL file = makeSampleMovie(folder_.path(), std::string("Beach") + extension, movie);
    // More than a reader holds at once.
    ASSERT_GT(std::filesystem::file_size(file.path()), 1'000'000U);
    const auto reader = openReader(file, {.threads = 1});
    ASSERT_TRUE(reader);
    EXPECT_EQ(numberAt(*reader, {10, 30}), 10);
    change.happen(file);
    const auto late = reader->frame({89, 30}, {});
    ASSERT_FALSE(late.has_value());
    EXPECT_EQ(late.error(), MediaError::invalidClip("Beach"));
    EXPECT_EQ(reader->frame({0, 30}, {}).error(), MediaError::invalidClip("Beach"));
}

INSTANTIATE_TEST_SUITE_P(
    Changes, ChangedFile,
    ::testing::Combine(::testing::Values(Change{"Shrinks",
                                                [](const FileURL& file) {
                                                    truncateSample(file, std::filesystem::file_size(file.path()) / 2);
                                                }},
                                         Change{"Empties", [](const FileURL& file) { truncateSample(file, 0); }},
                                         Change{"IsWrittenTo",
                                                [](const FileURL& file) {
                                                    const auto time = std::filesystem::last_write_time(file.path());
                                                    std::filesystem::last_write_time(file.path(),
                                                                                     time + std::chrono::seconds(5));
                                                }}),
                       ::testing::Values(".mp4", ".mkv", ".ts")),
    [](const auto& info) { return std::get<0>(info.param).name + std::string(std::get<1>(info.param)).substr(1); });

TEST_F(FrameReader, KeepsShowingTheLastFrameWhenTheEndIsMissing) {
    SampleMovie movie;
    movie.frames = 120;
    movie.video = x264("keyint=1");
    movie.output = {"-movflags", "+faststart"};
    const FileURL file = make("a.mp4", movie);
    const auto bytes = std::filesystem::file_size(file.path());
    truncateSample(file, bytes / 2);
    const auto reader = openReader(file);
    ASSERT_TRUE(reader);
    const double end = reader->track().facts().timeRange.end().seconds();
    EXPECT_GT(end, 1.0);
    EXPECT_LT(end, 3.0);
    const int last = static_cast<int>(std::lround(end * 30)) - 1;
    EXPECT_EQ(numberAt(*reader, {last, 30}), last);
    EXPECT_EQ(numberAt(*reader, {10000, 30}), last);
}

}  // namespace
}  // namespace kelvane::testing
