#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "Media/FFmpeg/Sound/SoundReader.h"
#include "Media/FFmpeg/Source/MovieClaims.h"
#include "SourceFixture.h"

namespace kelvane::testing {
namespace {

std::string word(std::uint32_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift);
    return bytes;
}

std::string words(std::initializer_list<std::uint32_t> values) {
    std::string bytes;
    for (const std::uint32_t value : values) bytes += word(value);
    return bytes;
}

std::string box(const std::string& name, const std::string& content) {
    return word(static_cast<std::uint32_t>(content.size() + 8)) + name + content;
}

/// What a file with one track claims.
struct Claims {
    const char* name;
    /// The track's time table, chunk table, chunk offsets and sample sizes, each without version.
    std::string times = words({1, 100, 1});
    std::string chunks = words({1, 1, 100, 1});
    std::string offsets = words({1, 48});
    std::string sizes = words({1, 100});
    /// Further boxes of the track, of its table and of the movie, and behind the movie.
    std::string inTrack;
    std::string inTable;
    std::string inMovie;
    std::string behind;
    bool sound = false;
    bool bounded = false;
    /// Samples of a frame of sound as the description tells them; 0 for a description without.
    std::uint32_t soundFrame = 0;
};

std::string movieOf(const Claims& claims) {
    const std::string video = words({0, 1}) + std::string(16, '\0') + words({0x00400030, 0x00480000, 0x00480000, 0}) +
                              std::string("\0\1", 2) + std::string(32, '\0') + std::string("\0\x18\xff\xff", 4);
    const bool framed = claims.soundFrame > 0;
    const std::string audio = words({0, 1, framed ? 0x10000U : 0U, 0, 0x00010008, 0, 8000U << 16}) +
                              (framed ? words({claims.soundFrame, claims.soundFrame, claims.soundFrame, 1}) : "");
    const std::string entry = box(claims.sound ? "sowt" : "jpeg", claims.sound ? audio : video);
    const std::string stbl =
        box("stbl", box("stsd", words({0, 1}) + entry) + box("stts", word(0) + claims.times) +
                        box("stsc", word(0) + claims.chunks) + box("stco", word(0) + claims.offsets) +
                        box("stsz", word(0) + claims.sizes) + claims.inTable);
    const std::string handler = box("hdlr", words({0, 0}) + (claims.sound ? "soun" : "vide") + std::string(13, '\0'));
    const std::string mdhd = box("mdhd", words({0, 0, 0, 3000, 300000, 0}));
    const std::string mdia = box("mdia", mdhd + handler + box("minf", stbl));
    const std::string tkhd = box("tkhd", words({3, 0, 0, 1, 0, 300000, 0, 0, 0, 0}) +
                                             words({0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000, 0, 0}));
    const std::string mvhd =
        box("mvhd", words({0, 0, 0, 3000, 300000, 0x10000, 0x1000000, 0, 0}) +
                        words({0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000}) + std::string(24, '\0') + word(2));
    return box("ftyp", "qt  " + word(0) + "qt  ") + box("mdat", std::string(4096, '\1')) +
           box("moov", mvhd + box("trak", tkhd + claims.inTrack + mdia) + claims.inMovie) + claims.behind;
}

std::string fragment(std::uint32_t flags, std::uint32_t count) {
    return box("moof", box("mfhd", words({0, 1})) +
                           box("traf", box("tfhd", words({0x20000, 1})) + box("trun", words({flags, count, 0, 0}))));
}

std::vector<Claims> claimsRows() {
    constexpr std::uint32_t many = 20'000'000;
    std::string edits = words({0, 2000});
    for (int i = 0; i < 2000; ++i) edits += words({300000, 0, 0x10000});
    std::string fewEdits = words({0, 3, 100, 0xffffffff, 0x10000}) + words({100, 0, 0x10000, 100, 50, 0x10000});
    return {
        {.name = "Modest", .bounded = true},
        {.name = "ModestEdits", .inTrack = box("edts", box("elst", fewEdits)), .bounded = true},
        // An hour of plain sound in chunks of a second.
        {.name = "PlainSound",
         .times = words({1, 172'800'000, 1}),
         .chunks = words({1, 1, 48000, 1}),
         .sizes = words({4, 172'800'000}),
         .sound = true,
         .bounded = true},
        {.name = "SamplesOfOneSize",
         .times = words({1, many, 1}),
         .chunks = words({1, 1, many, 1}),
         .sizes = words({1, many})},
        {.name = "SamplesOfOneSizeInSound",
         .times = words({1, many, 2}),
         .chunks = words({1, 1, many, 1}),
         .sizes = words({1, many}),
         .sound = true},
        {.name = "ChunksOfPlainSound",
         .times = words({1, 2'000'000'000, 1}),
         .chunks = words({1, 1, 2'000'000'000, 1}),
         .offsets = words({10, 48, 48, 48, 48, 48, 48, 48, 48, 48, 48}),
         .sizes = words({4, 2'000'000'000}),
         .sound = true},
        {.name = "SizesThatAreNotThere", .sizes = words({0, 60'000'000})},
        {.name = "TimesThatAreNotThere", .times = words({250'000'000, 1, 1})},
        {.name = "OffsetsThatAreNotThere", .offsets = words({250'000'000, 48})},
        {.name = "KeysThatAreNotThere", .inTable = box("stss", words({0, 250'000'000, 1}))},
        {.name = "DelaysThatAreNotThere", .inTable = box("ctts", words({0, 250'000'000, 1, 1}))},
        {.name = "EditsThatAreNotThere", .inTrack = box("edts", box("elst", words({0, 250'000'000, 1, 1})))},
        {.name = "EditsThatRepeat",
         .times = words({1, 1'000'000, 1}),
         .chunks = words({1, 1, 1'000'000, 1}),
         .sizes = words({1, 1'000'000}),
         .inTrack = box("edts", box("elst", edits))},
        {.name = "TablesOutsideOfTheTrack", .inMovie = box("stsz", words({0, 1, many}))},
        {.name = "ATableInTheDescription", .inTable = box("stsd", words({0, 0}) + box("stsz", words({0, 1, many})))},
        {.name = "AFragment",
         .inMovie = box("mvex", box("trex", words({0, 1, 1, 1, 1, 0}))),
         .behind = fragment(0, 15'000'000)},
        {.name = "AFragmentOfSizesThatAreNotThere", .behind = fragment(0x200, 60'000'000)},
        {.name = "ACompressedHeader", .behind = box("moov", box("cmov", word(0)))},
    };
}

void PrintTo(const Claims& claims, std::ostream* stream) { *stream << claims.name; }

class HostileMovie : public ::testing::TestWithParam<Claims> {
protected:
    TempFolder folder_;
};

/// Kilobytes at most that another process takes which opens the file, beyond what it has when it begins.
long memoryToOpen(const FileURL& file) {
    const pid_t child = ::fork();
    if (child == 0) {
        rusage before{};
        ::getrusage(RUSAGE_SELF, &before);
        const auto asset = FFmpegAsset::open(file, {});
        rusage after{};
        ::getrusage(RUSAGE_SELF, &after);
        const long grown = (after.ru_maxrss - before.ru_maxrss) / 1024;
        ::_exit(static_cast<int>(std::min(grown, 255L)));
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 255;
}

TEST_P(HostileMovie, TakesNoMoreMemoryThanAnyOther) {
    const FileURL file = folder_.url("a.mov");
    std::ofstream(file.path(), std::ios::binary) << movieOf(GetParam());
    EXPECT_LT(memoryToOpen(file), 64) << "megabytes";
    const auto asset = openSource(file);
    ASSERT_TRUE(asset);
    const MediaType type = GetParam().sound ? MediaType::audio : MediaType::video;
    EXPECT_EQ(tracksOf(*asset, type).size(), GetParam().bounded ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(Claims, HostileMovie, ::testing::ValuesIn(claimsRows()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(MovieClaims, OnlyHeadersCount) {
    // The same bytes within sound and pictures are no tables.
    const TempFolder folder;
    const Claims modest{.name = "", .behind = box("mdat", box("stsz", words({0, 1, 4'000'000'000})))};
    std::ofstream(folder.path("a.mov"), std::ios::binary) << movieOf(modest);
    const auto track = firstTrack(folder.url("a.mov"), MediaType::video);
    EXPECT_TRUE(track);
}

/// A movie of `tracks` hours of plain sound at 192 kHz, in chunks of a second that lie in a file of holes.
FileURL longSound(const TempFolder& folder, std::uint32_t frame) {
    constexpr std::uint32_t second = 192'000;
    Claims claims{.name = "",
                  .times = words({1, 3600 * second, 1}),
                  .chunks = words({2, 1, second, 1, 3600, second / 2, 1}),
                  .offsets = word(3600),
                  .sizes = words({1, 3600 * second}),
                  .sound = true,
                  .soundFrame = frame};
    for (std::uint32_t i = 0; i < 3600; ++i) claims.offsets += word(1'000'000 + i * second);
    std::ofstream(folder.path("a.mov"), std::ios::binary) << movieOf(claims);
    std::filesystem::resize_file(folder.path("a.mov"), 1'000'000 + 3600ULL * second);
    return folder.url("a.mov");
}

TEST(MovieClaims, LongPlainSoundIsNoDanger) {
    const TempFolder folder;
    for (const std::uint32_t frame : {0U, 1U, 64U, 960U}) {
        const FileURL file = longSound(folder, frame);
        EXPECT_LT(memoryToOpen(file), 64) << "megabytes";
        const auto track = firstTrack(file, MediaType::audio);
        ASSERT_TRUE(track) << frame;
        EXPECT_GT(track->facts().timeRange.duration.seconds(), 3599) << frame;
    }
}

TEST(MovieClaims, ChunksOfSoundThatIsNotThereAreCounted) {
    // The same claims in a file that ends behind its header.
    const TempFolder folder;
    const FileURL file = longSound(folder, 0);
    const auto areBounded = [&](std::int64_t size) {
        const int descriptor = ::open(file.path().c_str(), O_RDONLY | O_CLOEXEC);
        const bool bounded = MovieClaims::areBounded(descriptor, size, [] { return false; });
        ::close(descriptor);
        return bounded;
    };
    EXPECT_TRUE(areBounded(691'000'000));
    EXPECT_TRUE(areBounded(1'000'000));
    // With frames of 160 samples, each an entry.
    longSound(folder, 160);
    EXPECT_TRUE(areBounded(691'000'000));
    EXPECT_FALSE(areBounded(1'000'000));
}

class FarStamps : public ::testing::Test {
protected:
    void SetUp() override { skipWithoutTool(); }
    /// A movie of fragments of ten frames, with the fragments' times at `from` and later moved to `time`.
    FileURL make(std::size_t from, std::uint64_t time) {
        SampleMovie movie;
        movie.frames = 60;
        movie.soundSeconds = 2;
        movie.video.insert(movie.video.end(), {"-g", "10"});
        movie.output = {"-movflags", "frag_keyframe+delay_moov"};
        const FileURL file = makeSampleMovie(folder_.path(), "a.mp4", movie);
        std::ifstream input(file.path(), std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(input)), {});
        std::size_t number = 0;
        for (std::size_t at = bytes.find("tfdt"); at != std::string::npos; at = bytes.find("tfdt", at + 4)) {
            EXPECT_EQ(bytes[at + 4], 1) << "times of 64 bits";
            // Two tracks in each.
            if (number++ / 2 >= from) {
                bytes.replace(at + 8, 8,
                              word(static_cast<std::uint32_t>(time >> 32)) + word(static_cast<std::uint32_t>(time)));
            }
        }
        EXPECT_GT(number, 2 * from);
        std::ofstream(file.path(), std::ios::binary) << bytes;
        return file;
    }
    TempFolder folder_;
};

TEST_F(FarStamps, ArePassedOver) {
    for (const int power : {62, 50, 40}) {
        const std::uint64_t time = std::uint64_t{1} << power;
        const FileURL file = make(3, time);
        const auto asset = openSource(file);
        ASSERT_TRUE(asset);
        EXPECT_NEAR(*asset->loadDuration(), 1, 0.1) << time;
        const auto reader = openReader(file, {.threads = 1});
        ASSERT_TRUE(reader);
        for (const int n : {0, 12, 29, 5}) EXPECT_EQ(numberAt(*reader, {n, 30}), n) << time;
        EXPECT_EQ(numberAt(*reader, {50, 30}), 29) << time;
        const auto sound = SoundReader::open(firstTrack(file, MediaType::audio));
        ASSERT_TRUE(sound);
        std::vector<float> samples(48000 * 4);
        ASSERT_TRUE((*sound)->read(0, samples, {}));
        std::vector<float> left;
        for (std::size_t i = 0; i < samples.size(); i += 2) left.push_back(samples[i]);
        const auto bursts = findSampleBursts(left, 48000);
        ASSERT_GE(bursts.size(), 9U) << time;
        EXPECT_LE(bursts.size(), 11U) << time;
    }
}

TEST_F(FarStamps, LeaveNothingOfAFileThatHasNoOthers) {
    for (const std::uint64_t time : {std::uint64_t{0x7fffffffffffff00}, std::uint64_t{1} << 50}) {
        const auto asset = openSource(make(0, time));
        ASSERT_TRUE(asset);
        EXPECT_TRUE(tracksOf(*asset, MediaType::video).empty());
        EXPECT_TRUE(tracksOf(*asset, MediaType::audio).empty());
        EXPECT_EQ(*asset->loadDuration(), 0);
    }
}

TEST(LargePictures, AreDecodedUpToTheHighestLevelsSize) {
    skipWithoutTool();
    const TempFolder folder;
    struct Row {
        const char* size;
        std::size_t tracks;
    };
    for (const Row& row : {Row{"8192x4352", 1}, Row{"4352x8192", 1}, Row{"8192x4368", 0}}) {
        const FileURL file = folder.url("a.mov");
        // As JPEG has it: BT.601's matrix in full range.
        runSampleTool({"-f", "lavfi", "-i",
                       std::string("color=c=gray:r=1:d=1:s=") + row.size +
                           ",scale=out_color_matrix=bt601:out_range=pc,format=yuvj420p,"
                           "setparams=range=pc:colorspace=bt470bg",
                       "-c:v", "mjpeg", "-color_range", "pc", "-colorspace", "bt470bg", file.path()});
        const auto asset = openSource(file);
        ASSERT_TRUE(asset);
        EXPECT_EQ(tracksOf(*asset, MediaType::video).size(), row.tracks) << row.size;
        if (row.tracks == 0) continue;
        const auto frame = openReader(file)->frame({0, 600}, {});
        ASSERT_TRUE(frame);
        EXPECT_TRUE(*frame) << row.size;
    }
}

}  // namespace
}  // namespace kelvane::testing
