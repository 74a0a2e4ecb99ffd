import QtQuick
import Kelvane
import "../Controls"

// A command as a row of a menu.
PopupMenuItem {
    required property WindowCommand command
    text: command.title
    shortcut: command.key
    enabled: command.enabled
    onTriggered: command.trigger()
}
