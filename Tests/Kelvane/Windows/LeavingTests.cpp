#include <gtest/gtest.h>

#include <chrono>

#include "Session/AIAssistantSession.h"
#include "Session/CLIEditing.h"
#include "Support/App/WindowsFixture.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

/// Closing, quitting and going home while projects change.
class LeavingTests : public WindowsFixture {
protected:
    /// Runs `task` to its end while the projects change behind each step, as by assistants that edit faster than a
    /// save.
    template <class Answer>
    Answer finishUnderEdits(QCoro::Task<Answer> task, const std::vector<std::shared_ptr<Editor>>& edited) {
        std::optional<Answer> answer;
        const auto keeper = keep(std::move(task), &answer);
        for (int step = 0; step < 100; ++step) {
            context.runPosted();
            if (answer) return std::move(*answer);
            for (const auto& editor : edited) turnUp(*editor);
            if (!context.stepBackground()) break;
        }
        ADD_FAILURE() << "the task doesn't come to its end";
        return Answer();
    }
    /// A change that makes the project dirty, however often.
    static void turnUp(Editor& editor) {
        auto clips = editor.clips();
        clips.front().end = clips.front().end == 10 ? 5 : clips.front().end + 0.01;
        editor.commit(clips);
    }
    [[nodiscard]] double savedEnd(const LibraryProject& row) const {
        const auto saved = ProjectFile::read(windows->library().projectURL(row.id));
        return saved ? saved->clips.front().end : -1;
    }
    std::shared_ptr<Editor> openToEdit(const LibraryProject& row, const std::shared_ptr<Workspace>& workspace) {
        auto editor = open(row, workspace, false);
        context.settle();
        turnUp(*editor);
        return editor;
    }
};

TEST_F(LeavingTests, NoStreamOfEditsKeepsACloseBack) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = openToEdit(row, workspace);
    EXPECT_TRUE(finishUnderEdits(windows->confirmClose(workspace), {editor}));
    EXPECT_TRUE(windows->mayClose(*workspace)) << "the answer holds in its turn";
    EXPECT_EQ(savedEnd(row), editor->clips().front().end);
    turnUp(*editor);
    EXPECT_TRUE(editor->isDirty()) << "it is no longer held";
}

TEST_F(LeavingTests, NoStreamOfEditsToManyProjectsKeepsAQuitBack) {
    std::vector<LibraryProject> rows;
    std::vector<std::shared_ptr<Editor>> editors;
    for (const char* name : {"A", "B", "C"}) {
        rows.push_back(projectWithClip(name));
        editors.push_back(openToEdit(rows.back(), show(first)));
    }
    EXPECT_TRUE(finishUnderEdits(windows->confirmQuit(), editors));
    for (std::size_t index = 0; index < rows.size(); ++index)
        EXPECT_EQ(savedEnd(rows[index]), editors[index]->clips().front().end) << rows[index].name;
    EXPECT_EQ(told, std::vector<std::string>());
}

TEST_F(LeavingTests, NoStreamOfEditsKeepsTheHomeBack) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = openToEdit(row, workspace);
    const auto going = windows->showHome(workspace);
    for (int step = 0; step < 100 && workspace->editor(); ++step) {
        turnUp(*editor);
        context.stepBackground();
        context.runPosted();
    }
    EXPECT_EQ(workspace->editor(), nullptr);
    EXPECT_EQ(savedEnd(row), editor->clips().front().end);
    context.settle();
}

TEST_F(LeavingTests, ARefusedQuitLetsEveryProjectChangeAgain) {
    const auto a = projectWithClip("A");
    const auto b = projectWithClip("B");
    const auto kept = openToEdit(a, show(first));
    const auto editor = openToEdit(b, show(second));
    breakDocument(b);
    EXPECT_FALSE(finishUnderEdits(windows->confirmQuit(), {kept, editor}));
    for (const auto& open : {kept, editor}) {
        EXPECT_FALSE(open->busy());
        EXPECT_TRUE(open->ai().isConnected());
        const auto before = open->clips();
        turnUp(*open);
        EXPECT_NE(open->clips(), before);
    }
    mendDocument(b);
}

TEST_F(LeavingTests, NothingChangesAnyMoreOnceAQuitIsGranted) {
    const auto row = projectWithClip("A");
    const auto editor = openToEdit(row, show(first));
    const auto unshown = open(projectWithClip("B"), nullptr, true);
    EXPECT_TRUE(confirmQuit());
    const auto epoch = editor->ai().generation();
    const auto revision = CLIEditing::revision(editor->clips(), editor->assets());
    ASSERT_TRUE(editor->ai().checkWrite(revision, epoch));
    windows->retire();
    const CLIRequest undo{.command = "undo", .options = {{"revision", revision}}, .projectID = {}};
    const auto undone = finish(context, editor->ai().perform(undo, epoch));
    ASSERT_FALSE(undone);
    EXPECT_EQ(undone.error().message, "The Kelvane session is closed. Start a new AI session.");
    const auto edited = editor->ai().checkWrite(revision, epoch);
    ASSERT_FALSE(edited) << "one whose build just ended";
    EXPECT_EQ(edited.error().message, "The Kelvane session is closed.");
    editor->undo();
    turnUp(*editor);
    EXPECT_FALSE(editor->isDirty());
    EXPECT_FALSE(editor->ai().isConnected());
    EXPECT_FALSE(unshown->ai().isConnected());
}

