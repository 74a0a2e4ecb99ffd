#pragma once

#include <cstring>

#include "KelvaneCore/Media/FFmpeg/Source/SourceFixture.h"
#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/FFmpeg/Picture/PictureRenderer.h"
#include "Media/MediaEngine.h"

namespace kelvane::testing {

/// The pixels of a picture without what lies beside them.
using Pixels = std::vector<std::uint8_t>;

inline Pixels pixelsOf(const VideoPicture& picture) {
    Pixels pixels;
    for (const VideoPicture::Plane& plane : picture.planes)
        for (int y = 0; y < plane.height; ++y)
            pixels.insert(pixels.end(), plane.data + y * plane.stride, plane.data + y * plane.stride + plane.width);
    return pixels;
}

inline Pixels pixelsOf(const AVFrame& frame) {
    Pixels pixels;
    for (int i = 0; i < 3; ++i) {
        const int width = i == 0 ? frame.width : (frame.width + 1) / 2;
        const int height = i == 0 ? frame.height : (frame.height + 1) / 2;
        for (int y = 0; y < height; ++y) {
            const std::uint8_t* row = frame.data[i] + static_cast<std::ptrdiff_t>(y) * frame.linesize[i];
            pixels.insert(pixels.end(), row, row + width);
        }
    }
    return pixels;
}

/// Sample movies, edits of them, and streams of those.
class Playback : public ::testing::Test {
protected:
    static constexpr Size canvas{90, 160};

    void SetUp() override { skipWithoutTool(); }

    /// A movie of 120 numbered frames, 30 a second.
    FileURL movie(const std::string& name, const std::string& parameters = "keyint=30:bframes=3:b-adapt=0") {
        SampleMovie movie;
        movie.width = 192;
        movie.height = 108;
        movie.frames = 120;
        movie.video = {"-c:v", "libx264",  "-preset", "veryfast",     "-qp",
                       "16",   "-pix_fmt", "yuv420p", "-x264-params", parameters + ":scenecut=0"};
        return makeSampleMovie(folder_.path(), name, movie);
    }
    Clip clip(const FileURL& file, double start, double end) {
        auto imported = MediaEngine::importClip(platform_, file, {});
        EXPECT_TRUE(imported) << imported.error().message;
        if (!imported) return {};
        imported->clip.start = start;
        imported->clip.end = end;
        return imported->clip;
    }
    EditedMediaPtr edit(const std::vector<Clip>& clips) {
        auto media = MediaEngine::build(platform_, clips, {1080, 1920}, MediaEngine::previewFrame, {});
        EXPECT_TRUE(media) << media.error().message;
        return media ? *media : nullptr;
    }
    std::unique_ptr<PictureStream> pictures(const EditedMediaPtr& media) {
        return platform_.makePictureStream(media, canvas);
    }
    /// What an export draws.
    static Pixels expected(const EditedMediaPtr& media, MediaTime time, Size size = canvas) {
        PictureRenderer renderer(media, {.decoderThreads = 1, .canvas = size});
        const auto picture = renderer.picture(time, {});
        EXPECT_TRUE(picture) << picture.error().message;
        return picture ? pixelsOf(**picture) : Pixels();
    }
    /// The exact picture at frame `number` of the timeline, by the call of the highest number.
    static VideoPicturePtr show(PictureStream& stream, std::int64_t number) {
        const auto shown = stream.picture({number, 30}, UINT64_MAX, {});
        EXPECT_TRUE(shown) << shown.error().message;
        if (!shown) return nullptr;
        EXPECT_TRUE(shown->isExact);
        EXPECT_EQ(shown->time, (MediaTime{number, 30}));
        EXPECT_NE(shown->picture, nullptr);
        return shown->picture;
    }
    [[nodiscard]] std::int64_t packets() const { return platform_.readers().packetsDecoded(); }
    [[nodiscard]] std::int64_t opened() const { return platform_.readers().openedCount(); }

    TempFolder folder_;
    FFmpegPlatform platform_;
};

}  // namespace kelvane::testing
