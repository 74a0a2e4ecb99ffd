#include <gmock/gmock.h>

#include "Support/App/EditorFixture.h"
#include "Support/ClipBuilder.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Clips = std::vector<Clip>;

/// A project of two files, shown and built.
class Shown : public EditorFixture {
protected:
    Shown() {
        a = makeManaged("a.mov", FakeFile::video(4));
        b = makeManaged("b.mov", FakeFile::video(4));
        load({videoClip(1, a, 4), videoClip(2, b, 4)}, Clips{videoClip(3, a, 4), videoClip(4, b, 4)});
        settlePreview();
        media.clearCalls();
    }
    void expectNothingToShow() const {
        EXPECT_FALSE(editor->isShown());
        EXPECT_EQ(editor->player(), nullptr);
        EXPECT_THAT(editor->thumbnails(), IsEmpty());
        EXPECT_FALSE(editor->isBuilding());
        EXPECT_FALSE(editor->isPlaying());
        EXPECT_FALSE(editor->isLoadingThumbnails());
        EXPECT_EQ(context.pendingTimers(), 0U);
    }

    FileURL a;
    FileURL b;
};

TEST_F(Shown, AProjectThatNoWindowShowsHasNoPlayerAndNoPictures) {
    EXPECT_TRUE(editor->isShown());
    EXPECT_NE(editor->player(), nullptr);
    EXPECT_EQ(editor->thumbnails().size(), 2U);
    editor->setShown(false);
    expectNothingToShow();
    settlePreview();
    expectNothingToShow();
    EXPECT_THAT(media.calls(), IsEmpty());
}

TEST_F(Shown, ItKeepsItsHistoryAndWhereAPersonLeftIt) {
    editor->commit({videoClip(1, a, 4)});
    editor->commit({videoClip(1, a, 4), videoClip(2, b, 2)});
    editor->undo();
    settlePreview();
    editor->seekPreview(2.5);
    const auto clips = editor->clips();
    const auto selected = editor->selectedClipIDs();
    editor->setShown(false);
    EXPECT_EQ(editor->clips(), clips);
    EXPECT_EQ(editor->undoStack().size(), 1U);
    EXPECT_EQ(editor->redoStack().size(), 1U);
    EXPECT_EQ(editor->playhead(), 2.5);
    editor->setShown(true);
    settlePreview();
    EXPECT_EQ(editor->playhead(), 2.5);
    EXPECT_EQ(editor->selectedClipIDs(), selected);
    editor->redo();
    EXPECT_EQ(editor->clips().size(), 2U);
}

TEST_F(Shown, ShownAgainItHasAPlayerAndPictures) {
    editor->seekPreview(3);
    editor->setShown(false);
    editor->setShown(true);
    EXPECT_TRUE(editor->isBuilding());
    EXPECT_TRUE(editor->isLoadingThumbnails());
    settlePreview();
    ASSERT_EQ(editor->player(), player);
    EXPECT_NE(player->item(), nullptr);
    EXPECT_EQ(player->position(), 3);
    EXPECT_EQ(editor->thumbnails().size(), 2U);
    EXPECT_FALSE(editor->isLoadingThumbnails());
}

TEST_F(Shown, ToldTwiceItDoesNothingMore) {
    const auto* before = editor->player();
    editor->setShown(true);
    EXPECT_EQ(editor->player(), before);
    EXPECT_FALSE(editor->isBuilding());
    editor->setShown(false);
    editor->setShown(false);
    expectNothingToShow();
}

TEST_F(Shown, HiddenAmidABuildAndALoadItDropsBoth) {
    load({videoClip(1, a, 4)}, Clips{videoClip(3, a, 4), videoClip(4, b, 4)});
    context.advance(std::chrono::milliseconds(180));
    ASSERT_TRUE(editor->isBuilding());
    ASSERT_TRUE(editor->isLoadingThumbnails());
    editor->setShown(false);
    expectNothingToShow();
    context.settle();
    expectNothingToShow();
    EXPECT_EQ(media.count("openAsset b.mov"), 0U);
}

