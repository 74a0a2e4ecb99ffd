#include <gmock/gmock.h>

#include "Session/AIAssistantSession.h"
#include "Storage/ProjectFile.h"
#include "Support/App/EditorFixture.h"
#include "Support/ClipBuilder.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Clips = std::vector<Clip>;

class History : public EditorFixture {
protected:
    /// A timeline that differs from that of every other number.
    static Clips state(int number) { return {videoClip(1, "/media/a.mov", 1 + number)}; }
    void commitStates(int first, int last) {
        for (int number = first; number <= last; ++number) editor->commit(state(number));
    }
    [[nodiscard]] std::vector<Clips> undoable() const {
        std::vector<Clips> states;
        for (const HistoryEntry& entry : editor->undoStack()) states.push_back(*entry.clips);
        return states;
    }
};

TEST_F(History, ANewEditorIsEmptyAndClean) {
    EXPECT_THAT(editor->clips(), IsEmpty());
    EXPECT_THAT(editor->assets(), IsEmpty());
    EXPECT_EQ(editor->selection(), std::nullopt);
    EXPECT_FALSE(editor->isDirty());
    EXPECT_FALSE(editor->busy());
    EXPECT_EQ(editor->exportFormat(), "Determining export settings…");
    EXPECT_EQ(editor->playhead(), 0);
    EXPECT_EQ(editor->timelineZoom, 1);
}

TEST_F(History, TheMediaFolderIsHeldWithLinksResolved) {
    const FileURL link = folder().appending("Link");
    ASSERT_EQ(::symlink(library().path().c_str(), link.path().c_str()), 0);
    EditorServices services{&context, &media, &panels, [](PlayerRole) { return std::make_unique<StillPlayer>(); }};
    const auto linked = Editor::create(uuid(1), link.appending("Media"), services);
    EXPECT_EQ(linked->mediaDirectory(), link.appending("Media")) << "the disk is asked by the load";
    ASSERT_TRUE(ProjectFile::write(Project{}, projectFile()));
    ASSERT_TRUE(finish(linked->loadProject(projectFile())));
    EXPECT_EQ(linked->mediaDirectory(), mediaFolder().resolved());
}

TEST_F(History, ACommitOfAnEqualArrayDoesNothing) {
    commitStates(1, 2);
    editor->undo();
    const int changes = projectChanges;
    const int pauses = player->pauses;
    editor->commit(state(1));
    EXPECT_EQ(editor->undoStack().size(), 1U);
    EXPECT_EQ(editor->redoStack().size(), 1U);
    EXPECT_EQ(projectChanges, changes);
    EXPECT_EQ(player->pauses, pauses);
}

TEST_F(History, TheHundredAndFirstStepDropsTheOldest) {
    commitStates(1, 101);
    ASSERT_EQ(editor->undoStack().size(), 100U);
    while (!editor->undoStack().empty()) editor->undo();
    // The state before the first commit, an empty timeline, is out of reach.
    EXPECT_EQ(editor->clips(), state(1));
}

TEST_F(History, RedoNeverLeavesMoreThanAHundredSteps) {
    commitStates(1, 150);
    while (!editor->undoStack().empty()) editor->undo();
    EXPECT_EQ(editor->redoStack().size(), 100U);
    while (!editor->redoStack().empty()) editor->redo();
    EXPECT_EQ(editor->undoStack().size(), 100U);
    EXPECT_EQ(editor->clips(), state(150));
}

TEST_F(History, RedoHasNoLimitOfItsOwn) {
    commitStates(1, 2);
    // Undone amid a gesture, whose end is an undo step again and leaves redo alone.
    for (int i = 0; i < 150; ++i) {
        editor->beginInteraction();
        editor->undo();
        editor->endInteraction();
    }
    EXPECT_EQ(editor->redoStack().size(), 150U);
    EXPECT_LE(editor->undoStack().size(), 100U);
}

