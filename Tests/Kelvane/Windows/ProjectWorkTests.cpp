#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "Session/AIAssistantSession.h"
#include "Session/CLIEditing.h"
#include "Support/App/ProjectWorkFixture.h"
#include "Support/AtomicFile.h"

namespace kelvane::testing {
namespace {

using EditorPtr = std::shared_ptr<Editor>;

class ProjectWorkTests : public ProjectWorkFixture {
protected:
    int errors = 0;
    QMetaObject::Connection counting =
        QObject::connect(windows.get(), &ProjectWindows::errorChanged, [this] { errors += windows->error() ? 1 : 0; });
};

TEST_F(ProjectWorkTests, ProjectsOpenInTheOrderInWhichTheyWereAskedFor) {
    const auto slow = projectToCopyFor("Slow");
    const auto quick = project("Quick");
    const auto file = outside("File");
    std::optional<EditorPtr> one;
    std::optional<EditorPtr> two;
    const auto first = keep(windows->open(slow, nullptr, true), &one);
    const auto second = windows->openProject(file, nullptr, true);
    const auto third = keep(windows->open(quick, nullptr, true), &two);
    runUntil(context, [&] { return one && two; });
    ASSERT_EQ(asked.size(), 3U);
    EXPECT_EQ(windows->workspace(asked[0])->editor()->title(), "Slow");
    EXPECT_EQ(windows->workspace(asked[1])->editor()->title(), "File");
    EXPECT_EQ(windows->workspace(asked[2])->editor()->title(), "Quick");
}

TEST_F(ProjectWorkTests, WhoAsksForAProjectThatIsOnItsWayJoinsTheFirst) {
    const auto row = projectToCopyFor("A");
    const auto workspace = show(first);
    std::optional<EditorPtr> one;
    std::optional<EditorPtr> two;
    const auto opening = keep(windows->open(row, workspace, false), &one);
    const auto again = keep(windows->open(row, nullptr, true), &two);
    runUntil(context, [&] { return one && two; });
    EXPECT_EQ(*one, workspace->editor());
    EXPECT_EQ(*two, workspace->editor());
    EXPECT_TRUE(asked.empty());
    EXPECT_EQ(first.brought, 1);

    const auto broken = project("Broken");
    folder.write("Projects/" + broken.id.upper() + "/Project.kelvane", "no JSON");
    one.reset();
    two.reset();
    const auto failing = keep(windows->open(broken, workspace, false), &one);
    const auto failingAgain = keep(windows->open(broken, workspace, false), &two);
    runUntil(context, [&] { return one && two; });
    EXPECT_EQ(*one, nullptr);
    EXPECT_EQ(*two, nullptr);
    EXPECT_EQ(errors, 1);
}

TEST_F(ProjectWorkTests, AnOpeningThatIsStoppedLeavesNothingBehind) {
    const auto row = projectToCopyFor("A");
    const auto file = outside("B");
    const auto before = onDisk();
    const auto document = readFile(windows->library().projectURL(row.id).path());
    std::optional<EditorPtr> one;
    std::optional<EditorPtr> two;
    const auto opening = keep(windows->open(row, show(first), false), &one);
    const auto joining = keep(windows->open(row, nullptr, false), &two);
    context.runPosted();
    ASSERT_EQ(windows->work().size(), 1U);
    EXPECT_EQ(windows->work()[0]->kind, ProjectWork::Kind::opening);
    EXPECT_EQ(windows->work()[0]->name, "A");
    EXPECT_FALSE(confirmQuit());
    EXPECT_EQ(told, std::vector<std::string>{"Not quitting: “A” is being opened."});
    windows->cancelWork();
    context.settle();
    EXPECT_EQ(one, EditorPtr());
    EXPECT_EQ(two, EditorPtr());
    EXPECT_EQ(readFile(windows->library().projectURL(row.id).path()), document);
    EXPECT_TRUE(windows->editors().empty());

    const auto importing = windows->openProject(file, nullptr, true);
    runUntil(context, [this] { return !windows->work().empty(); });
    EXPECT_EQ(windows->work()[0]->kind, ProjectWork::Kind::importing);
    EXPECT_FALSE(confirmQuit());
    windows->cancelWork();
    context.settle();
    EXPECT_EQ(onDisk(), before);
    EXPECT_EQ(windows->library().projects().size(), 1U);
    EXPECT_TRUE(windows->work().empty());
    EXPECT_EQ(windows->error(), std::nullopt) << "who stopped it knows";
    EXPECT_TRUE(confirmQuit());
}

TEST_F(ProjectWorkTests, TheProgressOfCopiesIsShown) {
    const auto row = projectToCopyFor("A");
    std::vector<TransferProgress> shown;
    QObject::connect(windows.get(), &ProjectWindows::workChanged, [&] {
        if (!windows->work().empty()) shown.push_back(windows->work().front()->progress);
    });
    ASSERT_TRUE(open(row, show(first), false));
    ASSERT_FALSE(shown.empty());
    const std::int64_t size = std::string("media of A").size();
    EXPECT_EQ(shown.front(), TransferProgress());
    EXPECT_EQ(shown.back(), (TransferProgress{.bytes = size, .totalBytes = size, .items = 1, .totalItems = 1}));
}

TEST_F(ProjectWorkTests, AProjectThatIsCopiedIsBusyAndStillAnswers) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = open(row, workspace, false);
    context.settle();
    const auto before = onDisk();
    const auto copying = windows->duplicate(row.id);
    context.runPosted();
    ASSERT_EQ(windows->work().size(), 1U);
    EXPECT_EQ(windows->work()[0]->kind, ProjectWork::Kind::duplicating);
    EXPECT_TRUE(editor->busy());
    EXPECT_TRUE(editor->isCopying());
    EXPECT_FALSE(editor->isImporting());
    edit(*editor);
    EXPECT_FALSE(editor->isDirty());
    EXPECT_TRUE(editor->ai().isConnected());
    const auto revision = CLIEditing::revision(editor->clips(), editor->assets());
    const auto refused = editor->ai().checkWrite(revision, editor->ai().generation());
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().message,
              "Kelvane is busy. Finish importing, exporting or the current timeline interaction.");
    EXPECT_TRUE(editor->ai().projectState(true));
    duplicate(row.id);
    EXPECT_EQ(windows->error(), "Wait for this project’s import or export to finish before duplicating it.");
    remove(row.id, false);
    EXPECT_EQ(windows->error(), "Wait for this project’s import or export to finish before deleting it.");
    EXPECT_FALSE(confirmClose(workspace));
    EXPECT_FALSE(confirmQuit());
    windows->setError(std::nullopt);
    windows->cancelWork();
    context.settle();
    EXPECT_EQ(onDisk(), before);
    EXPECT_EQ(windows->error(), std::nullopt);
    EXPECT_FALSE(editor->busy());
    EXPECT_TRUE(windows->work().empty());
    duplicate(row.id);
    EXPECT_EQ(windows->library().projects().size(), 2U);
}

