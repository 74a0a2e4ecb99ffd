#include <map>

#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/MediaEngine.h"
#include "Media/MediaError.h"
#include "SourceFixture.h"

namespace kelvane::testing {
namespace {

class RealMedia : public ::testing::Test {
protected:
    void SetUp() override {
        if (mediaFolder().empty()) GTEST_SKIP() << "the collection of real files isn't here";
    }
    static FileURL file(const std::string& name) { return FileURL::fromPath(mediaFolder() + "/" + name); }
    FFmpegPlatform platform_;
};

TEST_F(RealMedia, IsImportedOrRefusedAsItsRowSays) {
    int rows = 0;
    for (const MediaRow& row : mediaRows()) {
        ++rows;
        const auto imported = MediaEngine::importClip(platform_, file(row.name), {});
        const std::string kind = !imported ? "refuse" : imported->clip.audioOnly == true ? "audio" : "video";
        if (row.expectation.starts_with("refuse,")) {
            EXPECT_TRUE(kind == "refuse" || row.expectation.find("as " + kind) != std::string::npos ||
                        row.expectation.find("silent " + kind) != std::string::npos)
                << row.name << " came as " << kind;
        } else if (row.expectation.starts_with("audio only if its length is measured")) {
            EXPECT_EQ(kind, "audio") << row.name;
        } else {
            EXPECT_EQ(kind, row.expectation) << row.name;
        }
        if (!imported) EXPECT_EQ(imported.error(), MediaError::invalidClip(row.name));
        if (kind == "video" && row.expectation == "video") EXPECT_TRUE(imported->picture) << row.name;
    }
    EXPECT_GT(rows, 90);
}

/// Whole tracks, read in order and then at places out of order: the same frames.
TEST_F(RealMedia, ShowsTheSameFramesInAndOutOfOrder) {
    for (const MediaRow& row : mediaRows()) {
        if (row.expectation != "video" || row.name == "corrupted.mp4") continue;
        const auto asset = FFmpegAsset::open(file(row.name), {});
        ASSERT_TRUE(asset) << row.name;
        const auto track = tracksOf(**asset, MediaType::video).front();
        auto ordered = VideoFrameReader::open(track, {.threads = 2});
        ASSERT_TRUE(ordered) << row.name;
        const double end = std::min(track->facts().timeRange.end().seconds(), 3.0);
        std::map<std::int64_t, std::int64_t> shown;
        for (std::int64_t time = 0; time < static_cast<std::int64_t>(end * 600); time += 50) {
            const auto frame = (*ordered)->frame({time, 600}, {});
            ASSERT_TRUE(frame) << row.name;
            shown[time] = *frame ? (*frame)->pts : AV_NOPTS_VALUE;
        }
        auto jumping = VideoFrameReader::open(track, {.threads = 1, .skipUnneeded = true});
        ASSERT_TRUE(jumping) << row.name;
        const auto count = static_cast<std::int64_t>(shown.size());
        for (std::int64_t i = 0; i < 8; ++i) {
            const std::int64_t time = (i * 7 % 8) * count / 8 * 50;
            const auto frame = (*jumping)->frame({time, 600}, {});
            ASSERT_TRUE(frame) << row.name;
            EXPECT_EQ(*frame ? (*frame)->pts : AV_NOPTS_VALUE, shown[time]) << row.name << " at " << time;
        }
    }
}

/// A picture by the `ffmpeg` command line, which turns by its own reading of the matrix.
StillImage pictureByTool(const FileURL& url, int width, int height) {
    StillImage image{width, height, {}};
    std::string bytes;
    const std::string scale = "scale=" + std::to_string(width) + ":" + std::to_string(height);
    const int status = runTool({"ffmpeg", "-nostdin", "-v", "quiet", "-i", url.path(), "-map", "0:v:0", "-frames:v",
                                "1", "-vf", scale, "-pix_fmt", "rgba", "-f", "rawvideo", "pipe:1"},
                               &bytes);
    EXPECT_EQ(status, 0);
    image.pixels.assign(bytes.begin(), bytes.end());
    return image;
}

double difference(const StillImage& one, const StillImage& other) {
    if (one.pixels.size() != other.pixels.size()) return 255;
    double sum = 0;
    for (std::size_t i = 0; i < one.pixels.size(); ++i) sum += std::abs(one.pixels[i] - other.pixels[i]);
    return sum / static_cast<double>(one.pixels.size());
}

TEST_F(RealMedia, ShowsTurnedPicturesTheRightWayUp) {
    skipWithoutTool();
    struct Row {
        const char* name;
        int width, height;
    };
    for (const Row& row : {Row{"ios9.mov", 144, 256}, Row{"portrait.MOV", 144, 256},
                           Row{"internal_emulator_transformer_output_270_rotated.mp4", 144, 256},
                           Row{"video_180.mov", 284, 160}, Row{"video_0.mov", 284, 160},
                           Row{"sample_rotate_and_reflect.mp4", 170, 256}, Row{"rotated_video.mp4", 192, 256}}) {
        const auto asset = platform_.openAsset(file(row.name), {});
        ASSERT_TRUE(asset) << row.name;
        const Size limit{static_cast<double>(row.width), static_cast<double>(row.height)};
        const auto image = platform_.image(*asset, {0, 600}, limit, {});
        ASSERT_TRUE(image) << row.name << image.error().message;
        const StillImage expected = pictureByTool(file(row.name), (*image)->width, (*image)->height);
        EXPECT_LT(difference(**image, expected), 8) << row.name;
        EXPECT_LE((*image)->width, row.width) << row.name;
        EXPECT_LE((*image)->height, row.height) << row.name;
    }
}

}  // namespace
}  // namespace kelvane::testing
