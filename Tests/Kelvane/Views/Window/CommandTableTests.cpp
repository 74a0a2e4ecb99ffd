#include <gmock/gmock.h>

#include <QKeySequence>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Views/Window/CommandTable.h"

namespace kelvane::testing {
namespace {

using ::testing::UnorderedElementsAreArray;

/// A project in which everything can be done.
CommandState ready() {
    return {.hasProject = true,
            .busy = false,
            .hasAssets = true,
            .hasClips = true,
            .canUndo = true,
            .canRedo = true,
            .canSplit = true,
            .hasSelection = true,
            .hasSelectedAssets = false,
            .selectedClips = 1,
            .showsInspector = false,
            .canPlay = true,
            .canRecord = true,
            .isRecording = false,
            .canZoomIn = true,
            .canZoomOut = true,
            .isTyping = false};
}

std::set<std::string> titles(const CommandState& state, bool (*passes)(CommandID, const CommandState&)) {
    std::set<std::string> found;
    for (const Command& command : commandTable())
        if (passes(command.id, state)) found.insert(titleOf(command.id, state).toStdString());
    return found;
}

/// The commands of the menus that can be given.
std::set<std::string> enabled(const CommandState& state) {
    auto found = titles(state, isEnabled);
    // What no state of a project bears on.
    for (const char* always : {"New Project…", "Import Project…", "Close Window", "Quit", "Next Pane", "Previous Pane",
                               "Keyboard Shortcuts", "Make a Sample Project", "About Kelvane"})
        EXPECT_EQ(found.erase(always), 1U) << always;
    return found;
}

const std::set<std::string> everything{
    "Edit with AI…", "Import Videos…",       "Save Project", "Save Project As…", "Export Video…", "Undo",
    "Redo",          "Delete Selected Item", "Projects",     "Show Inspector",   "Zoom In",       "Zoom Out",
    "Actual Zoom",   "Split at Playhead",    "Move Earlier", "Move Later",       "Play or Pause", "Record Voice-Over"};

/// All that can be given in a project that is ready, but for these.
std::set<std::string> allBut(const std::set<std::string>& missing) {
    auto left = everything;
    for (const auto& title : missing) EXPECT_EQ(left.erase(title), 1U) << title;
    return left;
}

TEST(CommandTable, HasEachCommandOnceAndInItsPlace) {
    std::size_t index = 0;
    for (const Command& command : commandTable()) EXPECT_EQ(static_cast<std::size_t>(command.id), index++);
    EXPECT_EQ(commandOf(CommandID::about).id, CommandID::about);
}

TEST(CommandTable, AReadyProjectEnablesEverything) { EXPECT_EQ(enabled(ready()), everything); }

TEST(CommandTable, OnTheHomeOnlyWhatNeedsNoProjectIsEnabled) {
    EXPECT_EQ(enabled(CommandState()), (std::set<std::string>{"Projects"}));
    CommandState stale = ready();
    stale.hasProject = false;
    EXPECT_EQ(enabled(stale), (std::set<std::string>{"Projects"})) << "whatever else is said";
}

TEST(CommandTable, ABusyProjectKeepsOutAllThatActsOnItOrLeavesIt) {
    CommandState busy = ready();
    busy.busy = true;
    busy.canPlay = busy.canRecord = false;
    EXPECT_EQ(enabled(busy), (std::set<std::string>{"Show Inspector", "Zoom In", "Zoom Out", "Actual Zoom"}));
}

TEST(CommandTable, ATakeCanBeEndedAndNothingElseBeDone) {
    CommandState recording = ready();
    recording.busy = true;
    recording.isRecording = true;
    EXPECT_EQ(enabled(recording), (std::set<std::string>{"Show Inspector", "Zoom In", "Zoom Out", "Actual Zoom",
                                                         "Play or Pause", "Record Voice-Over"}));
    EXPECT_TRUE(actsByKey(CommandID::play, recording));
    EXPECT_FALSE(actsByKey(CommandID::record, recording)) << "no slip of a finger ends a take";
}

TEST(CommandTable, EachConditionDisablesItsOwn) {
    struct Row {
        const char* what;
        void (*change)(CommandState&);
        std::set<std::string> missing;
    };
    const std::vector<Row> rows{
        {"no assets", [](CommandState& s) { s.hasAssets = false; }, {"Edit with AI…"}},
        {"no clips", [](CommandState& s) { s.hasClips = false; }, {"Export Video…"}},
        {"nothing to undo", [](CommandState& s) { s.canUndo = false; }, {"Undo"}},
        {"nothing to redo", [](CommandState& s) { s.canRedo = false; }, {"Redo"}},
        {"nothing to split", [](CommandState& s) { s.canSplit = false; }, {"Split at Playhead"}},
        {"nothing selected",
         [](CommandState& s) {
             s.hasSelection = false;
             s.selectedClips = 0;
         },
         {"Delete Selected Item", "Move Earlier", "Move Later"}},
        {"two clips selected", [](CommandState& s) { s.selectedClips = 2; }, {"Move Earlier", "Move Later"}},
        {"assets selected",
         [](CommandState& s) {
             s.hasSelection = false;
             s.selectedClips = 0;
             s.hasSelectedAssets = true;
         },
         {"Move Earlier", "Move Later"}},
        {"nothing to play", [](CommandState& s) { s.canPlay = false; }, {"Play or Pause"}},
        {"a preview that is built",
         [](CommandState& s) { s.canPlay = s.canRecord = false; },
         {"Play or Pause", "Record Voice-Over"}},
        {"zoomed in", [](CommandState& s) { s.canZoomIn = false; }, {"Zoom In"}},
        {"zoomed out", [](CommandState& s) { s.canZoomOut = false; }, {"Zoom Out"}},
    };
    for (const Row& row : rows) {
        CommandState state = ready();
        row.change(state);
        EXPECT_EQ(enabled(state), allBut(row.missing)) << row.what;
    }
}

TEST(CommandTable, TheInspectorsCommandSaysWhatItWillDo) {
    CommandState state = ready();
    EXPECT_EQ(titleOf(CommandID::toggleInspector, state), "Show Inspector");
    state.showsInspector = true;
    EXPECT_EQ(titleOf(CommandID::toggleInspector, state), "Hide Inspector");
}

TEST(CommandTable, AFieldOfTextKeepsItsKeysAndTheMenusStay) {
    CommandState typing = ready();
    typing.isTyping = true;
    EXPECT_EQ(enabled(typing), everything);
    std::set<std::string> kept = titles(ready(), actsByKey);
    for (const auto& title : titles(typing, actsByKey)) kept.erase(title);
    EXPECT_THAT(kept, UnorderedElementsAreArray(
                          {"Undo", "Redo", "Delete Selected Item", "Play or Pause", "Record Voice-Over"}));
}

TEST(CommandTable, MenusShowTheseKeys) {
    const std::map<CommandID, const char*> shown{
        {CommandID::newProject, "Ctrl+N"},   {CommandID::importProject, "Ctrl+O"},
        {CommandID::editWithAI, ""},         {CommandID::importVideos, "Ctrl+I"},
        {CommandID::saveProject, "Ctrl+S"},  {CommandID::saveProjectAs, "Ctrl+Shift+S"},
        {CommandID::exportVideo, "Ctrl+E"},  {CommandID::closeWindow, "Ctrl+W"},
        {CommandID::quit, "Ctrl+Q"},         {CommandID::undo, "Ctrl+Z"},
        {CommandID::redo, "Ctrl+Shift+Z"},   {CommandID::deleteSelected, "Ctrl+Del"},
        {CommandID::showProjects, "Ctrl+1"}, {CommandID::toggleInspector, ""},
        {CommandID::split, "Ctrl+B"},        {CommandID::moveEarlier, ""},
        {CommandID::moveLater, ""},
    };
    for (const auto& [id, key] : shown) EXPECT_EQ(shownKeyOf(id), key) << commandOf(id).title;
}

TEST(CommandTable, NoKeyIsTwoCommandsAndEachIsAKey) {
    std::map<std::string, std::string> owners;
    for (const Command& command : commandTable()) {
        for (const QString& key : keysOf(command.id)) {
            EXPECT_EQ(QKeySequence::fromString(key).toString(), key) << command.title;
            const auto [owner, isNew] = owners.emplace(key.toStdString(), command.title);
            EXPECT_TRUE(isNew) << key.toStdString() << " is " << owner->second << "’s, too";
        }
    }
    EXPECT_EQ(owners.at("Ctrl+Y"), "Redo");
    EXPECT_EQ(owners.at("Backspace"), "Delete Selected Item");
    for (const FixedKey& fixed : fixedKeys())
        for (const QString& key : QString(fixed.keys).split(' '))
            EXPECT_FALSE(owners.contains(key.toStdString())) << fixed.what;
}

}  // namespace
}  // namespace kelvane::testing
