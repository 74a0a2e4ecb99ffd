import QtQuick
import QtQuick.Controls.Basic
import Kelvane
import "../Controls"
import "../Assistants"
import "../Export"
import "../Home"

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
        function onProjectShown() { editorPane.timeline.forceActiveFocus(Qt.OtherFocusReason) }
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
    HelpBubble { tips: window.view.tips }

    EditorPane {
        id: editorPane
        anchors.fill: parent
        visible: !window.view.showsHome
        view: window.view
    }
    HomeView {
        anchors.fill: parent
        visible: window.view.showsHome
        view: window.view.home
    }
    WorkBar {
        visible: window.view.showsHome && showsWork
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 12
        view: window.view
    }

    ExportOptionsSheet { view: window.view.exportOptions }
    ExportingSheet { view: window.view.exportWork }
    AIAssistantSheet { view: window.view.assistants }

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
