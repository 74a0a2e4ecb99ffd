#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "Session/AIAssistantSession.h"
#include "Support/App/WindowsFixture.h"
#include "Support/AtomicFile.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

const std::string notSaved = "Your changes could not be saved: ";

class SavingTests : public WindowsFixture {
protected:
    /// A project that lives in a file of its own, outside the library.
    std::shared_ptr<Editor> freeStanding(const LibraryProject& row, FakeWindow& window, const FileURL& file) {
        auto editor = windows->open(row, show(window), false);
        context.settle();
        editor->setLibraryName(std::nullopt);
        panels.destinations = {file};
        editor->saveProject(true);
        EXPECT_EQ(editor->projectURL(), file);
        return editor;
    }
    /// The volume of the first clip in a document, whose media need not be in place.
    [[nodiscard]] static double volumeIn(const FileURL& file) {
        const auto text = readFile(file.path());
        EXPECT_TRUE(text) << text.error().message;
        const auto document = nlohmann::json::parse(text.value_or(""), nullptr, false);
        return document.is_object() && !document["clips"].empty() ? document["clips"][0].value("volume", -1.0) : -1;
    }
    /// The library can't record anything about the project while a folder that isn't empty stands in its row's place.
    void breakMetadata(const LibraryProject& row) {
        const auto path = windows->library().folder(row.id).path() + "/Metadata.json";
        std::filesystem::rename(path, path + ".kept");
        std::filesystem::create_directories(path + "/in the way");
    }
    void mendMetadata(const LibraryProject& row) {
        const auto path = windows->library().folder(row.id).path() + "/Metadata.json";
        std::filesystem::remove_all(path);
        std::filesystem::rename(path + ".kept", path);
    }
};

TEST_F(SavingTests, ADuplicateStopsWhenItsProjectCantBeSaved) {
    const auto row = projectWithClip("A");
    const auto editor = windows->open(row, show(first), false);
    context.settle();
    edit(*editor);
    breakDocument(row);
    windows->duplicate(row.id);
    EXPECT_EQ(windows->library().projects().size(), 1U);
    EXPECT_EQ(windows->error(), std::nullopt) << "the editor shows the failure";
    EXPECT_TRUE(editor->saveFailed());
    ASSERT_TRUE(editor->error());
    EXPECT_TRUE(editor->error()->starts_with(notSaved)) << *editor->error();
    EXPECT_TRUE(editor->isDirty());
    mendDocument(row);
    windows->duplicate(row.id);
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
    EXPECT_TRUE(windows->flush(*editor));
    EXPECT_FALSE(editor->saveFailed());
    EXPECT_EQ(volumeIn(file), 0.5);
    EXPECT_EQ(savedVolume(row), 1) << "the library's document is not its own any more";
    EXPECT_EQ(panels.askedDestinations.size(), 1U) << "the place is known";
    edit(*editor);
    context.advance(600ms);
    EXPECT_EQ(volumeIn(file), 0.25);
}

TEST_F(SavingTests, AFileOfItsOwnThatCantBeWrittenLeavesTheProjectDirty) {
    const auto file = folder.url("Outside/A.kelvane");
    std::filesystem::create_directories(folder.path("Outside"));
    const auto editor = freeStanding(projectWithClip("A"), first, file);
    std::filesystem::remove(file.path());
    std::filesystem::create_directories(file.path() + "/in the way");
    edit(*editor);
    EXPECT_FALSE(windows->flush(*editor));
    EXPECT_TRUE(editor->isDirty());
    ASSERT_TRUE(editor->error());
    EXPECT_NE(editor->error()->find("A.kelvane"), std::string::npos) << *editor->error();
    EXPECT_FALSE(windows->confirmQuit());
}

TEST_F(SavingTests, ARowThatCantBeRecordedLeavesTheProjectDirty) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = windows->open(row, workspace, false);
    context.settle();
    edit(*editor);
    breakMetadata(row);
    EXPECT_FALSE(windows->flush(*editor));
    EXPECT_TRUE(editor->isDirty());
    EXPECT_TRUE(editor->saveFailed());
    ASSERT_TRUE(editor->error());
    EXPECT_TRUE(editor->error()->starts_with(notSaved)) << *editor->error();
    EXPECT_EQ(savedVolume(row), 0.5) << "the document itself was written";
    EXPECT_FALSE(windows->shouldClose(*workspace));
    mendMetadata(row);
    EXPECT_TRUE(windows->shouldClose(*workspace));
    EXPECT_FALSE(editor->isDirty());
    EXPECT_FALSE(editor->saveFailed());
}

