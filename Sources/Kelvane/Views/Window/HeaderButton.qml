import QtQuick
import Kelvane
import "../Controls"

// A command as a button of the window's head.
TextButton {
    required property WindowCommand command
    enabled: command.enabled
    onClicked: command.trigger()
}
