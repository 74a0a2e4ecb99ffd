#include <gmock/gmock.h>

#include <QSignalSpy>

#include "Support/App/EditorFixture.h"
#include "Support/ClipBuilder.h"
#include "Views/Inspector/InspectorView.h"
#include "Views/Timeline/TimelineView.h"

namespace kelvane::testing {
namespace {

/// The inspector of a window that shows a project with two clips of 4 s of footage of 10 s, from 2 s and from 4 s on,
/// and a sound of 3 s at 1 s; the first clip is selected.
class InspectorViewTests : public EditorFixture {
protected:
    InspectorViewTests() : workspace(std::make_shared<Workspace>(UUID::random(), editor)) {
        const FileURL footage = makeManaged("video.mov", FakeFile::video(10));
        const FileURL tune = makeManaged("sound.wav", FakeFile::audio(10));
        load({videoClip(1, footage, 10).stretch(2, 6), videoClip(2, footage, 10).stretch(4, 8),
              audioClip(3, tune, 10).stretch(0, 3).at(1)});
        settlePreview();
        timeline = std::make_unique<TimelineView>(workspace, context, [] { return true; });
        view = std::make_unique<InspectorView>(workspace);
        view->follow(*timeline);
        tell();
    }
    ~InspectorViewTests() override {
        view.reset();
        timeline.reset();
        workspace.reset();
    }

    void tell() { context.runPosted(); }
    void select(std::uint64_t number) {
        editor->select(uuid(number));
        tell();
    }
    void pause(int milliseconds) {
        context.advance(std::chrono::milliseconds(milliseconds));
        tell();
    }
    [[nodiscard]] const Clip& clip(std::size_t index = 0) const { return editor->clips().at(index); }
    [[nodiscard]] std::size_t steps() const { return editor->undoStack().size(); }