TEST_F(History, AnEditAfterUndoEmptiesRedo) {
    commitStates(1, 3);
    editor->undo();
    editor->undo();
    ASSERT_EQ(editor->redoStack().size(), 2U);
    editor->commit(state(9));
    EXPECT_THAT(editor->redoStack(), IsEmpty());
    EXPECT_THAT(undoable(), ElementsAre(Clips{}, state(1)));
}

TEST_F(History, AGestureOfFiveCommitsIsOneStep) {
    commitStates(1, 2);
    editor->undo();
    editor->beginInteraction();
    editor->commit(state(11));
    EXPECT_THAT(editor->redoStack(), IsEmpty());
    EXPECT_THAT(undoable(), ElementsAre(Clips{}));
    commitStates(12, 15);
    editor->endInteraction();
    EXPECT_THAT(undoable(), ElementsAre(Clips{}, state(1)));
    EXPECT_EQ(editor->interactionSnapshot(), std::nullopt);
    editor->undo();
    EXPECT_EQ(editor->clips(), state(1));
}

TEST_F(History, AGestureThatEndsWhereItBeganIsNoStep) {
    commitStates(1, 1);
    editor->beginInteraction();
    editor->commit(state(2));
    editor->commit(state(1));
    editor->endInteraction();
    EXPECT_THAT(undoable(), ElementsAre(Clips{}));
}

TEST_F(History, ASecondBeginningOfAGestureKeepsTheFirst) {
    commitStates(1, 1);
    editor->beginInteraction();
    editor->commit(state(2));
    editor->beginInteraction();
    EXPECT_EQ(**editor->interactionSnapshot(), state(1));
}

TEST_F(History, TheEndOfAGestureThatNeverBeganDoesNothing) {
    commitStates(1, 1);
    editor->endInteraction();
    EXPECT_THAT(undoable(), ElementsAre(Clips{}));
}

TEST_F(History, NothingHappensWhileBusy) {
    commitStates(1, 2);
    editor->undo();
    beBusy();
    editor->beginInteraction();
    EXPECT_EQ(editor->interactionSnapshot(), std::nullopt);
    commitStates(3, 7);
    editor->update(uuid(1), [](Clip& clip) { clip.volume = 0; });
    editor->undo();
    editor->redo();
    editor->endInteraction();
    EXPECT_EQ(editor->clips(), state(1));
    EXPECT_EQ(editor->undoStack().size(), 1U);
    EXPECT_EQ(editor->redoStack().size(), 1U);
}

TEST_F(History, AStepWithAssetsBringsBothArraysBackAndForth) {
    const FileURL file = makeManaged("a.mov", FakeFile::video(4));
    const Clips clips{videoClip(1, file, 4), videoClip(2, file, 4)};
    const Clips assets{videoClip(9, file, 4)};
    load(clips, assets);
    editor->deleteAssets({uuid(9)});
    EXPECT_THAT(editor->clips(), IsEmpty());
    EXPECT_THAT(editor->assets(), IsEmpty());
    editor->undo();
    EXPECT_EQ(editor->clips(), clips);
    EXPECT_EQ(editor->assets(), assets);
    EXPECT_FALSE(editor->isDirty());
    editor->redo();
    EXPECT_THAT(editor->clips(), IsEmpty());
    EXPECT_THAT(editor->assets(), IsEmpty());
    EXPECT_TRUE(editor->undoStack().back().assets.has_value());
}

TEST_F(History, AStepWithoutAssetsLeavesThePoolAlone) {
    const FileURL file = makeManaged("a.mov", FakeFile::video(4));
    load({videoClip(1, file, 4)}, Clips{videoClip(9, file, 4)});
    editor->commit({});
    EXPECT_EQ(editor->undoStack().back().assets, std::nullopt);
    editor->undo();
    EXPECT_EQ(editor->redoStack().back().assets, std::nullopt);
    EXPECT_EQ(ids(editor->assets()), std::vector{uuid(9)});
}

