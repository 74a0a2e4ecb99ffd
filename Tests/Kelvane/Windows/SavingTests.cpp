#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "Session/AIAssistantSession.h"
#include "Support/App/SavingFixture.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

const std::string notSaved = "Your changes could not be saved: ";

class SavingTests : public SavingFixture {};

TEST_F(SavingTests, ADuplicateStopsWhenItsProjectCantBeSaved) {
    const auto row = projectWithClip("A");
    const auto editor = open(row, show(first), false);
    context.settle();
    edit(*editor);
    breakDocument(row);
    duplicate(row.id);
    EXPECT_EQ(windows->library().projects().size(), 1U);
    EXPECT_EQ(windows->error(), std::nullopt) << "the editor shows the failure";
    EXPECT_TRUE(editor->saveFailed());
    ASSERT_TRUE(editor->error());
    EXPECT_TRUE(editor->error()->starts_with(notSaved)) << *editor->error();
    EXPECT_TRUE(editor->isDirty());
    mendDocument(row);
    duplicate(row.id);
    EXPECT_EQ(windows->library().projects().size(), 2U);
    EXPECT_FALSE(editor->saveFailed());
}

TEST_F(SavingTests, AProjectWithAFileOfItsOwnIsSavedThere) {
    const auto row = projectWithClip("A");
    const auto file = folder.url("Outside/A.kelvane");
    std::filesystem::create_directories(folder.path("Outside"));
    const auto editor = freeStanding(row, first, file);
    edit(*editor);
    editor->setSaveFailed(true);
    EXPECT_TRUE(flush(editor));
    EXPECT_FALSE(editor->saveFailed());
    EXPECT_EQ(volumeIn(file), 0.5);
    EXPECT_EQ(savedVolume(row), 1) << "the library's document is not its own any more";
    EXPECT_EQ(panels.askedDestinations.size(), 1U) << "the place is known";
    edit(*editor);
    advance(600ms);
    EXPECT_EQ(volumeIn(file), 0.25);
}

TEST_F(SavingTests, AFileOfItsOwnThatCantBeWrittenLeavesTheProjectDirty) {
    const auto file = folder.url("Outside/A.kelvane");
    std::filesystem::create_directories(folder.path("Outside"));
    const auto editor = freeStanding(projectWithClip("A"), first, file);
    std::filesystem::remove(file.path());
    std::filesystem::create_directories(file.path() + "/in the way");
    edit(*editor);
    EXPECT_FALSE(flush(editor));
    EXPECT_TRUE(editor->isDirty());
    ASSERT_TRUE(editor->error());
    EXPECT_NE(editor->error()->find("A.kelvane"), std::string::npos) << *editor->error();
    EXPECT_FALSE(confirmQuit());
}

TEST_F(SavingTests, ARowThatCantBeRecordedLeavesTheProjectDirty) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = open(row, workspace, false);
    context.settle();
    edit(*editor);
    breakMetadata(row);
    EXPECT_FALSE(flush(editor));
    EXPECT_TRUE(editor->isDirty());
    EXPECT_TRUE(editor->saveFailed());
    ASSERT_TRUE(editor->error());
    EXPECT_TRUE(editor->error()->starts_with(notSaved)) << *editor->error();
    EXPECT_EQ(savedVolume(row), 0.5) << "the document itself was written";
    EXPECT_FALSE(confirmClose(workspace));
    mendMetadata(row);
    EXPECT_TRUE(confirmClose(workspace));
    EXPECT_FALSE(editor->isDirty());
    EXPECT_FALSE(editor->saveFailed());
}

TEST_F(SavingTests, ARowThatCantBeRecordedKeepsThePictureAndItsPlaceInTheList) {
    const auto row = projectWithClip("A");
    const auto editor = open(row, show(first), false);
    context.settle();
    edit(*editor);
    EXPECT_TRUE(flush(editor));
    const auto saved = windows->library().projects();
    const auto thumbnail = windows->library().store().thumbnailURL(row.id).path();
    const auto picture = readFile(thumbnail);
    ASSERT_TRUE(picture);
    breakMetadata(row);
    editor->commit({});
    editor->deleteAssets({editor->assets().front().id});
    EXPECT_FALSE(flush(editor));
    EXPECT_EQ(editor->error(), notSaved + "“Metadata.json” is a folder, not a file.");
    EXPECT_EQ(readFile(thumbnail), picture);
    const auto renamed = rename(row.id, "B");
    ASSERT_FALSE(renamed);
    EXPECT_EQ(renamed.error().message, "“Metadata.json” is a folder, not a file.");
    EXPECT_EQ(windows->library().projects(), saved);
    mendMetadata(row);
    EXPECT_TRUE(flush(editor));
    EXPECT_FALSE(readFile(thumbnail));
}