TEST_F(ProjectWorkTests, ADeletionWaitsForTheWriteUnderWayAndKeepsOpeningsOut) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = open(row, workspace, false);
    context.settle();
    edit(*editor);
    // Its preview is built before the save begins.
    advance(std::chrono::milliseconds(599));
    context.advance(std::chrono::milliseconds(1));
    panels.confirmations = {true};
    windows->remove(row.id);
    context.runPosted();
    ASSERT_EQ(windows->work().size(), 1U);
    EXPECT_EQ(windows->work()[0]->kind, ProjectWork::Kind::deleting);
    EXPECT_EQ(context.waitingInBackground(), 1U) << "the write alone";
    EXPECT_TRUE(editor->busy());
    windows->unregister(workspace);
    EXPECT_EQ(open(row, nullptr, true), nullptr);
    EXPECT_EQ(windows->error(), "This project is no longer in your Kelvane library.");
    windows->setError(std::nullopt);
    context.settle();
    EXPECT_FALSE(folder.exists("Projects/" + row.id.upper()));
    EXPECT_TRUE(windows->editors().empty());
    advance(std::chrono::minutes(1));
    EXPECT_EQ(windows->error(), std::nullopt);
    EXPECT_EQ(told, std::vector<std::string>());
    EXPECT_FALSE(folder.exists("Projects/" + row.id.upper()));
}

