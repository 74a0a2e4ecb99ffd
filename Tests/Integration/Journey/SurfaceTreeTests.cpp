#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>

#include "JourneyFixture.h"

namespace kelvane::testing {
namespace {

using nlohmann::json;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// A node that a surface must have, or mustn't.
struct Wanted {
    std::string role;
    std::string name;
    bool isEnabled = true;
};
using Wanteds = std::vector<Wanted>;

/// Every surface of the window, walked through from outside, node by node.
class SurfaceTree : public Journey {
protected:
    /// All nodes of the window keep to the rules; what is wanted is there, and of the others none.
    void expectSurface(const std::string& surface, const Wanteds& there, const Wanteds& others = {});
    /// Of one node; `list` is the frame of the last list before it.
    [[nodiscard]] std::vector<std::string> faultsOf(const BusNode& node, const NodeReport& report,
                                                    const QRect& list) const;
    void openMenu(const std::string& name) { act("menu item", name); }
    void closeMenu(const std::string& item) {
        press("Escape");
        expectGone("menu item", item);
    }
    /// Closes what stands over the window by its button.
    void dismiss(const std::string& role, const std::string& title, const std::string& button) {
        act("push button", button);
        expectGone(role, title);
    }
    void makeProject(const std::string& name);
    void importFiles();
    /// Lays the first film so many times, and the sound.
    void lay(int times);
    /// Answers the question for the place.
    void exportTo(const std::string& name);
    void walkHome();
    void walkHelp();
    void walkEmptyEditor();
    void walkFilledEditor();
    void walkAssets();
    void walkMenusOfTheEditor();
    void walkExport();
    void walkAssistants();
    void walkCards();
};

bool isIn(const std::string& role, std::initializer_list<const char*> roles) {
    return std::ranges::find(roles, role) != roles.end();
}

std::vector<std::string> SurfaceTree::faultsOf(const BusNode& node, const NodeReport& report, const QRect& list) const {
    std::vector<std::string> faults;
    const auto add = [&](const std::string& fault) {
        faults.push_back(report.role + " \"" + report.name + "\" " + fault);
    };
    const bool isKnown =
        isIn(report.role, {"alert", "combo box", "dialog", "frame", "image", "label", "list", "list item", "menu",
                           "menu bar", "menu item", "panel", "popup menu", "progress bar", "push button",
                           "radio button", "slider", "split pane", "text"});
    if (!isKnown) add("has no role of ours");
    if (report.name.empty()) add("has no name");
    if (report.extents.isEmpty()) add("has no extents");
    // What is scrolled out of a list stays in the tree.
    if (!report.states.contains("visible") && (list.isNull() || list.intersects(report.extents))) add("isn't visible");
    if (report.states.contains("enabled") != report.states.contains("sensitive")) add("is enabled by half");
    const bool isPressed = isIn(report.role, {"push button", "radio button", "menu item", "combo box"});
    const bool canBe = std::ranges::find(report.actions, "Press") != report.actions.end();
    if (isPressed && !canBe) add("can't be pressed");
    const auto value = bus.value(node);
    if (isIn(report.role, {"slider", "split pane", "progress bar"}) && !value) add("has no value");
    if (value && (value->minimum > value->current || value->current > value->maximum)) add("lies beside its range");
    // An empty timeline has nowhere to go.
    if (value && report.states.contains("enabled") && value->minimum >= value->maximum) add("has no range");
    return faults;
}

void SurfaceTree::expectSurface(const std::string& surface, const Wanteds& there, const Wanteds& others) {
    for (const auto& wanted : there) expectState(node(wanted.role, wanted.name), "enabled", wanted.isEnabled);
    for (const auto& other : others) expectGone(other.role, other.name);
    if (HasFailure()) return;
    std::vector<std::string> faults;
    std::vector<std::string> focused;
    QRect list;
    bus.walk([&](const BusNode& node, const NodeReport& report) {
        if (report.role == "list") list = report.extents;
        for (auto& fault : faultsOf(node, report, list)) faults.push_back(std::move(fault));
        if (report.states.contains("focused")) focused.push_back(report.role + " " + report.name);
        return true;
    });
    EXPECT_THAT(faults, IsEmpty()) << surface << "\n" << bus.tree();
    EXPECT_THAT(focused, SizeIs(1)) << surface << "\n" << bus.tree();
}

void SurfaceTree::makeProject(const std::string& name) {
    press("Ctrl+N");
    expectFocus("text", "Name");
    type(name);
    press("Return");
    expectEditor(name);
    expectProject();
}

void SurfaceTree::importFiles() {
    if (HasFailure()) return;
    app->result({"import", "--revision", app->revision(), "--json", json(files).dump()});
    for (const char* name : {firstFilm, secondFilm, sound}) (void)node("list item", name);
}

void SurfaceTree::lay(int times) {
    if (HasFailure()) return;
    const json now = state();
    json entries = json::array();
    for (int i = 0; i < times; ++i)
        entries.push_back({{"assetID", now["assets"][0]["assetID"]}, {"start", 0}, {"end", filmSeconds}});
    entries.push_back({{"assetID", now["assets"][2]["assetID"]}, {"start", 0}, {"end", 1}, {"timelineStart", 0}});
    app->result({"timeline", "--revision", now.value("revision", ""), "--json", entries.dump()});
    (void)videoClips(static_cast<std::size_t>(times));
    expectBuilt();
}

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
    expectSurface("an export that is done",
                  {{"alert", "Video Exported"}, {"push button", "Show in Folder"}, {"push button", "Done"}});
    dismiss("alert", "Video Exported", "Done");
}

void SurfaceTree::exportTo(const std::string& name) {
    expectFocus("text", "File name");
    press("Ctrl+A");
    type(folder.path(name));
    press("Return");
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
    walkExport();
    walkAssistants();
    walkCards();
    EXPECT_EQ(app->quit(), 0) << log();
}

}  // namespace
}  // namespace kelvane::testing
