import QtQuick
import QtQuick.Controls.Basic
import Kelvane
import "../Controls"

// A field of text in a sheet. Return goes on to the sheet's default button.
TextField {
    id: field

    required property string label

    width: parent.width
    implicitHeight: 32
    leftPadding: 10
    rightPadding: 10
    font: Theme.bodyFont
    color: Theme.text1
    selectByMouse: true
    selectionColor: Theme.accent
    selectedTextColor: Theme.onAccent
    Accessible.name: label
    background: Rectangle {
        radius: Theme.controlRadius
        color: Theme.window
        border.width: 1
        border.color: Qt.tint(color, Theme.lineStrong)
        FocusRing {
            visible: field.activeFocus
            gap: 0
        }
    }
}
