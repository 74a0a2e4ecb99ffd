import QtQuick
import QtQuick.Controls.Basic

// A button that the keyboard presses by Space, Return and Enter, also where the window has a shortcut on Space: that one
// stands back while the button shows the ring of the keyboard's focus.
Button {
    id: button
    Keys.onShortcutOverride: event => event.accepted = button.visualFocus && event.key === Qt.Key_Space
    Keys.onReturnPressed: button.clicked()
    Keys.onEnterPressed: button.clicked()
}
