import QtQuick
import QtQuick.Controls.Basic
import Kelvane

// A menu, as wide as its longest row.
Menu {
    id: menu

    // Left and right where no row takes them.
    signal leftPressed()
    signal rightPressed()

    width: {
        let widest = 180
        for (let i = 0; i < count; ++i) widest = Math.max(widest, itemAt(i).implicitWidth)
        return widest + leftPadding + rightPadding
    }
    padding: 5
    overlap: 0
    contentItem: ListView {
        implicitHeight: contentHeight
        model: menu.contentModel
        interactive: Window.window ? contentHeight + menu.topPadding + menu.bottomPadding > menu.height : false
        currentIndex: menu.currentIndex
        clip: interactive
        Keys.onLeftPressed: menu.leftPressed()
        Keys.onRightPressed: menu.rightPressed()
        // Where no row is chosen yet.
        Keys.onReturnPressed: menu.currentIndex = 0
        Keys.onEnterPressed: menu.currentIndex = 0
        // The key that opened it, where it belongs to a bar of menus.
        Keys.onPressed: event => {
            event.accepted = event.key === Qt.Key_F10 && event.modifiers === Qt.NoModifier
            if (event.accepted) menu.close()
        }
    }
    background: Rectangle {
        implicitWidth: 180
        radius: Theme.menuRadius
        color: Theme.raised
        border.width: 1
        border.color: Qt.tint(color, Theme.lineStrong)
        // Three steps of black stand for a shadow, under it.
        Repeater {
            model: [[2, 1, 0.22], [4, 3, 0.12], [8, 6, 0.06]]
            Rectangle {
                required property var modelData
                z: -1
                x: -modelData[1]
                y: modelData[0] - modelData[1]
                width: parent.width + 2 * modelData[1]
                height: parent.height + 2 * modelData[1]
                radius: Theme.menuRadius + modelData[1]
                color: Qt.rgba(0, 0, 0, modelData[2])
            }
        }
    }
    // What can't be seen at all isn't there for a reader of the screen either, who finds an open menu at once.
    enter: Transition { NumberAnimation { property: "opacity"; from: 0.01; to: 1; duration: Theme.tipFade } }
    exit: null
}
