#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Inspection/CLIMediaInspection.h"
#include "Inspection/InspectionSheet.h"
#include "InspectionFixture.h"
#include "Media/MediaEngine.h"
#include "Platform/ImageEncoding.h"
#include "Support/ClipBuilder.h"
#include "Timeline/Framing.h"

namespace kelvane::CLIMediaInspection {
namespace {

using namespace kelvane::testing;

using Clips = std::vector<Clip>;
using Times = std::vector<double>;

/// Video clips of these lengths, seconds, each from 10 s into its source.
Clips videos(const Times& lengths) {
    Clips clips;
    for (const double length : lengths)
        clips.push_back(videoClip(clips.size() + 1, "/media/a.mov", 100).stretch(10, 10 + length));
    return clips;
}

Clips with(Clips clips, const Clip& more) {
    clips.push_back(more);
    return clips;
}

TEST(PreviewTimes, ShowEndsMiddlesAndBothSidesOfCuts) {
    struct Row {
        const char* what;
        Clips clips;
        Times times;
    };
    const Clip overlay = audioClip(90, "/media/talk.wav", 6);
    for (const auto& row : {
             Row{"nothing", {}, {}},
             Row{"sound alone", {overlay}, {}},
             Row{"one clip", videos({10}), {0, 5, 9.966666666666667}},
             Row{"a cut", videos({2, 3}), {0, 1, 1.9666666666666666, 2, 3.5, 4.966666666666667}},
             Row{"a black tail", with(videos({4}), overlay), {0, 2, 4, 5, 5.966666666666667}},
             Row{"sound that ends first", with(videos({10}), overlay), {0, 5, 9.966666666666667}},
             Row{"sound first in the array", {overlay, videos({2})[0]}, {0, 1, 2, 4, 5.966666666666667}},
             Row{"one frame", videos({1.0 / 30}), {0, 1.0 / 60}},
         }) {
        EXPECT_EQ(previewTimes(row.clips), row.times) << row.what;
    }
}

TEST(PreviewTimes, LeaveTheMiddleOfNineClipsOut) {
    const auto times = previewTimes(videos(Times(9, 2)));
    const auto has = [&](double time) { return std::ranges::find(times, time) != times.end(); };
    for (int clip = 0; clip < 9; ++clip) EXPECT_EQ(has(2 * clip + 1), clip != 4) << clip;
    // Of the eight cuts the one before the fifth clip.
    for (int cut = 1; cut < 9; ++cut) EXPECT_EQ(has(2 * cut), cut != 4) << cut;
    EXPECT_EQ(times.size(), 24U);
}

TEST(PreviewTimes, AreAtMostTwentyFourOfAnyTimeline) {
    for (const int count : {8, 9, 10, 100, 1000}) {
        const auto clips = with(videos(Times(count, 1.5)), audioClip(9999, "/media/talk.wav", 1600));
        const auto times = previewTimes(clips);
        EXPECT_EQ(times.size(), 24U) << count;
        EXPECT_TRUE(std::ranges::is_sorted(times));
        EXPECT_EQ(std::ranges::adjacent_find(times), times.end());
        EXPECT_EQ(times.front(), 0);
        EXPECT_EQ(times.back(), 1600 - 1.0 / 30);
    }
}

TEST(PreviewTimes, DropExactDuplicatesOnly) {
    // The middle of a clip of two frames is the beginning of its second, which is also its last.
    EXPECT_EQ(previewTimes(videos({2.0 / 30})), (Times{0, 2.0 / 30 - 1.0 / 30}));
    // Here the two differ in their last bit.
    const auto times = previewTimes(videos({1, 2.0 / 30}));
    EXPECT_EQ(times, (Times{0, 0.5, 1 - 1.0 / 30, 1, 640.0 / 600 - 1.0 / 30, 1 + 40.0 / 600 * 0.5}));
}

TEST(TimelinePosition, IsTheClipThatShows) {
    struct Row {
        double time;
        std::optional<TimelinePosition> position;
    };
    const Clips clips{audioClip(90, "/media/talk.wav", 30).at(1), videos({2})[0], audioClip(91, "/media/talk.wav", 9),
                      videoClip(3, "/media/b.mov", 50).stretch(0.5, 3.5)};
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    for (const auto& row : {
             Row{0, TimelinePosition{1, 10}},
             Row{1.5, TimelinePosition{1, 11.5}},
             Row{std::nextafter(2.0, 0), TimelinePosition{1, 10 + std::nextafter(2.0, 0)}},
             Row{2, TimelinePosition{3, 0.5}},
             Row{4.75, TimelinePosition{3, 3.25}},
             Row{5, std::nullopt},
             Row{20, std::nullopt},
             Row{-0.001, std::nullopt},
             Row{nan, std::nullopt},
             Row{infinity, std::nullopt},
             Row{-infinity, std::nullopt},
         }) {
        EXPECT_EQ(timelinePosition(row.time, clips), row.position) << row.time;
    }
    EXPECT_EQ(timelinePosition(0, {}), std::nullopt);
}

TEST(TimelinePosition, IsRoundedAsTheEditIs) {
    // 1.0009 s is 601/600 on the timeline; the source begins at 0.3334 s, which is 200/600.
    const Clips clips{videoClip(1).stretch(0, 1.0009), videoClip(2).stretch(0.3334, 2)};
    EXPECT_EQ(timelinePosition(601.0 / 600, clips), (TimelinePosition{1, 200.0 / 600 + 601.0 / 600 - 601.0 / 600}));
    EXPECT_EQ(timelinePosition(1.001, clips)->index, 0U);
}

class Preview : public ::testing::Test {
protected:
    Preview() {
        platform.fake.addFileNamed("a.mov", FakeFile::video(100));
        platform.fake.addFileNamed("talk.wav", FakeFile::audio(100));
    }
    Result<JSONObject> render(const Times& times, bool compact = false, EditedMediaPtr media = nullptr,
                              std::stop_token stop = {}) {
        return preview(platform, clips, "Trip", times, folder.url("Previews"), compact, media, stop);
    }

