import QtQuick
import Kelvane
import "../Controls"

// Tells of an assistant's last edit, with the way back. It rises as it comes.
Item {
    id: bar

    required property AssistantToast toast
    // Whether the keyboard acts within it.
    readonly property bool focused: undo.activeFocus || close.activeFocus
    // The keyboard was in it when it went.
    signal focusLeft()

    implicitWidth: content.width + 20
    implicitHeight: 36
    visible: opacity > 0
    opacity: toast.shown ? 1 : 0
    transform: Translate {
        y: bar.toast.shown ? 0 : Theme.toastRise
        Behavior on y {
            enabled: bar.toast.shown
            NumberAnimation { duration: Theme.toastIn; easing.type: Easing.OutCubic }
        }
    }
    Behavior on opacity { NumberAnimation { duration: bar.toast.shown ? Theme.toastIn : Theme.toastOut; easing.type: Easing.OutCubic } }

    Connections {
        target: bar.toast
        function onChanged() { if (!bar.toast.shown && bar.focused) bar.focusLeft() }
    }
    Binding {
        target: bar.toast
        property: "held"
        value: hover.hovered || bar.focused
    }

    RaisedGround {
        anchors.fill: parent
        color: Theme.tip
    }
    // What lies below it isn't meant.
    MouseArea {
        anchors.fill: parent
        acceptedButtons: Qt.LeftButton | Qt.RightButton
        onWheel: wheel => wheel.accepted = true
    }
    HoverHandler { id: hover }
    Row {
        id: content
        x: 13
        anchors.verticalCenter: parent.verticalCenter
        spacing: 12

        Icon {
            anchors.verticalCenter: parent.verticalCenter
            name: "sparkles"
            size: 16
            color: Theme.accent
        }
        Text {
            anchors.verticalCenter: parent.verticalCenter
            text: bar.toast.text
            textFormat: Text.PlainText
            font: Theme.bodyFont
            color: Theme.text1
        }
        Row {
            anchors.verticalCenter: parent.verticalCenter
            spacing: 6
            TextButton {
                id: undo
                objectName: "assistantUndoButton"
                implicitHeight: 28
                text: qsTr("Undo")
                enabled: bar.toast.canUndo
                onClicked: bar.toast.undo()
                background: Rectangle {
                    radius: Theme.controlRadius
                    color: undo.down ? Theme.control : undo.hovered && undo.enabled ? Theme.tipButtonHover : Theme.tipButton
                    border.width: 1
                    border.color: Theme.line
                    Behavior on color { ColorAnimation { duration: undo.hovered ? Theme.fillIn : Theme.fillOut } }
                    FocusRing { visible: undo.visualFocus }
                }
            }
            IconButton {
                id: close
                objectName: "assistantCloseButton"
                implicitHeight: 28
                implicitWidth: 28
                iconSize: 16
                symbol: "close"
                tint: Theme.text2
                label: qsTr("Close")
                onClicked: bar.toast.close()
            }
        }
    }
}
