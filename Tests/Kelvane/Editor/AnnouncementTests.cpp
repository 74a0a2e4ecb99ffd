#include <gmock/gmock.h>

#include "Support/App/EditorFixture.h"
#include "Support/ClipBuilder.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::chrono_literals;

/// An editor of two clips and an asset, whose preview is built, and which has nothing left to tell.
class Announcements : public EditorFixture {
protected:
    Announcements() {
        movie = makeManaged("a.mov", FakeFile::video(20));
        load({videoClip(1, movie, 4), videoClip(2, movie, 6)}, std::vector<Clip>{videoClip(91, movie, 20)});
        settlePreview();
        listen();
    }
    void listen() {
        const auto note = [this](const char* name) { return [this, name] { told.emplace_back(name); }; };
        QObject::connect(editor.get(), &Editor::contentChanged, editor.get(), note("content"));
        QObject::connect(editor.get(), &Editor::selectionChanged, editor.get(), note("selection"));
        QObject::connect(editor.get(), &Editor::workChanged, editor.get(), note("work"));
        QObject::connect(editor.get(), &Editor::positionChanged, editor.get(), note("position"));
    }
    /// What is announced in the turn after `act`.
    std::vector<std::string> announced(const std::function<void()>& act) {
        context.runPosted();
        told.clear();
        act();
        EXPECT_THAT(told, IsEmpty()) << "sent at once";
        context.runPosted();
        return told;
    }
    /// What is announced while `act` lets things run.
    std::vector<std::string> announcedDuring(const std::function<void()>& act) {
        context.runPosted();
        told.clear();
        act();
        return told;
    }
    /// Another state of the timeline, with the same clips.
    void trim(double end) {
        editor->update(uuid(1), [end](Clip& clip) { clip.end = end; });
    }

    FileURL movie;
    std::vector<std::string> told;
};

TEST_F(Announcements, AChangeOfSelectionAnnouncesSelectionAlone) {
    EXPECT_THAT(announced([this] { editor->selectTimelineClip(uuid(2), {}); }), ElementsAre("selection"));
    EXPECT_THAT(announced([this] { editor->selectTimelineClip(uuid(1), {.command = true}); }),
                ElementsAre("selection"));
    EXPECT_THAT(announced([this] { editor->selectTimelineClips({uuid(1)}); }), ElementsAre("selection"));
    EXPECT_THAT(announced([this] { editor->selectAssets({uuid(91)}); }), ElementsAre("selection"));
    EXPECT_THAT(announced([this] { editor->clearSelectedAssets(); }), ElementsAre("selection"));
    EXPECT_THAT(announced([this] { editor->setShowInspector(true); }), ElementsAre("selection"));
}

TEST_F(Announcements, WhatIsSelectedAlreadyIsNotAnnouncedAgain) {
    editor->selectTimelineClip(uuid(2), {});
    EXPECT_THAT(announced([this] { editor->selectTimelineClip(uuid(2), {}); }), IsEmpty());
    EXPECT_THAT(announced([this] { editor->selectTimelineClips({uuid(2)}); }), IsEmpty());
    EXPECT_THAT(announced([this] { editor->setSelection(uuid(2)); }), IsEmpty());
}

TEST_F(Announcements, AChangeOfThePlayheadAnnouncesPositionAlone) {
    EXPECT_THAT(announced([this] { editor->seekPreview(1.5); }), ElementsAre("position"));
    EXPECT_THAT(announced([this] { editor->seekPreview(1.5); }), IsEmpty());
    EXPECT_THAT(announced([this] { editor->seekPreview(99); }), ElementsAre("position")) << "clamped to the end";
    EXPECT_THAT(announced([this] { editor->seekPreview(100); }), IsEmpty());
    editor->showAssetPreview(uuid(91));
    settlePreview();
    EXPECT_THAT(announced([this] { editor->seekPreview(2); }), ElementsAre("position")) << "of the asset";
}

