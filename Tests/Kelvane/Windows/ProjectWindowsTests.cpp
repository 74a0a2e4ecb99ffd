#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "Session/AIAssistantSession.h"
#include "Storage/ProjectFile.h"
#include "Support/App/WindowsFixture.h"
#include "Windows/ProjectWindows.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

class ProjectWindowsTests : public WindowsFixture {};

TEST_F(ProjectWindowsTests, AProjectOpensInTheGivenWindowAndIsConnected) {
    const auto row = project("A");
    const auto workspace = show(first);
    const auto editor = open(row, workspace, false);
    ASSERT_TRUE(editor);
    EXPECT_EQ(workspace->editor(), editor);
    EXPECT_EQ(editor->id(), row.id);
    EXPECT_EQ(editor->title(), "A");
    EXPECT_TRUE(editor->ai().isConnected());
    EXPECT_EQ(first.projectFile, windows->library().projectURL(row.id));
    EXPECT_FALSE(first.unsaved);
    EXPECT_EQ(windows->error(), std::nullopt);
}

TEST_F(ProjectWindowsTests, WithoutATargetTheKeyWindowIsUsed) {
    const auto one = show(first);
    const auto two = show(second);
    second.active = true;
    const auto editor = open(project("A"), nullptr, false);
    EXPECT_EQ(one->editor(), nullptr);
    EXPECT_EQ(two->editor(), editor);
}

TEST_F(ProjectWindowsTests, WithoutAnyWindowANewOneIsAskedForAndTakesTheEditorOver) {
    const auto row = project("A");
    const auto editor = open(row, nullptr, false);
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_TRUE(editor->ai().isConnected());
    EXPECT_EQ(open(row, nullptr, true), editor) << "its window is on the way";
    EXPECT_EQ(asked.size(), 1u);
    const auto workspace = show(first, asked.front());
    EXPECT_EQ(workspace->id(), asked.front());
    EXPECT_EQ(workspace->editor(), editor);
    EXPECT_EQ(windows->workspace(asked.front()), workspace) << "a window that is asked again keeps its slot";
}

TEST_F(ProjectWindowsTests, AProjectThatAnotherWindowShowsComesForwardThere) {
    const auto row = project("A");
    const auto one = show(first);
    const auto two = show(second);
    const auto editor = open(row, one, false);
    EXPECT_EQ(open(row, two, false), editor);
    EXPECT_EQ(open(row, two, true), editor);
    EXPECT_EQ(first.brought, 2);
    EXPECT_EQ(two->editor(), nullptr);
    EXPECT_TRUE(asked.empty());
}

TEST_F(ProjectWindowsTests, ABusyWindowIsNotTakenOver) {
    const auto workspace = show(first);
    const auto busy = open(projectWithClip("A"), workspace, false);
    beginImport(*busy);
    const auto other = open(project("B"), workspace, false);
    ASSERT_TRUE(other);
    EXPECT_EQ(workspace->editor(), busy);
    EXPECT_EQ(asked.size(), 1u);
    context.settle();
}

TEST_F(ProjectWindowsTests, AReplacedProjectIsSavedSuspendedAndKeptWithItsHistory) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = open(row, workspace, false);
    edit(*editor);
    const auto other = open(project("B"), workspace, false);
    EXPECT_EQ(workspace->editor(), other);
    EXPECT_EQ(savedVolume(row), 0.5);
    EXPECT_FALSE(editor->ai().isConnected());
    EXPECT_EQ(windows->editors().size(), 2u);
    EXPECT_EQ(open(row, workspace, false), editor);
    EXPECT_EQ(editor->undoStack().size(), 1u);
    EXPECT_TRUE(editor->ai().isConnected());
}

TEST_F(ProjectWindowsTests, ASwitchStopsWhenTheOldProjectCantBeSaved) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = open(row, workspace, false);
    edit(*editor);
    breakDocument(row);
    EXPECT_EQ(open(project("B"), workspace, false), nullptr);
    EXPECT_EQ(workspace->editor(), editor);
    EXPECT_TRUE(editor->ai().isConnected());
    EXPECT_TRUE(editor->saveFailed());
    ASSERT_TRUE(editor->error());
    EXPECT_TRUE(editor->error()->starts_with("Your changes could not be saved: ")) << *editor->error();
    mendDocument(row);
    EXPECT_TRUE(flush(editor));
    EXPECT_FALSE(editor->saveFailed());
    EXPECT_EQ(savedVolume(row), 0.5);
}

