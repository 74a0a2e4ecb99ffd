#include <gmock/gmock.h>

#include "Session/CLIEditing.h"
#include "Support/App/EditorFixture.h"
#include "Views/Export/ExportOptionsView.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::chrono::milliseconds pause{200};

/// The sheet's view over a project with one clip of 4K footage at 30 frames a second.
class ExportOptionsViewTests : public EditorFixture {
protected:
    // Places of the choices.
    static constexpr int automatic = 0;
    static constexpr int ultraHD = 1;
    static constexpr int quadHD = 2;
    static constexpr int fullHD = 3;
    static constexpr int fps30 = 3;
    static constexpr int fps60 = 5;

    ExportOptionsViewTests() {
        show(video(makeManaged("film.mov", FakeFile::video(10, {2160, 3840})), 10));
        media.exports.estimate = std::int64_t{48'200'000};
    }
    ~ExportOptionsViewTests() override { view.reset(); }

    /// Makes a project of these clips, with the view over it.
    void show(const Clip& clip) {
        load({clip});
        settlePreview();
        workspace = std::make_shared<Workspace>(UUID::random(), editor);
        view = std::make_unique<ExportOptionsView>(workspace);
        media.clearCalls();
    }
    void open() {
        editor->exportVideo();
        context.runPosted();
    }
    /// Opens the sheet and lets everything be worked out.
    void openKnown() {
        open();
        estimate();
    }
    void estimate() {
        context.settle();
        context.advance(pause);
        context.settle();
    }
    /// Edits the timeline as an assistant does.
    void zoom(double factor) {
        auto clips = editor->clips();
        clips.front().zoom = factor;
        editor->commit(clips);
        context.runPosted();
    }
    [[nodiscard]] std::size_t estimates() const { return media.count("estimateOutputFileLength"); }
    /// The texts under the choices, and the size.
    [[nodiscard]] std::vector<std::string> texts() const {
        return {view->resolutionText().toStdString(), view->frameRateText().toStdString(),
                view->sizeText().toStdString()};
    }

    std::shared_ptr<Workspace> workspace;
    std::unique_ptr<ExportOptionsView> view;
};

TEST_F(ExportOptionsViewTests, TheChoicesHaveTheirLabels) {
    EXPECT_EQ(view->containers(), QStringList({"MP4", "MOV"}));
    EXPECT_EQ(view->resolutions(), QStringList({"Auto", "4K", "1440p", "1080p", "720p"}));
    EXPECT_EQ(view->frameRates(), QStringList({"Auto", "24", "25", "30", "50", "60"}));
    EXPECT_FALSE(view->shown());
    EXPECT_FALSE(view->canExport());
    EXPECT_THAT(texts(), ElementsAre("", "", ""));
    view->setResolution(fullHD);
    view->confirm();
    view->cancel();
    EXPECT_EQ(view->resolution(), automatic) << "nothing is chosen while it isn't shown";
}

TEST_F(ExportOptionsViewTests, OpeningShowsThatEverythingIsBeingWorkedOut) {
    open();
    EXPECT_TRUE(view->shown());
    EXPECT_THAT(texts(), ElementsAre("Checking source clips…", "", "Calculating…"));
    EXPECT_THAT(view->availableResolutions(), ElementsAre(true, false, false, true, true));
    EXPECT_FALSE(view->canExport());
    context.settle();
    EXPECT_THAT(texts(), ElementsAre("Best available · 2160 × 3840",
                                     "Auto: 30 fps · Matches the slowest clip, up to 60 fps", "Calculating…"));
    EXPECT_TRUE(view->canExport()) << "an export need not wait for its forecast";
    context.advance(pause);
    context.settle();
    EXPECT_EQ(view->sizeText(), "48.2 MB");
    EXPECT_THAT(view->availableResolutions(), ElementsAre(true, true, true, true, true));
}

TEST_F(ExportOptionsViewTests, EachResolutionTellsItsSizeAndWhyItIsNotThere) {
    show(video(makeManaged("hd.mov", FakeFile::video(10)), 10));
    openKnown();
    EXPECT_EQ(view->resolutionText(), "Best available · 1080 × 1920");
    EXPECT_THAT(view->availableResolutions(), ElementsAre(true, false, false, true, true));
    EXPECT_EQ(view->detail(ExportResolution::ultraHD), "2160 × 3840 · Needs higher-resolution clips or less zoom");
    EXPECT_EQ(view->detail(ExportResolution::quadHD), "1440 × 2560 · Needs higher-resolution clips or less zoom");
    view->setResolution(ultraHD);
    EXPECT_EQ(view->resolution(), automatic) << "what isn't there can't be chosen";
    view->setResolution(fullHD);
    EXPECT_EQ(view->resolutionText(), "1080 × 1920");
    view->setResolution(17);
    view->setResolution(-1);
    EXPECT_EQ(view->resolution(), fullHD);
}

