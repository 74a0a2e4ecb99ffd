#include <gtest/gtest.h>

#include "Session/AIAssistantSession.h"
#include "Support/App/WindowsFixture.h"

namespace kelvane::testing {
namespace {

/// What happens while the session of a project that opens is connected in the background.
class ConnectingTests : public WindowsFixture {
protected:
    /// Asks for a project, and stops where its session is about to connect.
    void beginToOpen(const LibraryProject& row, const std::shared_ptr<Workspace>& workspace) {
        context.settle();
        opening_ = keep(windows->open(row, workspace, workspace == nullptr), &shown);
        context.runPosted();
        while (!windows->editors().contains(row.id)) {
            ASSERT_TRUE(context.stepBackground());
            context.runPosted();
        }
        EXPECT_FALSE(shown);
        EXPECT_FALSE(isServed(row));
        EXPECT_EQ(context.waitingInBackground(Lane::shortWork), 1U);
    }
    /// Lets it connect; what began meanwhile stays under way.
    void finishOpening() {
        while (!shown) {
            ASSERT_TRUE(context.stepBackground());
            context.runPosted();
        }
    }
    [[nodiscard]] bool isServed(const LibraryProject& row) const {
        return windows->editors().at(row.id)->ai().isConnected();
    }

    std::optional<std::shared_ptr<Editor>> shown;

private:
    std::optional<QCoro::Task<void>> opening_;
};

TEST_F(ConnectingTests, AProjectWhoseWindowClosesMeanwhileGetsANewOne) {
    const auto row = project("A");
    const auto workspace = show(first);
    beginToOpen(row, workspace);
    windows->unregister(workspace);
    finishOpening();
    EXPECT_EQ(workspace->editor(), nullptr);
    ASSERT_EQ(asked.size(), 1U);
    EXPECT_EQ(show(second, asked.front())->editor(), *shown);
    EXPECT_TRUE(isServed(row));
}

TEST_F(ConnectingTests, AnEditMeanwhileIsSavedBeforeItsWindowIsTakenOver) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = open(row, workspace, false);
    const auto other = project("B");
    beginToOpen(other, workspace);
    edit(*editor);
    finishOpening();
    EXPECT_EQ(workspace->editor(), *shown);
    EXPECT_EQ(workspace->editor()->id(), other.id);
    EXPECT_FALSE(editor->isDirty());
    EXPECT_EQ(savedVolume(row), 0.5);
    EXPECT_FALSE(isServed(row));
    EXPECT_TRUE(isServed(other));
}

TEST_F(ConnectingTests, AnEditMeanwhileThatCantBeSavedKeepsItsWindow) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    const auto editor = open(row, workspace, false);
    const auto other = project("B");
    beginToOpen(other, workspace);
    breakDocument(row);
    edit(*editor);
    finishOpening();
    EXPECT_EQ(*shown, nullptr);
    EXPECT_EQ(workspace->editor(), editor);
    EXPECT_TRUE(editor->saveFailed());
    EXPECT_TRUE(isServed(row));
    EXPECT_FALSE(isServed(other));
    mendDocument(row);
}

TEST_F(ConnectingTests, AWindowThatBecomesBusyMeanwhileIsNotTakenOver) {
    const auto workspace = show(first);
    const auto busy = open(projectWithClip("A"), workspace, false);
    const auto other = project("B");
    beginToOpen(other, workspace);
    // It is connected, and its file about to be looked at again.
    ASSERT_TRUE(context.stepBackground());
    context.runPosted();
    ASSERT_FALSE(shown);
    beginImport(*busy);
    finishOpening();
    EXPECT_TRUE(busy->busy());
    EXPECT_EQ(workspace->editor(), busy);
    ASSERT_TRUE(*shown);
    EXPECT_EQ(asked.size(), 1U);
    EXPECT_TRUE(isServed(other));
    context.settle();
}

TEST_F(ConnectingTests, AProjectThatIsDeletedMeanwhileIsNotShown) {
    const auto row = project("A");
    const auto workspace = show(first);
    beginToOpen(row, workspace);
    panels.confirmations = {true};
    remove(row.id, false);
    context.settle();
    ASSERT_TRUE(shown);
    EXPECT_EQ(*shown, nullptr);
    EXPECT_EQ(workspace->editor(), nullptr);
    EXPECT_EQ(windows->error(), std::nullopt);
    EXPECT_FALSE(folder.exists("Projects/" + row.id.upper()));
    EXPECT_FALSE(CLIProjectDiscovery::publishedSocketPath(row.id));
}

TEST_F(ConnectingTests, WhatAnotherInstanceSavesLastIsShownHoweverLateItComes) {
    // The file's stamp and its content are read, the session connects, and the stamp is looked at again.
    for (int step = 0; step < 4; ++step) {
        SCOPED_TRACE(step);
        const auto row = projectWithClip("A" + std::to_string(step));
        const auto openBeside = [&](double zoom) {
            context.settle();
            std::optional<std::shared_ptr<Editor>> opened;
            const auto opening = keep(windows->open(row, nullptr, true), &opened);
            context.runPosted();
            for (int done = 0; done < step && !opened; ++done) {
                EXPECT_TRUE(context.stepBackground());
                context.runPosted();
            }
            // Another instance saves the project, and has let go of it before the session connects.
            auto project = ProjectFile::read(windows->library().projectURL(row.id));
            project->clips.front().zoom = zoom;
            EXPECT_TRUE(ProjectFile::write(*project, windows->library().projectURL(row.id)));
            const bool wasOpened = opened.has_value();
            runUntil(context, [&] { return opened.has_value(); });
            if (!wasOpened) EXPECT_EQ((*opened)->clips().front().zoom, zoom);
            EXPECT_TRUE(isServed(row));
            EXPECT_FALSE((*opened)->isDirty());
            EXPECT_FALSE((*opened)->busy());
            windows->unregister(show(second, asked.back()));
        };
        openBeside(2);
        openBeside(3);
    }
}

TEST_F(ConnectingTests, AProjectThatCantBeReadAgainIsNeitherShownNorServed) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    beginToOpen(row, workspace);
    breakDocument(row);
    finishOpening();
    EXPECT_EQ(*shown, nullptr);
    EXPECT_EQ(workspace->editor(), nullptr);
    EXPECT_TRUE(windows->error());
    EXPECT_FALSE(isServed(row));
    mendDocument(row);
}

TEST_F(ConnectingTests, ItKeepsQuittingOut) {
    beginToOpen(project("A"), nullptr);
    EXPECT_FALSE(confirmQuit());
    EXPECT_EQ(told, std::vector<std::string>{"Not quitting: A project is being opened."});
    finishOpening();
    EXPECT_TRUE(confirmQuit());
}

TEST_F(ConnectingTests, AnOwnerThatGoesMeanwhileLeavesNothing) {
    const auto row = project("A");
    beginToOpen(row, nullptr);
    windows.reset();
    context.settle();
    ASSERT_TRUE(shown);
    EXPECT_EQ(*shown, nullptr);
    EXPECT_FALSE(CLIProjectDiscovery::publishedSocketPath(row.id));
}

}  // namespace
}  // namespace kelvane::testing
