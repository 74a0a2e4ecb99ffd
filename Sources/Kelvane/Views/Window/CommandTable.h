#pragma once

#include <QString>
#include <QStringList>
#include <cstddef>
#include <cstdint>
#include <span>

namespace kelvane {

/// What a person can have a window do, by menu, button or key.
enum class CommandID : std::uint8_t {
    newProject,
    importProject,
    editWithAI,
    importVideos,
    saveProject,
    saveProjectAs,
    exportVideo,
    closeWindow,
    quit,
    undo,
    redo,
    deleteSelected,
    showProjects,
    toggleInspector,
    zoomIn,
    zoomOut,
    resetZoom,
    split,
    moveEarlier,
    moveLater,
    play,
    record,
    nextPane,
    previousPane,
    keyboardShortcuts,
    sampleProject,
    about,
};

/// What decides which commands can be given: a window, the project that it shows, and where the keyboard is.
struct CommandState {
    /// Else the window shows the projects home, and what follows is as it stands here.
    bool hasProject = false;
    bool busy = false;
    bool hasAssets = false;
    bool hasClips = false;
    bool canUndo = false;
    bool canRedo = false;
    bool canSplit = false;
    /// A primary clip.
    bool hasSelection = false;
    bool hasSelectedAssets = false;
    std::size_t selectedClips = 0;
    bool showsInspector = false;
    bool canPlay = false;
    /// Whether a take can be begun, or its countdown ended.
    bool canRecord = false;
    bool isRecording = false;
    bool canZoomIn = false;
    bool canZoomOut = false;
    /// Whether a text field has the keyboard.
    bool isTyping = false;
    bool operator==(const CommandState&) const = default;
};

/// A row of the table.
struct Command {
    CommandID id;
    const char* title;
    /// As `QKeySequence::PortableText`, separated by blanks; the first is the one that is shown. Empty for none.
    const char* keys;
    /// Under which heading the help on keys has it.
    const char* heading;
    /// Whether its keys are a text field's own while one has the keyboard.
    bool yieldsToText = false;
    /// Whether a key that is held repeats it.
    bool repeats = false;
};

/// All commands, in the order of `CommandID`.
std::span<const Command> commandTable();
const Command& commandOf(CommandID id);

/// Whether the command can be given. On the projects home that is what makes and opens projects, what needs none, and
/// going there; a project that is busy keeps out all that acts on it or leaves it.
bool isEnabled(CommandID id, const CommandState& state);
/// Whether its keys give it.
bool actsByKey(CommandID id, const CommandState& state);
/// As menus call it now.
QString titleOf(CommandID id, const CommandState& state);
/// In the order of the table's row, as `QKeySequence::PortableText`.
QStringList keysOf(CommandID id);
/// The key that menus, help and tooltips show, "Ctrl+Shift+S"; empty without one.
QString shownKeyOf(CommandID id);

/// What other keys do, for the help on keys.
struct FixedKey {
    const char* heading;
    const char* keys;
    const char* what;
};
std::span<const FixedKey> fixedKeys();

}  // namespace kelvane