TEST_F(ExportOptionsViewTests, RatesAboveTheClipsRepeatFrames) {
    openKnown();
    view->setFrameRate(fps60);
    EXPECT_EQ(view->frameRateText(), "Slower clips will repeat frames at this rate.");
    view->setFrameRate(fps30);
    EXPECT_EQ(view->frameRateText(), "30 frames per second");
    show(video(makeManaged("ntsc.mov", FakeFile::video(10, {1080, 1920}, {}, 30000.0F / 1001)), 10));
    openKnown();
    EXPECT_EQ(view->frameRateText(), "Auto: 29.97 fps · Matches the slowest clip, up to 60 fps");
    view->setFrameRate(fps30);
    EXPECT_EQ(view->frameRateText(), "Slower clips will repeat frames at this rate.");
}

TEST_F(ExportOptionsViewTests, AnEditOfAnAssistantReturnsTheRowsToChecking) {
    openKnown();
    zoom(1.1);
    EXPECT_THAT(texts(), ElementsAre("Checking source clips…", "", "Calculating…"));
    EXPECT_FALSE(view->currentCapabilities());
    EXPECT_FALSE(view->canExport());
    estimate();
    EXPECT_THAT(texts(), ElementsAre("Best available · 1440 × 2560",
                                     "Auto: 30 fps · Matches the slowest clip, up to 60 fps", "48.2 MB"));
}

TEST_F(ExportOptionsViewTests, AChoiceThatIsNoLongerThereBecomesAutomatic) {
    openKnown();
    view->setResolution(ultraHD);
    EXPECT_EQ(view->resolutionText(), "2160 × 3840");
    zoom(1.2);
    EXPECT_EQ(view->resolution(), ultraHD) << "until it is known";
    EXPECT_EQ(view->resolutionText(), "2160 × 3840 · Needs higher-resolution clips or less zoom");
    estimate();
    EXPECT_EQ(view->resolution(), automatic);
    EXPECT_EQ(view->resolutionText(), "Best available · 1440 × 2560");
    view->setResolution(quadHD);
    zoom(1);
    estimate();
    EXPECT_EQ(view->resolution(), quadHD) << "what is still there stays";
}

TEST_F(ExportOptionsViewTests, QuickChangesOfTheMenusComeToOneEstimate) {
    openKnown();
    const auto before = estimates();
    view->setResolution(fullHD);
    context.advance(pause / 2);
    view->setFrameRate(fps60);
    EXPECT_EQ(view->sizeText(), "Calculating…");
    context.advance(pause - std::chrono::milliseconds(1));
    context.settle();
    EXPECT_EQ(estimates(), before) << "the pause began anew";
    context.advance(std::chrono::milliseconds(1));
    context.settle();
    EXPECT_EQ(estimates(), before + 1);
    EXPECT_EQ(view->sizeText(), "48.2 MB");
    view->setFrameRate(fps60);
    estimate();
    EXPECT_EQ(estimates(), before + 1) << "the same once more is no change";
}

TEST_F(ExportOptionsViewTests, EachThingThatAnEstimateRestsOnIsInItsKey) {
    openKnown();
    const std::string revision = CLIEditing::revision(editor->clips(), {});
    EXPECT_EQ(view->estimateKey(), "mp4-automatic-0-2160-30-" + revision);
    view->setContainer(1);
    view->setResolution(fullHD);
    view->setFrameRate(fps60);
    EXPECT_EQ(view->estimateKey(), "mov-fullHD-60-2160-30-" + revision);
    EXPECT_EQ(view->sizeText(), "Calculating…");
}

TEST_F(ExportOptionsViewTests, AnEstimateOfFormerChoicesIsDropped) {
    openKnown();
    media.exports.estimate = std::int64_t{1'000'000};
    view->setResolution(fullHD);
    context.advance(pause);
    ASSERT_EQ(context.waitingInBackground(), 1U) << "it is under way";
    media.exports.estimate = std::int64_t{2'000'000};
    context.drain();
    view->setContainer(1);
    context.runPosted();
    EXPECT_EQ(view->sizeText(), "Calculating…");
    estimate();
    EXPECT_EQ(view->sizeText(), "2 MB");
}

