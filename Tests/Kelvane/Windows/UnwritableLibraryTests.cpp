#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <chrono>

#include "Support/App/WindowsFixture.h"
#include "Support/UnprivilegedUser.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::EndsWith;
using ::testing::StartsWith;

/// For the length of its life no file grows beyond a few bytes, as on a disk that is full.
class FullDisk {
public:
    FullDisk() {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        rlimit small = before_;
        small.rlim_cur = 8;
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &before_); }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit before_{};
};

/// A project of a library that can't be written: open in a window, with a clip.
class UnwritableLibraryTests : public WindowsFixture {
protected:
    UnwritableLibraryTests() {
        for (const char* place : {"", "Projects", "Sources"}) chmod(folder.path(place).c_str(), 0755);
    }
    /// What the alert says, which is closed by it.
    std::string alert() {
        const auto text = windows->error().value_or("");
        windows->setError(std::nullopt);
        return text;
    }
    /// What can't be done, one act after the other; nothing is left of any.
    void expectEachActIsRefused(const char* reason) {
        panels.names = {"B"};
        windows->newProject(workspace);
        context.settle();
        EXPECT_THAT(alert(), EndsWith(reason));
        duplicate(row.id);
        EXPECT_THAT(alert(), EndsWith(reason));
        openProject(outside, workspace, false);
        EXPECT_THAT(alert(), EndsWith(reason));
        const auto renamed = rename(row.id, "Coast");
        ASSERT_FALSE(renamed);
        EXPECT_THAT(renamed.error().message, EndsWith(reason));
        EXPECT_EQ(editor->title(), "A");
        edit(*editor);
        advance(600ms);
        EXPECT_TRUE(editor->saveFailed());
        EXPECT_THAT(editor->error().value_or(""), StartsWith("Your changes could not be saved: "));
        EXPECT_THAT(editor->error().value_or(""), EndsWith(reason));
        EXPECT_FALSE(confirmClose(workspace));
        EXPECT_FALSE(confirmQuit());
        EXPECT_EQ(workspace->editor(), editor);
    }
    void expectNothingIsLostOrLeft() {
        finish(context, windows->reload());
        ASSERT_EQ(windows->library().projects().size(), 1U);
        EXPECT_EQ(windows->library().projects().front().name, "A");
        std::vector<std::string> entries;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path("Projects")))
            if (UUID::parseUpper(entry.path().filename().string())) entries.push_back(entry.path().filename());
        EXPECT_EQ(entries, std::vector{row.id.upper()});
        advance(30s);
        EXPECT_FALSE(editor->saveFailed()) << "it was tried again";
        EXPECT_EQ(savedVolume(row), 0.5);
        EXPECT_TRUE(confirmQuit());
    }

    LibraryProject row = projectWithClip("A");
    FileURL outside = [this] {
        const auto file = folder.url("Sources/Outside.kelvane");
        EXPECT_TRUE(
            ProjectFile::write({.version = 1, .clips = {}, .assets = std::vector<Clip>(), .mediaRoot = {}}, file));
        return file;
    }();
    std::shared_ptr<Workspace> workspace = show(first);
    std::shared_ptr<Editor> editor = open(row, workspace, false);
};

TEST_F(UnwritableLibraryTests, AReadOnlyLibraryRefusesEachActWithItsReasonAndLosesNothing) {
    context.settle();
    {
        const UnprivilegedUser unprivileged;
        expectEachActIsRefused("Permission denied.");
        panels.confirmations = {true};
        remove(row.id);
        EXPECT_THAT(alert(), EndsWith("Permission denied."));
        EXPECT_EQ(workspace->editor(), editor);
    }
    expectNothingIsLostOrLeft();
}

TEST_F(UnwritableLibraryTests, AFullDiskRefusesEachActWithItsReasonAndLosesNothing) {
    context.settle();
    {
        const FullDisk full;
        expectEachActIsRefused("File too large.");
    }
    expectNothingIsLostOrLeft();
}

}  // namespace
}  // namespace kelvane::testing