TEST_F(ProjectWindowsTests, AProjectThatDoesNotLoadSetsTheAlertAndOpensNothing) {
    const auto row = project("A");
    folder.write("Projects/" + row.id.upper() + "/Project.kelvane", "no JSON");
    const auto workspace = show(first);
    EXPECT_EQ(open(row, workspace, false), nullptr);
    EXPECT_TRUE(windows->error());
    EXPECT_EQ(workspace->editor(), nullptr);
    EXPECT_TRUE(windows->editors().empty());
}

TEST_F(ProjectWindowsTests, AnOutsideFileIsImportedOnce) {
    const auto source = folder.write("Outside/clip.mov");
    media.addFileNamed("clip.mov", FakeFile::video(4));
    Project contents;
    contents.clips = {videoClip(1, source, 4)};
    const auto file = folder.url("Outside/Trailer.kelvane");
    ASSERT_TRUE(ProjectFile::write(contents, file));
    std::filesystem::create_symlink(file.path(), folder.path("link.kelvane"));
    const auto workspace = show(first);
    openProject(file, workspace, false);
    openProject(file, workspace, false);
    openProject(folder.url("link.kelvane"), workspace, false);
    ASSERT_EQ(windows->library().projects().size(), 1u);
    const auto row = windows->library().projects().front();
    EXPECT_EQ(row.name, "Trailer");
    EXPECT_EQ(row.importedFrom, file);
    ASSERT_TRUE(workspace->editor());
    const auto& clip = workspace->editor()->clips().front();
    EXPECT_TRUE(clip.url.path().starts_with(windows->library().mediaDirectory(row.id).path() + "/"));
    EXPECT_EQ(clip.originalURL, source);
}

TEST_F(ProjectWindowsTests, ALibraryDocumentOpensAsItself) {
    const auto row = project("A");
    const auto workspace = show(first);
    openProject(windows->library().projectURL(row.id), workspace, false);
    EXPECT_EQ(windows->library().projects().size(), 1u);
    ASSERT_TRUE(workspace->editor());
    EXPECT_EQ(workspace->editor()->id(), row.id);
}

TEST_F(ProjectWindowsTests, AnOutsideFileThatCantBeReadSetsTheAlert) {
    openProject(folder.url("missing.kelvane"), show(first), false);
    ASSERT_TRUE(windows->error());
    EXPECT_NE(windows->error()->find("missing.kelvane"), std::string::npos) << *windows->error();
    EXPECT_TRUE(windows->library().projects().empty());
}

TEST_F(ProjectWindowsTests, ChosenProjectsOpenTheFirstHereAndTheOthersInNewWindows) {
    const auto workspace = show(first);
    for (const char* name : {"One", "Two", "Three"})
        ASSERT_TRUE(ProjectFile::write(Project{}, folder.url(std::string(name) + ".kelvane")));
    panels.files.push_back({folder.url("One.kelvane"), folder.url("Two.kelvane"), folder.url("Three.kelvane")});
    windows->chooseProject(workspace);
    context.settle();
    ASSERT_TRUE(workspace->editor());
    EXPECT_EQ(workspace->editor()->title(), "One");
    EXPECT_EQ(asked.size(), 2u);
    EXPECT_EQ(panels.askedFiles.front().message,
              "Import editable projects and copy their media into your Kelvane library.");
    EXPECT_EQ(panels.askedFiles.front().content, PanelContent::project);
}

TEST_F(ProjectWindowsTests, ANewProjectAsksForItsName) {
    const auto workspace = show(first);
    panels.names = {std::nullopt, "  Holiday ", "   "};
    windows->newProject(workspace);
    context.settle();
    EXPECT_EQ(workspace->editor(), nullptr);
    windows->newProject(workspace);
    context.settle();
    ASSERT_TRUE(workspace->editor());
    EXPECT_EQ(workspace->editor()->title(), "Holiday");
    EXPECT_EQ(panels.askedNames.front(), (FakePanels::NameQuestion{"New Project", "Untitled", "Create"}));
    windows->newProject(workspace);
    context.settle();
    EXPECT_EQ(windows->error(), "Enter a project name.");
    EXPECT_EQ(windows->library().projects().size(), 1u);
    const auto saved = ProjectFile::read(windows->library().projectURL(windows->library().projects()[0].id));
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->assets, std::vector<Clip>());
}

