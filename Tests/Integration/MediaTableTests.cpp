#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "Footage.h"
#include "LiveApplication.h"
#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Media/MediaEngine.h"
#include "Support/TestData.h"

namespace kelvane::testing {
namespace {

/// Length of a movie's tracks as another reader sees it, seconds.
double lengthOf(const std::string& movie) {
    const auto asked = runProcess({"ffprobe", "-v", "error", "-show_entries", "format=duration", "-of",
                                   "default=noprint_wrappers=1:nokey=1", movie});
    EXPECT_EQ(asked.status, 0) << asked.errors;
    return std::atof(asked.output.c_str());
}

class MediaTable : public ::testing::TestWithParam<int> {};

/// Rows are dealt to this many tests, so that they run side by side.
constexpr int shares = 4;

TEST_P(MediaTable, WhatIsImportedExports) {
    const auto rows = mediaRows();
    if (rows.empty()) GTEST_SKIP() << "KELVANE_MEDIA names no collection of media";
    TempFolder folder;
    FFmpegPlatform platform;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (static_cast<int>(i % shares) != GetParam()) continue;
        const auto& row = rows[i];
        SCOPED_TRACE(row.name);
        const auto imported = MediaEngine::importClip(platform, FileURL::fromPath(mediaFolder() + "/" + row.name), {});
        if (row.expectation == "refuse") EXPECT_FALSE(imported);
        if (row.expectation == "video" || row.expectation == "audio") EXPECT_TRUE(imported) << imported.error().message;
        if (!imported) continue;
        Clip clip = imported->clip;
        EXPECT_EQ(clip.isAudio(), row.expectation.find("audio") != std::string::npos) << row.expectation;
        // The whole of a short file; of a long one a second at the head and one at the tail.
        std::vector<Clip> clips;
        if (clip.sourceDuration <= 3) {
            clips = {clip};
        } else {
            clips = {clip, clip};
            clips[0].end = 1;
            clips[1].start = clip.sourceDuration - 1;
        }
        double length = 0;
        for (auto& part : clips) {
            part.id = UUID::random();
            if (part.isAudio()) part.timelineStart = length;
            length += part.duration();
        }
        const auto media = MediaEngine::build(platform, clips, Size{360, 640}, MediaTime{1, 30}, {});
        ASSERT_TRUE(media) << media.error().message;
        auto session = MediaEngine::exporter(platform, *media, ExportContainer::mp4);
        ASSERT_TRUE(session) << session.error().message;
        const auto movie = folder.path("movie.mp4");
        const auto done = (*session)->exportTo(FileURL::fromPath(movie), ExportContainer::mp4, {});
        if (!clip.isAudio() && !imported->picture) {
            // Nothing of it decodes: no movie is made of black.
            EXPECT_EQ(done, Result<void>(fail("“" + row.name + "” has no picture that can be decoded.")));
            continue;
        }
        ASSERT_TRUE(done) << done.error().message;
        EXPECT_NEAR(lengthOf(movie), length, 0.07);
        std::filesystem::remove(movie);
    }
}

INSTANTIATE_TEST_SUITE_P(Collection, MediaTable, ::testing::Range(0, shares));

}  // namespace
}  // namespace kelvane::testing
