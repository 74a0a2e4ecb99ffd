#include <gtest/gtest.h>

#include <filesystem>

#include "Session/AIAssistantSession.h"
#include "Support/App/ProjectWorkFixture.h"

namespace kelvane::testing {
namespace {

using EditorPtr = std::shared_ptr<Editor>;

/// The same project asked for more than once, and projects that go away while they open.
class OpeningTests : public ProjectWorkFixture {
protected:
    int errors = 0;
    QMetaObject::Connection counting =
        QObject::connect(windows.get(), &ProjectWindows::errorChanged, [this] { errors += windows->error() ? 1 : 0; });
};

TEST_F(OpeningTests, AFileThatIsAskedForTwiceIsStoppedOnce) {
    const auto file = outside("A");
    std::filesystem::create_directories(folder.path("Projects"));
    std::filesystem::create_symlink(file.path(), folder.path("Link.kelvane"));
    const auto opening = windows->openProject(file, nullptr, true);
    const auto again = windows->openProject(file, nullptr, false);
    const auto elsewhere = windows->openProject(folder.url("Link.kelvane"), nullptr, true);
    runUntil(context, [this] { return !windows->work().empty(); });
    windows->cancelWork();
    context.settle();
    EXPECT_EQ(onDisk(), std::vector<std::string>());
    EXPECT_TRUE(windows->library().projects().empty());
    EXPECT_TRUE(asked.empty());
    openProject(file, nullptr, true);
    EXPECT_EQ(windows->library().projects().size(), 1U) << "who asks later begins anew";
}

TEST_F(OpeningTests, AFileThatFailsIsToldOfOnceToAllWhoAskedForIt) {
    const auto file = folder.url("missing.kelvane");
    const auto opening = windows->openProject(file, nullptr, true);
    const auto again = windows->openProject(file, nullptr, true);
    context.settle();
    EXPECT_EQ(errors, 1);
    openProject(file, nullptr, true);
    EXPECT_EQ(errors, 2) << "who asks later is told, too";
}

TEST_F(OpeningTests, AProjectThatIsStoppedIsNotBegunAgainForItsFileOrItsLink) {
    const auto row = projectToCopyFor("A");
    std::optional<EditorPtr> one;
    const auto opening = keep(windows->open(row, nullptr, true), &one);
    const auto file = windows->openProject(windows->library().projectURL(row.id), nullptr, true);
    const auto link = windows->openPreview(row.id);
    runUntil(context, [this] { return !windows->work().empty(); });
    windows->cancelWork();
    context.settle();
    EXPECT_EQ(one, EditorPtr());
    EXPECT_TRUE(windows->editors().empty());
    EXPECT_TRUE(asked.empty());
    EXPECT_EQ(windows->error(), std::nullopt);
}

TEST_F(OpeningTests, AFileAndItsLinkJoinTheOpeningThatSucceeds) {
    const auto row = projectToCopyFor("A");
    const auto workspace = show(first);
    std::optional<EditorPtr> one;
    const auto opening = keep(windows->open(row, workspace, false), &one);
    const auto file = windows->openProject(windows->library().projectURL(row.id), nullptr, true);
    const auto link = windows->openPreview(row.id);
    context.settle();
    ASSERT_TRUE(one && *one);
    EXPECT_EQ(workspace->editor(), *one);
    EXPECT_TRUE(asked.empty());
    EXPECT_EQ(first.brought, 2);
}

TEST_F(OpeningTests, OneThatFailedIsBegunAnewWhileOthersStillWait) {
    const auto file = folder.url("Late.kelvane");
    const auto failing = windows->openProject(file, nullptr, true);
    const auto waiting = windows->openProject(outside("Slow"), nullptr, true);
    runUntil(context, [this] { return windows->error().has_value(); });
    ASSERT_TRUE(ProjectFile::write(contents("Late"), file));
    const auto again = windows->openProject(file, nullptr, true);
    context.settle();
    EXPECT_EQ(windows->library().projects().size(), 2U);
    EXPECT_EQ(asked.size(), 2U);
}

TEST_F(OpeningTests, ADeletionIsKeptOutUntilAProjectHasOpened) {
    const auto row = projectWithClip("A");
    const auto workspace = show(first);
    std::optional<EditorPtr> one;
    const auto opening = keep(windows->open(row, workspace, false), &one);
    panels.confirmations = {true, true, true, true, true, true};
    int steps = 0;
    for (; !one; ++steps) {
        windows->remove(row.id);
        context.runPosted();
        EXPECT_TRUE(one || context.stepBackground());
    }
    context.settle();
    EXPECT_GE(steps, 3) << "at each step of it";
    if (*one) {
        EXPECT_EQ(workspace->editor(), *one);
        EXPECT_TRUE(windows->editors().contains(row.id));
        EXPECT_TRUE(folder.exists("Projects/" + row.id.upper()));
    } else {
        EXPECT_EQ(workspace->editor(), nullptr);
        EXPECT_TRUE(windows->editors().empty());
    }
    EXPECT_TRUE(confirmQuit());
}

TEST_F(OpeningTests, AProjectThatIsDeletedWhileItsWindowIsSavedIsNotShown) {
    const auto a = projectWithClip("A");
    const auto b = projectWithClip("B");
    const auto workspace = show(first);
    open(b, workspace, false);
    const auto shown = open(a, workspace, false);
    context.settle();
    edit(*shown);
    std::optional<EditorPtr> opened;
    const auto opening = keep(windows->open(b, workspace, false), &opened);
    context.runPosted();
    // Whether another instance has saved it.
    ASSERT_TRUE(context.stepBackground());
    context.runPosted();
    ASSERT_FALSE(opened);
    panels.confirmations = {true};
    remove(b.id);
    EXPECT_FALSE(opened);
    context.settle();
    EXPECT_EQ(opened, EditorPtr());
    EXPECT_EQ(workspace->editor(), shown);
    EXPECT_TRUE(shown->ai().isConnected());
    EXPECT_EQ(windows->editors().size(), 1U);
    EXPECT_TRUE(confirmQuit());
}

TEST_F(OpeningTests, AWindowOnItsWayForAProjectThatIsDeletedShowsTheHome) {
    const auto row = project("A");
    open(row, nullptr, true);
    ASSERT_EQ(asked.size(), 1U);
    panels.confirmations = {true};
    remove(row.id);
    EXPECT_EQ(show(first, asked.front())->editor(), nullptr);
    EXPECT_TRUE(windows->editors().empty());
}

}  // namespace
}  // namespace kelvane::testing
