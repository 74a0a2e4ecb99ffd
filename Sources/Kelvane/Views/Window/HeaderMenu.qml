import QtQuick
import Kelvane
import "../Controls"

// The title of a menu in the header, and the menu below it.
KeyButton {
    id: title

    // Null until it is asked for by `menuWanted`, or made before.
    property PopupMenu menu: null
    // With Alt it opens the menu.
    required property string letter
    readonly property bool expanded: menu !== null && menu.visible
    // Whether it is the one of the bar that the Tab key stops at.
    property bool isStop: false
    // Whether some menu of the bar is open, so that a pointer that comes here opens this one.
    property bool follows: false

    signal menuWanted()
    signal opened()
    signal neighbourWanted(int step)

    // With its first row chosen, or with none.
    function openMenu(chooses) {
        if (!menu) menuWanted()
        if (!menu.visible) menu.popup(title, 0, title.height)
        menu.currentIndex = chooses ? 0 : -1
        // Keys are heard by the rows.
        if (!chooses) menu.contentItem.forceActiveFocus(Qt.PopupFocusReason)
    }

    implicitHeight: parent ? parent.height : Theme.headerHeight
    leftPadding: 8
    rightPadding: 8
    font: Theme.bodyFont
    focusPolicy: isStop ? Qt.TabFocus : Qt.NoFocus
    // What a reader of the screen is told that it is.
    readonly property int ownRole: Accessible.MenuItem
    Accessible.name: text
    Accessible.onPressAction: expanded ? menu.close() : openMenu(true)
    // On the press, as menus do.
    onPressed: expanded ? menu.close() : openMenu(false)
    onHoveredChanged: if (hovered && follows && !expanded) openMenu(false)
    Keys.onReturnPressed: openMenu(true)
    Keys.onEnterPressed: openMenu(true)
    Keys.onSpacePressed: openMenu(true)
    Keys.onDownPressed: openMenu(true)
    Keys.onLeftPressed: neighbourWanted(-1)
    Keys.onRightPressed: neighbourWanted(1)

    Shortcut { sequence: "Alt+" + title.letter; onActivated: title.openMenu(true) }
    Connections {
        target: title.menu
        function onOpened() { title.opened() }
        function onLeftPressed() { title.neighbourWanted(-1) }
        function onRightPressed() { title.neighbourWanted(1) }
    }
    contentItem: Text {
        verticalAlignment: Text.AlignVCenter
        text: title.text
        font: title.font
        color: title.expanded || title.hovered ? Theme.text1 : Theme.text2
        Accessible.ignored: true
    }
    background: Item {
        Rectangle {
            anchors.verticalCenter: parent.verticalCenter
            width: parent.width
            height: 28
            radius: Theme.controlRadius
            color: title.expanded || title.hovered ? Theme.control : "transparent"
            // An open menu shows where the keyboard is.
            FocusRing { visible: title.visualFocus && !title.expanded }
        }
    }
}