TEST_F(ProjectWorkTests, ADeletionThatIsStoppedInTimeKeepsTheProject) {
    const auto row = projectWithClip("A");
    const auto before = onDisk();
    panels.confirmations = {true};
    windows->remove(row.id);
    context.runPosted();
    windows->cancelWork();
    context.settle();
    EXPECT_EQ(onDisk(), before);
    EXPECT_TRUE(windows->library().find(row.id));
    EXPECT_EQ(windows->error(), std::nullopt);
}

TEST_F(ProjectWorkTests, ASaveAsThatIsStoppedLeavesNothingBehind) {
    const auto row = projectWithClip("A");
    const auto editor = open(row, show(first), false);
    context.settle();
    panels.destinations = {folder.url("Copies/B.kelvane")};
    std::filesystem::create_directories(folder.path("Copies"));
    const auto saving = editor->saveProject(true);
    // The place is asked about in the background first, and half of it is copied.
    ASSERT_TRUE(context.stepBackground());
    context.runPosted();
    ASSERT_EQ(context.waitingInBackground(), 1U);
    EXPECT_TRUE(editor->busy());
    EXPECT_FALSE(confirmQuit());
    EXPECT_EQ(told, std::vector<std::string>{"Not quitting: “A” is being copied."});
    editor->cancelCopying();
    context.settle();
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("Copies")));
    EXPECT_EQ(editor->error(), std::nullopt);
    EXPECT_FALSE(editor->busy());
}

TEST_F(ProjectWorkTests, ASaveAsIsBusyFromItsFirstQuestionOn) {
    const auto row = projectWithClip("A");
    const auto editor = open(row, show(first), false);
    context.settle();
    std::filesystem::create_directories(folder.path("Copies"));
    panels.hold = true;
    panels.destinations = {folder.url("Copies/B.kelvane"), folder.url("Copies/C.kelvane")};
    const auto saving = editor->saveProject(true);
    const auto again = editor->saveProject(true);
    panels.release();
    context.runPosted();
    EXPECT_EQ(context.waitingInBackground(Lane::shortWork), 1U) << "whether it may be saved there";
    EXPECT_EQ(editor->error(), "Wait until this project has been copied before saving it elsewhere.");
    EXPECT_FALSE(confirmQuit());
    EXPECT_EQ(told, std::vector<std::string>{"Not quitting: “A” is being copied."});
    remove(row.id, false);
    EXPECT_EQ(windows->error(), "Wait for this project’s import or export to finish before deleting it.");
    context.settle();
    EXPECT_TRUE(folder.exists("Copies/B.kelvane"));
    EXPECT_FALSE(folder.exists("Copies/C.kelvane"));
    EXPECT_TRUE(confirmQuit());
}

TEST_F(ProjectWorkTests, ASaveAsThatIsStoppedAtItsFirstQuestionWritesNothing) {
    const auto editor = open(project("Without media"), show(first), false);
    context.settle();
    std::filesystem::create_directories(folder.path("Copies"));
    panels.destinations = {folder.url("Copies/B.kelvane")};
    const auto saving = editor->saveProject(true);
    context.runPosted();
    editor->cancelCopying();
    context.settle();
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("Copies")));
    EXPECT_EQ(editor->error(), std::nullopt);
}

TEST_F(ProjectWorkTests, ADuplicateThatCantBeMadeSaysWhyAndLeavesNothing) {
    const auto row = projectWithClip("A");
    const auto saved = ProjectFile::read(windows->library().projectURL(row.id));
    ASSERT_TRUE(saved);
    std::filesystem::remove(saved->clips.front().url.path());
    const auto before = onDisk();
    duplicate(row.id);
    ASSERT_TRUE(windows->error());
    EXPECT_NE(windows->error()->find("A.mov"), std::string::npos) << *windows->error();
    EXPECT_EQ(onDisk(), before);
    EXPECT_EQ(windows->library().projects().size(), 1U);
    EXPECT_TRUE(windows->work().empty());
}

TEST_F(ProjectWorkTests, TheEndOfTheOwnerEndsItsWorkInSilence) {
    const auto row = projectToCopyFor("A");
    const auto opening = windows->open(row, show(first), false);
    const auto copying = windows->duplicate(row.id);
    const auto file = outside("B");
    const auto importing = windows->openProject(file, nullptr, true);
    context.runPosted();
    const auto before = onDisk();
    windows.reset();
    context.settle();
    EXPECT_EQ(onDisk(), before);
}

}  // namespace
}  // namespace kelvane::testing
