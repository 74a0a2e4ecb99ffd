#include "CommandTable.h"

#include <QObject>
#include <algorithm>
#include <array>

#include "Support/Error.h"

namespace kelvane {

namespace {

constexpr const char* project = QT_TR_NOOP("Project");
constexpr const char* editing = QT_TR_NOOP("Editing");
constexpr const char* playing = QT_TR_NOOP("Playing and recording");
constexpr const char* timeline = QT_TR_NOOP("Timeline");
constexpr const char* assets = QT_TR_NOOP("Assets and projects");
constexpr const char* window = QT_TR_NOOP("Window");

constexpr std::array commands{
    Command{CommandID::newProject, QT_TR_NOOP("New Project…"), "Ctrl+N", project},
    Command{CommandID::importProject, QT_TR_NOOP("Import Project…"), "Ctrl+O", project},
    Command{CommandID::editWithAI, QT_TR_NOOP("Edit with AI…"), "", project},
    Command{CommandID::importVideos, QT_TR_NOOP("Import Videos…"), "Ctrl+I", project},
    Command{CommandID::saveProject, QT_TR_NOOP("Save Project"), "Ctrl+S", project},
    Command{CommandID::saveProjectAs, QT_TR_NOOP("Save Project As…"), "Ctrl+Shift+S", project},
    Command{CommandID::exportVideo, QT_TR_NOOP("Export Video…"), "Ctrl+E", project},
    Command{CommandID::closeWindow, QT_TR_NOOP("Close Window"), "Ctrl+W", window},
    Command{CommandID::quit, QT_TR_NOOP("Quit"), "Ctrl+Q", window},
    Command{.id = CommandID::undo,
            .title = QT_TR_NOOP("Undo"),
            .keys = "Ctrl+Z",
            .heading = editing,
            .yieldsToText = true,
            .repeats = true},
    Command{.id = CommandID::redo,
            .title = QT_TR_NOOP("Redo"),
            .keys = "Ctrl+Shift+Z Ctrl+Y",
            .heading = editing,
            .yieldsToText = true,
            .repeats = true},
    Command{.id = CommandID::deleteSelected,
            .title = QT_TR_NOOP("Delete Selected Item"),
            .keys = "Ctrl+Del Ctrl+Backspace Del Backspace",
            .heading = editing,
            .yieldsToText = true},
    Command{CommandID::showProjects, QT_TR_NOOP("Projects"), "Ctrl+1", window},
    Command{CommandID::toggleInspector, QT_TR_NOOP("Show Inspector"), "", window},
    Command{.id = CommandID::zoomIn,
            .title = QT_TR_NOOP("Zoom In"),
            .keys = "Ctrl++ Ctrl+=",
            .heading = timeline,
            .repeats = true},
    Command{.id = CommandID::zoomOut,
            .title = QT_TR_NOOP("Zoom Out"),
            .keys = "Ctrl+-",
            .heading = timeline,
            .repeats = true},
    Command{CommandID::resetZoom, QT_TR_NOOP("Actual Zoom"), "Ctrl+0", timeline},
    Command{CommandID::split, QT_TR_NOOP("Split at Playhead"), "Ctrl+B", editing},
    Command{CommandID::moveEarlier, QT_TR_NOOP("Move Earlier"), "", editing},
    Command{CommandID::moveLater, QT_TR_NOOP("Move Later"), "", editing},
    Command{.id = CommandID::play,
            .title = QT_TR_NOOP("Play or Pause"),
            .keys = "Space",
            .heading = playing,
            .yieldsToText = true},
    Command{.id = CommandID::record,
            .title = QT_TR_NOOP("Record Voice-Over"),
            .keys = "R",
            .heading = playing,
            .yieldsToText = true},
    Command{CommandID::nextPane, QT_TR_NOOP("Next Pane"), "F6", window},
    Command{CommandID::previousPane, QT_TR_NOOP("Previous Pane"), "Shift+F6", window},
    Command{CommandID::keyboardShortcuts, QT_TR_NOOP("Keyboard Shortcuts"), "F1", window},
    Command{CommandID::sampleProject, QT_TR_NOOP("Make a Sample Project"), "", project},
    Command{CommandID::about, QT_TR_NOOP("About Kelvane"), "", window},
};

constexpr std::array fixed{
    FixedKey{playing, "Return", QT_TR_NOOP("Back to the beginning")},
    FixedKey{playing, "Left Right", QT_TR_NOOP("One second back or on")},
    FixedKey{playing, ", .", QT_TR_NOOP("One frame back or on")},
    FixedKey{playing, "Home End", QT_TR_NOOP("The timeline’s ends")},
    FixedKey{playing, "PgUp PgDown", QT_TR_NOOP("The cut before or after")},
    FixedKey{timeline, "Ctrl+A", QT_TR_NOOP("Select all clips")},
    FixedKey{timeline, "Ctrl+Left Ctrl+Right", QT_TR_NOOP("Select the clip before or after")},
    FixedKey{timeline, "Ctrl+Up Ctrl+Down", QT_TR_NOOP("Select in the row above or below")},
    FixedKey{timeline, "Alt+Left Alt+Right", QT_TR_NOOP("Move the selected clip")},
    FixedKey{timeline, "[ ]", QT_TR_NOOP("Trim the clip’s start or end to the playhead")},
    FixedKey{timeline, "Shift+F10", QT_TR_NOOP("The selected clip’s menu")},
    FixedKey{assets, "Return", QT_TR_NOOP("Open a project, or add an asset to the timeline")},
    FixedKey{assets, "F2", QT_TR_NOOP("Rename a project")},
    FixedKey{window, "F10", QT_TR_NOOP("The menus")},
    FixedKey{window, "Esc", QT_TR_NOOP("End what is under way")},
};

}  // namespace

std::span<const Command> commandTable() { return commands; }

const Command& commandOf(CommandID id) {
    const auto index = static_cast<std::size_t>(id);
    check(index < commands.size() && commands[index].id == id, "the table has the command in its place");
    return commands[index];
}

bool isEnabled(CommandID id, const CommandState& state) {
    const bool canAct = state.hasProject && !state.busy;
    switch (id) {
        case CommandID::editWithAI:
            return canAct && state.hasAssets;
        case CommandID::importVideos:
        case CommandID::saveProject:
        case CommandID::saveProjectAs:
            return canAct;
        case CommandID::exportVideo:
            return canAct && state.hasClips;
        case CommandID::undo:
            return canAct && state.canUndo;
        case CommandID::redo:
            return canAct && state.canRedo;
        case CommandID::deleteSelected:
            return canAct && (state.hasSelection || state.hasSelectedAssets);
        case CommandID::showProjects:
            return !state.busy;
        case CommandID::toggleInspector:
            return state.hasProject;
        case CommandID::zoomIn:
            return state.hasProject && state.canZoomIn;
        case CommandID::zoomOut:
            return state.hasProject && state.canZoomOut;
        case CommandID::resetZoom:
            return state.hasProject;
        case CommandID::split:
            return canAct && state.canSplit;
        case CommandID::moveEarlier:
        case CommandID::moveLater:
            return canAct && state.selectedClips == 1;
        case CommandID::play:
            return state.hasProject && state.canPlay;
        case CommandID::record:
            return state.hasProject && state.canRecord;
        case CommandID::newProject:
        case CommandID::importProject:
        case CommandID::closeWindow:
        case CommandID::quit:
        case CommandID::nextPane:
        case CommandID::previousPane:
        case CommandID::keyboardShortcuts:
        case CommandID::sampleProject:
        case CommandID::about:
            return true;
    }
    return false;
}

bool actsByKey(CommandID id, const CommandState& state) {
    if (!isEnabled(id, state)) return false;
    // A slip of a finger ends no take.
    if (id == CommandID::record && state.isRecording) return false;
    return !(state.isTyping && commandOf(id).yieldsToText);
}

QString titleOf(CommandID id, const CommandState& state) {
    if (id == CommandID::toggleInspector && state.showsInspector) return QObject::tr("Hide Inspector");
    return QObject::tr(commandOf(id).title);
}

QStringList keysOf(CommandID id) { return QString::fromUtf8(commandOf(id).keys).split(' ', Qt::SkipEmptyParts); }

QString shownKeyOf(CommandID id) {
    const QStringList keys = keysOf(id);
    return keys.isEmpty() ? QString() : keys.front();
}

std::span<const FixedKey> fixedKeys() { return fixed; }

}  // namespace kelvane
