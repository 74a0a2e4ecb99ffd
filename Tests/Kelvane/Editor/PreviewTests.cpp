#include <gmock/gmock.h>

#include <cmath>

#include "Support/App/EditorFixture.h"
#include "Support/ClipBuilder.h"

namespace kelvane::testing {
namespace {

using ::testing::IsEmpty;
using namespace std::chrono_literals;

class Preview : public EditorFixture {
protected:
    Preview() {
        movie = makeManaged("a.mov", FakeFile::video(4));
        sound = makeManaged("b.wav", FakeFile::audio(2));
    }
    void loadTwo() {
        load({videoClip(1, movie, 4), videoClip(2, movie, 4)},
             std::vector<Clip>{videoClip(91, movie, 4), audioClip(92, sound, 2)});
        settlePreview();
        media.clearCalls();
    }
    /// Compositions that were begun since the calls were cleared.
    [[nodiscard]] std::size_t builds() const { return media.count("addMutableTrack video"); }

    FileURL movie;
    FileURL sound;
};

TEST_F(Preview, AnEmptyTimelineShowsNothing) {
    EXPECT_FALSE(editor->hasPreview());
    EXPECT_EQ(editor->previewDuration(), 0);
    editor->rebuildPreview();
    EXPECT_FALSE(editor->isBuilding());
    EXPECT_EQ(player->item(), nullptr);
}

TEST_F(Preview, AChangeIsShownAfterAPause) {
    loadTwo();
    editor->commit({videoClip(1, movie, 4)});
    EXPECT_TRUE(editor->isBuilding());
    context.settle();
    context.advance(179ms);
    context.settle();
    EXPECT_EQ(builds(), 0U);
    EXPECT_TRUE(editor->isBuilding());
    context.advance(1ms);
    context.settle();
    EXPECT_FALSE(editor->isBuilding());
    EXPECT_EQ(builds(), 1U);
    ASSERT_NE(player->item(), nullptr);
    EXPECT_EQ(player->item()->video.renderSize, (Size{1080, 1920}));
    EXPECT_EQ(player->item()->video.frameDuration, (MediaTime{1, 30}));
}

TEST_F(Preview, TwoEditsWithinThePauseMakeOneBuild) {
    loadTwo();
    editor->commit({videoClip(1, movie, 4)});
    context.advance(100ms);
    editor->commit({videoClip(2, movie, 4)});
    context.advance(100ms);
    context.settle();
    EXPECT_EQ(builds(), 0U);
    context.advance(80ms);
    context.settle();
    EXPECT_EQ(builds(), 1U);
    EXPECT_EQ(context.pendingTimers(), 0U);
}

TEST_F(Preview, TheResultOfABuildThatWasOvertakenIsDropped) {
    loadTwo();
    editor->commit({videoClip(1, movie, 4)});
    context.advance(180ms);
    ASSERT_EQ(context.waitingInBackground(), 1U);
    ASSERT_TRUE(context.stepBackground());
    const int replacements = player->replacements;
    editor->commit({videoClip(2, movie, 4)});
    context.settle();
    EXPECT_EQ(player->replacements, replacements);
    EXPECT_TRUE(editor->isBuilding());
    settlePreview();
    EXPECT_EQ(player->replacements, replacements + 1);
    EXPECT_FALSE(editor->isBuilding());
}

TEST_F(Preview, RemovingTheLastClipClearsThePlayerAndThePlayhead) {
    loadTwo();
    editor->seekPreview(5);
    editor->commit({});
    EXPECT_EQ(player->item(), nullptr);
    EXPECT_EQ(editor->playhead(), 0);
    EXPECT_FALSE(editor->isBuilding());
}

TEST_F(Preview, AShortenedTimelineLeavesThePlayheadOnItsLastFrame) {
    loadTwo();
    editor->seekPreview(7);
    editor->commit({videoClip(1, movie, 4)});
    EXPECT_EQ(editor->playhead(), 7);
    settlePreview();
    EXPECT_DOUBLE_EQ(editor->playhead(), 4 - 1.0 / 30);
    EXPECT_DOUBLE_EQ(player->position(), 4 - 1.0 / 30);
}

TEST_F(Preview, ASeekDuringABuildMovesTheNumberAtOnceAndThePictureLater) {
    loadTwo();
    editor->commit({videoClip(1, movie, 4)});
    const auto seeks = player->seeks;
    editor->seekPreview(2);
    EXPECT_EQ(editor->playhead(), 2);
    EXPECT_EQ(player->seeks, seeks);
    settlePreview();
    EXPECT_EQ(player->position(), 2);
}

TEST_F(Preview, ASeekIsHeldToTheTimelineAndPauses) {
    loadTwo();
    struct Row {
        double asked;
        double got;
    };
    for (const Row& row : {Row{-1, 0}, Row{3.5, 3.5}, Row{8, 8}, Row{99, 8}, Row{INFINITY, 8}}) {
        const int pauses = player->pauses;
        editor->seekPreview(row.asked);
        EXPECT_EQ(editor->playhead(), row.got) << row.asked;
        EXPECT_EQ(player->position(), row.got) << row.asked;
        EXPECT_EQ(player->pauses, pauses + 1);
    }
    editor->seekPreview(3);
    editor->seekPreview(NAN);
    EXPECT_EQ(editor->playhead(), 3);
}

TEST_F(Preview, ThePlayerIsSoughtOnTheGridOfTheComposition) {
    loadTwo();
    editor->seekPreview(1.00001);
    EXPECT_EQ(editor->playhead(), 1.00001);
    EXPECT_EQ(player->position(), 1);
}

TEST_F(Preview, AnAssetIsShownFromItsBeginningAndTheTimelineKeepsItsPlace) {
    loadTwo();
    editor->seekPreview(6);
    editor->showAssetPreview(uuid(92));
    ASSERT_NE(editor->previewAsset(), nullptr);
    EXPECT_EQ(editor->previewAsset()->id, uuid(92));
    EXPECT_EQ(editor->previewDuration(), 2);
    EXPECT_EQ(editor->previewPlayhead(), 0);
    settlePreview();
    editor->seekPreview(1.5);
    EXPECT_EQ(editor->assetPlayhead(), 1.5);
    EXPECT_EQ(editor->playhead(), 6);
    editor->showTimelinePreview();
    EXPECT_TRUE(editor->isBuilding());
    settlePreview();
    EXPECT_EQ(editor->previewAssetID(), std::nullopt);
    EXPECT_EQ(player->position(), 6);
    EXPECT_EQ(editor->previewPlayhead(), 6);
}

TEST_F(Preview, AnAssetIsNotShownWhileBusyOrWhenUnknown) {
    loadTwo();
    editor->showAssetPreview(uuid(7));
    EXPECT_EQ(editor->previewAssetID(), std::nullopt);
    beBusy();
    editor->showAssetPreview(uuid(91));
    EXPECT_EQ(editor->previewAssetID(), std::nullopt);
}

TEST_F(Preview, EveryChangeOfTheTimelineReturnsToIt) {
    loadTwo();
    editor->showAssetPreview(uuid(91));
    editor->commit({videoClip(1, movie, 4)});
    EXPECT_EQ(editor->previewAssetID(), std::nullopt);
    EXPECT_THAT(editor->selectedAssetIDs(), IsEmpty());
}

TEST_F(Preview, AnAssetAloneIsAPreview) {
    load({}, std::vector<Clip>{videoClip(91, movie, 4)});
    EXPECT_FALSE(editor->hasPreview());
    editor->showAssetPreview(uuid(91));
    EXPECT_TRUE(editor->hasPreview());
}

TEST_F(Preview, ASourceThatHasShrunkIsToldAndShowsNothing) {
    loadTwo();
    media.addFile(movie, FakeFile::video(2));
    editor->commit({videoClip(2, movie, 4)});
    settlePreview();
    EXPECT_EQ(editor->error(), "“a” has an invalid trim range or could not be read.");
    EXPECT_EQ(player->item(), nullptr);
    EXPECT_FALSE(editor->isBuilding());
    media.addFile(movie, FakeFile::video(4));
    editor->rebuildPreview();
    settlePreview();
    EXPECT_NE(player->item(), nullptr);
}

TEST_F(Preview, AFailingEngineIsToldInItsOwnWords) {
    loadTwo();
    media.failOn("openAsset a.mov", "“a.mov” could not be read.");
    editor->rebuildPreview();
    settlePreview();
    EXPECT_EQ(editor->error(), "“a.mov” could not be read.");
    EXPECT_EQ(player->item(), nullptr);
}

TEST_F(Preview, AFailedBuildKeepsThePlayheadAndPlaysNothing) {
    loadTwo();
    editor->seekPreview(3);
    media.failOn("openAsset a.mov", "The disk is gone.");
    editor->rebuildPreview();
    settlePreview();
    player->playTo(0);
    EXPECT_EQ(editor->playhead(), 3) << "an empty player has no place";
    editor->togglePlayback();
    player->playTo(0);
    EXPECT_FALSE(editor->isPlaying());
    EXPECT_EQ(editor->playhead(), 3);
}

TEST_F(Preview, AnEditorThatEndsLeavesNothingBehind) {
    loadTwo();
    editor->commit({videoClip(1, movie, 4)});
    context.advance(180ms);
    ASSERT_EQ(context.waitingInBackground(), 1U);
    editor.reset();
    context.settle();
    EXPECT_EQ(media.count("insertTimeRange"), 0U) << "a build that nobody waits for ends at its next clip";
    makeEditor();
    load({videoClip(1, movie, 4)});
    editor.reset();
    EXPECT_EQ(context.pendingTimers(), 0U);
}

}  // namespace
}  // namespace kelvane::testing