TEST_F(Announcements, AnExportsProgressAnnouncesWorkAlone) {
    std::optional<Result<void>> answer;
    const auto running = keep(editor->exportMedia(folder().appending("film.mp4"), false, ExportResolution::automatic,
                                                  ExportFrameRate::automatic, nullptr),
                              &answer);
    // The encoder's own piece of work stays in the background: its progress is looked at while it runs.
    while (context.pendingTimers() == 0 && context.stepBackground()) context.runPosted();
    ASSERT_TRUE(editor->isExporting());
    for (const float progress : {0.25F, 0.5F}) {
        media.setProgress(progress);
        EXPECT_THAT(announcedDuring([this] { context.advance(200ms); }), ElementsAre("work")) << progress;
        EXPECT_EQ(editor->exportProgress(), progress);
    }
    EXPECT_THAT(announcedDuring([this] { context.advance(200ms); }), IsEmpty()) << "no progress, no news";
    EXPECT_THAT(announcedDuring([this] { context.settle(); }), ElementsAre("work"));
    EXPECT_TRUE(answer && *answer);
}

TEST_F(Announcements, ACommitAnnouncesContentAndTheBuildThatItBegins) {
    EXPECT_THAT(announced([this] { trim(3); }), ElementsAre("content", "work"));
    EXPECT_THAT(announced([this] { trim(2); }), ElementsAre("content")) << "the build is under way";
    EXPECT_THAT(announcedDuring([this] { settlePreview(); }), ElementsAre("work"));
    EXPECT_THAT(announced([this] { trim(2); }), IsEmpty()) << "a commit that changes nothing";
    editor->beginInteraction();
    trim(2.5);
    EXPECT_THAT(announced([this] { editor->endInteraction(); }), ElementsAre("content")) << "the step of history";
}

TEST_F(Announcements, ACommitAnnouncesSelectionOnlyWhereItChanged) {
    trim(3);
    EXPECT_THAT(announced([this] { editor->deleteSelection(); }), ElementsAre("content", "selection"))
        << "the first clip was selected, now it is the one behind it";
    EXPECT_THAT(announced([this] { editor->undo(); }), ElementsAre("content")) << "the second stays selected";
    editor->selectTimelineClips({uuid(1), uuid(2)});
    EXPECT_THAT(announced([this] { trim(2); }), ElementsAre("content"));
    EXPECT_THAT(announced([this] { editor->commit({videoClip(1, movie, 1)}); }), ElementsAre("content", "selection"))
        << "one of two is gone";
}

TEST_F(Announcements, AnImportAnnouncesItsWorkAndWhatItBrings) {
    const FileURL file = makeSource("b.mov", FakeFile::video(3));
    EXPECT_THAT(announced([&] { editor->importURLs({file}); }), ElementsAre("work"));
    EXPECT_THAT(announced([this] { context.drain(); }), ElementsAre("content", "work"));
    EXPECT_THAT(announced([this] { editor->setError("Something is amiss."); }), ElementsAre("work"));
}

TEST_F(Announcements, SavingAnnouncesContentAlone) {
    trim(3);
    const auto writing = editor->writeManagedProject(projectFile(), true);
    EXPECT_THAT(announced([this] { context.drain(); }), ElementsAre("content"));
    EXPECT_FALSE(editor->isDirty());
    EXPECT_THAT(announced([this] { editor->setSaveFailed(true); }), ElementsAre("content"));
    EXPECT_THAT(announced([this] { editor->setLibraryName("Other"); }), ElementsAre("content"));
}

TEST_F(Announcements, EachComesOnceATurnHoweverMuchChanges) {
    EXPECT_THAT(announced([this] {
                    for (int step = 1; step <= 50; ++step) {
                        trim(4 - step * 0.01);
                        editor->selectTimelineClip(uuid(1 + step % 2), {});
                        editor->seekPreview(step * 0.05);
                    }
                }),
                ElementsAre("content", "selection", "work", "position"));
}

TEST_F(Announcements, WhatAListenerChangesIsAnnouncedInTheNextTurn) {
    bool asked = false;
    QObject::connect(editor.get(), &Editor::selectionChanged, editor.get(), [&] {
        if (!std::exchange(asked, true)) editor->seekPreview(1);
    });
    EXPECT_THAT(announced([this] { editor->selectTimelineClip(uuid(2), {}); }), ElementsAre("selection", "position"));
}

TEST_F(Announcements, AListenerMayEndTheEditor) {
    QObject::connect(editor.get(), &Editor::contentChanged, editor.get(), [this] { editor.reset(); });
    EXPECT_THAT(announced([this] {
                    trim(3);
                    editor->selectTimelineClip(uuid(2), {});
                }),
                ElementsAre("content"));
}

}  // namespace
}  // namespace kelvane::testing