TEST_F(ProjectWindowsTests, AChangeSavesItselfSixTenthsOfASecondAfterTheLastOne) {
    const auto row = projectWithClip("A");
    const auto editor = open(row, show(first), false);
    context.settle();
    edit(*editor);
    advance(500ms);
    EXPECT_EQ(savedVolume(row), 1);
    edit(*editor);
    advance(599ms);
    EXPECT_EQ(savedVolume(row), 1);
    EXPECT_TRUE(editor->isDirty());
    advance(1ms);
    EXPECT_EQ(savedVolume(row), 0.25);
    EXPECT_FALSE(editor->isDirty());
    context.settle();
}

TEST_F(ProjectWindowsTests, AProjectThatIsNotDirtyIsNeverWritten) {
    const auto row = projectWithClip("A");
    const auto editor = open(row, show(first), false);
    breakDocument(row);
    EXPECT_TRUE(flush(editor));
    EXPECT_FALSE(editor->saveFailed());
    mendDocument(row);
}

TEST_F(ProjectWindowsTests, ASaveRecordsLengthDateAndThePictureOfTheFirstClip) {
    const auto row = projectWithClip("A");
    const auto editor = open(row, show(first), false);
    context.settle();
    ASSERT_EQ(editor->thumbnails().size(), 1u);
    auto clips = editor->clips();
    clips.front().end = 4;
    editor->commit(clips);
    EXPECT_TRUE(flush(editor));
    const auto saved = windows->library().find(row.id);
    EXPECT_EQ(saved->duration, 4);
    EXPECT_GT(saved->modified, row.modified);
    EXPECT_EQ(folder.read("Projects/" + row.id.upper() + "/Thumbnail.jpg").substr(0, 3), "\xFF\xD8\xFF");
    editor->commit({});
    EXPECT_TRUE(flush(editor));
    EXPECT_TRUE(folder.exists("Projects/" + row.id.upper() + "/Thumbnail.jpg"))
        << "the pool's first asset still has one";
    editor->deleteAssets({editor->assets().front().id});
    EXPECT_TRUE(flush(editor));
    EXPECT_FALSE(folder.exists("Projects/" + row.id.upper() + "/Thumbnail.jpg"));
}

TEST_F(ProjectWindowsTests, HomeKeepsTheEditorAndEndsItsSession) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = open(row, workspace, false);
    edit(*editor);
    showHome(workspace);
    EXPECT_EQ(workspace->editor(), nullptr);
    EXPECT_FALSE(editor->ai().isConnected());
    EXPECT_FALSE(editor->isShown()) << "it lets go of its player and its pictures";
    EXPECT_EQ(first.projectFile, std::nullopt);
    EXPECT_EQ(savedVolume(row), 0.5);
    EXPECT_EQ(open(row, workspace, false), editor);
    EXPECT_EQ(editor->undoStack().size(), 1u);
    EXPECT_TRUE(editor->isShown());
}

TEST_F(ProjectWindowsTests, HomeAndCloseAreRefusedWhileBusyOrUnsaved) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = open(row, workspace, false);
    context.settle();
    EXPECT_TRUE(confirmClose(workspace));
    beginImport(*editor);
    showHome(workspace);
    EXPECT_EQ(workspace->editor(), editor);
    EXPECT_FALSE(confirmClose(workspace));
    EXPECT_FALSE(confirmQuit());
    EXPECT_EQ(windows->error(), std::nullopt) << "refused without a word";
    context.settle();
    breakDocument(row);
    edit(*editor);
    showHome(workspace);
    EXPECT_EQ(workspace->editor(), editor);
    EXPECT_FALSE(confirmClose(workspace));
    EXPECT_FALSE(confirmQuit());
    EXPECT_TRUE(editor->error()->starts_with("Your changes could not be saved: "));
    mendDocument(row);
    EXPECT_TRUE(confirmQuit());
    EXPECT_EQ(savedVolume(row), 0.5);
}

