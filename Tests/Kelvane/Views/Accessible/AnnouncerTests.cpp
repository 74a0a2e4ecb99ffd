#include <gmock/gmock.h>

#include "Kelvane/Views/Timeline/TimelineViewFixture.h"
#include "Views/Accessible/Announcer.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// What is said, with "!" before what interrupts.
class AnnouncerTests : public TimelineViewFixture {
protected:
    AnnouncerTests() : announcer(workspace) {
        QObject::connect(&announcer, &Announcer::said, &announcer,
                         [this](const QString& text, Announcer::Manner manner) {
                             said.push_back((manner == Announcer::Manner::assertive ? "!" : "") + text.toStdString());
                         });
        announcer.follow(view.get());
    }
    std::vector<std::string> heard() {
        tell();
        return std::exchange(said, {});
    }
    void start(std::vector<Clip> clips) {
        fill(std::move(clips));
        (void)heard();
    }

    Announcer announcer;
    std::vector<std::string> said;
};

TEST_F(AnnouncerTests, AnEditIsSaidByWhatItMadeOfTheTimeline) {
    start({videoClip(4), videoClip(4), videoClip(4), audioClip(2, 0)});
    editor->select(clip(0).id);
    editor->seekPreview(1);
    EXPECT_THAT(heard(), IsEmpty()) << "selection and playhead are no edits";
    editor->split();
    EXPECT_THAT(heard(), ElementsAre("Split. 5 clips."));
    editor->setSelection(clip(3).id);
    editor->moveSelection(-1);
    EXPECT_THAT(heard(), ElementsAre("Moved to position 3 of 4."));
    editor->move(clip(0).id, 2);
    EXPECT_THAT(heard(), ElementsAre("Moved to position 3 of 4."));
    editor->update(clip(0).id, [](Clip& clip) { clip.volume = 0.5; });
    EXPECT_THAT(heard(), IsEmpty());
    editor->selectTimelineClips({clip(0).id, clip(1).id});
    editor->deleteSelection();
    EXPECT_THAT(heard(), ElementsAre("2 clips deleted."));
    editor->undo();
    EXPECT_THAT(heard(), ElementsAre("Undone."));
    editor->redo();
    EXPECT_THAT(heard(), ElementsAre("Redone."));
    editor->setSelection(clip(0).id);
    editor->deleteSelection();
    EXPECT_THAT(heard(), ElementsAre("1 clip deleted."));
}

TEST_F(AnnouncerTests, WhatAnAssistantDidIsSaidAsItsAct) {
    start({videoClip(4), videoClip(4), videoClip(4)});
    const auto edit = [this](const std::function<void()>& act) {
        const ClipArray before = editor->clipArray();
        act();
        editor->noteAssistantEdit(before);
        return heard();
    };
    EXPECT_THAT(edit([this] { editor->commit({clip(0), clip(1)}); }), ElementsAre("Assistant removed 1 clip."));
    EXPECT_THAT(edit([this] { editor->undo(); }), ElementsAre("Assistant added 1 clip."));
    EXPECT_THAT(edit([] {}), IsEmpty());
    editor->update(clip(0).id, [](Clip& clip) { clip.volume = 0.5; });
    EXPECT_THAT(heard(), IsEmpty()) << "a hand's";
    editor->undo();
    EXPECT_THAT(heard(), ElementsAre("Undone."));
}

TEST_F(AnnouncerTests, EachUndoIsSaid) {
    start({videoClip(4), videoClip(4), videoClip(4)});
    for (int i = 0; i < 2; ++i) {
        editor->setSelection(clip(0).id);
        editor->deleteSelection();
        (void)heard();
    }
    editor->undo();
    EXPECT_THAT(heard(), ElementsAre("Undone."));
    editor->undo();
    EXPECT_THAT(heard(), ElementsAre("Undone."));
    EXPECT_EQ(announcer.text(), "Undone.");
}

TEST_F(AnnouncerTests, AnotherProjectIsNoEdit) {
    start({videoClip(4), videoClip(4)});
    editor->deleteSelection();
    EXPECT_THAT(heard(), ElementsAre("1 clip deleted."));
    workspace->setEditor(nullptr);
    EXPECT_THAT(heard(), IsEmpty());
    EXPECT_EQ(announcer.text(), "") << "that was of the other one";
    workspace->setEditor(editor);
    EXPECT_THAT(heard(), IsEmpty());
}

TEST_F(AnnouncerTests, ASnapToThePlayheadIsSaidOnce) {
    start({videoClip(4), videoClip(4)});
    goTo(2);
    (void)heard();
    beginDrag(endOf(0), QPointF(-64, 0));
    EXPECT_THAT(heard(), ElementsAre("Snapped to playhead."));
    view->drag(endOf(0) + QPointF(-1, 0), Qt::NoModifier);
    view->cancelGesture();
    EXPECT_THAT(heard(), IsEmpty());
}

TEST_F(AnnouncerTests, ATakeInterrupts) {
    start({videoClip(4)});
    editor->toggleVoiceOverRecording();
    context.settle();
    EXPECT_THAT(heard(), ElementsAre("!Recording starts in 3 seconds"));
    advance(std::chrono::seconds(1));
    context.settle();
    EXPECT_THAT(heard(), ElementsAre("!Recording starts in 2 seconds"));
    EXPECT_EQ(announcer.text(), "Recording starts in 2 seconds");
    editor->toggleVoiceOverRecording();
    EXPECT_THAT(heard(), IsEmpty());
    EXPECT_EQ(announcer.text(), "") << "nothing starts any more";
}

TEST_F(AnnouncerTests, AFailedSaveInterruptsAndAnImportIsCounted) {
    start({videoClip(4)});
    editor->setSaveFailed(true);
    EXPECT_THAT(heard(), ElementsAre("!Not saved"));
    editor->setSaveFailed(false);
    EXPECT_THAT(heard(), IsEmpty());
    EXPECT_EQ(announcer.text(), "") << "it is saved";
    editor->importURLs({makeSource("one.mov", FakeFile::video(1)), makeSource("two.mov", FakeFile::video(1))});
    context.settle();
    EXPECT_THAT(heard(), ElementsAre("2 assets imported."));
}

}  // namespace
}  // namespace kelvane::testing
