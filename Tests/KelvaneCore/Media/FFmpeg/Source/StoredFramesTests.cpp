#include <fstream>
#include <random>

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

}  // namespace
}  // namespace kelvane::testing