TEST_F(History, UndoAndRedoOfAnEmptyHistoryDoNothing) {
    editor->undo();
    editor->redo();
    EXPECT_EQ(projectChanges, 0);
    EXPECT_EQ(player->pauses, 0);
}

TEST_F(History, AProjectThatIsSavedEditedAndUndoneIsClean) {
    commitStates(1, 1);
    editor->markProjectSaved();
    EXPECT_FALSE(editor->isDirty());
    commitStates(2, 2);
    EXPECT_TRUE(editor->isDirty());
    editor->undo();
    EXPECT_FALSE(editor->isDirty());
    editor->undo();
    EXPECT_TRUE(editor->isDirty());
}

TEST_F(History, EachCommitOfADirtyProjectIsTold) {
    commitStates(1, 3);
    EXPECT_EQ(projectChanges, 3);
    editor->setDirty(true);
    EXPECT_EQ(projectChanges, 4);
    editor->setDirty(false);
    EXPECT_EQ(projectChanges, 4);
    editor->markProjectSaved();
    commitStates(4, 4);
    editor->undo();
    EXPECT_EQ(projectChanges, 5) << "back at the saved state there is nothing to save";
}

TEST_F(History, AnUpdateThatMakesAClipInvalidIsDropped) {
    editor->commit({videoClip(1), videoClip(2)});
    editor->update(uuid(2), [](Clip& clip) { clip.start = clip.end + 1; });
    editor->update(uuid(7), [](Clip& clip) { clip.volume = 0; });
    EXPECT_EQ(editor->clips(), (Clips{videoClip(1), videoClip(2)}));
    EXPECT_EQ(editor->undoStack().size(), 1U);
    EXPECT_EQ(editor->error(), std::nullopt);
    editor->update(uuid(2), [](Clip& clip) { clip.volume = 0.5; });
    EXPECT_EQ(editor->clips(), (Clips{videoClip(1), videoClip(2).volume(0.5)}));
}

TEST_F(History, WhenNothingSelectedIsLeftTheFirstClipIsSelected) {
    editor->commit({audioClip(1), videoClip(2), videoClip(3)});
    editor->setSelection(uuid(3));
    editor->commit({audioClip(1), videoClip(2)});
    EXPECT_EQ(editor->selection(), uuid(1));
    EXPECT_EQ(editor->selectedClipIDs(), std::set{uuid(1)});
    EXPECT_EQ(editor->timelineSelectionAnchor(), uuid(1));
    editor->commit({});
    EXPECT_EQ(editor->selection(), std::nullopt);
    EXPECT_THAT(editor->selectedClipIDs(), IsEmpty());
    EXPECT_EQ(editor->timelineSelectionAnchor(), std::nullopt);
}

TEST_F(History, ALoadSelectsTheFirstClip) {
    const FileURL file = makeManaged("a.mov", FakeFile::video(4));
    load({videoClip(5, file, 4), videoClip(6, file, 4)});
    EXPECT_EQ(editor->selection(), uuid(5));
}

TEST_F(History, WhatIsLeftOfASelectionStaysSelected) {
    editor->commit({videoClip(1), videoClip(2), videoClip(3)});
    editor->setSelection(uuid(2));
    editor->selectTimelineClips({uuid(1), uuid(2), uuid(3)});
    ASSERT_EQ(editor->selection(), uuid(2));
    editor->commit({videoClip(1), videoClip(3)});
    EXPECT_EQ(editor->selectedClipIDs(), (std::set{uuid(1), uuid(3)}));
    EXPECT_EQ(editor->selection(), uuid(1));
}

