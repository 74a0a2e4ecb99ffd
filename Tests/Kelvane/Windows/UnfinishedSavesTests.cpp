#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "Support/App/SavingFixture.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

/// What changes while a save is under way, and what a save leaves that did not come to its end.
class UnfinishedSavesTests : public SavingFixture {
protected:
    UnfinishedSavesTests() { context.settle(); }
    /// Opens a project, edits it, and leaves the autosave at its write.
    std::shared_ptr<Editor> openToWrite() {
        auto editor = open(row, workspace, false);
        context.settle();
        edit(*editor);
        // The preview is built before the save begins.
        advance(599ms);
        context.advance(1ms);
        EXPECT_EQ(context.waitingInBackground(), 1U);
        return editor;
    }

    LibraryProject row = projectWithClip("A");
    std::shared_ptr<Workspace> workspace = show(first);
};

TEST_F(UnfinishedSavesTests, AnUndoDuringAWriteThatLeadsBackIsSaved) {
    const auto editor = openToWrite();
    editor->undo();
    EXPECT_TRUE(editor->isDirty()) << "the file is about to hold the edit";
    context.settle();
    EXPECT_EQ(savedVolume(row), 0.5);
    EXPECT_TRUE(editor->isDirty());
    advance(600ms);
    EXPECT_EQ(savedVolume(row), 1);
    EXPECT_FALSE(editor->isDirty());
    EXPECT_EQ(context.pendingTimers(), 0U);
}

TEST_F(UnfinishedSavesTests, AnUndoBehindASaveThatEndedHalfWayIsSaved) {
    const auto editor = open(row, workspace, false);
    context.settle();
    edit(*editor);
    breakMetadata(row);
    advance(600ms);
    EXPECT_EQ(savedVolume(row), 0.5) << "the document itself was written";
    EXPECT_TRUE(editor->saveFailed());
    editor->undo();
    EXPECT_TRUE(editor->isDirty()) << "the file holds the edit";
    EXPECT_FALSE(confirmClose(workspace));
    mendMetadata(row);
    advance(2s);
    EXPECT_EQ(savedVolume(row), 1);
    EXPECT_FALSE(editor->isDirty());
    EXPECT_FALSE(editor->saveFailed());
}

TEST_F(UnfinishedSavesTests, AFailedSaveWhoseChangeIsUndoneHasNothingLeftToSave) {
    const auto editor = open(row, workspace, false);
    context.settle();
    edit(*editor);
    breakDocument(row);
    advance(600ms);
    EXPECT_TRUE(editor->saveFailed());
    editor->undo();
    EXPECT_FALSE(editor->isDirty()) << "the file is as it was";
    advance(1s);
    EXPECT_FALSE(editor->saveFailed());
    EXPECT_EQ(context.pendingTimers(), 0U);
    mendDocument(row);
    EXPECT_EQ(savedVolume(row), 1);
}

TEST_F(UnfinishedSavesTests, ASaveThatIsDueDuringADeletionIsDropped) {
    const auto editor = openToWrite();
    edit(*editor);
    panels.confirmations = {true};
    windows->remove(row.id);
    // It waits for the write under way.
    context.advance(600ms);
    context.settle();
    EXPECT_FALSE(folder.exists("Projects/" + row.id.upper()));
    EXPECT_EQ(editor->error(), std::nullopt);
    EXPECT_EQ(told, std::vector<std::string>());
    EXPECT_EQ(context.pendingTimers(), 0U);
}

TEST_F(UnfinishedSavesTests, ASaveThatWaitsBehindADeletionEndsInSilence) {
    const auto editor = openToWrite();
    edit(*editor);
    panels.confirmations = {true};
    windows->remove(row.id);
    std::optional<bool> flushed;
    const auto flushing = keep(windows->flush(editor), &flushed);
    context.settle();
    EXPECT_EQ(flushed, true) << "nothing of it is left to save";
    EXPECT_FALSE(folder.exists("Projects/" + row.id.upper()));
    EXPECT_EQ(editor->error(), std::nullopt);
    EXPECT_FALSE(editor->saveFailed());
    EXPECT_EQ(told, std::vector<std::string>());
    EXPECT_EQ(context.pendingTimers(), 0U);
    EXPECT_TRUE(flush(editor));
    EXPECT_EQ(told, std::vector<std::string>());
}

