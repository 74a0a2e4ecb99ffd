#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "Session/AIAssistantSession.h"
#include "Support/App/WindowsFixture.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

/// Deletions that don't come to their end.
class DeletionTests : public WindowsFixture {
protected:
    LibraryProject row = projectWithClip("A");
    std::shared_ptr<Workspace> workspace = show(first);
};

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