TEST_F(Shown, ALateBuildAndALatePictureOfAnEarlierShowingAreDropped) {
    load({videoClip(1, a, 4)}, Clips{videoClip(3, a, 4)});
    context.advance(std::chrono::milliseconds(180));
    context.drain();
    editor->setShown(false);
    editor->setShown(true);
    context.runPosted();
    EXPECT_EQ(player->item(), nullptr);
    EXPECT_THAT(editor->thumbnails(), IsEmpty());
    EXPECT_TRUE(editor->isBuilding());
    settlePreview();
    EXPECT_NE(player->item(), nullptr);
    EXPECT_EQ(editor->thumbnails().size(), 1U);
}

TEST_F(Shown, ItsFilesAreOpenedEachOnceDuringThePauseBeforeItsBuild) {
    load({videoClip(1, a, 4), videoClip(2, b, 4), videoClip(3, a, 2)}, Clips{});
    context.settle();
    EXPECT_TRUE(editor->isBuilding());
    EXPECT_THAT(media.calls(), ElementsAre("openAsset b.mov", "openAsset a.mov"));
    settlePreview();
    media.clearCalls();
    editor->setShown(false);
    context.settle();
    EXPECT_THAT(media.calls(), IsEmpty());
    editor->setShown(true);
    context.settle();
    EXPECT_TRUE(editor->isBuilding());
    EXPECT_THAT(media.calls(), ElementsAre("openAsset b.mov", "openAsset a.mov"));
}

TEST_F(Shown, AFileThatCannotBeOpenedIsToldByTheBuildAlone) {
    media.failOn("openAsset b.mov", "b is broken");
    load({videoClip(1, a, 4), videoClip(2, b, 4)}, Clips{});
    context.settle();
    EXPECT_EQ(media.count("openAsset b.mov"), 1U);
    EXPECT_EQ(editor->error(), std::nullopt);
    settlePreview();
    EXPECT_EQ(editor->error(), "b is broken");
}

TEST_F(Shown, AClosedEditorOpensNoMoreFiles) {
    load({videoClip(1, a, 4), videoClip(2, b, 4)}, Clips{});
    editor.reset();
    context.settle();
    EXPECT_THAT(media.calls(), IsEmpty());
}

TEST_F(Shown, WhatHappensToAHiddenProjectIsShownLater) {
    editor->setShown(false);
    load({videoClip(5, b, 3)}, Clips{videoClip(4, b, 4)});
    editor->commit({videoClip(5, b, 2)});
    editor->seekPreview(1);
    editor->showAssetPreview(editor->assets()[0].id);
    editor->showTimelinePreview();
    editor->pausePlayer();
    editor->rebuildPreview();
    settlePreview();
    expectNothingToShow();
    EXPECT_THAT(media.calls(), IsEmpty());
    editor->setShown(true);
    settlePreview();
    ASSERT_NE(player->item(), nullptr);
    EXPECT_EQ(player->item()->composition.duration().seconds(), 2);
    EXPECT_EQ(player->position(), 1);
    EXPECT_EQ(editor->thumbnails().size(), 1U);
}

TEST_F(Shown, AnImportThatEndsUnderAHiddenProjectKeepsItsAssetsAlone) {
    editor->importURLs({makeSource("c.mov", FakeFile::video(1))});
    editor->setShown(false);
    context.settle();
    EXPECT_EQ(editor->assets().size(), 3U);
    EXPECT_THAT(editor->thumbnails(), IsEmpty());
    ASSERT_TRUE(finish(editor->importMedia({makeSource("d.mov", FakeFile::video(1))}, nullptr)));
    EXPECT_THAT(editor->thumbnails(), IsEmpty());
    editor->setShown(true);
    context.settle();
    EXPECT_EQ(editor->thumbnails().size(), 4U);
}

TEST_F(Shown, AnEmptyProjectIsShownAgainAtItsStart) {
    editor->commit({});
    editor->setShown(false);
    editor->setShown(true);
    EXPECT_FALSE(editor->isBuilding());
    EXPECT_EQ(editor->player()->item(), nullptr);
    EXPECT_EQ(editor->playhead(), 0);
}

TEST_F(Shown, AHiddenProjectExports) {
    editor->setShown(false);
    EXPECT_TRUE(finish(editor->exportMedia(folder().appending("out.mp4"), false, ExportResolution::automatic,
                                           ExportFrameRate::automatic, nullptr)));
}

}  // namespace
}  // namespace kelvane::testing
