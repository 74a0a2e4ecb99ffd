#include "Session/AIAssistantSession.h"
#include "Session/CLIEditing.h"
#include "Support/App/WindowsFixture.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

/// An open project whose save is under way, so that whatever else writes its files waits for its turn.
class RenameDuringASave : public WindowsFixture {
protected:
    RenameDuringASave() {
        editor = open(row, show(first), false);
        context.settle();
        edit(*editor);
        // The preview is built before the save begins.
        context.advance(599ms);
        context.settle();
        context.advance(1ms);
        check(context.waitingInBackground() == 1, "a write is under way");
    }
    /// A rename that an assistant asks for.
    void begin(const std::string& name) {
        CLIRequest request;
        request.command = "rename";
        request.options = {{"name", name}, {"revision", CLIEditing::revision(editor->clips(), editor->assets())}};
        task = keep(editor->ai().perform(std::move(request), std::nullopt), &reply);
        context.runPosted();
        EXPECT_FALSE(reply);
    }
    [[nodiscard]] std::string outcome() {
        context.settle();
        if (!reply) return "under way";
        return *reply ? "done" : reply->error().message;
    }
    [[nodiscard]] std::string savedName() const { return ProjectStore(folder.url("Projects")).scan({}).front().name; }

    LibraryProject row = projectWithClip("A");
    std::shared_ptr<Editor> editor;
    std::optional<Result<JSONObject>> reply;
    QCoro::Task<void> task;
};

TEST_F(RenameDuringASave, IsCheckedOnceTheSaveIsDone) {
    int asked = 0;
    std::optional<Result<void>> renamed;
    const auto check = [&asked]() -> Result<void> {
        ++asked;
        return fail("The world has changed.");
    };
    const auto renaming = keep(windows->rename(row.id, "B", check), &renamed);
    context.runPosted();
    EXPECT_EQ(asked, 0);
    context.settle();
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(renamed, Result<void>(fail("The world has changed.")));
    EXPECT_EQ(editor->title(), "A");
    EXPECT_EQ(savedName(), "A");
}

TEST_F(RenameDuringASave, IsCarriedOutBehindIt) {
    begin("B");
    EXPECT_EQ(outcome(), "done");
    EXPECT_EQ(editor->title(), "B");
    EXPECT_EQ(savedName(), "B");
    EXPECT_EQ(savedVolume(row), 0.5);
}

TEST_F(RenameDuringASave, IsRefusedWhereTheSessionEndsMeanwhile) {
    begin("B");
    editor->ai().suspend();
    EXPECT_EQ(outcome(), "The Kelvane session is closed.");
    EXPECT_EQ(savedName(), "A");
}

TEST_F(RenameDuringASave, IsRefusedWhereTheLibraryEndsMeanwhile) {
    begin("B");
    windows.reset();
    EXPECT_EQ(outcome(), "The Kelvane session is closed.");
    EXPECT_EQ(savedName(), "A");
}

TEST_F(RenameDuringASave, IsRefusedWhereAnExportBeginsMeanwhile) {
    begin("B");
    panels.destinations = {folder.url("film.mp4")};
    editor->confirmExport(ExportResolution::automatic, ExportFrameRate::automatic, ExportContainer::mp4);
    ASSERT_TRUE(editor->busy());
    EXPECT_EQ(outcome(), "Kelvane is busy. Finish importing, exporting or the current timeline interaction.");
    EXPECT_EQ(savedName(), "A");
}

}  // namespace
}  // namespace kelvane::testing
