import QtQuick
import Kelvane

// A button that shows an icon alone; its label is what a reader of the screen says, and what is shown on hover where
// there is no other help.
KeyButton {
    id: button

    required property string label
    required property string symbol
    property string help: ""
    property color tint: Theme.text1
    property real iconSize: 18
    // Whether it stands out from what is around it.
    property bool raised: false

    implicitWidth: 30
    implicitHeight: 30
    // The icon is drawn whole in a small one, too.
    padding: 0
    // A click leaves the focus where it was, else Space would press the button again.
    focusPolicy: Qt.TabFocus
    text: label
    Accessible.name: label
    Accessible.description: help
    contentItem: Icon {
        name: button.symbol
        size: button.iconSize
        color: button.enabled ? button.tint : Theme.text4
    }
    background: Rectangle {
        radius: Theme.controlRadius
        color: button.down ? Theme.controlPressed
             : button.hovered && button.enabled ? (button.raised ? Theme.controlHover : Theme.control)
             : button.raised && button.enabled ? Theme.control : "transparent"
        border.width: button.raised ? 1 : 0
        border.color: color.a < 1 ? Theme.line : Qt.tint(color, Theme.line)
        Behavior on color { ColorAnimation { duration: button.hovered ? Theme.fillIn : Theme.fillOut } }
        FocusRing { visible: button.visualFocus }
    }
    HelpTip { text: button.help.length > 0 ? button.help : button.label }
}
