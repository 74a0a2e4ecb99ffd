#include <gmock/gmock.h>

#include <cmath>

#include "Support/App/EditorFixture.h"
#include "Support/ClipBuilder.h"

namespace kelvane::testing {
namespace {

using ::testing::IsEmpty;
using Clips = std::vector<Clip>;

/// A timeline of two videos of 4 s with a sound behind them, built.
class Playback : public EditorFixture {
protected:
    Playback() {
        movie = makeManaged("a.mov", FakeFile::video(4));
        sound = makeManaged("b.wav", FakeFile::audio(2));
        load({videoClip(1, movie, 4), videoClip(2, movie, 4), audioClip(3, sound, 2).at(7.5)},
             Clips{videoClip(91, movie, 4), audioClip(92, sound, 2)});
        settlePreview();
        media.clearCalls();
    }
    [[nodiscard]] std::size_t builds() const { return media.count("addMutableTrack video"); }

    FileURL movie;
    FileURL sound;
};

TEST_F(Playback, PlaysAndPauses) {
    editor->togglePlayback();
    EXPECT_TRUE(editor->isPlaying());
    EXPECT_EQ(player->plays, 1);
    player->playTo(1.5);
    EXPECT_EQ(editor->playhead(), 1.5);
    EXPECT_TRUE(editor->isPlaying());
    editor->togglePlayback();
    EXPECT_FALSE(editor->isPlaying());
    EXPECT_EQ(player->rate(), 0);
    EXPECT_EQ(editor->playhead(), 1.5);
}

TEST_F(Playback, PlayAtTheEndStartsOver) {
    struct Row {
        double fromEnd;
        double playsFrom;
    };
    for (const Row& row : {Row{0, 0}, Row{0.02, 0}, Row{0.04, 9.46}}) {
        editor->seekPreview(9.5 - row.fromEnd);
        editor->togglePlayback();
        EXPECT_TRUE(editor->isPlaying());
        EXPECT_EQ(player->rate(), 1);
        EXPECT_DOUBLE_EQ(editor->playhead(), row.playsFrom) << row.fromEnd;
        editor->togglePlayback();
    }
}

TEST_F(Playback, DoesNotBeginWithoutAPreviewWhileItIsBuiltAndWhileBusy) {
    editor->commit({videoClip(1, movie, 4)});
    editor->togglePlayback();
    EXPECT_FALSE(editor->isPlaying()) << "while it is built";
    settlePreview();
    beBusy();
    editor->togglePlayback();
    EXPECT_FALSE(editor->isPlaying()) << "while busy";
    context.settle();
    editor->commit({});
    editor->togglePlayback();
    EXPECT_FALSE(editor->isPlaying()) << "without anything to show";
    EXPECT_EQ(player->plays, 0);
}

TEST_F(Playback, EndsWhereTheItemEnds) {
    editor->togglePlayback();
    player->playToEnd();
    EXPECT_FALSE(editor->isPlaying());
}

TEST_F(Playback, TheEndOfAnotherItemIsIgnored) {
    editor->togglePlayback();
    player->endObserver(std::make_shared<const EditedMedia>());
    EXPECT_TRUE(editor->isPlaying());
}

TEST_F(Playback, ThePlayerMovesThePlayheadWithinTheTimeline) {
    EXPECT_EQ(player->observedInterval, std::chrono::nanoseconds(1'000'000'000 / 30));
    for (const auto& [told, got] : {std::pair{3.25, 3.25}, {-1.0, 0.0}, {99.0, 9.5}}) {
        player->playTo(told);
        EXPECT_EQ(editor->playhead(), got);
    }
    player->timeObserver(NAN);
    EXPECT_EQ(editor->playhead(), 9.5);
}

TEST_F(Playback, WithAnAssetShownThePlayerMovesItsPlayheadAlone) {
    editor->seekPreview(6);
    editor->showAssetPreview(uuid(91));
    settlePreview();
    player->playTo(2);
    EXPECT_EQ(editor->assetPlayhead(), 2);
    EXPECT_EQ(editor->playhead(), 6);
}

TEST_F(Playback, WhileAPreviewIsBuiltThePlayerMovesNothing) {
    editor->seekPreview(2);
    editor->commit({videoClip(1, movie, 4)});
    player->playTo(3);
    EXPECT_EQ(editor->playhead(), 2);
}

TEST_F(Playback, AnEditPauses) {
    editor->togglePlayback();
    editor->commit({videoClip(1, movie, 4)});
    EXPECT_FALSE(editor->isPlaying());
    EXPECT_EQ(player->rate(), 0);
}

TEST_F(Playback, RewindsTheTimelineAlone) {
    editor->seekPreview(5);
    EXPECT_TRUE(editor->rewindTimeline());
    EXPECT_EQ(editor->playhead(), 0);
    EXPECT_EQ(player->position(), 0);

    editor->seekPreview(5);
    editor->beginInteraction();
    EXPECT_FALSE(editor->rewindTimeline()) << "during a gesture";
    editor->endInteraction();
    editor->commit({videoClip(1, movie, 4), videoClip(2, movie, 4)});
    EXPECT_FALSE(editor->rewindTimeline()) << "while it is built";
    settlePreview();
    beBusy();
    EXPECT_FALSE(editor->rewindTimeline()) << "while busy";
    context.settle();
    editor->showAssetPreview(uuid(91));
    settlePreview();
    EXPECT_FALSE(editor->rewindTimeline()) << "with an asset shown";
    EXPECT_EQ(editor->playhead(), 5);
    editor->showTimelinePreview();
    editor->commit({});
    EXPECT_FALSE(editor->rewindTimeline()) << "with an empty timeline";
}

TEST_F(Playback, SoundAloneIsToldFromABlackPicture) {
    editor->seekPreview(7.99);
    EXPECT_FALSE(editor->isAudioPreview());
    editor->seekPreview(8);
    EXPECT_TRUE(editor->isAudioPreview()) << "behind the video";
    editor->previewAssetHover(uuid(91), 0);
    EXPECT_FALSE(editor->isAudioPreview()) << "over a video";
    editor->previewAssetHover(uuid(92), 0);
    EXPECT_TRUE(editor->isAudioPreview()) << "over a sound";
    editor->endHoverPreview();
    editor->showAssetPreview(uuid(91));
    EXPECT_FALSE(editor->isAudioPreview());
    editor->showAssetPreview(uuid(92));
    EXPECT_TRUE(editor->isAudioPreview());
    editor->commit({videoClip(1, movie, 4)});
    settlePreview();
    editor->seekPreview(4);
    EXPECT_FALSE(editor->isAudioPreview()) << "without any sound";
    editor->commit({audioClip(3, sound, 2)});
    settlePreview();
    EXPECT_TRUE(editor->isAudioPreview()) << "without any video";
}

TEST_F(Playback, AHoverShowsWholeFramesOfTheAsset) {
    editor->previewAssetHover(uuid(91), 0.5);
    EXPECT_EQ(editor->hoverPreview(), (HoverPreview{uuid(91), 2}));
    EXPECT_EQ(editor->assetHoverID(), uuid(91));
    EXPECT_EQ(editor->assetHoverTime(), 2);
    context.settle();
    EXPECT_EQ(builds(), 1U);
    ASSERT_NE(hoverPlayer->item(), nullptr);
    EXPECT_EQ(hoverPlayer->item()->video.renderSize, (Size{1080, 1920}));
    EXPECT_EQ(hoverPlayer->position(), 2);
    editor->previewAssetHover(uuid(91), 0.25 + 0.001);
    EXPECT_EQ(hoverPlayer->position(), 1);
    EXPECT_EQ(builds(), 1U) << "the same asset is built once";
    EXPECT_NE(player->item(), hoverPlayer->item());
}

TEST_F(Playback, AHoverIsHeldToTheFramesOfTheAsset) {
    editor->previewAssetHover(uuid(91), 0);
    context.settle();
    for (const auto& [fraction, frame] : {std::pair{1.0, 119.0}, {7.0, 119.0}, {-1.0, 0.0}, {0.999, 119.0}}) {
        editor->previewAssetHover(uuid(91), fraction);
        EXPECT_EQ(hoverPlayer->position(), frame / 30) << fraction;
        EXPECT_EQ(editor->assetHoverTime(), frame / 30) << fraction;
    }
}

TEST_F(Playback, AHoverShowsTheLatestPlaceWhenItsBuildIsDone) {
    editor->previewAssetHover(uuid(91), 0);
    editor->previewAssetHover(uuid(91), 0.75);
    context.settle();
    EXPECT_EQ(builds(), 1U);
    EXPECT_EQ(hoverPlayer->seeks, std::vector<double>{3});
}

TEST_F(Playback, ReturningToTheSameAssetNeedsNoBuild) {
    editor->previewAssetHover(uuid(91), 0);
    context.settle();
    editor->endHoverPreview();
    EXPECT_EQ(editor->hoverPreview(), std::nullopt);
    EXPECT_GT(hoverPlayer->cancelledSeeks, 0);
    editor->previewAssetHover(uuid(91), 0.5);
    context.settle();
    EXPECT_EQ(builds(), 1U);
    EXPECT_EQ(hoverPlayer->position(), 2);
}

TEST_F(Playback, AnotherAssetOvertakesAHoverThatIsBuilt) {
    const int before = hoverPlayer->replacements;
    editor->previewAssetHover(uuid(91), 0.5);
    editor->previewAssetHover(uuid(92), 0.5);
    context.settle();
    EXPECT_EQ(hoverPlayer->replacements - before, 3) << "cleared twice, then the sound";
    EXPECT_EQ(hoverPlayer->position(), 1);
}

TEST_F(Playback, AnEditEndsAHover) {
    editor->previewAssetHover(uuid(91), 0.5);
    context.settle();
    editor->commit({videoClip(1, movie, 4)});
    EXPECT_EQ(editor->hoverPreview(), std::nullopt);
    EXPECT_EQ(hoverPlayer->item(), nullptr);
    editor->previewAssetHover(uuid(91), 0.5);
    context.settle();
    EXPECT_NE(hoverPlayer->item(), nullptr) << "built anew";
}

TEST_F(Playback, PlayAndSeekEndAHover) {
    editor->previewAssetHover(uuid(91), 0.5);
    editor->seekPreview(1);
    EXPECT_EQ(editor->hoverPreview(), std::nullopt);
    editor->previewAssetHover(uuid(91), 0.5);
    editor->togglePlayback();
    EXPECT_EQ(editor->hoverPreview(), std::nullopt);
    editor->previewAssetHover(uuid(91), 0.5);
    EXPECT_EQ(editor->hoverPreview(), std::nullopt) << "while it plays";
}

TEST_F(Playback, AHoverThatMakesNoSenseIsIgnored) {
    editor->previewAssetHover(uuid(91), NAN);
    editor->previewAssetHover(uuid(91), INFINITY);
    editor->previewAssetHover(uuid(5), 0.5);
    beBusy();
    editor->previewAssetHover(uuid(91), 0.5);
    EXPECT_EQ(editor->hoverPreview(), std::nullopt);
    context.settle();
}

TEST_F(Playback, AHoverThatCannotBeBuiltSaysSo) {
    media.failOn("openAsset a.mov", "The disk is gone.");
    editor->previewAssetHover(uuid(91), 0.5);
    context.settle();
    EXPECT_EQ(editor->error(), "The disk is gone.");
    EXPECT_EQ(hoverPlayer->item(), nullptr);
}

TEST_F(Playback, AHoverThatWasOvertakenSaysNothing) {
    media.failOn("openAsset a.mov", "The disk is gone.");
    editor->previewAssetHover(uuid(91), 0.5);
    editor->previewAssetHover(uuid(92), 0.5);
    context.settle();
    EXPECT_EQ(editor->error(), std::nullopt);
}

TEST(HoverFrames, StandOnAGridOfThirtyASecond) {
    struct Row {
        double time;
        double duration;
        MediaTime frame;
    };
    for (const Row& row : {Row{0, 1, {0, 30}}, Row{0.034, 1, {1, 30}}, Row{1, 1, {29, 30}}, Row{0.99, 1, {29, 30}},
                           Row{-3, 1, {0, 30}}, Row{7, 1.01, {30, 30}}, Row{0.01, 0.02, {0, 30}}, Row{1, 0, {0, 30}}})
        EXPECT_EQ(Editor::hoverFrameTime(row.time, row.duration), row.frame) << row.time << " of " << row.duration;
}

}  // namespace
}  // namespace kelvane::testing
