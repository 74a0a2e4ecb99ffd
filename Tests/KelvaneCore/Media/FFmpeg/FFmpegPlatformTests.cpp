#include <atomic>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <thread>

extern "C" {
#include <libavutil/log.h>
}

#include "KelvaneCore/Media/FFmpeg/Source/SourceFixture.h"
#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/MediaEngine.h"
#include "Media/MediaError.h"

namespace kelvane::testing {
namespace {

class Platform : public ::testing::Test {
protected:
    void SetUp() override { skipWithoutTool(); }
    FileURL make(const std::string& name, const SampleMovie& movie) {
        return makeSampleMovie(folder_.path(), name, movie);
    }
    /// The number that a still shows, and its size.
    static int numberOfStill(const StillImage& image) {
        return readSampleNumber([&](double x, double y) {
                   const auto row = static_cast<std::size_t>(y * image.height);
                   const auto column = static_cast<std::size_t>(x * image.width);
                   return static_cast<int>(image.pixels[(row * image.width + column) * 4 + 1]);
               })
            .value_or(-2);
    }
    TempFolder folder_;
    FFmpegPlatform platform_;
};

TEST_F(Platform, OpensAFileOnceUntilItChanges) {
    const FileURL file = make("a.mp4", {});
    const auto first = platform_.openAsset(file, {});
    const auto second = platform_.openAsset(file, {});
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->get(), second->get());
    EXPECT_EQ(platform_.probeCount(), 1);
    SampleMovie longer;
    longer.frames = 90;
    make("a.mp4", longer);
    const auto third = platform_.openAsset(file, {});
    ASSERT_TRUE(third);
    EXPECT_NEAR(*(*third)->loadDuration(), 3, 0.001);
    EXPECT_EQ(platform_.probeCount(), 2);
}

TEST_F(Platform, RemembersNoFailure) {
    const FileURL file = FileURL::fromPath(folder_.path() + "/a.mp4");
    EXPECT_FALSE(platform_.openAsset(file, {}));
    make("a.mp4", {});
    EXPECT_TRUE(platform_.openAsset(file, {}));
}

TEST_F(Platform, ServesSeveralThreads) {
    std::vector<FileURL> files;
    for (const char* name : {"a.mp4", "b.mp4", "c.mp4"}) files.push_back(make(name, {}));
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int n = 0; n < 30; ++n) EXPECT_TRUE(platform_.openAsset(files[(n + i) % files.size()], {}));
        });
    }
    threads.clear();
    EXPECT_GE(platform_.probeCount(), 3);
    EXPECT_LE(platform_.probeCount(), 12);
}

TEST_F(Platform, TakesTheStillOfItsTime) {
    SampleMovie movie;
    movie.width = 640;
    movie.height = 360;
    const auto asset = platform_.openAsset(make("a.mp4", movie), {});
    ASSERT_TRUE(asset);
    const auto image = platform_.image(*asset, {300, 600}, {1024, 1024}, {});
    ASSERT_TRUE(image) << image.error().message;
    EXPECT_EQ((*image)->width, 640);
    EXPECT_EQ((*image)->height, 360);
    EXPECT_EQ(numberOfStill(**image), 15);
    const auto small = platform_.image(*asset, {600, 600}, {200, 200}, {});
    ASSERT_TRUE(small);
    EXPECT_EQ((*small)->width, 200);
    // Half a pixel counts as one.
    EXPECT_EQ((*small)->height, 113);
    EXPECT_EQ(numberOfStill(**small), 30);
}

TEST_F(Platform, TakesAStillOfOddSidesPixelByPixel) {
    const FileURL file = FileURL::fromPath(folder_.path("odd.mp4"));
    std::vector<std::string> words{
        "-f",
        "lavfi",
        "-i",
        std::string("color=gray:s=161x121:r=30:d=1,format=yuv444p,geq=lum='if(mod(X+Y,2),200,50)':cb=128:cr=128,") +
            plainColorFilter,
        "-c:v",
        "libx264",
        "-qp",
        "0",
        "-pix_fmt",
        "yuv444p"};
    words.insert(words.end(), plainColorWords().begin(), plainColorWords().end());
    words.push_back(file.path());
    runSampleTool(words);
    const auto asset = platform_.openAsset(file, {});
    ASSERT_TRUE(asset);
    const auto image = platform_.image(*asset, {300, 600}, {1280, 1280}, {});
    ASSERT_TRUE(image) << image.error().message;
    ASSERT_EQ((*image)->width, 161);
    ASSERT_EQ((*image)->height, 121);
    for (const auto [x, y] : {std::pair{0, 0}, {1, 0}, {159, 0}, {160, 0}, {80, 60}, {160, 119}, {160, 120}}) {
        // Limited range: 16 is black, 235 is white.
        const int level = (x + y) % 2 == 1 ? 214 : 40;
        EXPECT_NEAR((*image)->pixels[static_cast<std::size_t>(y * 161 + x) * 4 + 1], level, 1) << x << ", " << y;
    }
}