TEST_F(UnfinishedSavesTests, AFileOfItsOwnThatCantBeWrittenIsToldOfOnce) {
    const auto file = outside("A.kelvane");
    const auto editor = freeStanding(row, second, file);
    putInTheWay(file.path());
    edit(*editor);
    advance(600ms);
    ASSERT_TRUE(editor->error());
    EXPECT_NE(editor->error()->find("A.kelvane"), std::string::npos) << *editor->error();
    ASSERT_EQ(told.size(), 1U);
    EXPECT_EQ(told[0], "Your changes to “A” could not be saved: " + *editor->error());
    editor->setError(std::nullopt);
    advance(1s);
    advance(2s);
    EXPECT_EQ(editor->error(), std::nullopt) << "the alert isn't raised again";
    EXPECT_EQ(told.size(), 1U);
    EXPECT_FALSE(flush(editor));
    EXPECT_NE(editor->error(), std::nullopt) << "who asks for a save is told";
    takeAway(file.path());
    EXPECT_TRUE(flush(editor));
    EXPECT_EQ(volumeIn(file), 0.5);
}

TEST_F(UnfinishedSavesTests, AnAutosaveThatEndsBehindASaveAsLeavesTheNewPlace) {
    const auto editor = freeStanding(row, second, outside("A.kelvane"));
    edit(*editor);
    advance(599ms);
    context.advance(1ms);
    // The place is asked about first.
    ASSERT_TRUE(context.stepBackground());
    context.runPosted();
    ASSERT_EQ(context.waitingInBackground(), 1U);
    panels.destinations = {outside("B.kelvane")};
    const auto saving = editor->saveProject(true);
    runUntil(context, [&] { return editor->projectURL() == outside("B.kelvane"); });
    ASSERT_EQ(context.waitingInBackground(), 1U) << "the autosave";
    context.settle();
    EXPECT_EQ(editor->projectURL(), outside("B.kelvane"));
    EXPECT_FALSE(editor->isDirty());
    edit(*editor);
    advance(600ms);
    EXPECT_EQ(volumeIn(outside("B.kelvane")), 0.25);
    EXPECT_EQ(volumeIn(outside("A.kelvane")), 0.5);
}

TEST_F(UnfinishedSavesTests, APictureThatCouldNotBeStoredIsStoredByTheNextSave) {
    const auto editor = open(row, workspace, false);
    context.settle();
    const auto thumbnail = windows->library().store().thumbnailURL(row.id).path();
    std::filesystem::create_directories(thumbnail + "/in the way");
    edit(*editor);
    EXPECT_TRUE(flush(editor)) << "a picture is never worth a failure";
    std::filesystem::remove_all(thumbnail);
    edit(*editor);
    EXPECT_TRUE(flush(editor));
    EXPECT_TRUE(std::filesystem::is_regular_file(thumbnail));
}

TEST_F(UnfinishedSavesTests, APictureStaysWhereTheRowCantBeWritten) {
    const auto editor = open(row, workspace, false);
    context.settle();
    edit(*editor);
    EXPECT_TRUE(flush(editor));
    const auto thumbnail = "Projects/" + row.id.upper() + "/Thumbnail.jpg";
    const auto before = folder.read(thumbnail);
    breakMetadata(row);
    editor->commit({});
    editor->deleteAssets({editor->assets().front().id});
    EXPECT_FALSE(flush(editor));
    EXPECT_EQ(folder.read(thumbnail), before);
    mendMetadata(row);
    EXPECT_TRUE(flush(editor));
    EXPECT_FALSE(folder.exists(thumbnail));
}

}  // namespace
}  // namespace kelvane::testing
