#include <gtest/gtest.h>

#include <map>

#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Support/App/FakeMainContext.h"
#include "Support/App/FakePanels.h"
#include "Support/App/FakePlayer.h"
#include "Support/ClipBuilder.h"
#include "Support/SampleMedia.h"
#include "Support/TempFolder.h"
#include "Views/Timeline/TimelineTiles.h"

namespace kelvane::testing {
namespace {

/// The number that a picture of a sample movie shows; -1 for none.
int numberOf(const StillImage& image) {
    return readSampleNumber([&](double x, double y) {
               const auto row = static_cast<std::size_t>(y * image.height);
               const auto column = static_cast<std::size_t>(x * image.width);
               return static_cast<int>(image.pixels[(row * image.width + column) * 4 + 1]);
           })
        .value_or(-1);
}

TEST(TimelineTilePictures, AreTheFramesAtTheTilesOwnTimes) {
    if (!hasSampleTool()) GTEST_SKIP() << "the ffmpeg command line is not here";
    const TempFolder folder;
    SampleMovie movie;
    movie.width = 180;
    movie.height = 320;
    movie.frames = 300;
    const FileURL upright = makeSampleMovie(folder.path(), "upright.mp4", movie);
    movie.width = 640;
    movie.height = 360;
    movie.firstNumber = 1000;
    const FileURL wide = makeSampleMovie(folder.path(), "wide.mp4", movie);

    FakeMainContext context;
    FFmpegPlatform platform;
    FakePanels panels;
    EditorServices services;
    services.context = &context;
    services.media = &platform;
    services.panels = &panels;
    services.makePlayer = [](PlayerRole) { return std::make_unique<FakePlayer>(); };
    auto editor = Editor::create(UUID::random(), std::nullopt, services);
    TimelineTiles tiles;
    tiles.setEditor(editor);

    const std::map<FileURL, std::pair<int, Size>> files{{upright, {0, {72, 128}}}, {wide, {1000, {228, 128}}}};
    for (const auto& [file, facts] : files)
        for (const double scale : {32.0, 192.0}) {
            const Clip clip = videoClip(1, file).stretch(1.3, 9.1);
            std::vector<TileRequest> wanted;
            for (double left = 0; left < clip.duration() * scale; left += 72)
                wanted.push_back({file, TimelineTiles::timeOf(clip, left, scale), left});
            tiles.want(wanted);
            context.settle();
            for (const TileRequest& tile : wanted) {
                const StillImagePtr picture = tiles.picture(file, tile.time);
                ASSERT_TRUE(picture) << tile.time.seconds();
                EXPECT_EQ(Size(picture->width, picture->height), facts.second);
                EXPECT_EQ(numberOf(*picture), facts.first + tile.time.value / 20) << tile.time.seconds();
            }
        }
    tiles.setEditor(nullptr);
    editor.reset();
    context.settle();
}

}  // namespace
}  // namespace kelvane::testing
