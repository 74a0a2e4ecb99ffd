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
    readonly property bool isOpen: menus !== null && menus.isOpen
    // Null until they are made.
    readonly property HeaderMenuSet menus: loader.item as HeaderMenuSet
    // Whether they may be made.
    property bool due: false
    readonly property bool whole: loader.ready

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
        const chooses = wasOpen && title.menu.currentIndex >= 0
        next.forceActiveFocus(Qt.TabFocusReason)
        stop = next
        if (wasOpen) {
            title.menu.close()
            next.openMenu(chooses)
        }
    }
    function closeOthers(title) {
        for (let i = 0; i < titles.length; ++i) if (titles[i] !== title && titles[i].menu) titles[i].menu.close()
    }

    component Title: HeaderMenu {
        id: title
        height: bar.height
        follows: bar.isOpen
        isStop: bar.stop === title
        onMenuWanted: loader.now()
        onOpened: bar.closeOthers(title)
        onNeighbourWanted: step => bar.goTo(title, step)
    }

    Title { id: fileTitle; text: qsTr("File"); letter: "F"; menu: bar.menus ? bar.menus.file : null }
    Title { id: editTitle; text: qsTr("Edit"); letter: "E"; menu: bar.menus ? bar.menus.edit : null }
    Title { id: viewTitle; text: qsTr("View"); letter: "V"; menu: bar.menus ? bar.menus.view : null }
    Title { id: clipTitle; text: qsTr("Clip"); letter: "C"; menu: bar.menus ? bar.menus.clip : null }
    Title { id: helpTitle; text: qsTr("Help"); letter: "H"; menu: bar.menus ? bar.menus.help : null }

    LateLoader {
        id: loader
        part: Qt.resolvedUrl("HeaderMenuSet.qml")
        properties: ({ commands: bar.commands })
        due: bar.due
    }
}
