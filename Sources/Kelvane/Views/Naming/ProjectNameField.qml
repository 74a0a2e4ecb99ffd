import QtQuick
import Kelvane
import "../Controls"

// The field in which a project's name is edited, and below it why the name can't be taken.
FocusScope {
    id: field

    required property ProjectNameEditor editor
    property font font: Theme.bodyFont

    implicitWidth: 220
    implicitHeight: ground.height + (problem.visible ? problem.height + 1 : 0)
    Component.onCompleted: {
        input.text = editor.draft
        input.selectAll()
        input.forceActiveFocus(Qt.OtherFocusReason)
    }

    ProjectNameTextField {
        id: rules
        item: input
        editor: field.editor
    }
    Connections {
        target: field.editor
        // Only what is another text, so that the insertion point stays.
        function onDraftChanged() { if (field.editor && input.text !== field.editor.draft) input.text = field.editor.draft }
    }

    Rectangle {
        id: ground
        width: parent.width
        height: 24
        radius: 6
        color: Theme.window
        border.width: 1
        border.color: problem.visible ? Theme.danger : Qt.tint(color, Theme.lineStrong)

        HelpTip { text: qsTr("Enter to save. Escape to cancel.") }
        // Its frame is the field's too, and nothing below is pressed through it.
        MouseArea {
            anchors.fill: parent
            acceptedButtons: Qt.AllButtons
            cursorShape: Qt.IBeamCursor
            onPressed: input.forceActiveFocus(Qt.MouseFocusReason)
        }
        Item {
            anchors.fill: parent
            anchors.leftMargin: 6
            anchors.rightMargin: 6
            anchors.topMargin: 3
            anchors.bottomMargin: 3
            clip: true

            TextInput {
                id: input
                objectName: "projectNameField"
                anchors.fill: parent
                verticalAlignment: TextInput.AlignVCenter
                focus: true
                activeFocusOnTab: true
                readOnly: rules.finishing
                selectByMouse: true
                font: field.font
                color: Theme.text1
                selectionColor: Theme.accent
                selectedTextColor: Theme.onAccent
                Accessible.role: Accessible.EditableText
                Accessible.name: qsTr("Project name")
                Accessible.description: qsTr("Enter to save. Escape to cancel.")
                onTextChanged: rules.textChanged(text)
                onActiveFocusChanged: if (!activeFocus) rules.loseFocus()
                // What the window does with Escape waits for the edit to end.
                Keys.onShortcutOverride: event => event.accepted = event.key === Qt.Key_Escape
                Keys.onPressed: event => event.accepted = rules.pressKey(event.key)

                HoverHandler { cursorShape: Qt.IBeamCursor }
            }
        }
        FocusRing {
            visible: input.activeFocus && !problem.visible
            corner: parent.radius
            gap: 0
        }
    }
    Text {
        id: problem
        objectName: "projectNameProblem"
        anchors.top: ground.bottom
        anchors.topMargin: 1
        width: parent.width
        visible: text.length > 0
        text: field.editor ? field.editor.error : ""
        textFormat: Text.PlainText
        elide: Text.ElideRight
        maximumLineCount: 1
        font: Theme.smallFont
        color: Theme.danger
    }
}
