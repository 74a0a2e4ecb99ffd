import QtQuick
import QtQuick.Controls.Basic
import Kelvane
import "../Controls"

// The project's name in the head of the window: a button that turns into a field.
FocusScope {
    id: control

    required property InlineProjectNameView view
    // What there is for it at most, points.
    property real room: 220
    readonly property real most: Math.min(220, room)

    implicitWidth: view.editing ? most : Math.min(button.implicitWidth, most)
    implicitHeight: view.editing ? field.height : button.height

    Connections {
        target: control.view
        function onEnded(byKey: bool, step: int) {
            const next = step === 0 ? button : button.nextItemInFocusChain(step > 0)
            next.forceActiveFocus(byKey ? Qt.TabFocusReason : Qt.OtherFocusReason)
        }
    }

    KeyButton {
        id: button
        objectName: "projectNameButton"
        visible: !control.view.editing
        focus: true
        width: Math.min(implicitWidth, control.most)
        implicitHeight: 30
        leftPadding: 6
        rightPadding: 6
        topPadding: 0
        bottomPadding: 0
        focusPolicy: Qt.TabFocus
        text: control.view.title
        font: Theme.titleFont
        Accessible.name: control.view.label
        Accessible.description: tip.text
        onClicked: control.view.edit()
        contentItem: Text {
            text: button.text
            textFormat: Text.PlainText
            verticalAlignment: Text.AlignVCenter
            elide: Text.ElideRight
            maximumLineCount: 1
            font: button.font
            color: Theme.text1
            Accessible.ignored: true
        }
        background: Rectangle {
            radius: Theme.controlRadius
            color: button.down ? Theme.controlPressed : button.hovered ? Theme.control : "transparent"
            Behavior on color { ColorAnimation { duration: button.hovered ? Theme.fillIn : Theme.fillOut } }
            FocusRing { visible: button.visualFocus }
        }
        HelpTip {
            id: tip
            text: qsTr("Rename project")
        }
    }
    Loader {
        id: field
        anchors.verticalCenter: parent.verticalCenter
        active: control.view.editing
        width: control.most
        sourceComponent: ProjectNameField { editor: control.view.nameEditor }
    }
}
