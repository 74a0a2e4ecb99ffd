import QtQuick
import QtQuick.Controls.Basic
import Kelvane

// A field that filters at each letter; Escape clears it.
TextField {
    id: field

    property string prompt: ""

    // A person has changed the text.
    signal edited(text: string)

    implicitHeight: 30
    leftPadding: 32
    rightPadding: 10
    topPadding: 0
    bottomPadding: 0
    verticalAlignment: TextInput.AlignVCenter
    selectByMouse: true
    placeholderText: prompt
    placeholderTextColor: Theme.text3
    font: Theme.bodyFont
    color: Theme.text1
    selectionColor: Theme.accent
    selectedTextColor: Theme.onAccent
    Accessible.name: prompt
    onTextEdited: field.edited(text)
    Keys.onShortcutOverride: event => event.accepted = event.key === Qt.Key_Escape && field.text.length > 0
    Keys.onEscapePressed: event => {
        event.accepted = field.text.length > 0
        field.clear()
        field.edited("")
    }
    background: Rectangle {
        radius: Theme.controlRadius
        color: Theme.window
        border.width: 1
        border.color: Qt.tint(color, Theme.lineStrong)
        Icon {
            x: 8
            anchors.verticalCenter: parent.verticalCenter
            name: "search"
            size: 16
            color: Theme.text3
        }
        FocusRing {
            visible: field.activeFocus
            gap: -1
        }
    }
}