TEST_F(Platform, TakesTheFirstPictureOfATrackThatStartsLater) {
    SampleMovie movie;
    movie.soundSeconds = 4;
    movie.soundDelay = -1;
    const auto asset = platform_.openAsset(make("a.mp4", movie), {});
    ASSERT_TRUE(asset);
    const auto image = platform_.image(*asset, {300, 600}, {1024, 1024}, {});
    ASSERT_TRUE(image) << image.error().message;
    EXPECT_EQ(numberOfStill(**image), 0);
}

/// Overwrites what lies in a movie's box of samples, the index of which stays whole.
void overwriteSamples(const FileURL& file, const std::function<char()>& byte) {
    std::ifstream input(file.path(), std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(input)), {});
    const auto name = bytes.find("mdat");
    ASSERT_NE(name, std::string::npos);
    std::size_t length = 0;
    for (std::size_t i = name - 4; i < name; ++i) length = length << 8 | static_cast<unsigned char>(bytes[i]);
    for (std::size_t i = name + 4; i < name - 4 + length; ++i) bytes[i] = byte();
    std::ofstream(file.path(), std::ios::binary) << bytes;
}

TEST_F(Platform, ImportsNoSoundOfWhichNothingDecodes) {
    std::mt19937 random(1);
    const std::vector<std::pair<const char*, std::function<char()>>> damages{
        {"noise.m4a", [&] { return static_cast<char>(random()); }}, {"zeros.m4a", [] { return '\0'; }}};
    for (const auto& [name, byte] : damages) {
        const FileURL file = makeSampleSound(folder_.path(), name, 3);
        EXPECT_TRUE(MediaEngine::importClip(platform_, file, {})) << name;
        overwriteSamples(file, byte);
        const auto imported = MediaEngine::importClip(platform_, file, {});
        ASSERT_FALSE(imported) << name;
        EXPECT_EQ(imported.error(), MediaError::invalidClip(name));
    }
}

TEST_F(Platform, ImportsNoSoundOfAProfileThatNoDecoderTakes) {
    const FileURL file = makeSampleSound(folder_.path(), "a.m4a", 3);
    EXPECT_TRUE(MediaEngine::importClip(platform_, file, {}));
    std::string bytes = folder_.read("a.m4a");
    // The descriptor of the decoder's configuration, five bytes of it: then one of extended high efficiency (object
    // type 42), whose sampling rate is a reserved one.
    const auto descriptor = bytes.find(std::string("\x05\x80\x80\x80\x05", 5));
    ASSERT_NE(descriptor, std::string::npos);
    bytes.replace(descriptor + 5, 5, std::string("\xf9\x46\x4d\x00\x00", 5));
    folder_.write("a.m4a", bytes);
    const auto imported = MediaEngine::importClip(platform_, file, {});
    ASSERT_FALSE(imported);
    EXPECT_EQ(imported.error(), MediaError::invalidClip("a.m4a"));
}