    TempFolder folder;
    StillPlatform platform;
    Clips clips = with(videos({2, 3}), audioClip(90, "/media/talk.wav", 8));
};

TEST_F(Preview, TellsOfEveryTile) {
    const auto full = render({0, 2, 4.999, 5, 8});
    ASSERT_TRUE(full) << full.error().message;
    EXPECT_EQ(normalized(full->text(), folder), golden("preview.json"));
    const auto compact = render({0, 2, 4.999, 5, 8}, true);
    ASSERT_TRUE(compact);
    EXPECT_EQ(normalized(compact->text(), folder), golden("preview-compact.json"));
    EXPECT_EQ(platform.requests, std::vector<std::string>(2, "timeline within 1280x1280: 0/600 1200/600 2999/600"));
    EXPECT_EQ(platform.timeline->video.renderSize, Framing::size);
    EXPECT_EQ(platform.timeline->video.frameDuration, (MediaTime{1, 30}));
    EXPECT_EQ(fileCount(folder), 2U);
}

TEST_F(Preview, DrawsShotsAndBlackTilesInTheirCells) {
    const auto document = render({5.5, 0.25, 2.5});
    ASSERT_TRUE(document) << document.error().message;
    auto expected = Sheet::make("Timeline · Trip", "8.000 s · 1080 × 1920 framing · timeline and source timestamps", 3);
    expected->add(plainStill(1080, 1920, 0, 0, 0), 0, "01 · Timeline 5.500 s", "Black frame · audio tail");
    expected->add(*platform.still(0, {})->image, 1, "02 · Timeline 0.250 s · Shot 1", "Source 10.250 s · 00000000");
    expected->add(*platform.still(1, {})->image, 2, "03 · Timeline 2.500 s · Shot 2", "Source 10.500 s · 00000000");
    const auto names = folder.entries();
    ASSERT_EQ(names.size(), 2U);
    EXPECT_EQ(folder.read(names.back()), *jpegData(expected->canvas().image(), 0.9));
}

TEST_F(Preview, NumbersShotsByTheirPlaceInTheArray) {
    clips.insert(clips.begin(), audioClip(91, "/media/talk.wav", 1));
    const auto document = render({0});
    ASSERT_TRUE(document) << document.error().message;
    EXPECT_EQ(document->raw("frames"),
              R"([{"clipID":"00000000-0000-0000-0000-000000000001","clipIndex":2,"index":1,"requestedTime":0,)"
              R"("sourceTime":10,"timestamp":0}])");
}

TEST_F(Preview, ShowsOfItsDefaultTimesTheTailAsBlack) {
    clips = with(videos({4}), audioClip(90, "/media/talk.wav", 6));
    const auto document = render(previewTimes(clips));
    ASSERT_TRUE(document) << document.error().message;
    EXPECT_EQ(document->raw("frames"),
              R"([{"clipID":"00000000-0000-0000-0000-000000000001","clipIndex":1,"index":1,"requestedTime":0,)"
              R"("sourceTime":10,"timestamp":0},)"
              R"({"clipID":"00000000-0000-0000-0000-000000000001","clipIndex":1,"index":2,"requestedTime":2,)"
              R"("sourceTime":12,"timestamp":2},)"
              R"({"index":3,"kind":"black","requestedTime":4,"timestamp":4},)"
              R"({"index":4,"kind":"black","requestedTime":5,"timestamp":5},)"
              R"({"index":5,"kind":"black","requestedTime":5.966666666666667,"timestamp":5.966666666666667}])");
}

TEST_F(Preview, AsksForNothingPastTheEnd) {
    clips = videos({2, 3});
    const auto document = render({5, 4.9999, 7000}, true);
    ASSERT_TRUE(document) << document.error().message;
    EXPECT_EQ(platform.requests, std::vector<std::string>{"timeline within 1280x1280: 2999/600 2999/600 2999/600"});
}

TEST_F(Preview, OfASliverThatRoundingLeftShowsTheFrameBeforeIt) {
    // Lengths that come to 1,380 units one by one and to 1,381 in all.
    clips.clear();
    for (const double length : {0.296, 0.455, 0.394, 0.478, 0.269, 0.409})
        clips.push_back(videoClip(clips.size() + 1, "/media/a.mov", 100).stretch(1, 1 + length));
    const auto document = render({2.3, 7});
    ASSERT_TRUE(document) << document.error().message;
    EXPECT_EQ(platform.requests, std::vector<std::string>{"timeline within 1280x1280: 1379/600 1379/600"});
    EXPECT_EQ(document->raw("frames").find("black"), std::string::npos);
    EXPECT_NE(document->raw("frames").find(R"("clipIndex":6)"), std::string::npos);
}

TEST_F(Preview, LooksUpTheFrameThatWasShown) {
    // The frame lies across the cut from the time asked for.
    platform.still = [](std::size_t, MediaTime) {
        return TimedStill{std::make_shared<StillImage>(plainStill(9, 16, 1, 2, 3)), MediaTime{1200, 600}};
    };
    const auto document = render({1.999});
    ASSERT_TRUE(document);
    EXPECT_EQ(document->raw("frames"),
              R"([{"clipID":"00000000-0000-0000-0000-000000000002","clipIndex":2,"index":1,"requestedTime":1.999,)"
              R"("sourceTime":10,"timestamp":2}])");

    platform.still = [](std::size_t, MediaTime) {
        return TimedStill{std::make_shared<StillImage>(plainStill(9, 16, 1, 2, 3)), MediaTime{3000, 600}};
    };
    EXPECT_EQ(render({1}).error(), Error("Preview frame is outside the video sequence."));
    EXPECT_EQ(fileCount(folder), 1U);
}

TEST_F(Preview, UsesTheMediaThatIsThere) {
    const auto media = MediaEngine::build(platform.fake, clips, Framing::size, {1, 30}, {});
    ASSERT_TRUE(media);
    platform.fake.clearCalls();
    ASSERT_TRUE(render({1}, false, *media));
    EXPECT_EQ(platform.timeline, *media);
    EXPECT_EQ(platform.fake.calls(), std::vector<std::string>{});
}

TEST_F(Preview, OfATailAloneDecodesNothing) {
    ASSERT_TRUE(render({6, 7}));
    EXPECT_TRUE(platform.requests.empty());
}

TEST_F(Preview, SaysWhyThereIsNone) {
    EXPECT_EQ(render({}).error(), Error("A contact sheet needs 1–24 frames."));
    EXPECT_EQ(render(Times(25)).error(), Error("A contact sheet needs 1–24 frames."));
    EXPECT_EQ(render({std::nan("")}).error(),
              Error("Frame times must be finite timestamps within the video duration."));
    platform.still = [](std::size_t, MediaTime) -> Result<TimedStill> { return fail("“a.mov” could not be decoded."); };
    EXPECT_EQ(render({1}).error(), Error("“a.mov” could not be decoded."));
    platform.fake.failOn("openAsset", "“a.mov” could not be opened.");
    EXPECT_EQ(render({1}).error(), Error("“a.mov” could not be opened."));
    EXPECT_TRUE(folder.entries().empty());

    folder.write("Previews", "a file");
    platform.fake.clearFailures();
    EXPECT_EQ(render({6}).error().message, "The folder “Previews” could not be made: Not a directory.");
}

TEST_F(Preview, EndsAsCancelledWithoutAFile) {
    std::stop_source early;
    early.request_stop();
    EXPECT_TRUE(render({1}, false, nullptr, early.get_token()).error().isCancelled());
    const auto media = MediaEngine::build(platform.fake, clips, Framing::size, {1, 30}, {});
    EXPECT_TRUE(render({6}, false, *media, early.get_token()).error().isCancelled());

    for (const std::size_t at : {1U, 0U}) {
        std::stop_source source;
        platform.still = [&](std::size_t index, MediaTime time) {
            if (index == at) source.request_stop();
            return TimedStill{std::make_shared<StillImage>(plainStill(9, 16, 1, 2, 3)), time};
        };
        EXPECT_TRUE(render({0, 1}, false, nullptr, source.get_token()).error().isCancelled());
    }
    EXPECT_TRUE(folder.entries().empty());
}

}  // namespace
}  // namespace kelvane::CLIMediaInspection
