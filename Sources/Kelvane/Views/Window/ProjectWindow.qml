import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Kelvane
import "../Controls"
import "../Preview"

ApplicationWindow {
    id: window

    required property ProjectWindowView view

    width: 1060
    height: 760
    minimumWidth: 640
    minimumHeight: 420
    color: "#17181c"
    title: view.showsHome ? "Kelvane" : view.title + (view.edited ? " — Edited" : "")

    palette.window: "#17181c"
    palette.windowText: "#f2f3f5"
    palette.text: "#f2f3f5"
    palette.base: "#1f2126"
    palette.button: "#2a2d34"
    palette.buttonText: "#f2f3f5"
    palette.highlight: "#3d7eff"
    palette.highlightedText: "#ffffff"
    palette.mid: "#3a3e47"

    component ActionButton: KeyButton {
        id: button
        implicitHeight: 32
        leftPadding: 14
        rightPadding: 14
        background: Rectangle {
            radius: 6
            color: button.down ? "#4a505c" : button.hovered ? "#3a3f49" : "#2f333b"
            opacity: button.enabled ? 1 : 0.4
            border.width: button.visualFocus ? 2 : 0
            border.color: "#4ecdb8"
        }
    }

    onClosing: close => close.accepted = view.shouldClose()
    Connections {
        target: window.view
        function onCloseConfirmed() { window.close() }
    }

    Shortcut { sequences: [StandardKey.Undo]; enabled: view.canUndo; onActivated: view.undo() }
    Shortcut { sequences: [StandardKey.Redo]; enabled: view.canRedo; onActivated: view.redo() }
    Shortcut { sequences: [StandardKey.Save]; enabled: view.canSave; onActivated: view.save() }
    Shortcut { sequences: [StandardKey.New]; onActivated: view.newProject() }
    Shortcut { sequences: [StandardKey.Open]; onActivated: view.chooseProject() }
    Shortcut { sequence: "Space"; enabled: view.preview.canPlay; onActivated: view.preview.togglePlayback() }
    Shortcut { sequence: "R"; enabled: view.preview.canRecord && !view.preview.recording; onActivated: view.preview.toggleRecording() }
    Shortcut { sequence: "Ctrl+I"; enabled: view.canImport; onActivated: view.importMedia() }
    Shortcut { sequence: "Ctrl+E"; enabled: view.canExport; onActivated: view.exportVideo() }
    // Desktops that name no key for it would leave the standard one empty.
    Shortcut { sequence: "Ctrl+Q"; onActivated: view.quit() }
    Shortcut { sequence: "Ctrl+1"; enabled: view.canShowHome; onActivated: view.showHome() }

    header: ToolBar {
        implicitHeight: 56
        background: Rectangle { color: "#1f2126" }
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 16
            anchors.rightMargin: 16
            spacing: 8
            Label {
                Layout.fillWidth: true
                text: window.view.title
                textFormat: Text.PlainText
                elide: Text.ElideRight
                font.pixelSize: 18
                font.bold: true
                verticalAlignment: Text.AlignVCenter
            }
            ActionButton { visible: window.view.showsHome; text: "New Project…"; onClicked: window.view.newProject() }
            ActionButton { visible: window.view.showsHome; text: "Import Project…"; onClicked: window.view.chooseProject() }
            ActionButton { visible: !window.view.showsHome; enabled: window.view.canShowHome; text: "Projects"; onClicked: window.view.showHome() }
            ActionButton { visible: !window.view.showsHome; enabled: window.view.canImport; text: "Import Videos…"; onClicked: window.view.importMedia() }
            ActionButton { visible: !window.view.showsHome; enabled: window.view.canUndo; text: "Undo"; onClicked: window.view.undo() }
            ActionButton { visible: !window.view.showsHome; enabled: window.view.canRedo; text: "Redo"; onClicked: window.view.redo() }
            ActionButton { visible: !window.view.showsHome; enabled: window.view.canExport; text: "Export Video…"; onClicked: window.view.exportVideo() }
        }
    }

    component RowList: ListView {
        anchors.fill: parent
        anchors.margins: 16
        clip: true
        spacing: 6
        ScrollBar.vertical: ScrollBar {}
    }

    // One list for each kind of row: a list that changes both its model and its delegate makes rows of the wrong kind
    // in between.
    RowList { id: projectList; visible: window.view.showsHome; model: window.view.projects; delegate: projectRow }
    RowList { id: clipList; visible: !window.view.showsHome; anchors.leftMargin: 16 + previewPane.width; model: window.view.clips; delegate: clipRow }

    PreviewPane {
        id: previewPane
        visible: !window.view.showsHome
        anchors.top: parent.top
        anchors.bottom: parent.bottom
        anchors.left: parent.left
        width: Math.round(parent.width * 0.45)
        view: window.view.preview
    }

    Label {
        readonly property ListView list: window.view.showsHome ? projectList : clipList
        anchors.centerIn: list
        visible: list.count === 0
        horizontalAlignment: Text.AlignHCenter
        color: "#9aa0ab"
        text: window.view.showsHome ? "No projects yet.\nCreate one with New Project…"
                                    : "The timeline is empty."
    }

    Component {
        id: clipRow
        Rectangle {
            required property int index
            required property string name
            required property string kind
            required property string trim
            required property string length
            width: ListView.view.width
            height: 44
            radius: 8
            color: "#24272e"
            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: 14
                anchors.rightMargin: 14
                spacing: 16
                Label { text: index + 1; color: "#9aa0ab"; Layout.preferredWidth: 36 }
                Label { text: name; textFormat: Text.PlainText; elide: Text.ElideMiddle; Layout.fillWidth: true }
                Label { text: kind; color: "#9aa0ab"; Layout.preferredWidth: 130 }
                Label { text: trim; color: "#9aa0ab"; Layout.preferredWidth: 150 }
                Label { text: length; horizontalAlignment: Text.AlignRight; Layout.preferredWidth: 70 }
            }
        }
    }

    Component {
        id: projectRow
        Rectangle {
            required property int index
            required property string name
            required property string modified
            required property string length
            width: ListView.view.width
            height: 52
            radius: 8
            color: mouse.containsMouse ? "#2d313a" : "#24272e"
            MouseArea {
                id: mouse
                anchors.fill: parent
                hoverEnabled: true
                onDoubleClicked: window.view.openProject(index)
            }
            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: 14
                anchors.rightMargin: 14
                spacing: 16
                Label { text: name; textFormat: Text.PlainText; elide: Text.ElideRight; font.pixelSize: 15; Layout.fillWidth: true }
                Label { text: modified; color: "#9aa0ab" }
                Label { text: length; horizontalAlignment: Text.AlignRight; Layout.preferredWidth: 70 }
                ActionButton { text: "Open"; onClicked: window.view.openProject(index) }
                ActionButton { text: "Delete…"; onClicked: window.view.deleteProject(index) }
            }
        }
    }

    footer: ToolBar {
        visible: !window.view.showsHome || window.view.copying.length > 0
        implicitHeight: 36
        background: Rectangle { color: "#1f2126" }
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 16
            anchors.rightMargin: 16
            Label { text: window.view.summary; color: "#9aa0ab"; Layout.fillWidth: true; elide: Text.ElideRight }
            Label { text: window.view.copying.length > 0 ? window.view.copying : window.view.status; textFormat: Text.PlainText; color: "#9aa0ab" }
            ProgressBar {
                visible: window.view.copying.length > 0
                from: 0
                to: 1
                value: window.view.copyingProgress
                palette.dark: "#3d7eff"
                palette.midlight: "#3a3e47"
                Layout.preferredWidth: 160
            }
            Button { visible: window.view.copying.length > 0; text: "Cancel"; implicitHeight: 26; onClicked: window.view.cancelCopying() }
            ProgressBar {
                visible: window.view.exporting
                from: 0
                to: 1
                value: window.view.progress
                palette.dark: "#3d7eff"
                palette.midlight: "#3a3e47"
                Layout.preferredWidth: 160
            }
            Button { visible: window.view.exporting; text: "Cancel"; implicitHeight: 26; onClicked: window.view.cancelExport() }
        }
    }

    Dialog {
        anchors.centerIn: parent
        width: Math.min(parent.width - 80, 460)
        modal: true
        visible: window.view.error.length > 0
        title: "Unable to Complete"
        // What a reader of the screen is told that it is.
        readonly property bool alert: true
        closePolicy: Popup.CloseOnEscape
        standardButtons: Dialog.Ok
        onAccepted: window.view.dismissError()
        onRejected: window.view.dismissError()
        Label {
            width: parent.width
            text: window.view.error
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
        }
    }
}
