import QtQuick
import QtQuick.Controls.Basic
import Kelvane
import "../Controls"

// The menus of the window's header.
Item {
    id: set

    required property WindowCommands commands
    readonly property alias file: fileMenu
    readonly property alias edit: editMenu
    readonly property alias view: viewMenu
    readonly property alias clip: clipMenu
    readonly property alias help: helpMenu
    readonly property bool isOpen: fileMenu.visible || editMenu.visible || viewMenu.visible || clipMenu.visible || helpMenu.visible

    // A press on its own title is the title's, which closes it.
    component TitleMenu: PopupMenu { closePolicy: Popup.CloseOnEscape | Popup.CloseOnPressOutsideParent }
    TitleMenu {
        id: fileMenu
        objectName: "fileMenu"
        title: qsTr("File")
        CommandItem { command: bar.commands.newProject }
        CommandItem { command: bar.commands.importProject }
        PopupMenuLine {}
        CommandItem { command: bar.commands.editWithAI }
        CommandItem { command: bar.commands.importVideos }
        PopupMenuLine {}
        CommandItem { command: bar.commands.saveProject }
        CommandItem { command: bar.commands.saveProjectAs }
        CommandItem { command: bar.commands.exportVideo }
        PopupMenuLine {}
        CommandItem { command: bar.commands.closeWindow }
        CommandItem { command: bar.commands.quit }
    }
    TitleMenu {
        id: editMenu
        objectName: "editMenu"
        title: qsTr("Edit")
        CommandItem { command: bar.commands.undo }
        CommandItem { command: bar.commands.redo }
        CommandItem { command: bar.commands.deleteSelected }
    }
    TitleMenu {
        id: viewMenu
        objectName: "viewMenu"
        title: qsTr("View")
        CommandItem { command: bar.commands.showProjects }
        CommandItem { command: bar.commands.toggleInspector }
        PopupMenuLine {}
        CommandItem { command: bar.commands.zoomIn }
        CommandItem { command: bar.commands.zoomOut }
        CommandItem { command: bar.commands.resetZoom }
    }
    TitleMenu {
        id: clipMenu
        objectName: "clipCommands"
        title: qsTr("Clip")
        CommandItem { command: bar.commands.split }
        CommandItem { command: bar.commands.deleteSelected }
        PopupMenuLine {}
        CommandItem { command: bar.commands.moveEarlier }
        CommandItem { command: bar.commands.moveLater }
    }
    TitleMenu {
        id: helpMenu
        objectName: "helpMenu"
        title: qsTr("Help")
        CommandItem { command: bar.commands.keyboardShortcuts }
        CommandItem { command: bar.commands.sampleProject }
        PopupMenuLine {}
        CommandItem { command: bar.commands.about }
    }
}