TEST_F(SavingTests, AProjectWithoutAPictureOfItsOwnKeepsTheOneOnItsCard) {
    const auto row = projectWithClip("A");
    const auto editor = open(row, show(first), false);
    context.settle();
    edit(*editor);
    EXPECT_TRUE(flush(editor));
    const auto thumbnail = windows->library().store().thumbnailURL(row.id).path();
    ASSERT_TRUE(fileExists(thumbnail));
    media.addFileNamed("talk.wav", FakeFile::audio(5));
    editor->commit({audioClip(7, folder.write("Sources/talk.wav"), 5).at(0)});
    EXPECT_TRUE(flush(editor));
    EXPECT_EQ(windows->library().find(row.id)->duration, 5);
    EXPECT_TRUE(fileExists(thumbnail));
}

TEST_F(SavingTests, AProjectMayNotBeSavedOverTheFileOfAnotherOpenOne) {
    const auto file = folder.url("Outside/A.kelvane");
    std::filesystem::create_directories(folder.path("Outside"));
    std::filesystem::create_symlink(folder.path("Outside"), folder.path("Link"));
    const auto owner = freeStanding(projectWithClip("A"), first, file);
    const auto other = open(projectWithClip("B"), show(second), false);
    context.settle();
    for (const auto& place : {file, folder.url("Outside/../Outside/A.kelvane"), folder.url("Link/A.kelvane")}) {
        EXPECT_FALSE(canSave(*other, place)) << place.path();
        EXPECT_TRUE(canSave(*owner, place)) << place.path();
    }
    EXPECT_TRUE(canSave(*other, folder.url("Outside/B.kelvane")));
    const auto before = folder.read("Outside/A.kelvane");
    edit(*other);
    panels.destinations = {folder.url("Link/A.kelvane")};
    finish(context, other->saveProject(true));
    context.settle();
    EXPECT_EQ(other->error(),
              "This project is already open in another window. Choose a different name with Save Project As.");
    EXPECT_EQ(folder.read("Outside/A.kelvane"), before);
    EXPECT_TRUE(other->isDirty());
}

TEST_F(SavingTests, ASaveOnAnotherPathTakesThePlaceOfThePendingOne) {
    const auto row = projectWithClip("A");
    const auto editor = open(row, show(first), false);
    context.settle();
    edit(*editor);
    EXPECT_TRUE(flush(editor));
    const auto written = std::filesystem::last_write_time(windows->library().projectURL(row.id).path());
    std::filesystem::last_write_time(windows->library().projectURL(row.id).path(), written - 1h);
    advance(2s);
    EXPECT_EQ(std::filesystem::last_write_time(windows->library().projectURL(row.id).path()), written - 1h);
}

TEST_F(SavingTests, AnAutosaveThatFailsIsShownAndTriedAgainWithTheNextChange) {
    const auto row = projectWithClip("A");
    const auto editor = open(row, show(first), false);
    context.settle();
    breakDocument(row);
    edit(*editor);
    advance(600ms);
    EXPECT_TRUE(editor->saveFailed());
    EXPECT_TRUE(editor->isDirty());
    mendDocument(row);
    edit(*editor);
    advance(600ms);
    EXPECT_EQ(savedVolume(row), 0.25);
    EXPECT_FALSE(editor->saveFailed());
}