TEST_F(SavingTests, AProjectMayNotBeSavedOverTheFileOfAnotherOpenOne) {
    const auto file = folder.url("Outside/A.kelvane");
    std::filesystem::create_directories(folder.path("Outside"));
    std::filesystem::create_symlink(folder.path("Outside"), folder.path("Link"));
    const auto owner = freeStanding(projectWithClip("A"), first, file);
    const auto other = windows->open(projectWithClip("B"), show(second), false);
    context.settle();
    for (const auto& place : {file, folder.url("Outside/../Outside/A.kelvane"), folder.url("Link/A.kelvane")}) {
        EXPECT_FALSE(other->canSaveToURL(place)) << place.path();
        EXPECT_TRUE(owner->canSaveToURL(place)) << place.path();
    }
    EXPECT_TRUE(other->canSaveToURL(folder.url("Outside/B.kelvane")));
    const auto before = folder.read("Outside/A.kelvane");
    edit(*other);
    panels.destinations = {folder.url("Link/A.kelvane")};
    other->saveProject(true);
    EXPECT_EQ(other->error(),
              "This project is already open in another window. Choose a different name with Save Project As.");
    EXPECT_EQ(folder.read("Outside/A.kelvane"), before);
    EXPECT_TRUE(other->isDirty());
}

TEST_F(SavingTests, ASaveOnAnotherPathTakesThePlaceOfThePendingOne) {
    const auto row = projectWithClip("A");
    const auto editor = windows->open(row, show(first), false);
    context.settle();
    edit(*editor);
    EXPECT_TRUE(windows->flush(*editor));
    const auto written = std::filesystem::last_write_time(windows->library().projectURL(row.id).path());
    std::filesystem::last_write_time(windows->library().projectURL(row.id).path(), written - 1h);
    context.advance(2s);
    EXPECT_EQ(std::filesystem::last_write_time(windows->library().projectURL(row.id).path()), written - 1h);
}

TEST_F(SavingTests, AnAutosaveThatFailsIsShownAndTriedAgainWithTheNextChange) {
    const auto row = projectWithClip("A");
    const auto editor = windows->open(row, show(first), false);
    context.settle();
    breakDocument(row);
    edit(*editor);
    context.advance(600ms);
    EXPECT_TRUE(editor->saveFailed());
    EXPECT_TRUE(editor->isDirty());
    mendDocument(row);
    edit(*editor);
    context.advance(600ms);
    EXPECT_EQ(savedVolume(row), 0.25);
    EXPECT_FALSE(editor->saveFailed());
}

TEST_F(SavingTests, AProjectThatADeletionTookIsNotSavedByItsHolders) {
    const auto row = projectWithClip("A");
    const auto editor = windows->open(row, show(first), false);
    context.settle();
    panels.confirmations = {true};
    windows->remove(row.id);
    edit(*editor);
    context.advance(2s);
    EXPECT_FALSE(folder.exists("Projects/" + row.id.upper()));
}

TEST_F(SavingTests, ASessionThatCantConnectLeavesTheShownProject) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = windows->open(row, workspace, false);
    const auto other = project("B");
    const auto elsewhere = CLIProjectDiscovery::start(other.id, "/tmp/nowhere/control.sock");
    ASSERT_TRUE(elsewhere) << elsewhere.error().message;
    EXPECT_EQ(windows->open(other, workspace, false), nullptr);
    EXPECT_EQ(windows->error(), "This project is already connected in another Kelvane instance.");
    EXPECT_EQ(workspace->editor(), editor);
    EXPECT_TRUE(editor->ai().isConnected());
    windows->setError(std::nullopt);
    EXPECT_EQ(windows->open(other, workspace, true), nullptr);
    EXPECT_EQ(windows->error(), "This project is already connected in another Kelvane instance.");
    EXPECT_TRUE(asked.empty()) << "no window is asked for";
}

}  // namespace
}  // namespace kelvane::testing
