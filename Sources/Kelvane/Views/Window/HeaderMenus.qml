import QtQuick
import QtQuick.Controls.Basic
import Kelvane
import "../Controls"

// The menus of the window, in its header.
Row {
    id: bar

    required property WindowCommands commands
    readonly property list<HeaderMenu> titles: [fileTitle, editTitle, viewTitle, clipTitle, helpTitle]
    // The bar is one stop of the Tab key, and arrows go on from there.
    property HeaderMenu stop: fileTitle
    readonly property bool isOpen: fileMenu.visible || editMenu.visible || viewMenu.visible || clipMenu.visible || helpMenu.visible

    Accessible.role: Accessible.MenuBar
    Accessible.name: qsTr("Menus")

    // What had the keyboard before the bar took it.
    property Item before: null

    // As F10 and Alt do: opens the first menu, or closes the one that is open.
    function takeFocus() {
        if (isOpen) {
            closeOthers(null)
            return
        }
        if (!holdsFocus()) before = Window.activeFocusItem
        fileTitle.forceActiveFocus(Qt.TabFocusReason)
        stop = fileTitle
        fileTitle.openMenu(false)
    }
    function holdsFocus() {
        for (let i = 0; i < titles.length; ++i) if (titles[i].activeFocus) return true
        return false
    }
    function giveFocusBack() {
        const item = before
        before = null
        if (item && item.visible && item.enabled) item.forceActiveFocus(Qt.ShortcutFocusReason)
        return item !== null
    }
    Keys.onEscapePressed: event => event.accepted = giveFocusBack()
    // From one title, or its open menu, to the one beside it.
    function goTo(title, step) {
        const count = titles.length
        let at = 0
        for (let i = 0; i < count; ++i) if (titles[i] === title) at = i
        const next = titles[(at + step + count) % count]
        const wasOpen = title.expanded
        const chooses = title.menu.currentIndex >= 0
        next.forceActiveFocus(Qt.TabFocusReason)
        stop = next
        if (wasOpen) {
            title.menu.close()
            next.openMenu(chooses)
        }
    }
    function closeOthers(title) {
        for (let i = 0; i < titles.length; ++i) if (titles[i] !== title) titles[i].menu.close()
    }

    // A press on its own title is the title's, which closes it.
    component TitleMenu: PopupMenu { closePolicy: Popup.CloseOnEscape | Popup.CloseOnPressOutsideParent }
    component Title: HeaderMenu {
        id: title
        height: bar.height
        follows: bar.isOpen
        isStop: bar.stop === title
        onOpened: bar.closeOthers(title)
        onNeighbourWanted: step => bar.goTo(title, step)
    }

    Title { id: fileTitle; menu: fileMenu; letter: "F" }
    Title { id: editTitle; menu: editMenu; letter: "E" }
    Title { id: viewTitle; menu: viewMenu; letter: "V" }
    Title { id: clipTitle; menu: clipMenu; letter: "C" }
    Title { id: helpTitle; menu: helpMenu; letter: "H" }

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