TEST_F(History, APrimaryClipThatIsLeftStaysPrimaryAndTheAnchorIsRepaired) {
    editor->commit({videoClip(1), videoClip(2), videoClip(3)});
    editor->selectTimelineClip(uuid(1), {});
    editor->selectTimelineClip(uuid(3), {.shift = true});
    ASSERT_EQ(editor->timelineSelectionAnchor(), uuid(1));
    editor->commit({videoClip(2), videoClip(3)});
    EXPECT_EQ(editor->selection(), uuid(3));
    EXPECT_EQ(editor->selectedClipIDs(), (std::set{uuid(2), uuid(3)}));
    EXPECT_EQ(editor->timelineSelectionAnchor(), uuid(3));
}

TEST_F(History, AnySelectionOfAClipEndsThatOfAssets) {
    const FileURL file = makeManaged("a.mov", FakeFile::video(4));
    load({videoClip(1, file, 4)}, Clips{videoClip(9, file, 4)});
    editor->selectAssets({uuid(9)});
    editor->setSelection(std::nullopt);
    EXPECT_EQ(editor->selectedAssetIDs(), std::set{uuid(9)});
    editor->setSelection(uuid(1));
    EXPECT_THAT(editor->selectedAssetIDs(), IsEmpty());
    editor->selectAssets({uuid(9)});
    editor->clearSelectedAssets();
    EXPECT_THAT(editor->selectedAssetIDs(), IsEmpty());
}

TEST_F(History, StepsShareTheirArraysWithTheState) {
    commitStates(1, 1);
    const ClipArray before = editor->clipArray();
    commitStates(2, 2);
    EXPECT_EQ(editor->undoStack().back().clips, before);
    editor->undo();
    EXPECT_EQ(editor->clipArray(), before);
}

TEST_F(History, TheTitleIsTheLibrarysNameOrTheFilesOrUntitled) {
    EXPECT_EQ(editor->title(), "Trailer");
    makeEditor(false);
    EXPECT_EQ(editor->title(), "Untitled");
    ASSERT_TRUE(writeManaged(folder().appending("Summer.kelvane"), true));
    EXPECT_EQ(editor->title(), "Summer");
}

TEST_F(History, VideoLiesBackToBackAndAudioAtItsStart) {
    editor->commit(
        {audioClip(1).at(7), videoClip(2, "/media/a.mov", 3), audioClip(3), videoClip(4, "/media/a.mov", 5)});
    EXPECT_EQ(editor->offset(uuid(1)), 7);
    EXPECT_EQ(editor->offset(uuid(2)), 0);
    EXPECT_EQ(editor->offset(uuid(3)), 0);
    EXPECT_EQ(editor->offset(uuid(4)), 3);
    EXPECT_EQ(editor->offset(uuid(99)), 8);
}

TEST_F(History, OneSelectedClipAloneIsTheSelectedClip) {
    editor->commit({videoClip(1), videoClip(2)});
    ASSERT_NE(editor->selectedClip(), nullptr);
    EXPECT_EQ(editor->selectedClip()->id, uuid(1));
    editor->selectTimelineClips({uuid(1), uuid(2)});
    EXPECT_EQ(editor->selectedClip(), nullptr);
    editor->selectTimelineClips({});
    EXPECT_EQ(editor->selectedClip(), nullptr);
}

TEST_F(History, NothingIsToldAfterTheEnd) {
    context.settle();
    int told = 0;
    for (const auto signal :
         {&Editor::contentChanged, &Editor::selectionChanged, &Editor::workChanged, &Editor::positionChanged})
        QObject::connect(editor.get(), signal, editor.get(), [&told] { ++told; });
    commitStates(1, 3);
    EXPECT_EQ(told, 0);
    context.runPosted();
    EXPECT_GT(told, 0);
    const int before = told;
    editor->setSaveFailed(true);
    editor.reset();
    context.runPosted();
    EXPECT_EQ(told, before);
}

TEST_F(History, TheSessionRefersBackToTheEditorOfItsProject) {
    EXPECT_FALSE(editor->ai().isConnected());
    const Result<JSONObject> state = editor->ai().projectState(true);
    EXPECT_TRUE(state) << state.error().message;
}

}  // namespace
}  // namespace kelvane::testing