TEST_F(ProjectWindowsTests, AClosedWindowEndsTheSessionAndKeepsTheEditor) {
    const auto row = project("A");
    auto workspace = show(first);
    const auto editor = open(row, workspace, false);
    windows->unregister(workspace);
    EXPECT_FALSE(editor->ai().isConnected());
    EXPECT_TRUE(windows->workspaces().empty());
    EXPECT_EQ(windows->editors().size(), 1u);
    const auto again = show(second);
    EXPECT_EQ(open(row, again, false), editor);
    EXPECT_TRUE(editor->ai().isConnected());
}

TEST_F(ProjectWindowsTests, QuittingSavesProjectsThatNoWindowShows) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = open(row, workspace, false);
    showHome(workspace);
    edit(*editor);
    EXPECT_TRUE(confirmQuit());
    EXPECT_EQ(savedVolume(row), 0.5);
}

TEST_F(ProjectWindowsTests, ARenameReachesTheOpenEditorTrimmed) {
    const auto row = project("A");
    const auto editor = open(row, show(first), false);
    ASSERT_TRUE(editor->onRenameProject);
    EXPECT_TRUE(finish(context, editor->onRenameProject("  New name ", nullptr)));
    EXPECT_EQ(editor->title(), "New name");
    const auto blank = rename(row.id, " ");
    ASSERT_FALSE(blank);
    EXPECT_EQ(blank.error().message, "Enter a project name.");
    EXPECT_EQ(windows->library().find(row.id)->name, "New name");
}

TEST_F(ProjectWindowsTests, ADuplicateHoldsWhatWasNotSavedYet) {
    const auto row = projectWithClip("A");
    const auto editor = open(row, show(first), false);
    edit(*editor);
    duplicate(row.id);
    ASSERT_EQ(windows->library().projects().size(), 2u);
    for (const auto& copy : windows->library().projects()) EXPECT_EQ(savedVolume(copy), 0.5) << copy.name;
    beginImport(*editor);
    duplicate(row.id);
    EXPECT_EQ(windows->error(), "Wait for this project’s import or export to finish before duplicating it.");
    EXPECT_EQ(windows->library().projects().size(), 2u);
    context.settle();
}

TEST_F(ProjectWindowsTests, ALinkOpensTheProjectAtItsStart) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    first.active = true;
    int activated = 0;
    windows->activateApplication = [&activated] { ++activated; };
    openPreview(row.id);
    const auto editor = workspace->editor();
    ASSERT_TRUE(editor);
    EXPECT_EQ(editor->playhead(), 0);
    EXPECT_EQ(activated, 1);
    editor->seekPreview(3);
    editor->selectAssets({editor->assets().front().id});
    openPreview(row.id);
    EXPECT_EQ(editor->playhead(), 0);
    EXPECT_TRUE(editor->selectedAssetIDs().empty());
}

TEST_F(ProjectWindowsTests, ALinkIsRefusedForAnUnknownBusyOrHeldProject) {
    openPreview(uuid(77));
    EXPECT_EQ(windows->error(), "This project is no longer in your Kelvane library.");
    const auto row = projectWithClip("A");
    const auto editor = open(row, show(first), false);
    context.settle();
    editor->beginInteraction();
    openPreview(row.id);
    EXPECT_EQ(windows->error(), "Wait for this project’s current operation to finish before previewing it.");
    editor->endInteraction();
    windows->setError(std::nullopt);
    beginImport(*editor);
    openPreview(row.id);
    EXPECT_EQ(windows->error(), "Wait for this project’s current operation to finish before previewing it.");
    context.settle();
}

TEST_F(ProjectWindowsTests, AnEditorMayNotSaveOverAnotherOpenProject) {
    const auto a = project("A");
    const auto b = project("B");
    const auto editor = open(a, show(first), false);
    ASSERT_TRUE(editor->canSaveToURL);
    EXPECT_TRUE(canSave(*editor, folder.url("elsewhere.kelvane")));
    EXPECT_TRUE(canSave(*editor, windows->library().projectURL(a.id)));
    EXPECT_FALSE(canSave(*editor, windows->library().projectURL(b.id)));
    const auto canSave = editor->canSaveToURL;
    const auto rename = editor->onRenameProject;
    windows.reset();
    EXPECT_TRUE(finish(context, canSave(folder.url("elsewhere.kelvane"))));
    const auto renamed = finish(context, rename("x", nullptr));
    ASSERT_FALSE(renamed);
    EXPECT_EQ(renamed.error().message, "The project library is closed.");
}

