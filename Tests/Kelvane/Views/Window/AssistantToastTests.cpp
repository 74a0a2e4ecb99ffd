#include "../Timeline/TimelineViewFixture.h"
#include "Views/Window/AssistantToast.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

class AssistantToastTests : public TimelineViewFixture {
protected:
    AssistantToastTests() { fill({videoClip(4), videoClip(4), videoClip(4)}); }
    /// As an assistant's request does.
    void assistantEdits(std::vector<Clip> clips) {
        const ClipArray before = editor->clipArray();
        editor->commit(std::move(clips));
        editor->noteAssistantEdit(before);
        tell();
    }
    void assistantTurnsDown(std::size_t index) {
        auto clips = editor->clips();
        clips[index].volume /= 2;
        assistantEdits(clips);
    }
    [[nodiscard]] std::string shown() const { return toast.shown() ? toast.text().toStdString() : ""; }

    AssistantToast toast{workspace, context, *view};
};

TEST_F(AssistantToastTests, AnEditIsToldOfForSixSeconds) {
    EXPECT_EQ(shown(), "");
    assistantTurnsDown(1);
    EXPECT_EQ(shown(), "Assistant changed 1 clip");
    EXPECT_TRUE(toast.canUndo());
    advance(5999ms);
    EXPECT_EQ(shown(), "Assistant changed 1 clip");
    advance(1ms);
    EXPECT_EQ(shown(), "");
    EXPECT_FALSE(toast.canUndo());
}

TEST_F(AssistantToastTests, ItSaysWhatWasDoneToHowManyClips) {
    auto clips = editor->clips();
    const auto all = clips;
    clips.push_back(videoClip(2));
    assistantEdits(clips);
    EXPECT_EQ(shown(), "Assistant added 1 clip");
    clips.push_back(videoClip(2));
    clips.push_back(videoClip(2));
    assistantEdits(clips);
    EXPECT_EQ(shown(), "Assistant added 2 clips");
    assistantEdits(all);
    EXPECT_EQ(shown(), "Assistant removed 3 clips");
    clips = all;
    std::swap(clips[0], clips[2]);
    assistantEdits(clips);
    EXPECT_EQ(shown(), "Assistant changed 2 clips");
    clips = {clips[0], clips[1]};
    clips[0].volume = 0.5;
    clips.push_back(videoClip(2));
    assistantEdits(clips);
    EXPECT_EQ(shown(), "Assistant changed 3 clips") << "one turned down, one gone, one new";
}

TEST_F(AssistantToastTests, UndoTakesBackWhatItTellsOf) {
    const auto before = editor->clips();
    assistantTurnsDown(0);
    toast.undo();
    EXPECT_EQ(editor->clips(), before);
    EXPECT_EQ(shown(), "");
    tell();
    toast.undo();
    EXPECT_EQ(editor->redoStack().size(), 1U) << "once";
}

TEST_F(AssistantToastTests, WhatAnAssistantHasUndoneIsDoneAgain) {
    editor->update(clip(0).id, [](Clip& clip) { clip.volume = 0.25; });
    tell();
    const auto mine = editor->clips();
    const ClipArray before = editor->clipArray();
    editor->undo();
    editor->noteAssistantEdit(before);
    tell();
    EXPECT_EQ(shown(), "Assistant changed 1 clip");
    toast.undo();
    EXPECT_EQ(editor->clips(), mine);
}

TEST_F(AssistantToastTests, AHandsEditEndsIt) {
    assistantTurnsDown(0);
    editor->update(clip(1).id, [](Clip& clip) { clip.volume = 0.25; });
    EXPECT_FALSE(toast.canUndo()) << "at once, also before it was announced";
    toast.undo();
    EXPECT_EQ(clip(1).volume, 0.25);
    EXPECT_EQ(clip(0).volume, 0.5);
    tell();
    EXPECT_EQ(shown(), "");
}

TEST_F(AssistantToastTests, SoDoesAHandsUndoAndAnEditThatLooksTheSame) {
    assistantTurnsDown(0);
    editor->undo();
    tell();
    EXPECT_EQ(shown(), "");
    assistantTurnsDown(0);
    // To and fro: what stands on the history's top is the hand's.
    const double volume = clip(1).volume;
    for (const double value : {0.3, volume}) editor->update(clip(1).id, [&](Clip& clip) { clip.volume = value; });
    tell();
    EXPECT_EQ(shown(), "");
}

TEST_F(AssistantToastTests, ANewerEditReplacesItAndHasItsOwnSixSeconds) {
    assistantTurnsDown(0);
    advance(5s);
    assistantEdits({clip(0), clip(1)});
    EXPECT_EQ(shown(), "Assistant removed 1 clip");
    advance(5s);
    EXPECT_EQ(shown(), "Assistant removed 1 clip");
    toast.undo();
    EXPECT_EQ(editor->clips().size(), 3U);
    EXPECT_EQ(clip(0).volume, 0.5) << "the edit before stays";
}

TEST_F(AssistantToastTests, APointerOrTheFocusHoldsIt) {
    assistantTurnsDown(0);
    advance(4s);
    toast.setHeld(true);
    advance(60s);
    EXPECT_EQ(shown(), "Assistant changed 1 clip");
    toast.setHeld(false);
    advance(1999ms);
    EXPECT_EQ(shown(), "Assistant changed 1 clip") << "two seconds were left";
    advance(1ms);
    EXPECT_EQ(shown(), "");

    assistantTurnsDown(0);
    advance(5999ms);
    toast.setHeld(true);
    toast.setHeld(false);
    advance(999ms);
    EXPECT_EQ(shown(), "Assistant changed 1 clip") << "never gone under a leaving hand";
    toast.setHeld(true);
    assistantTurnsDown(1);
    advance(60s);
    EXPECT_EQ(shown(), "Assistant changed 1 clip") << "one that comes under the hand is held, too";
}

TEST_F(AssistantToastTests, AnEditOfNothingShowsNothingAndEndsWhatTheHistoryNoLongerHolds) {
    editor->noteAssistantEdit(editor->clipArray());
    EXPECT_EQ(shown(), "");
    assistantTurnsDown(0);
    editor->noteAssistantEdit(editor->clipArray());
    EXPECT_EQ(shown(), "Assistant changed 1 clip");
}

TEST_F(AssistantToastTests, NothingIsUndoneWhileTheProjectIsBusyAndNothingBehindAnotherProject) {
    assistantTurnsDown(0);
    editor->beginCopying();
    EXPECT_FALSE(toast.canUndo());
    toast.undo();
    EXPECT_EQ(clip(0).volume, 0.5);
    editor->endCopying();
    EXPECT_TRUE(toast.canUndo());
    workspace->setEditor(nullptr);
    EXPECT_EQ(shown(), "");
    workspace->setEditor(editor);
    EXPECT_EQ(shown(), "");
}

}  // namespace
}  // namespace kelvane::testing