TEST_F(LeavingTests, AGestureEndsWhenItsProjectLeavesTheWindow) {
    const auto workspace = show(first);
    const auto editor = open(projectWithClip("A"), workspace, false);
    context.settle();
    editor->beginInteraction();
    turnUp(*editor);
    ASSERT_TRUE(open(project("B"), workspace, false));
    EXPECT_EQ(editor->interactionSnapshot(), std::nullopt);
    EXPECT_EQ(editor->undoStack().size(), 1U);
    editor->undo();
    EXPECT_EQ(editor->clips().front().end, 10);
}

TEST_F(LeavingTests, ARecordingLetsNobodyGoAtAnyOfItsSteps) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = open(row, workspace, false);
    advance(std::chrono::milliseconds(180));
    recording.lateAccess.emplace();
    recording.lateStart.emplace();
    recording.endsAtOnce = false;
    const auto stays = [&](const char* step) {
        told.clear();
        EXPECT_FALSE(confirmQuit()) << step;
        EXPECT_EQ(told, std::vector<std::string>{"Not quitting: “A” is recording."}) << step;
        EXPECT_FALSE(confirmClose(workspace)) << step;
        EXPECT_FALSE(windows->mayClose(*workspace)) << step;
        showHome(workspace);
        EXPECT_EQ(workspace->editor(), editor) << step;
        remove(row.id);
        EXPECT_EQ(windows->error(), "Wait for this project’s import or export to finish before deleting it.") << step;
        windows->setError(std::nullopt);
        duplicate(row.id);
        EXPECT_EQ(windows->error(), "Wait for this project’s import or export to finish before duplicating it.")
            << step;
        windows->setError(std::nullopt);
        EXPECT_EQ(editor->error(), std::nullopt) << step;
        EXPECT_TRUE(panels.askedConfirmations.empty()) << step;
    };
    editor->toggleVoiceOverRecording();
    stays("while access is asked for");
    recording.lateAccess->give(true);
    for (int left = 3; left > 0; --left) {
        EXPECT_EQ(editor->recordingCountdown(), left);
        stays("while it is counted in");
        context.advance(std::chrono::seconds(1));
    }
    context.settle();
    stays("while the device starts");
    recording.lateStart->give(true);
    ASSERT_TRUE(editor->isRecording());
    recording.recorder->time = 2;
    context.advance(std::chrono::milliseconds(30));
    stays("amid the take");
    ASSERT_TRUE(editor->isRecording());
    media.addFileNamed(recording.recorder->url().fileName(), FakeFile::audio(2));
    editor->toggleVoiceOverRecording();
    stays("while the take is finished");
    recording.recorder->onFinish(true);
    stays("while the take is imported");
    context.settle();
    EXPECT_TRUE(confirmQuit());
    const auto saved = ProjectFile::read(windows->library().projectURL(row.id));
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->clips.size(), 2U);
}

TEST_F(LeavingTests, ACountdownThatIsCancelledLetsEveryoneGo) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = open(row, workspace, false);
    advance(std::chrono::milliseconds(180));
    editor->toggleVoiceOverRecording();
    EXPECT_FALSE(confirmQuit());
    editor->toggleVoiceOverRecording();
    EXPECT_TRUE(confirmClose(workspace));
    EXPECT_TRUE(confirmQuit());
}

TEST_F(LeavingTests, AReadingOfTheLibraryKeepsWhatChangesMeanwhile) {
    const auto a = project("A");
    const auto b = project("B");
    const auto c = projectWithClip("C");
    const auto editor = open(c, show(first), false);
    context.settle();
    folder.write("Projects/" + b.id.upper() + "/Metadata.json", "no JSON");
    bool ended = false;
    const auto reading = noteEnd(windows->reload(), &ended);
    context.runPosted();
    ASSERT_TRUE(context.stepBackground());
    // What was read waits to be taken in.
    auto renamed = *windows->library().renamedRow(a.id, "Renamed");
    windows->library().adopt(renamed);
    const auto made = *windows->library().newRow("New", 0, std::nullopt);
    windows->library().adopt(made);
    windows->library().forget(c.id);
    context.runPosted();
    EXPECT_TRUE(ended) << "at once, however much goes on changing";
    EXPECT_EQ(windows->library().projects(), (std::vector{made, renamed}));
}

}  // namespace
}  // namespace kelvane::testing
