#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "Session/AIAssistantSession.h"
#include "Support/App/WindowsFixture.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

/// A project in the first window, to be deleted.
class DeletionTests : public WindowsFixture {
protected:
    LibraryProject row = projectWithClip("A");
    std::shared_ptr<Workspace> workspace = show(first);
};

TEST_F(DeletionTests, ADeletionIsAskedForAndEndsEverything) {
    const auto editor = open(row, workspace, false);
    edit(*editor);
    remove(row.id);
    EXPECT_EQ(windows->library().projects().size(), 1u) << "cancelled";
    EXPECT_EQ(
        panels.askedConfirmations.front(),
        (FakePanels::ConfirmQuestion{
            "Delete “A”?",
            "This permanently deletes the project, its media copies, and voice-over recordings. Files imported from "
            "elsewhere will be kept.",
            "Cancel", "Delete"}));
    panels.confirmations = {true};
    remove(row.id);
    EXPECT_TRUE(windows->library().projects().empty());
    EXPECT_EQ(workspace->editor(), nullptr);
    EXPECT_FALSE(editor->ai().isConnected());
    EXPECT_TRUE(windows->editors().empty());
    advance(2000ms);
    EXPECT_FALSE(folder.exists("Projects/" + row.id.upper())) << "a pending save brought the folder back";
    EXPECT_TRUE(folder.exists("Sources/A.mov"));
}

TEST_F(DeletionTests, ABusyProjectIsNotDeleted) {
    const auto editor = open(row, workspace, false);
    context.settle();
    beginImport(*editor);
    remove(row.id);
    EXPECT_EQ(windows->error(), "Wait for this project’s import or export to finish before deleting it.");
    EXPECT_TRUE(panels.askedConfirmations.empty());
    context.settle();
    // Work that starts while the question stands open counts as well.
    panels.hold = true;
    panels.confirmations = {true};
    remove(row.id);
    windows->setError(std::nullopt);
    editor->importURLs({folder.write("Sources/late2.mov")});
    panels.release();
    context.settle();
    EXPECT_EQ(windows->error(), "Wait for this project’s import or export to finish before deleting it.");
    EXPECT_EQ(windows->library().projects().size(), 1u);
    context.settle();
}

TEST_F(DeletionTests, ARefusedDeletionLeavesTheProjectInItsWindow) {
    const auto editor = open(row, workspace, false);
    std::filesystem::rename(folder.path("Projects/" + row.id.upper()), folder.path("gone"));
    panels.confirmations = {true};
    remove(row.id);
    EXPECT_TRUE(windows->error());
    EXPECT_EQ(workspace->editor(), editor);
    EXPECT_FALSE(editor->ai().isConnected());
    std::filesystem::rename(folder.path("gone"), folder.path("Projects/" + row.id.upper()));
}

TEST_F(DeletionTests, AProjectWhoseDeletionFailsIsInTheLibraryAgainAndSaved) {
    const auto editor = open(row, workspace, false);
    context.settle();
    edit(*editor);
    panels.confirmations = {true};
    windows->remove(row.id);
    context.runPosted();
    // The folder is out of the library when another window reads it, and back when the deletion has failed.
    const auto place = folder.path("Projects/" + row.id.upper());
    std::filesystem::rename(place, folder.path("away"));
    finish(context, windows->reload());
    EXPECT_FALSE(windows->library().find(row.id));
    ASSERT_TRUE(context.stepBackground());
    std::filesystem::rename(folder.path("away"), place);
    context.settle();
    EXPECT_TRUE(windows->error());
    EXPECT_TRUE(windows->library().find(row.id));
    advance(600ms);
    EXPECT_EQ(savedVolume(row), 0.5);
    EXPECT_FALSE(editor->isDirty());
    EXPECT_EQ(editor->error(), std::nullopt);
    EXPECT_TRUE(confirmQuit());
}

TEST_F(DeletionTests, AShownProjectWhoseDeletionIsStoppedIsServedAgain) {
    const auto editor = open(row, workspace, false);
    context.settle();
    panels.confirmations = {true, true};
    windows->remove(row.id);
    context.runPosted();
    EXPECT_FALSE(editor->ai().isConnected());
    windows->cancelWork();
    context.settle();
    EXPECT_EQ(workspace->editor(), editor);
    EXPECT_TRUE(editor->ai().isConnected());
    EXPECT_FALSE(editor->busy());
    EXPECT_EQ(windows->error(), std::nullopt);

    showHome(workspace);
    windows->remove(row.id);
    context.runPosted();
    windows->cancelWork();
    context.settle();
    EXPECT_FALSE(editor->ai().isConnected()) << "no window shows it";
}

TEST_F(DeletionTests, AQuitSaysThatAProjectIsBeingDeleted) {
    open(row, workspace, false);
    context.settle();
    panels.confirmations = {true};
    windows->remove(row.id);
    EXPECT_FALSE(confirmQuit());
    EXPECT_EQ(told, std::vector<std::string>{"Not quitting: “A” is being deleted."});
    context.settle();
    EXPECT_TRUE(confirmQuit());
}

}  // namespace
}  // namespace kelvane::testing