TEST_F(SavingTests, AFailedAutosaveIsTriedAgainAfterGrowingPausesAndToldOnce) {
    const auto row = projectWithClip("A");
    const auto editor = open(row, show(first), false);
    context.settle();
    breakDocument(row);
    edit(*editor);
    advance(600ms);
    EXPECT_TRUE(editor->error());
    ASSERT_EQ(told.size(), 1U);
    EXPECT_TRUE(told[0].starts_with("Your changes to “A” could not be saved: ")) << told[0];
    editor->setError(std::nullopt);
    for (const auto pause : {1s, 2s, 4s, 8s, 16s, 30s}) {
        mendDocument(row);
        advance(pause - 1ms);
        EXPECT_TRUE(editor->isDirty()) << "before " << pause.count() << " s";
        breakDocument(row);
        advance(1ms);
        EXPECT_TRUE(editor->saveFailed());
    }
    EXPECT_EQ(editor->error(), std::nullopt) << "the alert isn't raised again";
    EXPECT_EQ(told.size(), 1U);
    mendDocument(row);
    advance(30s - 1ms);
    EXPECT_EQ(savedVolume(row), 1);
    advance(1ms);
    EXPECT_EQ(savedVolume(row), 0.5);
    EXPECT_FALSE(editor->saveFailed());
    breakDocument(row);
    edit(*editor);
    advance(600ms);
    EXPECT_EQ(told.size(), 2U) << "a new run of failures";
    mendDocument(row);
    advance(1s);
    EXPECT_FALSE(editor->isDirty()) << "the pauses begin anew";
}

TEST_F(SavingTests, AChangeDuringAWriteIsSavedInItsOwnTime) {
    const auto row = projectWithClip("A");
    const auto editor = open(row, show(first), false);
    context.settle();
    edit(*editor);
    // The preview is built before the save begins.
    advance(599ms);
    context.advance(1ms);
    ASSERT_EQ(context.waitingInBackground(), 1U);
    edit(*editor);
    context.settle();
    EXPECT_EQ(savedVolume(row), 0.5);
    EXPECT_TRUE(editor->isDirty());
    advance(599ms);
    EXPECT_EQ(savedVolume(row), 0.5);
    advance(1ms);
    EXPECT_EQ(savedVolume(row), 0.25);
    EXPECT_FALSE(editor->isDirty());
}

TEST_F(SavingTests, AProjectHasOneWriteAtATime) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = open(row, workspace, false);
    context.settle();
    edit(*editor);
    advance(599ms);
    context.advance(1ms);
    ASSERT_EQ(context.waitingInBackground(), 1U);
    edit(*editor);
    context.advance(600ms);
    const std::size_t writeAndPreview = 2;
    EXPECT_EQ(context.waitingInBackground(), writeAndPreview);
    std::optional<bool> flushed;
    std::optional<bool> closed;
    std::optional<bool> quit;
    const auto flushing = keep(windows->flush(editor), &flushed);
    const auto closing = keep(windows->confirmClose(workspace), &closed);
    const auto quitting = keep(windows->confirmQuit(), &quit);
    context.runPosted();
    EXPECT_EQ(context.waitingInBackground(), writeAndPreview);
    EXPECT_FALSE(windows->mayClose(*workspace));
    EXPECT_FALSE(flushed || closed || quit) << "who wants it saved waits for the write under way";
    context.settle();
    EXPECT_EQ(flushed, true);
    EXPECT_EQ(closed, true);
    EXPECT_EQ(quit, true);
    EXPECT_TRUE(windows->mayClose(*workspace));
    EXPECT_EQ(savedVolume(row), 0.25);
}

TEST_F(SavingTests, ARenameDuringASaveKeepsBothInTheRow) {
    const auto row = projectWithClip("A");
    const auto editor = open(row, show(first), false);
    context.settle();
    auto clips = editor->clips();
    clips.front().end = 4;
    editor->commit(clips);
    context.advance(600ms);
    EXPECT_TRUE(rename(row.id, "B"));
    context.settle();
    const auto rows = windows->library().store().scan({});
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].name, "B");
    EXPECT_EQ(rows[0].duration, 4);
    EXPECT_EQ(windows->library().projects(), rows);
}

TEST_F(SavingTests, ASaveReadsNoOtherRow) {
    const auto other = project("Other");
    const auto row = projectWithClip("A");
    const auto editor = open(row, show(first), false);
    context.settle();
    std::filesystem::remove_all(folder.path("Projects/" + other.id.upper()));
    edit(*editor);
    EXPECT_TRUE(flush(editor));
    EXPECT_TRUE(windows->library().find(other.id));
    EXPECT_EQ(windows->library().projects().front().id, row.id);
    finish(context, windows->reload());
    EXPECT_FALSE(windows->library().find(other.id));
}

