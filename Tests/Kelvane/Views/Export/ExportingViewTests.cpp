#include <gmock/gmock.h>

#include "Support/App/EditorFixture.h"
#include "Views/Export/ExportingView.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// An export of a project of one clip, whose encoder waits for the test.
class ExportingViewTests : public EditorFixture {
protected:
    ExportingViewTests() {
        load({video(makeManaged("film.mov", FakeFile::video(10)), 10)});
        settlePreview();
        workspace = std::make_shared<Workspace>(UUID::random(), editor);
        view = std::make_unique<ExportingView>(workspace);
    }
    ~ExportingViewTests() override { view.reset(); }

    [[nodiscard]] FileURL movie() const { return folder().appending("Film.mp4"); }
    /// Starts an export from the window, and stops where the encoder is about to begin.
    void begin() {
        panels.destinations = {movie()};
        editor->confirmExport(ExportResolution::automatic, ExportFrameRate::automatic, ExportContainer::mp4);
        const auto before = media.exportRecords().size();
        while (media.exportRecords().size() == before) {
            ASSERT_TRUE(context.stepBackground());
            context.runPosted();
        }
    }
    void progressTo(float progress, std::chrono::milliseconds after) {
        media.setProgress(progress);
        context.advance(after);
    }

    std::shared_ptr<Workspace> workspace;
    std::unique_ptr<ExportingView> view;
};

TEST_F(ExportingViewTests, AnExportIsShownWithWhatItMakesAndHowFarItIs) {
    EXPECT_FALSE(view->shown());
    EXPECT_EQ(view->progressText(), "");
    begin();
    EXPECT_TRUE(view->shown());
    EXPECT_EQ(view->format(), "1080 × 1920 · 30 fps · MP4");
    EXPECT_EQ(view->progressText(), "0%");
    EXPECT_EQ(view->remainingText(), "");
    using namespace std::chrono_literals;
    for (int step = 1; step <= 10; ++step) progressTo(static_cast<float>(step) * 0.02F, 1s);
    EXPECT_NEAR(view->progress(), 0.2, 1e-6);
    EXPECT_EQ(view->progressText(), "20%");
    EXPECT_EQ(view->remainingText(), "About 40 seconds left");
    progressTo(0.999F, 1s);
    EXPECT_EQ(view->progressText(), "99%") << "it is done when it is";
    context.settle();
    EXPECT_FALSE(view->shown());
    EXPECT_TRUE(view->exported());
    EXPECT_EQ(view->remainingText(), "");
}

TEST_F(ExportingViewTests, CancellingIsToldUntilItHasHappenedAndIsSilentThen) {
    begin();
    EXPECT_TRUE(view->canCancel());
    view->cancel();
    EXPECT_EQ(view->progressText(), "Cancelling…");
    EXPECT_FALSE(view->canCancel());
    EXPECT_TRUE(view->shown());
    context.settle();
    EXPECT_FALSE(view->shown());
    EXPECT_FALSE(view->exported());
    EXPECT_EQ(editor->error(), std::nullopt);
    begin();
    EXPECT_TRUE(view->canCancel()) << "the next export is another";
    context.settle();
}

TEST_F(ExportingViewTests, TheMovieIsShownInItsFolder) {
    begin();
    context.settle();
    ASSERT_TRUE(view->exported());
    view->showInFolder();
    EXPECT_FALSE(view->exported());
    EXPECT_THAT(desktop.shown, ElementsAre(movie()));
    context.settle();
    EXPECT_EQ(editor->error(), std::nullopt);
    view->showInFolder();
    EXPECT_EQ(desktop.shown.size(), 1U) << "nothing is left to show";
}

TEST_F(ExportingViewTests, ADesktopThatCanNotShowItIsToldInItsWords) {
    begin();
    context.settle();
    desktop.refusal = Error("“Film.mp4” can’t be shown.");
    view->showInFolder();
    context.settle();
    EXPECT_EQ(editor->error(), "“Film.mp4” can’t be shown.");
    EXPECT_FALSE(view->exported());
}

TEST_F(ExportingViewTests, WhoIsDoneSeesItNoMore) {
    begin();
    context.settle();
    view->dismissExported();
    EXPECT_FALSE(view->exported());
    EXPECT_EQ(editor->exportedURL(), std::nullopt);
    EXPECT_THAT(desktop.shown, IsEmpty());
    begin();
    context.settle();
    EXPECT_TRUE(view->exported()) << "the next one is told of again";
    workspace->setEditor(nullptr);
    EXPECT_FALSE(view->exported());
}

}  // namespace
}  // namespace kelvane::testing
