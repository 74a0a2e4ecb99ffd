#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <set>

#include "KelvaneCore/Media/FFmpeg/Source/SourceFixture.h"
#include "Media/FFmpeg/Picture/PictureRenderer.h"
#include "Media/FFmpeg/Picture/PictureScaler.h"
#include "Media/FFmpeg/Sound/SoundReader.h"
#include "Media/MediaError.h"
#include "Timeline/Framing.h"

namespace kelvane {
namespace {

using namespace testing;

constexpr Size canvas{180, 320};

/// A timeline laid by hand: clips one after the other on one video track.
struct Timeline {
    std::shared_ptr<EditedMedia> media = std::make_shared<EditedMedia>();
    CompositionTrackID track = 0;
    MediaTime end{0, 600};
    AffineTransform transform;

    Timeline() {
        media->video.renderSize = canvas;
        media->video.frameDuration = {1, 30};
        track = media->composition.addTrack(MediaType::video);
    }

    void clip(const std::shared_ptr<const FFmpegTrack>& source, double from, double to, double horizontal = 0) {
        const MediaTimeRange range{MediaTime::fromSeconds(from), MediaTime::fromSeconds(to - from)};
        ASSERT_TRUE(media->composition.insert(track, source, range, end));
        transform =
            Framing::transform(*source->loadNaturalSize(), *source->loadOrientation(), 1, horizontal, 0, canvas);
        show(range.duration, {{track, end, transform}});
    }
    void gap(double seconds, bool withLayer) {
        const MediaTime duration = MediaTime::fromSeconds(seconds);
        ASSERT_TRUE(media->composition.insertEmpty(track, {end, duration}));
        show(duration,
             withLayer ? std::vector<VideoLayerInstruction>{{track, end, {}}} : std::vector<VideoLayerInstruction>{});
    }

private:
    void show(MediaTime duration, std::vector<VideoLayerInstruction> layers) {
        media->video.instructions.push_back({{end, duration}, std::move(layers)});
        end = end + duration;
    }
};

std::shared_ptr<const FFmpegTrack> videoTrack(const FileURL& url) { return firstTrack(url, MediaType::video); }

/// The number on a drawn picture of a source of `natural` size; -1 for black.
int shownNumber(const AVFrame& picture, Size natural, const AffineTransform& transform) {
    const auto luma = [&](double x, double y) {
        const double px = x * natural.width, py = y * natural.height;
        const int cx = static_cast<int>(transform.a * px + transform.c * py + transform.tx);
        const int cy = static_cast<int>(transform.b * px + transform.d * py + transform.ty);
        return static_cast<int>(picture.data[0][std::clamp(cy, 0, picture.height - 1) * picture.linesize[0] +
                                                std::clamp(cx, 0, picture.width - 1)]);
    };
    return readSampleNumber(luma).value_or(-1);
}

bool isBlack(const AVFrame& picture) {
    for (int plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        for (int y = 0; y < picture.height >> shift; ++y)
            for (int x = 0; x < picture.width >> shift; ++x)
                if (picture.data[plane][y * picture.linesize[plane] + x] != (plane == 0 ? 16 : 128)) return false;
    }
    return true;
}

SharedFrame pictureAt(PictureRenderer& renderer, MediaTime time) {
    auto picture = renderer.picture(time, {});
    EXPECT_TRUE(picture.has_value()) << picture.error().message;
    return picture ? *picture : nullptr;
}

class PictureRendererTest : public ::testing::Test {
protected:
    void SetUp() override { skipWithoutTool(); }
    FileURL movie(const std::string& name, const SampleMovie& made) {
        return makeSampleMovie(folder.path(), name, made);
    }
    TempFolder folder;
};

TEST_F(PictureRendererTest, EachTimeShowsTheSourceFrameThatTheTimelineNames) {
    const auto first = videoTrack(movie("first.mp4", {.frames = 90}));
    const auto second = videoTrack(movie("second.mov", {.rateNumerator = 25, .frames = 100, .firstNumber = 1000}));
    Timeline timeline;
    timeline.clip(first, 0.5, 1.5);
    timeline.clip(second, 2.0, 3.0);
    // The same source again, far from where it was left.
    timeline.clip(first, 2.0, 2.5);
    timeline.clip(first, 0.1, 0.6);
    const auto expected = [](int frame) {
        if (frame < 30) return 15 + frame;
        if (frame < 60) return 1000 + static_cast<int>(std::floor((2.0 + (frame - 30) / 30.0) * 25 + 1e-6));
        if (frame < 75) return 60 + frame - 60;
        return 3 + frame - 75;
    };
    for (const int openSources : {1, 2}) {
        PictureRenderer renderer(timeline.media, {.openSources = openSources});
        for (int frame = 0; frame < 90; ++frame) {
            const SharedFrame picture = pictureAt(renderer, {frame, 30});
            ASSERT_TRUE(picture);
            EXPECT_EQ(shownNumber(*picture, {320, 180}, timeline.transform), expected(frame)) << "frame " << frame;
        }
        // Out of order.
        for (const int frame : {80, 3, 61, 45, 0, 89, 30, 29}) {
            const SharedFrame picture = pictureAt(renderer, {frame, 30});
            EXPECT_EQ(shownNumber(*picture, {320, 180}, timeline.transform), expected(frame)) << "frame " << frame;
        }
    }
}

TEST_F(PictureRendererTest, WhatStaysTheSameComesBackAsTheSamePicture) {
    const auto slow = videoTrack(movie("slow.mp4", {.rateNumerator = 10, .frames = 20}));
    Timeline timeline;
    timeline.clip(slow, 0, 1);
    timeline.clip(slow, 0, 0.1, 1);
    PictureRenderer renderer(timeline.media);
    std::vector<SharedFrame> pictures;
    for (int frame = 0; frame < 33; ++frame) pictures.push_back(pictureAt(renderer, {frame, 30}));
    for (int frame = 0; frame < 30; ++frame)
        EXPECT_EQ(pictures[static_cast<std::size_t>(frame)], pictures[static_cast<std::size_t>(frame / 3 * 3)])
            << frame;
    EXPECT_EQ(std::set<SharedFrame>(pictures.begin(), pictures.end()).size(), 11U);
    // The same frame under another framing is another picture.
    EXPECT_NE(pictures[30], pictures[0]);
}

TEST_F(PictureRendererTest, PicturesOfVariableRateChangeWhenTheSourceDoes) {
    // Frame n shows from n² / 100 s on.
    const auto variable =
        videoTrack(movie("variable.mkv", {.frames = 12,
                                          .videoFilter = "settb=1/1000,setpts=N*N*10",
                                          .output = {"-vsync", "passthrough", "-enc_time_base", "1/1000"}}));
    Timeline timeline;
    timeline.clip(variable, 0, 1.2);
    PictureRenderer renderer(timeline.media);
    for (int frame = 0; frame < 36; ++frame) {
        const SharedFrame picture = pictureAt(renderer, {frame, 30});
        EXPECT_EQ(shownNumber(*picture, {320, 180}, timeline.transform),
                  static_cast<int>(std::floor(std::sqrt(frame / 30.0 * 100 + 1e-9))))
            << "frame " << frame;
    }
}

TEST_F(PictureRendererTest, TimesWithoutAPictureAreBlack) {
    const auto source = videoTrack(movie("a.mp4", {.frames = 30}));
    Timeline timeline;
    timeline.clip(source, 0, 0.5);
    timeline.gap(0.5, false);
    timeline.gap(0.5, true);
    PictureRenderer renderer(timeline.media);
    EXPECT_FALSE(isBlack(*pictureAt(renderer, {7, 30})));
    const SharedFrame black = pictureAt(renderer, {16, 30});
    EXPECT_TRUE(isBlack(*black));
    EXPECT_EQ(black->width, canvas.width);
    EXPECT_EQ(black->height, canvas.height);
    // In a gap, with a layer on an empty stretch, behind the end, before the start.
    for (const MediaTime time : {MediaTime{20, 30}, MediaTime{35, 30}, MediaTime{500, 30}, MediaTime{-1, 30}})
        EXPECT_EQ(pictureAt(renderer, time), black);
    EXPECT_TRUE(isBlack(*pictureAt(*std::make_unique<PictureRenderer>(Timeline().media), {0, 30})));
}

TEST_F(PictureRendererTest, ASliverWithoutAPictureShowsTheFrameBeforeIt) {
    const auto source = videoTrack(movie("a.mp4", {.frames = 60}));
    Timeline timeline;
    timeline.clip(source, 0, 0.5);
    timeline.gap(0.03, false);
    timeline.clip(source, 1, 1.5);
    timeline.gap(1.0 / 600, false);
    PictureRenderer renderer(timeline.media);
    const auto numberAt = [&](MediaTime time) {
        return shownNumber(*pictureAt(renderer, time), {320, 180}, timeline.transform);
    };
    EXPECT_EQ(numberAt({299, 600}), 14);
    // Not the source's next frame, which was cut off.
    for (const int unit : {300, 309, 317}) EXPECT_EQ(numberAt({unit, 600}), 14) << unit;
    EXPECT_EQ(numberAt({318, 600}), 30);
    EXPECT_EQ(numberAt({618, 600}), 44);
    EXPECT_TRUE(isBlack(*pictureAt(renderer, {619, 600})));
}

TEST_F(PictureRendererTest, ATrackThatStartsLateIsBlackUntilThen) {
    const auto late = videoTrack(movie("late.mkv", {.frames = 30, .soundSeconds = 1.5, .soundDelay = -0.5}));
    Timeline timeline;
    timeline.clip(late, 0, 1.2);
    PictureRenderer renderer(timeline.media);
    EXPECT_TRUE(isBlack(*pictureAt(renderer, {3, 30})));
    EXPECT_FALSE(isBlack(*pictureAt(renderer, {25, 30})));
}

TEST_F(PictureRendererTest, ASourceThatHasGoneOrWasReplacedFailsWithItsName) {
    const FileURL gone = movie("Holiday.film.mp4", {.frames = 10});
    const FileURL replaced = movie("Other.mp4", {.frames = 10});
    Timeline timeline;
    timeline.clip(videoTrack(gone), 0, 0.2);
    timeline.clip(videoTrack(replaced), 0, 0.2);
    std::filesystem::remove(gone.path());
    std::filesystem::remove(replaced.path());
    (void)movie("Other.mp4", {.frames = 12});
    PictureRenderer renderer(timeline.media);
    const auto first = renderer.picture({0, 30}, {});
    ASSERT_FALSE(first.has_value());
    EXPECT_EQ(first.error(), MediaError::invalidClip("Holiday.film"));
    const auto second = renderer.picture({7, 30}, {});
    ASSERT_FALSE(second.has_value());
    EXPECT_EQ(second.error(), MediaError::invalidClip("Other"));
}

TEST_F(PictureRendererTest, ADamagedSourceIsShownAsFarAsItDecodes) {
    const FileURL url = movie("damaged.mp4", {.frames = 90, .output = {"-g", "15", "-movflags", "+faststart"}});
    // Zeros over the second third of the data.
    const auto size = std::filesystem::file_size(url.path());
    {
        std::fstream file(url.path(), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(size * 2 / 5));
        const std::vector<char> zeros(size / 4, 0);
        file.write(zeros.data(), static_cast<std::streamsize>(zeros.size()));
    }
    Timeline timeline;
    timeline.clip(videoTrack(url), 0, 3);
    PictureRenderer renderer(timeline.media);
    for (int frame = 0; frame < 90; ++frame) {
        const SharedFrame picture = pictureAt(renderer, {frame, 30});
        ASSERT_TRUE(picture) << frame;
        EXPECT_FALSE(isBlack(*picture)) << frame;
    }
    EXPECT_EQ(shownNumber(*pictureAt(renderer, {10, 30}), {320, 180}, timeline.transform), 10);
    EXPECT_EQ(shownNumber(*pictureAt(renderer, {88, 30}), {320, 180}, timeline.transform), 88);
}

TEST_F(PictureRendererTest, ASourceWhoseDataIsCutOffMidwayFailsWithItsName) {
    // Noise, so that the file is larger than what a reader holds at once.
    const FileURL url = movie("cut.mp4", {.frames = 90,
                                          .videoFilter = "noise=alls=12:allf=t",
                                          .output = {"-qp", "4", "-g", "15", "-movflags", "+faststart"}});
    ASSERT_GT(std::filesystem::file_size(url.path()), 1'000'000U);
    const auto track = videoTrack(url);
    Timeline timeline;
    timeline.clip(track, 0, 3);
    PictureRenderer renderer(timeline.media);
    EXPECT_EQ(shownNumber(*pictureAt(renderer, {0, 30}), {320, 180}, timeline.transform), 0);
    truncateSample(url, std::filesystem::file_size(url.path()) / 2);
    // What was read before stays right; the first picture behind it fails, and so do all that follow.
    int frame = 1;
    auto picture = renderer.picture({frame, 30}, {});
    for (; picture && frame < 90; picture = renderer.picture({++frame, 30}, {}))
        ASSERT_EQ(shownNumber(**picture, {320, 180}, timeline.transform), frame);
    ASSERT_LT(frame, 90);
    EXPECT_EQ(picture.error(), MediaError::invalidClip("cut"));
    EXPECT_EQ(renderer.picture({89, 30}, {}).error(), MediaError::invalidClip("cut"));
    EXPECT_EQ(renderer.picture({0, 30}, {}).error(), MediaError::invalidClip("cut"));
}

TEST_F(PictureRendererTest, ASourceThatWasShortFromTheStartHoldsItsLastPicture) {
    const FileURL url = movie("short.mp4", {.frames = 90, .output = {"-g", "15", "-movflags", "+faststart"}});
    truncateSample(url, std::filesystem::file_size(url.path()) / 2);
    Timeline timeline;
    timeline.clip(videoTrack(url), 0, 3);
    PictureRenderer renderer(timeline.media);
    int last = -1;
    for (int frame = 0; frame < 90; ++frame) {
        const SharedFrame picture = pictureAt(renderer, {frame, 30});
        ASSERT_TRUE(picture) << frame;
        const int number = shownNumber(*picture, {320, 180}, timeline.transform);
        EXPECT_GE(number, last) << frame;
        last = std::max(last, number);
    }
    EXPECT_GT(last, 20);
    EXPECT_LT(last, 89);
}

TEST_F(PictureRendererTest, OpeningASourceEndsAsCancelled) {
    const FileURL url = movie("a.mp4", {.frames = 30});
    const auto source = videoTrack(url);
    std::stop_source stop;
    stop.request_stop();
    const auto pictures = VideoFrameReader::open(source, {}, stop.get_token());
    ASSERT_FALSE(pictures.has_value());
    EXPECT_TRUE(pictures.error().isCancelled());
    const auto sound = SoundReader::open(source, stop.get_token());
    ASSERT_FALSE(sound.has_value());
    EXPECT_TRUE(sound.error().isCancelled());
}

TEST_F(PictureRendererTest, AStopEndsAtOnce) {
    const auto source = videoTrack(movie("a.mp4", {.frames = 30}));
    Timeline timeline;
    timeline.clip(source, 0, 1);
    PictureRenderer renderer(timeline.media);
    std::stop_source stop;
    stop.request_stop();
    const auto stopped = renderer.picture({3, 30}, stop.get_token());
    ASSERT_FALSE(stopped.has_value());
    EXPECT_TRUE(stopped.error().isCancelled());
    EXPECT_EQ(shownNumber(*pictureAt(renderer, {3, 30}), {320, 180}, timeline.transform), 3);
}

TEST_F(PictureRendererTest, EveryOrientationShowsItsCornersInPlace) {
    struct Row {
        std::string name;
        double a, b, c, d;
    };
    for (const Row& row :
         {Row{"upright", 1, 0, 0, 1}, Row{"90", 0, 1, -1, 0}, Row{"180", -1, 0, 0, -1}, Row{"270", 0, -1, 1, 0},
          Row{"mirrored", -1, 0, 0, 1}, Row{"turned and mirrored", 0, 1, 1, 0}}) {
        const FileURL url = movie("turned.mp4", {.frames = 5});
        const AffineTransform turn{row.a, row.b, row.c, row.d, 0, 0};
        const Rect box = turn.boundingRect({0, 0, 320, 180});
        setSampleMatrix(url, row.a, row.b, row.c, row.d, -box.x, -box.y);
        Timeline timeline;
        timeline.clip(videoTrack(url), 0, 0.1);
        PictureRenderer renderer(timeline.media);
        const SharedFrame picture = pictureAt(renderer, {2, 30});
        EXPECT_EQ(shownNumber(*picture, {320, 180}, timeline.transform), 2) << row.name;
        // The four quarters around the middle; sources of this size are Rec. 601.
        for (int corner = 0; corner < 4; ++corner) {
            const double px = 160 + (corner % 2 == 0 ? -1 : 1) * 42.0;
            const double py = 90 + (corner / 2 == 0 ? -1 : 1) * 42.0;
            const int x =
                static_cast<int>(timeline.transform.a * px + timeline.transform.c * py + timeline.transform.tx);
            const int y =
                static_cast<int>(timeline.transform.b * px + timeline.transform.d * py + timeline.transform.ty);
            if (x < 2 || y < 2 || x >= picture->width - 2 || y >= picture->height - 2) continue;
            const int blue = picture->data[1][y / 2 * picture->linesize[1] + x / 2];
            const int red = picture->data[2][y / 2 * picture->linesize[2] + x / 2];
            EXPECT_NEAR(blue, sampleCorners[corner].u, 24) << row.name << " corner " << corner;
            EXPECT_NEAR(red, sampleCorners[corner].v, 24) << row.name << " corner " << corner;
        }
    }
}

TEST(PictureRenderer, RealFilesAreDrawnInRec709) {
    const std::string folder = mediaFolder();
    if (folder.empty()) GTEST_SKIP() << "the collection of real files isn't here";
    int drawn = 0;
    for (const char* name :
         {"portrait.MOV", "rotated_hdr_video.mov", "hdr10-av1.mp4", "bt601.mov", "bt709_full_range.mp4",
          "sample_srgb.mp4", "portrait_4k60.mp4", "test.prores.mov", "bear-vp9-odd-dimensions.webm", "sar_2x1.mp4",
          "sample_rotate_and_reflect.mp4", "sample_with_chapters.mkv", "0.ts"}) {
        const std::string path = folder + "/" + name;
        if (!std::filesystem::exists(path)) continue;
        const auto track = videoTrack(FileURL::fromPath(path));
        ASSERT_TRUE(track) << name;
        Timeline timeline;
        timeline.clip(track, 0, 0.2);
        PictureRenderer renderer(timeline.media);
        const SharedFrame picture = pictureAt(renderer, {2, 30});
        ASSERT_TRUE(picture) << name;
        EXPECT_EQ(picture->format, AV_PIX_FMT_YUV420P) << name;
        EXPECT_EQ(picture->colorspace, AVCOL_SPC_BT709) << name;
        EXPECT_EQ(picture->color_range, AVCOL_RANGE_MPEG) << name;
        EXPECT_EQ(picture->width, canvas.width) << name;
        ++drawn;
    }
    EXPECT_GT(drawn, 5);
}

}  // namespace
}  // namespace kelvane