TEST_F(ExportOptionsViewTests, CapabilitiesOfAFormerTimelineAreDropped) {
    open();
    context.drain();
    zoom(1.1);
    EXPECT_FALSE(view->currentCapabilities()) << "the answer was on its way";
    EXPECT_EQ(view->resolutionText(), "Checking source clips…");
    context.settle();
    EXPECT_EQ(view->resolutionText(), "Best available · 1440 × 2560");
}

TEST_F(ExportOptionsViewTests, AnEditThatIsTakenBackFindsItsCapabilities) {
    openKnown();
    zoom(1.1);
    editor->undo();
    context.runPosted();
    EXPECT_EQ(view->resolutionText(), "Best available · 2160 × 3840");
    EXPECT_EQ(view->sizeText(), "Calculating…") << "the forecast went with what it was for";
    estimate();
    EXPECT_EQ(view->sizeText(), "48.2 MB");
}

TEST_F(ExportOptionsViewTests, CapabilitiesThatCanNotBeHadLeaveNothingToExport) {
    media.failOn("openAsset", "“film.mov” could not be read.");
    open();
    context.settle();
    EXPECT_EQ(view->failure(), "“film.mov” could not be read.");
    EXPECT_THAT(texts(), ElementsAre("Checking source clips…", "", "Unavailable"));
    EXPECT_FALSE(view->canExport());
    media.clearFailures();
    zoom(1.1);
    EXPECT_EQ(view->sizeText(), "Calculating…") << "another timeline is another try";
    estimate();
    EXPECT_EQ(view->failure(), std::nullopt);
    EXPECT_EQ(view->sizeText(), "48.2 MB");
}

TEST_F(ExportOptionsViewTests, AnEstimateThatFailsDoesNotHinderAnExport) {
    media.exports.estimate = fail("There is no forecast.");
    openKnown();
    EXPECT_EQ(view->sizeText(), "Unavailable");
    EXPECT_EQ(view->failure(), std::nullopt);
    EXPECT_TRUE(view->canExport());
    media.exports.estimate = std::int64_t{1'250'000'000};
    view->setContainer(1);
    estimate();
    EXPECT_EQ(view->sizeText(), "1.25 GB");
}

TEST_F(ExportOptionsViewTests, ABusyProjectCanNotBeExported) {
    openKnown();
    beBusy();
    EXPECT_FALSE(view->canExport());
    view->confirm();
    context.settle();
    EXPECT_TRUE(view->canExport());
    EXPECT_THAT(panels.askedDestinations, IsEmpty());
}

TEST_F(ExportOptionsViewTests, ConfirmingAsksForAPlaceWithTheChoices) {
    openKnown();
    view->setContainer(1);
    view->setResolution(fullHD);
    view->setFrameRate(fps60);
    view->confirm();
    EXPECT_THAT(panels.askedDestinations, ElementsAre(FakePanels::DestinationQuestion{
                                              PanelContent::quickTimeMovie, "Trailer.mov", "1080p · 60 fps · MOV"}));
    EXPECT_TRUE(view->shown()) << "whoever declines the place is back at the choices";
    panels.destinations = {folder().appending("Film.mov")};
    view->confirm();
    context.settle();
    EXPECT_FALSE(view->shown());
}

TEST_F(ExportOptionsViewTests, WhatIsChosenAndWorkedOutEndsWithTheSheet) {
    openKnown();
    view->setContainer(1);
    view->setResolution(fullHD);
    view->setFrameRate(fps60);
    const auto before = estimates();
    view->cancel();
    context.runPosted();
    EXPECT_FALSE(view->shown());
    EXPECT_EQ(context.pendingTimers(), 0U);
    estimate();
    EXPECT_EQ(estimates(), before);
    open();
    EXPECT_EQ(view->container(), 0);
    EXPECT_EQ(view->resolution(), automatic);
    EXPECT_EQ(view->frameRate(), automatic);
    EXPECT_THAT(texts(), ElementsAre("Checking source clips…", "", "Calculating…"));
    view.reset();
    context.settle();
}

TEST_F(ExportOptionsViewTests, AWindowThatTurnsToTheHomeDropsTheSheet) {
    open();
    workspace->setEditor(nullptr);
    EXPECT_FALSE(view->shown());
    context.settle();
    EXPECT_THAT(texts(), ElementsAre("", "", ""));
}

}  // namespace
}  // namespace kelvane::testing
