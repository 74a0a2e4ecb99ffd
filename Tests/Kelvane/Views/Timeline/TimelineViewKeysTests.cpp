#include "TimelineViewFixture.h"

namespace kelvane::testing {
namespace {

class TimelineKeys : public TimelineViewFixture {
protected:
    [[nodiscard]] std::set<UUID> selected() const { return editor->selectedClipIDs(); }
    [[nodiscard]] std::set<UUID> set(std::initializer_list<std::size_t> indices) const {
        std::set<UUID> chosen;
        for (const std::size_t index : indices) chosen.insert(clip(index).id);
        return chosen;
    }
};

TEST_F(TimelineKeys, ArrowsGoASecondAndTheTrackGoesAlong) {
    fill({videoClip(5)});
    EXPECT_TRUE(press(Qt::Key_Right));
    EXPECT_TRUE(view->pressKey(Qt::Key_Right, Qt::KeypadModifier, true));
    EXPECT_EQ(editor->playhead(), 2);
    EXPECT_EQ(view->visibleOrigin().x(), 64);
    EXPECT_TRUE(press(Qt::Key_Left));
    EXPECT_EQ(editor->playhead(), 1);
    for (int i = 0; i < 9; ++i) press(Qt::Key_Left);
    EXPECT_EQ(editor->playhead(), 0);
    for (int i = 0; i < 9; ++i) press(Qt::Key_Right);
    EXPECT_EQ(editor->playhead(), 5);
}

TEST_F(TimelineKeys, ArrowsLeaveAnAssetsPreviewAndSelection) {
    fill({videoClip(5)});
    const UUID asset = editor->assets().front().id;
    editor->showAssetPreview(asset);
    settlePreview();
    EXPECT_TRUE(press(Qt::Key_Right));
    EXPECT_FALSE(editor->previewAssetID());
    EXPECT_TRUE(editor->selectedAssetIDs().empty());
    EXPECT_EQ(editor->playhead(), 1);
}

TEST_F(TimelineKeys, CommaAndFullStopStepAFrame) {
    fill({videoClip(5)});
    goTo(2);
    EXPECT_TRUE(press(Qt::Key_Period));
    EXPECT_DOUBLE_EQ(editor->playhead(), 2 + 1.0 / 30);
    EXPECT_TRUE(press(Qt::Key_Comma));
    EXPECT_TRUE(press(Qt::Key_Comma));
    EXPECT_DOUBLE_EQ(editor->playhead(), 2 - 1.0 / 30);
}

TEST_F(TimelineKeys, HomeAndEndGoToTheEnds) {
    fill({videoClip(5), videoClip(1.7), audioClip(4, 3.3)});
    EXPECT_TRUE(press(Qt::Key_End));
    EXPECT_EQ(editor->playhead(), view->duration());
    EXPECT_EQ(editor->playhead(), 3.3 + 4);
    EXPECT_TRUE(press(Qt::Key_Home));
    EXPECT_EQ(editor->playhead(), 0);
}

TEST_F(TimelineKeys, PageKeysGoToTheCutBeforeAndAfter) {
    fill({videoClip(5), audioClip(4, 3), videoClip(2), videoClip(3)});
    for (const double cut : {5.0, 7.0, 10.0, 10.0}) {
        EXPECT_TRUE(press(Qt::Key_PageDown));
        EXPECT_EQ(editor->playhead(), cut);
    }
    goTo(9);
    for (const double cut : {7.0, 5.0, 0.0, 0.0}) {
        EXPECT_TRUE(press(Qt::Key_PageUp));
        EXPECT_EQ(editor->playhead(), cut);
    }
    // A player that stands on a cut may tell a hair less or more.
    goTo(5.0008);
    press(Qt::Key_PageUp);
    EXPECT_EQ(editor->playhead(), 0);
    goTo(4.9992);
    press(Qt::Key_PageDown);
    EXPECT_EQ(editor->playhead(), 7);
}

TEST_F(TimelineKeys, BehindTheVideoTheLastCutIsTheTimelinesEnd) {
    fill({videoClip(5), audioClip(4, 6)});
    goTo(5);
    press(Qt::Key_PageDown);
    EXPECT_EQ(editor->playhead(), 10);
    press(Qt::Key_PageUp);
    EXPECT_EQ(editor->playhead(), 5);
}

TEST_F(TimelineKeys, ReturnGoesToTheBeginning) {
    fill({videoClip(20)});
    goTo(9);
    EXPECT_TRUE(press(Qt::Key_Return));
    EXPECT_EQ(editor->playhead(), 0);
    EXPECT_EQ(view->visibleOrigin().x(), 0);
    view->seekOnClick(10);
    advance(std::chrono::milliseconds(50));
    EXPECT_TRUE(press(Qt::Key_Enter, Qt::KeypadModifier));
    EXPECT_EQ(view->visibleOrigin().x(), 0);
    EXPECT_EQ(context.pendingTimers(), 0u);
}

TEST_F(TimelineKeys, ReturnThatRewindsNothingIsNotTheTimelines) {
    EXPECT_FALSE(press(Qt::Key_Return)) << "an empty timeline";
    fill({videoClip(20)});
    EXPECT_FALSE(view->pressKey(Qt::Key_Return, Qt::NoModifier, true)) << "a key that is held";
    EXPECT_FALSE(press(Qt::Key_Return, Qt::ShiftModifier));
    editor->showAssetPreview(editor->assets().front().id);
    settlePreview();
    EXPECT_FALSE(press(Qt::Key_Return)) << "an asset is shown";
    press(Qt::Key_Escape);
    EXPECT_FALSE(press(Qt::Key_Return)) << "the preview is built";
    settlePreview();
    beginDrag(at(5, row(0)), {10, 0});
    EXPECT_FALSE(press(Qt::Key_Return)) << "a gesture";
    view->cancelGesture();
    beBusy();
    EXPECT_FALSE(press(Qt::Key_Return)) << "busy";
}

TEST_F(TimelineKeys, NoKeyActsWhileTheProjectIsBusy) {
    fill({videoClip(5), videoClip(5)});
    goTo(1);
    const auto before = editor->clips();
    beBusy();
    for (const int key : {Qt::Key_Left, Qt::Key_Right, Qt::Key_Comma, Qt::Key_Period, Qt::Key_Home, Qt::Key_End,
                          Qt::Key_PageUp, Qt::Key_PageDown, Qt::Key_BracketLeft, Qt::Key_BracketRight, Qt::Key_Delete,
                          Qt::Key_Backspace, Qt::Key_Escape})
        EXPECT_FALSE(view->pressKey(key, Qt::NoModifier)) << key;
    for (const int key : {Qt::Key_A, Qt::Key_Left, Qt::Key_Right, Qt::Key_Up, Qt::Key_Down})
        EXPECT_FALSE(view->pressKey(key, Qt::ControlModifier)) << key;
    EXPECT_FALSE(view->pressKey(Qt::Key_Right, Qt::AltModifier));
    EXPECT_EQ(editor->clips(), before);
    EXPECT_EQ(editor->playhead(), 1);
    EXPECT_EQ(selected(), set({0}));
}

TEST_F(TimelineKeys, KeysOfOthersAreLeftToThem) {
    fill({videoClip(5), videoClip(5)});
    for (const int key : {Qt::Key_Space, Qt::Key_R, Qt::Key_A, Qt::Key_Up, Qt::Key_Down, Qt::Key_Tab})
        EXPECT_FALSE(press(key)) << key;
    EXPECT_FALSE(press(Qt::Key_Left, Qt::ShiftModifier));
    EXPECT_FALSE(press(Qt::Key_Left, Qt::MetaModifier));
    EXPECT_FALSE(press(Qt::Key_A, Qt::ControlModifier | Qt::AltModifier));
    EXPECT_FALSE(press(Qt::Key_Z, Qt::ControlModifier));
    EXPECT_FALSE(press(Qt::Key_Delete, Qt::ControlModifier));
    EXPECT_EQ(editor->playhead(), 0);
}

TEST_F(TimelineKeys, DeleteAndBackspaceDeleteTheSelectedClips) {
    fill({videoClip(5), videoClip(5), videoClip(5)});
    const auto before = editor->clips();
    editor->selectTimelineClips(set({0, 2}));
    EXPECT_TRUE(press(Qt::Key_Delete));
    EXPECT_EQ(editor->clips(), std::vector<Clip>{before[1]});
    EXPECT_EQ(undoSteps(), 1u);
    EXPECT_FALSE(view->pressKey(Qt::Key_Backspace, Qt::NoModifier, true)) << "a key that is held";
    EXPECT_TRUE(press(Qt::Key_Backspace));
    EXPECT_TRUE(editor->clips().empty());
    EXPECT_FALSE(press(Qt::Key_Delete));
    EXPECT_EQ(undoSteps(), 2u);
}

TEST_F(TimelineKeys, ControlASelectsAllClips) {
    fill({videoClip(5), audioClip(5, 1), videoClip(5)});
    EXPECT_TRUE(press(Qt::Key_A, Qt::ControlModifier));
    EXPECT_EQ(selected(), set({0, 1, 2}));
    EXPECT_EQ(undoSteps(), 0u);
}

TEST_F(TimelineKeys, AltWithAnArrowMovesTheSelectedVideoClip) {
    fill({videoClip(5), videoClip(6), audioClip(5, 1)});
    const auto before = editor->clips();
    EXPECT_FALSE(press(Qt::Key_Left, Qt::AltModifier));
    EXPECT_TRUE(press(Qt::Key_Right, Qt::AltModifier));
    EXPECT_EQ(editor->clips(), (std::vector{before[1], before[0], before[2]}));
    EXPECT_EQ(undoSteps(), 1u);
    EXPECT_TRUE(press(Qt::Key_Left, Qt::AltModifier));
    EXPECT_EQ(editor->clips(), before);
    editor->setSelection(before[2].id);
    EXPECT_FALSE(press(Qt::Key_Left, Qt::AltModifier));
}

// Trims at the playhead.

TEST_F(TimelineKeys, BracketsTrimTheSelectedClipToThePlayhead) {
    fill({videoClip(5), videoClip(20, 2, 12)});
    editor->setSelection(clip(1).id);
    goTo(8);
    EXPECT_TRUE(press(Qt::Key_BracketRight));
    EXPECT_EQ(clip(1).start, 2);
    EXPECT_EQ(clip(1).end, 5);
    EXPECT_EQ(undoSteps(), 1u);
    goTo(6);
    EXPECT_TRUE(press(Qt::Key_BracketLeft));
    EXPECT_EQ(clip(1).start, 3);
    EXPECT_EQ(clip(1).end, 5);
    EXPECT_EQ(undoSteps(), 2u);
    editor->undo();
    editor->undo();
    EXPECT_EQ(clip(1).end, 12);
}

TEST_F(TimelineKeys, ABracketTakesTheHeadOfASoundToThePlayhead) {
    Clip sound = audioClip(20, 3);
    sound.start = 5;
    fill({videoClip(30), sound});
    editor->setSelection(sound.id);
    goTo(4);
    EXPECT_TRUE(press(Qt::Key_BracketLeft));
    EXPECT_EQ(clip(1).timelineStart, 4);
    EXPECT_EQ(clip(1).start, 6);
    goTo(2);
    EXPECT_TRUE(press(Qt::Key_BracketLeft));
    EXPECT_EQ(clip(1).timelineStart, 2);
    EXPECT_EQ(clip(1).start, 4);
}

TEST_F(TimelineKeys, ABracketDoesNothingWhereTheEdgeWouldPassTheOther) {
    fill({videoClip(5), videoClip(20, 2, 12)});
    const auto before = editor->clips();
    editor->setSelection(clip(1).id);
    goTo(3);
    EXPECT_FALSE(press(Qt::Key_BracketRight));
    goTo(5);
    EXPECT_FALSE(press(Qt::Key_BracketRight));
    editor->setSelection(clip(0).id);
    goTo(6);
    EXPECT_FALSE(press(Qt::Key_BracketLeft));
    editor->selectTimelineClips(set({0, 1}));
    goTo(2);
    EXPECT_FALSE(press(Qt::Key_BracketLeft));
    EXPECT_EQ(editor->clips(), before);
}

TEST_F(TimelineKeys, ABracketIsHeldToTheSource) {
    fill({videoClip(5, 1, 3), videoClip(30)});
    goTo(20);
    EXPECT_TRUE(press(Qt::Key_BracketRight));
    EXPECT_EQ(clip(0).end, 5);
    EXPECT_TRUE(press(Qt::Key_BracketRight));
    EXPECT_EQ(undoSteps(), 1u);
}

// Escape.

TEST_F(TimelineKeys, EscapeEndsTheFirstOfWhatThereIs) {
    fill({videoClip(20)});
    EXPECT_TRUE(press(Qt::Key_Escape));
    EXPECT_TRUE(selected().empty());
    EXPECT_FALSE(press(Qt::Key_Escape));
    editor->showAssetPreview(editor->assets().front().id);
    settlePreview();
    EXPECT_TRUE(press(Qt::Key_Escape));
    EXPECT_FALSE(editor->previewAssetID());
    settlePreview();
    editor->setSelection(clip(0).id);
    editor->toggleVoiceOverRecording();
    context.settle();
    ASSERT_TRUE(editor->recordingCountdown());
    EXPECT_TRUE(press(Qt::Key_Escape));
    EXPECT_FALSE(editor->recordingCountdown());
    EXPECT_EQ(selected(), set({0}));
}

// From clip to clip.

TEST_F(TimelineKeys, ControlWithArrowsSelectsTheNeighbourAndShowsIt) {
    fill({videoClip(5), audioClip(2, 1), videoClip(6), videoClip(7)});
    EXPECT_TRUE(press(Qt::Key_Right, Qt::ControlModifier));
    EXPECT_EQ(selected(), set({2}));
    EXPECT_EQ(editor->playhead(), 5);
    EXPECT_EQ(view->visibleOrigin().x(), 160);
    EXPECT_TRUE(press(Qt::Key_Right, Qt::ControlModifier));
    EXPECT_TRUE(press(Qt::Key_Right, Qt::ControlModifier));
    EXPECT_EQ(selected(), set({3}));
    EXPECT_TRUE(press(Qt::Key_Left, Qt::ControlModifier));
    EXPECT_EQ(selected(), set({2}));
    EXPECT_EQ(editor->playhead(), 5);
    EXPECT_EQ(undoSteps(), 0u);
}

TEST_F(TimelineKeys, WithoutASelectionTheClipUnderThePlayheadIsTheFirst) {
    fill({videoClip(5), videoClip(6)});
    editor->selectTimelineClips({});
    goTo(7);
    EXPECT_TRUE(press(Qt::Key_Left, Qt::ControlModifier));
    EXPECT_EQ(selected(), set({1}));
    EXPECT_EQ(editor->playhead(), 5);
}

TEST_F(TimelineKeys, AnEmptyTimelineHasNoNeighbours) {
    EXPECT_FALSE(press(Qt::Key_Left, Qt::ControlModifier));
    EXPECT_FALSE(press(Qt::Key_Down, Qt::ControlModifier));
    EXPECT_TRUE(press(Qt::Key_A, Qt::ControlModifier));
    EXPECT_TRUE(selected().empty());
}

TEST_F(TimelineKeys, NeighboursInALaneGoByTime) {
    Clip later = audioClip(2, 10);
    Clip earlier = audioClip(2, 4);
    earlier.audioTrackID = later.id;
    fill({videoClip(20), later, earlier});
    editor->select(earlier.id);
    EXPECT_TRUE(press(Qt::Key_Right, Qt::ControlModifier));
    EXPECT_EQ(selected(), std::set{later.id});
    EXPECT_EQ(editor->playhead(), 10);
    EXPECT_TRUE(press(Qt::Key_Left, Qt::ControlModifier));
    EXPECT_EQ(selected(), std::set{earlier.id});
}

TEST_F(TimelineKeys, ControlWithUpAndDownChangesTheRow) {
    Clip late = audioClip(2, 8);
    Clip early = audioClip(2, 1);
    early.audioTrackID = late.id;
    fill({videoClip(5), videoClip(6), late, early, audioClip(3, 7)});
    editor->select(clip(1).id);
    EXPECT_TRUE(press(Qt::Key_Down, Qt::ControlModifier));
    EXPECT_EQ(selected(), std::set{late.id}) << "3 s from where the clip begins, and not 4";
    EXPECT_TRUE(press(Qt::Key_Down, Qt::ControlModifier));
    EXPECT_EQ(selected(), set({4})) << "plays where the other one begins";
    EXPECT_EQ(editor->playhead(), 7);
    EXPECT_TRUE(press(Qt::Key_Down, Qt::ControlModifier));
    EXPECT_EQ(selected(), set({4}));
    EXPECT_TRUE(press(Qt::Key_Up, Qt::ControlModifier));
    EXPECT_TRUE(press(Qt::Key_Up, Qt::ControlModifier));
    EXPECT_EQ(selected(), set({1}));
}

TEST_F(TimelineKeys, ARowThatIsReachedComesIntoSight) {
    std::vector<Clip> clips{videoClip(20)};
    for (int i = 0; i < 6; ++i) clips.push_back(audioClip(2, 3));
    fill(clips);
    for (int i = 0; i < 6; ++i) press(Qt::Key_Down, Qt::ControlModifier);
    EXPECT_EQ(selected(), set({6}));
    EXPECT_EQ(view->visibleOrigin(), QPointF(96, 22 + 94 * 7 - 348));
    for (int i = 0; i < 5; ++i) press(Qt::Key_Up, Qt::ControlModifier);
    EXPECT_EQ(view->visibleOrigin(), QPointF(96, 94));
    press(Qt::Key_Up, Qt::ControlModifier);
    EXPECT_EQ(view->visibleOrigin(), QPointF(0, 0));
}

TEST_F(TimelineKeys, ShiftExtendsFromTheAnchor) {
    fill({videoClip(5), videoClip(6), videoClip(7), videoClip(8)});
    editor->select(clip(1).id);
    EXPECT_TRUE(press(Qt::Key_Right, Qt::ControlModifier | Qt::ShiftModifier));
    EXPECT_EQ(selected(), set({1, 2}));
    EXPECT_EQ(editor->playhead(), 11);
    EXPECT_TRUE(press(Qt::Key_Right, Qt::ControlModifier | Qt::ShiftModifier));
    EXPECT_EQ(selected(), set({1, 2, 3}));
    EXPECT_EQ(view->visibleOrigin().x(), 18 * 32);
    for (int i = 0; i < 3; ++i) press(Qt::Key_Left, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(selected(), set({0, 1}));
}

}  // namespace
}  // namespace kelvane::testing
