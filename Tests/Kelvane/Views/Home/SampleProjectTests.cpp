#include <gmock/gmock.h>

#include "Media/FFmpeg/DrawnMovieWriter.h"
#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/MediaEngine.h"
#include "Sample/SampleProject.h"
#include "Support/App/WindowsFixture.h"
#include "Views/Home/ProjectsHomeView.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Sample projects whose movies nobody encodes.
class SampleProjectTests : public WindowsFixture {
protected:
    SampleProjectTests() {
        media.addFileNamed("Coast.mp4", FakeFile::video(3));
        media.addFileNamed("Balloons.mp4", FakeFile::video(3));
        media.addFileNamed("Melody.m4a", FakeFile::audio(6.4));
        windows->writeDrawnMovie = [this](const FileURL& file, const DrawnMovie& movie, std::stop_token stop) {
            written.push_back(file.fileName());
            if (movie.progress) movie.progress(movie.pictureCount);
            if (onWrite) onWrite();
            if (stop.stop_requested()) return Result<void>(fail(Error::cancelled()));
            std::ofstream(file.path()) << "movie";
            return Result<void>();
        };
    }
    [[nodiscard]] std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& row : windows->library().projects()) found.push_back(row.name);
        return found;
    }

    std::vector<std::string> written;
    std::function<void()> onWrite;
    std::shared_ptr<Workspace> workspace = show(first);
    ProjectsHomeView home{*windows, workspace};
};

TEST_F(SampleProjectTests, ASampleProjectOpensWithItsFilm) {
    home.makeSampleProject();
    EXPECT_EQ(windows->work().size(), 1U);
    context.settle();
    EXPECT_THAT(written, ElementsAre("Coast.mp4", "Balloons.mp4", "Melody.m4a"));
    const auto editor = workspace->editor();
    ASSERT_TRUE(editor);
    EXPECT_EQ(editor->title(), "Sample Project");
    EXPECT_EQ(editor->assets().size(), 3U);
    EXPECT_EQ(editor->clips().size(), 4U);
    EXPECT_FALSE(editor->isDirty());
    EXPECT_DOUBLE_EQ(windows->library().projects().front().duration, TimelineLayout::duration(editor->clips()));
    for (const auto& clip : editor->clips()) {
        EXPECT_TRUE(clip.isValid());
        EXPECT_TRUE(clip.url.path().starts_with(editor->mediaDirectory()->path())) << clip.url.path();
        EXPECT_FALSE(clip.originalURL) << "it was made there";
    }
    EXPECT_THAT(windows->work(), IsEmpty());
}

TEST_F(SampleProjectTests, OneIsMadeAtATime) {
    home.makeSampleProject();
    home.makeSampleProject();
    context.settle();
    EXPECT_THAT(names(), ElementsAre("Sample Project"));
}

TEST_F(SampleProjectTests, AStopLeavesNothing) {
    home.makeSampleProject();
    onWrite = [this] { windows->cancelWork(); };
    context.settle();
    EXPECT_THAT(written, ElementsAre("Coast.mp4"));
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_FALSE(windows->error());
    EXPECT_FALSE(workspace->editor());
    EXPECT_THAT(folder.makeFolder("Projects").path(), ::testing::Not(IsEmpty()));
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("Projects")));
}

TEST_F(SampleProjectTests, ADiskThatIsFullIsToldAndLeavesNothing) {
    windows->writeDrawnMovie = [](const FileURL&, const DrawnMovie&, std::stop_token) {
        return Result<void>(fail("“Coast.mp4” could not be written: No space left on device"));
    };
    home.makeSampleProject();
    context.settle();
    EXPECT_EQ(windows->error(), "“Coast.mp4” could not be written: No space left on device");
    EXPECT_THAT(names(), IsEmpty());
    folder.makeFolder("Projects");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("Projects")));
}

TEST_F(SampleProjectTests, WithoutAnEncoderThereIsNone) {
    windows->writeDrawnMovie = nullptr;
    home.makeSampleProject();
    context.settle();
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_FALSE(windows->error());
}

/// A drawn movie through the engine, from its pictures and sound back to what is decoded.
TEST(DrawnMovieTests, WhatIsDrawnIsWhatTheMovieShows) {
    const TempFolder folder;
    const FileURL file = folder.url("Drawn.mp4");
    const DrawnMovie movie{.width = 64,
                           .height = 96,
                           .pictureCount = 30,
                           .picture =
                               [](std::int64_t number) {
                                   std::vector<std::uint8_t> pixels;
                                   for (int i = 0; i < 64 * 96; ++i)
                                       for (const int part : {200, static_cast<int>(4 * number), 40})
                                           pixels.push_back(static_cast<std::uint8_t>(part));
                                   return pixels;
                               },
                           .soundLength = 48'000,
                           .sound = [](std::int64_t, std::span<float> samples) { std::ranges::fill(samples, 0.1F); },
                           .progress = {}};
    const auto written = writeDrawnMovieFile(file, movie, {});
    ASSERT_TRUE(written) << written.error().message;
    FFmpegPlatform media;
    const auto imported = MediaEngine::importClip(media, file, {});
    ASSERT_TRUE(imported) << imported.error().message;
    EXPECT_NEAR(imported->clip.sourceDuration, 1, 0.05);
    EXPECT_FALSE(imported->clip.isAudio());
    ASSERT_TRUE(media.sourceStills(file, {MediaTime{20, 30}}, {64, 96},
                                   [](std::size_t, const TimedStill& still) -> Result<void> {
                                       const auto* pixel = still.image->pixels.data() + 4 * (48 * 64 + 32);
                                       EXPECT_NEAR(pixel[0], 200, 4);
                                       EXPECT_NEAR(pixel[1], 80, 4);
                                       EXPECT_NEAR(pixel[2], 40, 4);
                                       return {};
                                   },
                                   {}));
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(writeDrawnMovieFile(folder.url("Stopped.mp4"), movie, stop.get_token()),
              Result<void>(fail(Error::cancelled())));
}

}  // namespace
}  // namespace kelvane::testing
