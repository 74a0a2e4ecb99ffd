#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Editor/Editor.h"
#include "FakeDesktopServices.h"
#include "FakeMainContext.h"
#include "FakePanels.h"
#include "FakePlayer.h"
#include "FakeRecording.h"
#include "FinishTask.h"
#include "Support/FakeMediaPlatform.h"
#include "Support/TempFolder.h"

namespace kelvane::testing {

/// Runs an editor over fakes, with real files in a folder that goes when the test ends. Layout of the folder:
/// "Sources" for media outside the project, "Library/Media" as the project's media folder.
class EditorFixture : public ::testing::Test {
protected:
    EditorFixture();
    /// Ends the editor, and lets what it left behind come to its end.
    ~EditorFixture() override;

    /// Replaces `editor` by a new one: of a library project, whose media folder is `mediaFolder`, or of a free-standing
    /// one. Its `onProjectChange` counts in `projectChanges`.
    void makeEditor(bool inLibrary = true);

    [[nodiscard]] FileURL folder() const { return folder_.url(); }
    [[nodiscard]] FileURL sources() const { return folder().appending("Sources"); }
    [[nodiscard]] FileURL library() const { return folder().appending("Library"); }
    [[nodiscard]] FileURL mediaFolder() const { return library().appending("Media"); }
    [[nodiscard]] FileURL projectFile() const { return library().appending("Project.kelvane"); }

    /// Writes a file into "Sources" and describes it to the fake engine, under its name, so that copies are known, too.
    FileURL makeSource(const std::string& name, FakeFile file);
    /// The same inside the media folder, as if it had been imported before.
    FileURL makeManaged(const std::string& name, FakeFile file);
    /// Every file and folder below the media folder, relative and sorted; ids of its folders are kept.
    [[nodiscard]] std::vector<std::string> mediaFiles() const;
    /// Names of the entries of a folder, sorted.
    [[nodiscard]] static std::vector<std::string> entries(const FileURL& folder);

    /// A clip of a file: the whole of it, with a new id.
    static Clip video(const FileURL& file, double seconds);
    static Clip audio(const FileURL& file, double seconds, double timelineStart = 0);

    /// Fills the editor from a project file, written at `projectFile`. The files of the clips must exist.
    void load(std::vector<Clip> clips, std::optional<std::vector<Clip>> assets = std::nullopt);
    /// Runs everything that is ready, and the preview's pause.
    void settlePreview();
    // Loads and saves to their end, with the answer of a panel that is open.
    Result<void> load(const FileURL& file) { return answerOf(editor->loadProject(file)); }
    void save(bool saveAs);
    Result<void> writeManaged(const FileURL& file, bool markSaved) {
        return answerOf(editor->writeManagedProject(file, markSaved));
    }
    /// Runs `task` to its end; other work stays under way where it is.
    template <class Answer>
    Answer answerOf(QCoro::Task<Answer> task) {
        return testing::finish(context, std::move(task));
    }
    /// Makes the editor busy with an import that goes on until `settle`.
    void beBusy();
    /// Runs what is ready until `task` is done, and gives its answer. A task that waits for a timer ends the program.
    template <class Answer>
    Answer finish(QCoro::Task<Answer> task) {
        std::optional<Answer> answer;
        const auto keeper = keep(std::move(task), &answer);
        context.settle();
        check(answer.has_value(), "the task is done when nothing is left to run");
        return std::move(*answer);
    }

    FakeMainContext context;
    FakeMediaPlatform media;
    FakePanels panels;
    FakeDesktopServices desktop;
    std::shared_ptr<Editor> editor;
    /// The player of `editor`.
    FakePlayer* player = nullptr;
    FakePlayer* hoverPlayer = nullptr;
    FakeRecording recording;
    int projectChanges = 0;
    /// The record that a new editor gets.
    UnfinishedWork* unfinished = nullptr;

private:
    TempFolder folder_;
};

/// The ids of clips, in order.
std::vector<UUID> ids(const std::vector<Clip>& clips);

}  // namespace kelvane::testing
