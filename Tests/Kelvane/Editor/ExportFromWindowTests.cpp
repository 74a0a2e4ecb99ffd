#include <gmock/gmock.h>

#include <fstream>

#include "ExportFixture.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ExportFromWindow : public Export {
protected:
    void confirm(ExportContainer container = ExportContainer::mp4) {
        editor->confirmExport(ExportResolution::automatic, ExportFrameRate::automatic, container);
        context.settle();
    }
};

TEST_F(ExportFromWindow, TheOptionsShowWhenThereIsSomethingToExport) {
    editor->exportVideo();
    EXPECT_TRUE(editor->showExportOptions());
    editor->setShowExportOptions(false);
    beBusy();
    editor->exportVideo();
    EXPECT_FALSE(editor->showExportOptions());
    context.settle();
    editor->commit({});
    editor->exportVideo();
    EXPECT_FALSE(editor->showExportOptions());
}

TEST_F(ExportFromWindow, ThePanelSaysWhatIsExported) {
    confirm();
    editor->confirmExport(ExportResolution::fullHD, ExportFrameRate::fps30, ExportContainer::mov);
    EXPECT_THAT(
        panels.askedDestinations,
        ElementsAre(
            FakePanels::DestinationQuestion{PanelContent::mp4Movie, "Trailer.mp4", "Auto · Auto fps · MP4"},
            FakePanels::DestinationQuestion{PanelContent::quickTimeMovie, "Trailer.mov", "1080p · 30 fps · MOV"}));
    EXPECT_FALSE(editor->busy());
    EXPECT_EQ(editor->error(), std::nullopt);
}

TEST_F(ExportFromWindow, AProjectWithoutANameIsAVideo) {
    makeEditor(false);
    editor->commit({videoClip(1, movie, 4)});
    confirm(ExportContainer::mov);
    EXPECT_EQ(panels.askedDestinations.at(0).proposedName, "Video.mov");
}

TEST_F(ExportFromWindow, TheChosenFileIsReplaced) {
    std::ofstream(place("Film.mp4").path()) << "old";
    panels.destinations.push_back(place("Film.mp4"));
    confirm();
    EXPECT_EQ(contents(place("Film.mp4")), media.exports.contents);
    EXPECT_EQ(editor->exportedURL(), place("Film.mp4"));
    EXPECT_EQ(editor->error(), std::nullopt);
}

TEST_F(ExportFromWindow, AFailureIsShown) {
    Error failure("The movie could not be written.");
    failure.recoverySuggestion = "Free some space.";
    media.exports.failure = failure;
    panels.destinations.push_back(place("Film.mp4"));
    confirm();
    EXPECT_EQ(editor->error(), MediaEngine::exportFailureDescription(failure));
}

TEST_F(ExportFromWindow, ACancelledExportShowsNothing) {
    panels.destinations.push_back(place("Film.mp4"));
    whenCalled("exportTo", [this] { editor->cancelExport(); });
    confirm();
    EXPECT_EQ(editor->error(), std::nullopt);
    expectCleanedUp({});
}

TEST_F(ExportFromWindow, AFailureThatACancelBringsAboutShowsNothing) {
    panels.destinations.push_back(place("Film.mp4"));
    media.failOn("exportTo", "The encoder broke off.");
    whenCalled("exportTo", [this] { editor->cancelExport(); });
    confirm();
    EXPECT_EQ(editor->error(), std::nullopt);
}

TEST_F(ExportFromWindow, NothingIsAskedWhileBusyOrWithoutClips) {
    beBusy();
    editor->confirmExport(ExportResolution::automatic, ExportFrameRate::automatic, ExportContainer::mp4);
    context.settle();
    editor->commit({});
    confirm();
    EXPECT_THAT(panels.askedDestinations, IsEmpty());
}

TEST_F(ExportFromWindow, APanelThatOutlivesTheEditorExportsNothing) {
    panels.hold = true;
    panels.destinations.push_back(place("Film.mp4"));
    confirm();
    editor.reset();
    panels.release();
    context.settle();
    EXPECT_THAT(entries(output()), IsEmpty());
}

}  // namespace
}  // namespace kelvane::testing
