import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Kelvane
import "../Controls"
import "../Preview"
import "../Timeline"

ApplicationWindow {
    id: window

    required property ProjectWindowView view

    width: 1060
    height: 760
    minimumWidth: 740
    minimumHeight: 560
    color: Theme.window
    font: Theme.bodyFont
    title: view.showsHome ? "Kelvane" : view.title + (view.edited ? " — Edited" : "")

    palette.window: Theme.raised
    palette.windowText: Theme.text1
    palette.text: Theme.text1
    palette.base: Theme.window
    palette.button: Theme.control
    palette.buttonText: Theme.text1
    palette.highlight: Theme.accent
    palette.highlightedText: Theme.onAccent
    palette.mid: Theme.groove
    palette.dark: Theme.text2
    palette.light: Theme.controlHover
    palette.midlight: Theme.controlPressed

    onClosing: close => close.accepted = view.shouldClose()
    Connections {
        target: window.view
        function onCloseConfirmed() { window.close() }
        function onProjectShown() { timelinePane.surface.forceActiveFocus(Qt.OtherFocusReason) }
    }

    Shortcut { sequences: [StandardKey.Undo]; enabled: view.canUndo; onActivated: view.undo() }
    Shortcut { sequences: [StandardKey.Redo, "Ctrl+Y"]; enabled: view.canRedo; onActivated: view.redo() }
    Shortcut { sequences: [StandardKey.Save]; enabled: view.canSave; onActivated: view.save() }
    Shortcut { sequences: [StandardKey.New]; onActivated: view.newProject() }
    Shortcut { sequences: [StandardKey.Open]; onActivated: view.chooseProject() }
    Shortcut { sequence: "Space"; enabled: view.preview.canPlay; onActivated: view.preview.togglePlayback() }
    Shortcut { sequence: "R"; enabled: view.preview.canRecord && !view.preview.recording; onActivated: view.preview.toggleRecording() }
    Shortcut { sequences: ["Del", "Backspace"]; enabled: view.timeline.canDelete; onActivated: view.timeline.deleteSelection() }
    Shortcut { sequence: "Ctrl+B"; enabled: view.timeline.canSplit; onActivated: view.timeline.split() }
    Shortcut { sequence: "Ctrl+I"; enabled: view.canImport; onActivated: view.importMedia() }
    Shortcut { sequence: "Ctrl+E"; enabled: view.canExport; onActivated: view.exportVideo() }
    // Desktops that name no key for it would leave the standard one empty.
    Shortcut { sequence: "Ctrl+Q"; onActivated: view.quit() }
    Shortcut { sequence: "Ctrl+1"; enabled: view.canShowHome; onActivated: view.showHome() }

    header: ProjectHeader { view: window.view }

    Item {
        anchors.fill: parent
        visible: !window.view.showsHome

        PreviewPane {
            anchors.top: parent.top
            anchors.bottom: timelinePane.top
            width: parent.width
            foot: height > 240 ? 48 : 8
            view: window.view.preview
        }
        AnnouncementLabel { view: window.view }
        TimelinePane {
            id: timelinePane
            anchors.bottom: parent.bottom
            width: parent.width
            // What is above it keeps some room in any window.
            height: Math.min(implicitHeight, parent.height - 64)
            view: window.view.timeline
            preview: window.view.preview
        }
        WorkBar {
            anchors.horizontalCenter: parent.horizontalCenter
            anchors.bottom: timelinePane.top
            anchors.bottomMargin: 6
            view: window.view
        }
    }

    ListView {
        id: projectList
        anchors.fill: parent
        anchors.margins: 24
        visible: window.view.showsHome
        model: window.view.projects
        delegate: projectRow
        clip: true
        spacing: 6
        ScrollBar.vertical: ScrollBar {}
    }
    Label {
        anchors.centerIn: projectList
        visible: projectList.visible && projectList.count === 0
        horizontalAlignment: Text.AlignHCenter
        color: Theme.text2
        text: "No projects yet.\nCreate one with New Project…"
    }
    WorkBar {
        visible: window.view.showsHome && showsWork
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 12
        view: window.view
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
            radius: Theme.sheetRadius
            color: mouse.containsMouse ? Theme.raised : Theme.panel
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
                Label { text: name; textFormat: Text.PlainText; elide: Text.ElideRight; font: Theme.cardTitleFont; Layout.fillWidth: true }
                Label { text: modified; color: Theme.text3 }
                Label { text: length; horizontalAlignment: Text.AlignRight; Layout.preferredWidth: 70 }
                TextButton { text: "Open"; onClicked: window.view.openProject(index) }
                TextButton { text: "Delete…"; onClicked: window.view.deleteProject(index) }
            }
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