TEST_F(Platform, ImportsSoundWhoseBeginningAloneDoesNotDecode) {
    const FileURL file = makeSampleSound(folder_.path(), "a.m4a", 60);
    std::mt19937 random(1);
    std::ifstream input(file.path(), std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(input)), {});
    const auto begin = bytes.find("mdat") + 4;
    ASSERT_GT(bytes.size(), begin + 200'000);
    for (std::size_t i = begin; i < begin + 100'000; ++i) bytes[i] = static_cast<char>(random());
    std::ofstream(file.path(), std::ios::binary) << bytes;
    const auto imported = MediaEngine::importClip(platform_, file, {});
    ASSERT_TRUE(imported) << imported.error().message;
    EXPECT_TRUE(imported->clip.isAudio());
}

TEST_F(Platform, ImportsAVideoWhosePictureNeverDecodesAndExportsNoBlackFilmOfIt) {
    SampleMovie movie;
    movie.soundSeconds = 2;
    const FileURL file = make("a.mp4", movie);
    overwriteSamples(file, [] { return '\0'; });
    const auto imported = MediaEngine::importClip(platform_, file, {});
    ASSERT_TRUE(imported) << imported.error().message;
    EXPECT_EQ(imported->picture, nullptr);
    EXPECT_FALSE(imported->clip.isAudio());
    EXPECT_NEAR(imported->clip.sourceDuration, 2, 0.05);
    const std::vector<Clip> clips{imported->clip};
    const auto media = MediaEngine::build(platform_, clips, {180, 320}, {1, 30}, {});
    ASSERT_TRUE(media) << media.error().message;
    const auto session = MediaEngine::exporter(platform_, *media, ExportContainer::mp4);
    ASSERT_TRUE(session);
    const auto exported = (*session)->exportTo(folder_.url("out.mp4"), ExportContainer::mp4, {});
    ASSERT_FALSE(exported);
    EXPECT_EQ(exported.error().message, "“a.mp4” has no picture that can be decoded.");
}

/// Counts what decoders complain of while it lives. One at a time.
class DecodingFaults {
public:
    DecodingFaults() {
        count_ = 0;
        av_log_set_callback([](void* context, int level, const char*, va_list) {
            const AVClass* type = context != nullptr ? *static_cast<const AVClass* const*>(context) : nullptr;
            if (type == nullptr || level > AV_LOG_ERROR) return;
            const auto category = type->get_category != nullptr ? type->get_category(context) : type->category;
            if (category == AV_CLASS_CATEGORY_DECODER) ++count_;
        });
    }
    DecodingFaults(const DecodingFaults&) = delete;
    DecodingFaults& operator=(const DecodingFaults&) = delete;
    ~DecodingFaults() { av_log_set_callback(av_log_default_callback); }
    [[nodiscard]] static int count() { return count_; }

private:
    inline static std::atomic<int> count_{0};
};

/// Fills the packets of a movie with noise for which `isSpoiled` says so; their beginnings stay.
void spoil(const FileURL& file, const std::function<bool(int number)>& isSpoiled) {
    std::string listed;
    const std::vector<std::string> words{"ffprobe", "-v",      "error",         "-select_streams", "v:0",
                                         "-of",     "csv=p=0", "-show_entries", "packet=pos,size", file.path()};
    ASSERT_EQ(runTool(words, &listed), 0);
    std::fstream movie(file.path(), std::ios::binary | std::ios::in | std::ios::out);
    std::mt19937 random(1);
    std::istringstream lines(listed);
    std::string line;
    for (int number = 0; std::getline(lines, line); ++number) {
        if (!isSpoiled(number)) continue;
        std::size_t behind = 0;
        const std::streamoff size = std::stoll(line, &behind);
        movie.seekp(std::stoll(line.substr(behind + 1)) + 24);
        for (std::streamoff i = 24; i < size; ++i) movie.put(static_cast<char>(random()));
    }
}

TEST_F(Platform, DecodesForAnImportWhatItsPropertiesAndItsPictureTakeAndNoMore) {
    // Each frame is a key frame, and half a second is where the picture is taken.
    SampleMovie movie;
    movie.video = {"-c:v", "prores_ks", "-pix_fmt", "yuv422p10le"};
    const FileURL file = make("a.mov", movie);
    spoil(file, [](int number) { return number != 0 && (number < 14 || number > 17); });
    const DecodingFaults faults;
    const auto imported = MediaEngine::importClip(platform_, file, {});
    ASSERT_TRUE(imported) << imported.error().message;
    ASSERT_NE(imported->picture, nullptr);
    EXPECT_EQ(numberOfStill(*imported->picture), 15);
    EXPECT_EQ(DecodingFaults::count(), 0);
    // Another frame shows that a decoder would have complained.
    const auto asset = platform_.openAsset(file, {});
    ASSERT_TRUE(asset);
    (void)platform_.image(*asset, {600, 600}, {1024, 1024}, {});
    EXPECT_GT(DecodingFaults::count(), 0);
}

TEST_F(Platform, HasNoStillOfSound) {
    const auto asset = platform_.openAsset(makeSampleSound(folder_.path(), "a.m4a", 1), {});
    ASSERT_TRUE(asset);
    const auto image = platform_.image(*asset, {0, 600}, {100, 100}, {});
    ASSERT_FALSE(image);
    EXPECT_EQ(image.error().message, "The file has no picture.");
}

}  // namespace
}  // namespace kelvane::testing