    std::shared_ptr<Workspace> workspace;
    std::unique_ptr<TimelineView> timeline;
    std::unique_ptr<InspectorView> view;
};

TEST_F(InspectorViewTests, ItShowsTheNumbersOfTheOneSelectedClip) {
    EXPECT_TRUE(view->hasClip());
    EXPECT_FALSE(view->audio());
    EXPECT_EQ(view->start()->value(), 2);
    EXPECT_EQ(view->start()->text(), "00:02.0");
    EXPECT_EQ(view->end()->to(), 10);
    EXPECT_EQ(view->duration(), "00:04.0");
    EXPECT_EQ(view->zoom()->text(), "1.0×");
    EXPECT_EQ(view->volume()->text(), "100%");
    EXPECT_EQ(view->muteLabel(), "Mute");
    select(3);
    EXPECT_TRUE(view->audio());
    EXPECT_EQ(view->position()->value(), 1);
    EXPECT_EQ(view->position()->to(), 8);
    EXPECT_EQ(view->duration(), "00:03.0");
}

TEST_F(InspectorViewTests, WithoutOneClipItSaysWhatToSelect) {
    editor->selectTimelineClips({});
    tell();
    EXPECT_FALSE(view->hasClip());
    EXPECT_EQ(view->noticeTitle(), "Select a Clip");
    EXPECT_EQ(view->noticeText(), "Trim, reframe, and adjust sound.");
    EXPECT_EQ(view->noticeSymbol(), "sliders");
    editor->selectTimelineClips({uuid(1), uuid(2), uuid(3)});
    tell();
    EXPECT_FALSE(view->hasClip());
    EXPECT_EQ(view->noticeTitle(), "3 Clips Selected");
    EXPECT_EQ(view->noticeText(), "Select one clip to trim, reframe, or adjust sound.");
    EXPECT_EQ(view->noticeSymbol(), "stack");
    editor->selectTimelineClips({uuid(1), uuid(2)});
    tell();
    EXPECT_EQ(view->noticeTitle(), "2 Clips Selected");
    workspace->setEditor(nullptr);
    tell();
    EXPECT_FALSE(view->hasClip() || view->enabled());
    view->resetFrame();
    view->toggleMute();
    view->zoom()->begin();
    view->zoom()->drag(2);
    view->zoom()->stepBy(1);
    view->zoom()->end();
}

TEST_F(InspectorViewTests, ADragTakesEffectAtOnceAndIsOneStep) {
    const auto before = editor->clips();
    view->zoom()->begin();
    for (const double zoom : {1.2, 1.7, 2.5, 2.0}) {
        view->zoom()->drag(zoom);
        EXPECT_EQ(clip().zoom, zoom);
        EXPECT_EQ(view->zoom()->value(), zoom);
    }
    EXPECT_EQ(steps(), 0U);
    EXPECT_TRUE(editor->interactionSnapshot());
    view->zoom()->end();
    EXPECT_FALSE(editor->interactionSnapshot());
    EXPECT_EQ(steps(), 1U);
    editor->undo();
    tell();
    EXPECT_EQ(editor->clips(), before);
    EXPECT_EQ(view->zoom()->value(), 1);
}

TEST_F(InspectorViewTests, ADragThatComesBackLeavesNoStep) {
    view->start()->begin();
    view->start()->drag(3);
    view->start()->drag(2);
    view->start()->end();
    EXPECT_EQ(steps(), 0U);
    EXPECT_FALSE(editor->interactionSnapshot());
}

TEST_F(InspectorViewTests, EachRowChangesItsOwnNumber) {
    struct Row {
        InspectorRow* row;
        double value;
        double Clip::* field;
    };
    for (const Row& row : {Row{view->start(), 2.5, &Clip::start}, Row{view->end(), 7.5, &Clip::end},
                           Row{view->zoom(), 1.4, &Clip::zoom}, Row{view->horizontal(), -0.3, &Clip::horizontal},
                           Row{view->vertical(), 0.2, &Clip::vertical}, Row{view->volume(), 0.8, &Clip::volume}}) {
        row.row->begin();
        row.row->drag(row.value);
        row.row->end();
        EXPECT_EQ(clip().*row.field, row.value);
    }
    EXPECT_EQ(steps(), 6U);
    EXPECT_EQ(view->duration(), "00:05.0");
    select(3);
    view->position()->begin();
    view->position()->drag(4.5);
    view->position()->end();
    EXPECT_EQ(clip(2).audioPosition(), 4.5);
}

TEST_F(InspectorViewTests, TheRangeUnderAHandStays) {
    select(3);
    view->position()->begin();
    view->position()->drag(8);
    EXPECT_EQ(editor->placement().duration(), 11);
    tell();
    EXPECT_EQ(view->position()->to(), 8);
    view->position()->end();
    EXPECT_EQ(view->position()->to(), 11);
}

TEST_F(InspectorViewTests, AnInvalidValueIsDroppedInSilence) {
    view->zoom()->begin();
    view->zoom()->drag(3.5);
    EXPECT_EQ(view->zoom()->value(), 1);
    view->zoom()->drag(std::nan(""));
    view->zoom()->end();
    EXPECT_EQ(clip().zoom, 1);
    EXPECT_EQ(steps(), 0U);
    EXPECT_FALSE(editor->error());
}

TEST_F(InspectorViewTests, ABusyProjectChangesNothingAndEndsADrag) {
    QSignalSpy enabled(view.get(), &InspectorView::enabledChanged);
    view->volume()->begin();
    view->volume()->drag(0.5);
    editor->beginCopying();
    tell();
    EXPECT_FALSE(view->enabled());
    EXPECT_EQ(enabled.size(), 1);
    EXPECT_FALSE(editor->interactionSnapshot());
    view->volume()->drag(0.25);
    view->volume()->end();
    view->volume()->stepBy(-1);
    view->toggleMute();
    view->resetFrame();
    EXPECT_EQ(clip().volume, 0.5);
    EXPECT_EQ(steps(), 1U);
    editor->endCopying();
    tell();
    EXPECT_TRUE(view->enabled());
}

TEST_F(InspectorViewTests, AClipThatGoesUnderTheHandChangesNoMore) {
    view->volume()->begin();
    view->volume()->drag(0.5);
    std::vector<Clip> clips = editor->clips();
    clips.erase(clips.begin());
    editor->commit(clips);
    view->volume()->drag(0.25);
    tell();
    view->volume()->drag(0.3);
    view->volume()->end();
    EXPECT_EQ(editor->clips(), clips);
    EXPECT_FALSE(editor->interactionSnapshot());
}

TEST_F(InspectorViewTests, PressesOfKeysAreOneStepUntilHalfASecondPasses) {
    view->volume()->stepBy(-1);
    pause(400);
    view->volume()->stepBy(-1);
    pause(400);
    view->volume()->pageBy(-1);
    EXPECT_EQ(clip().volume, 0.88);
    EXPECT_EQ(view->volume()->text(), "88%");
    EXPECT_EQ(steps(), 0U);
    pause(499);
    EXPECT_TRUE(editor->interactionSnapshot());
    pause(1);
    EXPECT_EQ(steps(), 1U);
    EXPECT_FALSE(editor->interactionSnapshot());
    view->volume()->stepBy(1);
    pause(500);
    EXPECT_EQ(steps(), 2U);
    view->volume()->goToEnd(false);
    EXPECT_EQ(clip().volume, 0);
    view->volume()->goToEnd(true);
    EXPECT_EQ(clip().volume, 1);
    pause(500);
    EXPECT_EQ(steps(), 3U);
}

TEST_F(InspectorViewTests, StepsOfHundredthsAddUp) {
    view->volume()->set(0.1);
    for (int press = 0; press < 10; ++press) view->volume()->stepBy(-1);
    EXPECT_EQ(clip().volume, 0);
    EXPECT_TRUE(view->muted());
}

TEST_F(InspectorViewTests, ARunEndsWhereAnotherEditBegins) {
    view->volume()->stepBy(-1);
    timeline->moveLater();
    tell();
    EXPECT_FALSE(editor->interactionSnapshot());
    EXPECT_EQ(steps(), 2U);
    view->volume()->stepBy(-1);
    view->zoom()->begin();
    view->zoom()->drag(2);
    view->zoom()->end();
    EXPECT_EQ(steps(), 4U);
    view->volume()->stepBy(-1);
    select(2);
    EXPECT_EQ(steps(), 5U);
    EXPECT_FALSE(editor->interactionSnapshot());
    view->volume()->stepBy(-1);
    view->toggleMute();
    EXPECT_EQ(steps(), 7U);
    EXPECT_EQ(clip(0).volume, 0);
}

TEST_F(InspectorViewTests, ARunCanBeTakenBackBeforeItIsAStep) {
    EXPECT_FALSE(view->undoRun());
    view->volume()->stepBy(-5);
    EXPECT_TRUE(view->undoRun());
    EXPECT_EQ(clip().volume, 1);
    EXPECT_EQ(view->volume()->value(), 1);
    EXPECT_EQ(steps(), 0U);
    EXPECT_FALSE(editor->interactionSnapshot());
    EXPECT_EQ(editor->redoStack().size(), 1U);
    // One that ended where it began takes nothing else back.
    view->zoom()->set(2);
    pause(500);
    view->volume()->stepBy(-1);
    view->volume()->stepBy(1);
    EXPECT_TRUE(view->undoRun());
    EXPECT_EQ(clip().zoom, 2);
}

TEST_F(InspectorViewTests, AGestureOfTheTimelineKeepsTheInspectorOut) {
    editor->beginInteraction();
    view->volume()->begin();
    view->volume()->drag(0.5);
    view->volume()->end();
    view->volume()->stepBy(-1);
    EXPECT_EQ(clip().volume, 1);
    EXPECT_TRUE(editor->interactionSnapshot());
    editor->endInteraction();
}

TEST_F(InspectorViewTests, ADragThatACommandEndsGoesOnNoMore) {
    view->volume()->begin();
    view->volume()->drag(0.5);
    timeline->resetGesture();
    view->volume()->drag(0.25);
    view->volume()->end();
    EXPECT_EQ(clip().volume, 0.5);
    EXPECT_EQ(steps(), 1U);
}

TEST_F(InspectorViewTests, ADoubleClickGoesBackToTheStandardInOneStep) {
    for (InspectorRow* row : {view->zoom(), view->horizontal(), view->vertical(), view->volume()}) {
        const double standard = row->value();
        row->set(row == view->volume() ? 0.3 : row == view->zoom() ? 2 : 0.5);
        pause(500);
        const std::size_t before = steps();
        row->begin();
        row->end();
        row->begin();
        row->reset();
        row->end();
        EXPECT_EQ(row->value(), standard);
        EXPECT_EQ(steps(), before + 1);
    }
    view->start()->reset();
    EXPECT_EQ(clip().start, 2);
}

TEST_F(InspectorViewTests, ADoubleClickTakesItsPressesIntoItsStep) {
    InspectorRow& row = *view->volume();
    const auto press = [&row](double value) {
        row.begin();
        row.drag(value);
    };
    press(0.2);
    row.end();
    ASSERT_EQ(steps(), 1U);
    press(0.5);
    row.end();
    press(0.6);
    row.reset();
    row.end();
    EXPECT_EQ(row.value(), 1);
    EXPECT_EQ(steps(), 2U);
    EXPECT_EQ(editor->undoStack().back().clips->front().volume, 0.2) << "it began before the first of the two";
    // What somebody else has done meanwhile stays a step of its own.
    press(0.5);
    row.end();
    editor->update(clip().id, [](Clip& changed) { changed.zoom = 2; });
    tell();
    row.begin();
    row.reset();
    EXPECT_EQ(clip().volume, 1);
    EXPECT_EQ(steps(), 5U);
}

TEST_F(InspectorViewTests, ResetFrameFillsTheFrameInOneStep) {
    view->zoom()->set(2);
    view->horizontal()->set(0.5);
    view->vertical()->set(-0.5);
    pause(500);
    view->resetFrame();
    EXPECT_EQ(clip().zoom, 1);
    EXPECT_EQ(clip().horizontal, 0);
    EXPECT_EQ(clip().vertical, 0);
    EXPECT_EQ(view->zoom()->value(), 1);
    const std::size_t before = steps();
    view->resetFrame();
    EXPECT_EQ(steps(), before) << "what is so already is no step";
}

TEST_F(InspectorViewTests, MuteTakesAllSoundAndUnmuteBringsAllBack) {
    view->volume()->set(0.4);
    pause(500);
    view->toggleMute();
    EXPECT_EQ(clip().volume, 0);
    EXPECT_TRUE(view->muted());
    EXPECT_EQ(view->muteLabel(), "Unmute");
    EXPECT_EQ(view->volume()->text(), "0%");
    view->toggleMute();
    EXPECT_EQ(clip().volume, 1);
    EXPECT_EQ(view->muteLabel(), "Mute");
    EXPECT_EQ(steps(), 3U);
}

TEST_F(InspectorViewTests, AnEditByAnotherRoadIsShown) {
    QSignalSpy changed(view->volume(), &InspectorRow::changed);
    editor->update(uuid(1), [](Clip& clip) { clip.volume = 0.25; });
    tell();
    EXPECT_EQ(view->volume()->text(), "25%");
    EXPECT_EQ(changed.size(), 1);
    // What plays changes no row.
    editor->seekPreview(1);
    tell();
    EXPECT_EQ(changed.size(), 1);
}

}  // namespace
}  // namespace kelvane::testing
