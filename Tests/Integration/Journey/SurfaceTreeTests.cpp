#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>

#include "Support/SoundServer.h"
#include "SurfaceReader.h"

namespace kelvane::testing {
namespace {

using nlohmann::json;
using ::testing::IsEmpty;

/// Tells an asset from the clips that have its name.
const std::string assetHelp = "Preview or drag to timeline";
/// By what a clip that grows may be drawn behind the playhead: its gap, and what comes between two answers.
constexpr int nearby = 8;

/// Every surface of the window, walked through.
class SurfaceTree : public SurfaceReader {
protected:
    void walkHome();
    void walkHelp();
    void walkEmptyEditor();
    void walkFilledEditor();
    void walkAssets();
    void walkMenusOfTheEditor();
    void walkMenuOfAClip();
    void walkMenuOfAnAsset();
    void walkExport();
    void walkAssistants();
    void walkCards();
    void walkCountdown();
    void walkTake();
    /// Waits until nothing is recorded or made ready any more.
    void expectIdle() { expectState(node("push button", "Projects"), "enabled"); }
};

void SurfaceTree::walkHome() {
    expectSurface("the empty home",
                  {{"menu item", "File"},
                   {"text", "Search projects"},
                   {"push button", "New Project"},
                   {"push button", "Import Project"},
                   {"label", "Create a video"},
                   {"push button", "New Project…"},
                   {"push button", "Import Project…"}},
                  {{"push button", "Projects"},
                   {"list", "Projects"},
                   {"list", "Assets"},
                   {"push button", "Undo"},
                   {"panel", "Timeline viewport"},
                   {"menu item", "Save Project"}});
    openMenu("File");
    expectSurface("its first menu", {{"menu item", "New Project…"},
                                     {"menu item", "Import Project…"},
                                     {"menu item", "Edit with AI…", false},
                                     {"menu item", "Import Videos…", false},
                                     {"menu item", "Save Project", false},
                                     {"menu item", "Save Project As…", false},
                                     {"menu item", "Export Video…", false},
                                     {"menu item", "Close Window"},
                                     {"menu item", "Quit"}});
    closeMenu("Quit");
    openMenu("Edit");
    expectSurface(
        "its second menu",
        {{"menu item", "Undo", false}, {"menu item", "Redo", false}, {"menu item", "Delete Selected Item", false}});
    closeMenu("Redo");
    act("push button", "New Project…");
    expectSurface("the question for a name",
                  {{"alert", "New Project"}, {"text", "Name"}, {"push button", "Create"}, {"push button", "Cancel"}});
    dismiss("alert", "New Project", "Cancel");
    act("push button", "Import Project…");
    expectSurface("the chooser of projects", {{"text", "File name"},
                                              {"list", "Files"},
                                              {"list", "Places"},
                                              {"push button", "Open", false},
                                              {"push button", "Parent folder"},
                                              {"push button", "Cancel"}});
    act("push button", "Cancel");
    expectGone("text", "File name");
}

void SurfaceTree::walkHelp() {
    openMenu("Help");
    expectSurface("the menu for help", {{"menu item", "Keyboard Shortcuts"}, {"menu item", "About Kelvane"}});
    act("menu item", "Keyboard Shortcuts");
    expectSurface("the keys",
                  {{"dialog", "Keyboard Shortcuts"}, {"list item", "Export Video"}, {"push button", "Done"}},
                  {{"menu item", "About Kelvane"}});
    dismiss("dialog", "Keyboard Shortcuts", "Done");
    openMenu("Help");
    act("menu item", "About Kelvane");
    expectSurface("what the program is", {{"dialog", "About Kelvane"}, {"push button", "Done"}});
    dismiss("dialog", "About Kelvane", "Done");
}

void SurfaceTree::walkEmptyEditor() {
    expectSurface("an empty project",
                  {{"push button", "Projects"},
                   {"label", "Saved"},
                   {"push button", "Edit with AI…", false},
                   {"push button", "Export", false},
                   {"label", "Assets"},
                   {"label", "Import or drop video and audio here."},
                   {"push button", "Import Assets"},
                   {"split pane", "Assets pane width"},
                   {"image", "Vertical video preview"},
                   {"push button", "Play Timeline", false},
                   {"push button", "Record Voice Over"},
                   {"push button", "Split at Playhead", false},
                   {"push button", "Delete Clip", false},
                   {"slider", "Timeline Zoom"},
                   {"panel", "Timeline viewport"},
                   {"slider", "Seek", false},
                   {"image", "Playhead"},
                   {"label", "Drag assets here"}},
                  {{"push button", "Delete Asset"},
                   {"list", "Assets"},
                   {"panel", "Trim"},
                   {"push button", "New Project"},
                   {"push button", "Back to Timeline"},
                   {"text", "Project name"}});
    act("push button", "Project name: Walk. Rename project");
    expectSurface("its name being edited", {{"text", "Project name"}},
                  {{"push button", "Project name: Walk. Rename project"}});
    press("Escape");
    expectGone("text", "Project name");
    act("push button", "Import Assets");
    expectSurface("the chooser of media", {{"text", "File name"}, {"combo box", "Kind of file"}});
    press("Escape");
    expectGone("text", "File name");
}

void SurfaceTree::walkFilledEditor() {
    importFiles();
    lay(2);
    const auto clips = videoClips(2);
    if (HasFailure()) return;
    EXPECT_TRUE(bus.act(clips[0], "Press"));
    (void)node("label", "1 selected");
    openMenu("View");
    expectSurface("the menu for the view", {{"menu item", "Projects"}, {"menu item", "Show Inspector"}});
    act("menu item", "Show Inspector");
    expectSurface("a film with its numbers",
                  {{"push button", "Export"},
                   {"push button", "Edit with AI…"},
                   {"list", "Video"},
                   {"list", "Audio 1"},
                   {"slider", "Seek"},
                   {"push button", "Delete Clip"},
                   {"push button", "Move Earlier", false},
                   {"push button", "Move Later"},
                   {"panel", "Trim"},
                   {"slider", "Start"},
                   {"slider", "End"},
                   {"panel", "Frame"},
                   {"slider", "Zoom"},
                   {"slider", "Horizontal"},
                   {"slider", "Vertical"},
                   {"push button", "Reset Frame"},
                   {"panel", "Audio"},
                   {"slider", "Volume"},
                   {"push button", "Mute"}},
                  {{"panel", "Timeline"},
                   {"slider", "Position"},
                   {"label", "Drag assets here"},
                   {"menu item", "Hide Inspector"}});
    if (HasFailure()) return;
    const auto sounds = bus.children(node("list", "Audio 1"));
    ASSERT_EQ(sounds.size(), 1U);
    EXPECT_TRUE(bus.act(sounds[0], "Press"));
    expectSurface("a sound with its numbers", {{"panel", "Timeline"}, {"slider", "Position"}, {"slider", "Volume"}},
                  {{"panel", "Frame"}, {"slider", "Zoom"}});
    press("Escape");
    expectSurface("no clip with numbers", {{"label", "Select a Clip"}}, {{"panel", "Trim"}, {"slider", "Volume"}});
}

void SurfaceTree::walkAssets() {
    act("list item", firstFilm);
    expectSurface("an asset that is looked at", {{"push button", "Delete Asset"},
                                                 {"push button", "Play Preview"},
                                                 {"slider", "Asset preview position"},
                                                 {"push button", "Back to Timeline"}});
    act("push button", "Back to Timeline");
    expectGone("slider", "Asset preview position");
}

void SurfaceTree::walkMenusOfTheEditor() {
    openMenu("Edit");
    expectSurface("the second menu over a project", {{"menu item", "Undo"}, {"menu item", "Redo", false}});
    closeMenu("Redo");
    openMenu("Clip");
    expectSurface("the menu for clips", {{"menu item", "Split at Playhead", false},
                                         {"menu item", "Move Earlier", false},
                                         {"menu item", "Move Later", false}});
    closeMenu("Move Later");
}

void SurfaceTree::walkMenuOfAClip() {
    const auto clip = videoClips(2).front();
    openMenuOf(clip);
    expectSurface("the menu of a clip",
                  {{"popup menu", "Clip actions"}, {"menu item", "Mute"}, {"menu item", "Reset Volume"}},
                  {{"menu item", "Unmute"}, {"menu item", "Delete Asset"}});
    act("menu item", "Mute");
    expectGone("menu item", "Mute");
    openMenuOf(clip);
    expectSurface("the menu of a clip that is muted", {{"menu item", "Unmute"}, {"menu item", "Reset Volume"}},
                  {{"menu item", "Mute"}});
    act("menu item", "Unmute");
    expectGone("menu item", "Unmute");
    (void)expectTimeline("it is as loud as before",
                         [](const json& timeline) { return picturesOf(timeline)[0]["volume"] == 1; });
}

void SurfaceTree::walkMenuOfAnAsset() {
    openMenuOf(node("list item", firstFilm, assetHelp));
    expectSurface("the menu of an asset", {{"popup menu", "Asset actions"}, {"menu item", "Delete Asset"}},
                  {{"menu item", "Delete Selected Assets"}, {"menu item", "Mute"}});
    closeMenu("Delete Asset");
    // From there, so that two are chosen.
    press("Shift+Down");
    (void)node("label", "2 selected");
    openMenuOf(node("list item", firstFilm, assetHelp));
    expectSurface("the menu of two assets", {{"menu item", "Delete Selected Assets"}}, {{"menu item", "Delete Asset"}});
    closeMenu("Delete Selected Assets");
    press("Escape");
    expectGone("label", "2 selected");
}

void SurfaceTree::walkCountdown() {
    // It is over within three seconds, in which a busy machine may not be looked at whole: then it begins once more.
    std::vector<std::string> complaints;
    const auto isSo = [&] {
        if (isThere("push button", "Stop Voice Over")) {
            press("Space");
            expectIdle();
        }
        if (isThere("push button", "Record Voice Over")) press("R");
        const Look now = look();
        complaints = complaintsOf(now,
                                  {{"push button", "Cancel Voice Over"},
                                   {"push button", "Play Timeline", false},
                                   {"push button", "Projects", false},
                                   {"push button", "Import Assets", false},
                                   {"push button", "Export", false},
                                   {"push button", "Edit with AI…", false},
                                   {"push button", "Delete Clip", false},
                                   {"list", "Video"}},
                                  {{"push button", "Record Voice Over"}, {"push button", "Stop Voice Over"}});
        const NodeReport* count = now.begunWith("label", "Recording starts in ");
        if (count == nullptr || !count->name.ends_with(" seconds")) complaints.push_back("nobody counts");
        const NodeReport* picture = now.named("image", "Vertical video preview");
        if (count != nullptr && picture != nullptr && !picture->extents.contains(count->extents))
            complaints.push_back("the count isn't on the picture");
        return complaints.empty();
    };
    if (!HasFailure()) (void)eventually([&] { return isSo() || HasFailure() || !app->isRunning(); });
    EXPECT_THAT(complaints, IsEmpty()) << bus.tree() << log();
}

void SurfaceTree::walkTake() {
    (void)node("push button", "Stop Voice Over");
    expectSurface("a take under way",
                  {{"push button", "Stop Voice Over"},
                   {"push button", "Record Voice Over"},
                   {"push button", "Projects", false},
                   {"push button", "Import Assets", false},
                   {"push button", "Export", false},
                   {"push button", "Edit with AI…", false},
                   {"push button", "Delete Clip", false},
                   {"push button", "Split at Playhead", false},
                   {"slider", "Timeline Zoom"},
                   {"list", "Audio 2"}},
                  {{"push button", "Cancel Voice Over"}, {"push button", "Play Timeline"}, {"label", "Timeline"}});
    // It grows up to the playhead, and the time with it.
    int width = 0;
    const auto isGrowing = [&] {
        const Look now = look();
        const NodeReport* take = now.begunWith("list item", "Voice Over ");
        const NodeReport* head = now.named("image", "Playhead");
        if (take == nullptr || head == nullptr || now.begunWith("label", "Recording 00:0") == nullptr) return false;
        const bool hasGrown = width > 0 && take->extents.width() > width;
        width = take->extents.width();
        return hasGrown && std::abs(take->extents.right() - head->extents.center().x()) <= nearby;
    };
    (void)waitFor(isGrowing, "the take doesn't grow");
    press("Space");
    expectIdle();
    expectSurface("a take that is kept", {{"push button", "Record Voice Over"}, {"push button", "Play Timeline"}},
                  {{"push button", "Stop Voice Over"}});
}

void SurfaceTree::walkExport() {
    act("push button", "Export");
    expectForecast();
    expectSurface("the choices of an export",
                  {{"dialog", "Export Video"},
                   {"label", "Portrait video"},
                   {"panel", "Format"},
                   {"radio button", "MP4"},
                   {"radio button", "MOV"},
                   {"combo box", "Resolution"},
                   {"combo box", "Frame rate"},
                   {"label", "Estimated size"},
                   {"label", "Actual file size may vary."},
                   {"push button", "Cancel"},
                   {"push button", "Export…"}},
                  {{"label", "Calculating…"}});
    act("combo box", "Resolution");
    expectSurface(
        "the resolutions",
        {{"list item", "4K", false}, {"list item", "1440p", false}, {"list item", "1080p"}, {"list item", "720p"}});
    press("Escape");
    expectGone("list item", "4K");
    dismiss("dialog", "Export Video", "Cancel");
    // Long enough to be read while it is written.
    lay(60);
    act("push button", "Export");
    act("push button", "Export…");
    expectSurface("where it goes", {{"text", "File name"}, {"push button", "Save"}});
    exportTo("Long.mp4");
    expectSurface("an export under way",
                  {{"dialog", "Exporting Video"}, {"progress bar", "Export progress"}, {"push button", "Cancel"}},
                  {{"dialog", "Export Video"}, {"text", "File name"}});
    dismiss("dialog", "Exporting Video", "Cancel");
    lay(1);
    act("push button", "Export");
    act("push button", "Export…");
    exportTo("Short.mp4");
    expectExported();
    expectSurface("an export that is done",
                  {{"alert", "Video Exported"}, {"push button", "Show in Folder"}, {"push button", "Done"}});
    dismiss("alert", "Video Exported", "Done");
}

void SurfaceTree::walkAssistants() {
    act("push button", "Edit with AI…");
    expectSurface("the assistants", {{"dialog", "Edit with AI"},
                                     {"label", "Choose an app to edit this project."},
                                     {"push button", "Claude"},
                                     {"push button", "Done"}});
    dismiss("dialog", "Edit with AI", "Done");
    std::filesystem::remove(folder.path("applications/com.anthropic.claudefordesktop.desktop"));
    act("push button", "Edit with AI…");
    expectSurface("no assistant",
                  {{"label", "No desktop assistants found"}, {"label", "Install ChatGPT or Claude to edit with AI."}},
                  {{"push button", "Claude"}});
    dismiss("dialog", "Edit with AI", "Done");
}

void SurfaceTree::walkCards() {
    act("push button", "Projects");
    expectSurface("the home with a card",
                  {{"list", "Projects"},
                   {"push button", "Open project"},
                   {"label", "Walk"},
                   {"push button", "Actions for Walk"},
                   {"label", "1 project · Recently edited first"}},
                  {{"label", "Create a video"}, {"list", "Assets"}, {"push button", "Export"}});
    act("push button", "Actions for Walk");
    expectSurface("a card's menu", {{"menu item", "Open"},
                                    {"menu item", "Open in New Window"},
                                    {"menu item", "Rename…"},
                                    {"menu item", "Duplicate"},
                                    {"menu item", "Delete…"}});
    act("menu item", "Rename…");
    expectSurface("a card's name being edited", {{"text", "Project name"}});
    press("Escape");
    expectGone("text", "Project name");
    act("push button", "Actions for Walk");
    act("menu item", "Delete…");
    expectSurface("the question before a project goes",
                  {{"alert", "Delete “Walk”?"}, {"push button", "Cancel"}, {"push button", "Delete"}});
    dismiss("alert", "Delete “Walk”?", "Cancel");
    launchAgain({"kelvane://project/00000000-0000-4000-8000-000000000000"});
    expectSurface("what could not be done", {{"alert", "Unable to Complete"}, {"push button", "OK"}});
    dismiss("alert", "Unable to Complete", "OK");
}

TEST_F(SurfaceTree, TellsEachControlWithItsNameItsRoleAndItsStates) {
    launch();
    walkHome();
    walkHelp();
    makeProject("Walk");
    walkEmptyEditor();
    walkFilledEditor();
    walkAssets();
    walkMenusOfTheEditor();
    walkMenuOfAClip();
    walkMenuOfAnAsset();
    walkExport();
    walkAssistants();
    walkCards();
    EXPECT_EQ(app->quit(), 0) << log();
}

TEST_F(SurfaceTree, TellsOfTheCountdownAndOfATakeUnderWay) {
    if (!SoundServer::isInstalled()) GTEST_SKIP() << "no pulseaudio here";
    SoundServer sound;
    ASSERT_TRUE(sound.start()) << sound.log();
    launch();
    makeProject("Walk");
    importFiles();
    lay(2);
    walkCountdown();
    walkTake();
    EXPECT_EQ(app->quit(), 0) << log();
}

}  // namespace
}  // namespace kelvane::testing