TEST_F(SavingTests, ThePictureOfACardIsWrittenWhenItChangesAlone) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = open(row, workspace, false);
    context.settle();
    const auto thumbnail = windows->library().store().thumbnailURL(row.id).path();
    edit(*editor);
    EXPECT_TRUE(flush(editor));
    ASSERT_TRUE(std::filesystem::exists(thumbnail));
    std::filesystem::remove(thumbnail);
    edit(*editor);
    EXPECT_TRUE(flush(editor));
    EXPECT_FALSE(std::filesystem::exists(thumbnail)) << "the same picture again";
    showHome(workspace);
    open(row, workspace, false);
    context.settle();
    edit(*editor);
    EXPECT_TRUE(flush(editor));
    EXPECT_FALSE(std::filesystem::exists(thumbnail)) << "the same picture, made anew";
    editor->commit({});
    editor->deleteAssets({editor->assets().front().id});
    EXPECT_TRUE(flush(editor));
    editor->undo();
    editor->undo();
    EXPECT_TRUE(flush(editor));
    EXPECT_TRUE(std::filesystem::exists(thumbnail)) << "the card had none meanwhile";
}

TEST_F(SavingTests, AFileOfItsOwnIsSavedOnceTheProjectIsNoLongerBusy) {
    const auto file = folder.url("Outside/A.kelvane");
    std::filesystem::create_directories(folder.path("Outside"));
    const auto editor = freeStanding(projectWithClip("A"), first, file);
    edit(*editor);
    panels.destinations = {folder.url("film.mp4")};
    editor->confirmExport(ExportResolution::automatic, ExportFrameRate::automatic, ExportContainer::mp4);
    ASSERT_TRUE(editor->busy());
    context.advance(600ms);
    EXPECT_EQ(volumeIn(file), 1);
    EXPECT_EQ(editor->error(), std::nullopt);
    context.settle();
    ASSERT_FALSE(editor->busy());
    advance(600ms);
    EXPECT_EQ(volumeIn(file), 0.5);
    EXPECT_FALSE(editor->isDirty());
}

TEST_F(SavingTests, ARefusedQuitSaysWhy) {
    const auto row = projectWithClip("A");
    const auto editor = open(row, show(first), false);
    context.settle();
    beginImport(*editor);
    EXPECT_FALSE(confirmQuit());
    EXPECT_EQ(told, std::vector<std::string>{"Not quitting: “A” is importing media."});
    context.settle();
    breakDocument(row);
    EXPECT_FALSE(confirmQuit());
    ASSERT_EQ(told.size(), 3U);
    EXPECT_TRUE(told[1].starts_with("Your changes to “A” could not be saved: ")) << told[1];
    EXPECT_EQ(told[2], "Not quitting: “A” could not be saved.");
    mendDocument(row);
    EXPECT_TRUE(confirmQuit());
    EXPECT_EQ(told.size(), 3U);
}

TEST_F(SavingTests, AProjectThatADeletionTookIsNotSavedByItsHolders) {
    const auto row = projectWithClip("A");
    const auto editor = open(row, show(first), false);
    context.settle();
    panels.confirmations = {true};
    remove(row.id);
    edit(*editor);
    advance(2s);
    EXPECT_FALSE(folder.exists("Projects/" + row.id.upper()));
}

TEST_F(SavingTests, ASessionThatCantConnectLeavesTheShownProject) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = open(row, workspace, false);
    const auto other = project("B");
    const auto elsewhere = CLIProjectDiscovery::start(other.id, "/tmp/nowhere/control.sock");
    ASSERT_TRUE(elsewhere) << elsewhere.error().message;
    EXPECT_EQ(open(other, workspace, false), nullptr);
    EXPECT_EQ(windows->error(), "This project is already connected in another Kelvane instance.");
    EXPECT_EQ(workspace->editor(), editor);
    EXPECT_TRUE(editor->ai().isConnected());
    windows->setError(std::nullopt);
    EXPECT_EQ(open(other, workspace, true), nullptr);
    EXPECT_EQ(windows->error(), "This project is already connected in another Kelvane instance.");
    EXPECT_TRUE(asked.empty()) << "no window is asked for";
}

}  // namespace
}  // namespace kelvane::testing