TEST_F(ProjectWindowsTests, AProjectThatAnotherInstanceSavedMeanwhileIsReadAgain) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = open(row, workspace, false);
    edit(*editor);
    showHome(workspace);
    auto elsewhere = ProjectFile::read(windows->library().projectURL(row.id));
    ASSERT_TRUE(elsewhere);
    elsewhere->clips.front().zoom = 3;
    ASSERT_TRUE(ProjectFile::write(*elsewhere, windows->library().projectURL(row.id)));
    ASSERT_EQ(open(row, workspace, false), editor);
    EXPECT_EQ(editor->clips().front().zoom, 3);
    EXPECT_FALSE(editor->isDirty());
    EXPECT_TRUE(editor->undoStack().empty()) << "history of another timeline";
}

TEST_F(ProjectWindowsTests, AnIdOfTheListItselfSurvivesTheReload) {
    projectWithClip("A");
    const auto row = projectWithClip("B");
    const auto editor = open(row, show(first), false);
    ASSERT_EQ(windows->library().projects().front().id, row.id);
    EXPECT_TRUE(rename(windows->library().projects().front().id, "New"));
    EXPECT_EQ(editor->title(), "New");
    edit(*editor);
    duplicate(windows->library().projects().front().id);
    EXPECT_EQ(windows->library().projects().front().name, "New Copy");
    EXPECT_EQ(windows->error(), std::nullopt);
}

TEST_F(ProjectWindowsTests, AnAnswerForAClosedWindowOpensTheProjectInAnother) {
    const auto closed = show(first);
    const auto open = show(second);
    second.active = true;
    panels.hold = true;
    panels.names = {"Late"};
    windows->newProject(closed);
    context.settle();
    windows->unregister(closed);
    panels.release();
    context.settle();
    EXPECT_EQ(closed->editor(), nullptr);
    ASSERT_TRUE(open->editor());
    EXPECT_EQ(open->editor()->title(), "Late");
}

TEST_F(ProjectWindowsTests, AnExportKeepsQuittingOutWithoutAWord) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    first.active = true;
    const auto editor = open(row, workspace, false);
    context.settle();
    panels.destinations = {folder.url("film.mp4")};
    editor->confirmExport(ExportResolution::automatic, ExportFrameRate::automatic, ExportContainer::mp4);
    ASSERT_TRUE(editor->busy());
    EXPECT_FALSE(confirmQuit());
    EXPECT_EQ(told, std::vector<std::string>{"Not quitting: “A” is being exported."});
    EXPECT_FALSE(confirmClose(workspace));
    EXPECT_EQ(windows->error(), std::nullopt);
    EXPECT_EQ(editor->error(), std::nullopt);
    const auto other = open(project("B"), nullptr, false);
    EXPECT_EQ(workspace->editor(), editor);
    EXPECT_EQ(asked.size(), 1u) << "the key window is busy";
    EXPECT_TRUE(other->ai().isConnected());
    context.settle();
    EXPECT_TRUE(confirmQuit());
}

TEST_F(ProjectWindowsTests, NothingIsDoneOnAnotherThread) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto row = project("A");
    const auto other = [](std::function<void()> act) { std::thread(std::move(act)).join(); };
    const auto* const words = "internal fault: .* left the main thread";
    EXPECT_DEATH(other([&] { windows->open(row, nullptr, false); }), words);
    EXPECT_DEATH(other([&] { windows->rename(row.id, "B"); }), words);
}

TEST_F(ProjectWindowsTests, AProjectThatAnotherInstanceServesIsNotShown) {
    const auto row = project("A");
    const auto elsewhere = CLIProjectDiscovery::start(row.id, "/tmp/nowhere/control.sock");
    ASSERT_TRUE(elsewhere) << elsewhere.error().message;
    const auto workspace = show(first);
    EXPECT_EQ(open(row, workspace, false), nullptr);
    EXPECT_EQ(windows->error(), "This project is already connected in another Kelvane instance.");
    EXPECT_EQ(workspace->editor(), nullptr);
}

}  // namespace
}  // namespace kelvane::testing
