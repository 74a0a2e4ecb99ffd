#include <signal.h>

#include <filesystem>

#include "BadInputFixture.h"
#include "Integration/Footage.h"
#include "Integration/Playback/NumberedFootage.h"
#include "LiveOffer.h"
#include "Storage/ProjectFile.h"

namespace kelvane::testing {
namespace {

using nlohmann::json;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::Not;

const std::string noProject = "kelvane://project/00000000-0000-4000-8000-000000000000";
const std::string hebrew = "נמל בלילה";

TEST_F(BadInput, ALinkToAProjectThatIsGoneSaysSoAndChangesNothing) {
    launch({noProject});
    expectAlert("This project is no longer in your Kelvane library.");
    (void)node("label", "Create a video");
    // What is no link at all is passed over.
    launchAgain({"kelvane://project/none", "kelvane://project/"});
    press("Ctrl+N");
    expectFocus("text", "Name");
    type("Harbour");
    press("Return");
    (void)node("panel", "Timeline viewport");
    launchAgain({noProject});
    expectAlert("This project is no longer in your Kelvane library.");
    (void)node("push button", "Project name: Harbour. Rename project");
    EXPECT_EQ(app->quit(), 0) << log();
}

TEST_F(BadInput, ACardWhoseProjectIsBrokenIsToldOfAndTheOthersOpen) {
    launchOn("Broken");
    const std::string broken = app->project();
    EXPECT_EQ(app->quit(), 0);
    folder.write("Kelvane/Projects/" + broken + "/Project.kelvane", "{\"clips\":[{\"id\":");
    launchOn("Whole");
    act("push button", "Projects");
    const auto card = node("push button", "Open project", "Broken");
    if (!HasFailure()) EXPECT_TRUE(bus.act(card, "Press"));
    (void)node("alert", "Unable to Complete");
    act("push button", "OK");
    expectGone("alert", "Unable to Complete");
    const auto other = node("push button", "Open project", "Whole");
    if (!HasFailure()) EXPECT_TRUE(bus.act(other, "Press"));
    (void)node("push button", "Project name: Whole. Rename project");
    EXPECT_EQ(app->quit(), 0) << log();
}

TEST_F(BadInput, ALibraryThatCannotBeWrittenMakesNoProjectAndSaysWhy) {
    // Not even the superuser makes a folder there.
    std::filesystem::create_directory_symlink("/sys/kernel", folder.path("Kelvane"));
    launch();
    (void)node("label", "Create a video");
    press("Ctrl+N");
    expectFocus("text", "Name");
    type("Harbour");
    press("Return");
    (void)node("alert", "Unable to Complete");
    act("push button", "OK");
    expectGone("alert", "Unable to Complete");
    (void)node("label", "Create a video");
    EXPECT_EQ(app->quit(), 0) << log();
}

TEST_F(BadInput, AProjectWhoseFileCannotBeWrittenIsKeptOpenUntilItCan) {
    launchOn("Harbour");
    const std::string tone = makeTone(folder, "Tone.wav", 440, 1);
    if (HasFailure()) return;
    const auto state = import(tone);
    (void)node("label", "Saved");
    // What stands in a file's place can't be replaced by one, not even by the superuser.
    const std::string file = folderOf(app->project()) + "/Project.kelvane";
    std::filesystem::rename(file, folder.path("aside"));
    folder.write("Kelvane/Projects/" + app->project() + "/Project.kelvane/in the way", "");
    lay(json{{{"assetID", state["imported"][0]}, {"start", 0}, {"end", 1}, {"timelineStart", 0}}});
    (void)node("label", "Not saved");
    (void)node("alert", "Unable to Complete");
    act("push button", "OK");
    expectGone("alert", "Unable to Complete");
    // Neither the home nor an end comes before it is saved.
    press("Ctrl+1");
    if (!HasFailure()) app->signal(SIGTERM);
    (void)waitFor([this] { return log().find("Not quitting: ") != std::string::npos; }, "it doesn't say why it stays");
    (void)node("panel", "Timeline viewport");
    if (HasFailure()) return;
    std::filesystem::remove_all(file);
    std::filesystem::rename(folder.path("aside"), file);
    (void)waitFor([this] { return isThere("label", "Saved"); }, "it isn't saved again");
    EXPECT_EQ(app->quit(), 0) << log();
    const auto kept = ProjectFile::read(FileURL::fromPath(file));
    ASSERT_TRUE(kept) << kept.error().message;
    EXPECT_EQ(kept->clips.size(), 1U);
}

TEST_F(BadInput, ANameOfBlanksKeepsTheFieldAndSaysWhy) {
    launchOn("Harbour");
    beginRenaming("Harbour");
    type("   ");
    press("Return");
    (void)node("label", "Enter a project name.");
    expectFocus("text", "Project name");
    // Elsewhere in the window the field isn't left either.
    if (!HasFailure()) hands->click(middleOf(node("label", "Assets")));
    expectFocus("text", "Project name");
    press("Escape");
    (void)node("push button", "Project name: Harbour. Rename project");
    EXPECT_EQ(app->result({"project"}).value("name", ""), "Harbour");
}

TEST_F(BadInput, NamesOfAnyLengthAndDirectionAreTakenAsTheyAre) {
    launchOn("Harbour");
    beginRenaming("Harbour");
    type(hebrew);
    press("Return");
    (void)node("push button", "Project name: " + hebrew + ". Rename project");
    beginRenaming(hebrew);
    LiveOffer offer(display.name());
    const std::string endless(10'000, 'x');
    offer.copy(endless);
    press("Ctrl+V");
    (void)waitFor([&] { return bus.text(node("text", "Project name")) == endless; }, "it isn't pasted");
    press("Return");
    const auto name = node("push button", "Project name: " + endless + ". Rename project");
    EXPECT_EQ(app->result({"project"}).value("name", ""), endless);
    if (HasFailure()) return;
    EXPECT_LE(bus.report(name).extents.width(), 220);
    const auto export_ = bus.report(node("push button", "Export")).extents;
    EXPECT_LE(export_.right(), window->rect().x + window->rect().width);
    act("push button", "Projects");
    (void)node("push button", "Open project", endless);
    EXPECT_EQ(app->quit(), 0) << log();
}

TEST_F(BadInput, ANewProjectTakesAnyNameButBlanks) {
    launch();
    askForName();
    type("   ");
    press("Return");
    expectAlert("Enter a project name.");
    (void)node("label", "Create a video");
    // What stands round a name goes.
    askForName();
    type("  " + hebrew + " 12  ");
    press("Return");
    (void)node("push button", "Project name: " + hebrew + " 12. Rename project");
    press("Ctrl+1");
    (void)node("push button", "Open project", hebrew + " 12");
    askForName();
    LiveOffer offer(display.name());
    offer.copy(std::string(9'990, 'x'));
    press("Ctrl+V");
    type("0123456789");
    const std::string endless = std::string(9'990, 'x') + "0123456789";
    (void)waitFor([&] { return bus.text(node("text", "Name")) == endless; }, "not all of it has come");
    press("Return");
    (void)node("push button", "Project name: " + endless + ". Rename project");
    press("Ctrl+1");
    // A question about it leaves room for its answers.
    act("push button", "Actions for " + endless);
    act("menu item", "Delete…");
    (void)node("alert", "Delete “" + endless + "”?");
    const auto answer = placeOf(node("push button", "Delete"));
    if (HasFailure()) return;
    EXPECT_LE(answer.bottom(), window->rect().y + window->rect().height);
    press("Return");
    expectGone("push button", "Delete");
    (void)node("push button", "Open project", endless);
    (void)node("label", "2 projects · Recently edited first");
    EXPECT_EQ(app->quit(), 0) << log();
}

TEST_F(BadInput, AnEndThatIsAskedForWhileSomethingIsOpenComes) {
    const std::vector<std::pair<std::string, std::pair<std::string, std::string>>> openings{
        {"Ctrl+N", {"alert", "New Project"}},
        {"Ctrl+I", {"text", "File name"}},
        {"F1", {"dialog", "Keyboard Shortcuts"}},
        {"Alt+F", {"menu item", "Quit"}}};
    for (const auto& [key, shown] : openings) {
        launchOn("Harbour");
        press(key);
        (void)node(shown.first, shown.second);
        EXPECT_EQ(app->quit(), 0) << key << "\n" << log();
    }
}

TEST_F(BadInput, AnEndThatIsAskedForWhileAnExportIsChosenComesAndLosesNothing) {
    launchOn("Harbour");
    const std::string tone = makeTone(folder, "Tone.wav", 440, 1);
    if (HasFailure()) return;
    const auto asset = import(tone)["imported"][0];
    lay(json{{{"assetID", asset}, {"start", 0}, {"end", 1}, {"timelineStart", 0}}});
    press("Ctrl+E");
    (void)node("dialog", "Export Video");
    // At once: the edit wasn't saved yet, and what the sheet shows is still worked out.
    EXPECT_EQ(app->quit(), 0) << log();
    expectKept(1);
    launchOn("Harbour");
    press("Ctrl+E");
    expectState(node("push button", "Export…"), "enabled");
    press("Return");
    expectFocus("text", "File name");
    EXPECT_EQ(app->quit(), 0) << log();
    expectKept(1);
}

TEST_F(BadInput, AnEndThatIsAskedForWhileAnExportRunsIsRefusedAndTheMovieComes) {
    launchOn("Harbour");
    const std::string film = numbered::makeMovie(folder, 0, 60);
    if (HasFailure()) return;
    const auto asset = import(film)["imported"][0];
    const json piece{{"assetID", asset}, {"start", 0}, {"end", 2}};
    lay(json{piece, piece, piece});
    press("Ctrl+E");
    expectState(node("push button", "Export…"), "enabled");
    press("Return");
    expectFocus("text", "File name");
    press("Ctrl+A");
    type(folder.path("Film.mp4"));
    press("Return");
    (void)node("progress bar", "Export progress");
    if (HasFailure()) return;
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) app->signal(signal);
    EXPECT_TRUE(app->tells("Not quitting: “Harbour” is being exported.")) << log();
    // Nor does its window close.
    press("Ctrl+W");
    (void)waitForWork([this] { return isThere("alert", "Video Exported"); }, "no movie comes");
    EXPECT_EQ(app->quit(), 0) << log();
    expectKept(3);
    const auto length = runProcess(
        {"ffprobe", "-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0", folder.path("Film.mp4")});
    EXPECT_NEAR(std::atof(length.output.c_str()), 6, 0.1) << length.errors;
    EXPECT_THAT(folder.entries(), Each(Not(HasSubstr(".kelvane-"))));
}

TEST_F(BadInput, APortalThatNeverAnswersGivesWayToOurOwnChooser) {
    ASSERT_TRUE(bus.fallSilent("org.freedesktop.portal.Desktop"));
    launchOn("Harbour");
    press("Ctrl+I");
    expectFocus("text", "File name");
    press("Escape");
    expectGone("text", "File name");
    EXPECT_EQ(app->quit(), 0) << log();
}

TEST_F(BadInput, OfTwoStartsAtTheSameMomentOneHasTheWindow) {
    std::vector<std::unique_ptr<LiveApplication>> starts;
    for (int i = 0; i < 2; ++i)
        starts.push_back(std::make_unique<LiveApplication>(folder, std::vector<std::string>{}, surroundings()));
    const auto running = [&] {
        return std::ranges::count_if(starts, [](const auto& start) { return start->isRunning(); });
    };
    EXPECT_TRUE(eventually([&] { return running() == 1 && !bus.windows().empty(); })) << log();
    EXPECT_EQ(bus.windows().size(), 1U) << bus.tree();
    for (const auto& start : starts) EXPECT_EQ(start->quit(), 0) << log();
}

}  // namespace
}  // namespace kelvane::testing
