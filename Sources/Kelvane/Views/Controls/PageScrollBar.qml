import QtQuick
import QtQuick.Controls.Basic
import Kelvane

// Tells how far a page is scrolled, while it scrolls and under the pointer.
ScrollBar {
    id: bar
    padding: 3
    minimumSize: 0.05
    contentItem: Rectangle {
        implicitWidth: bar.hovered || bar.pressed ? 8 : 5
        implicitHeight: 5
        radius: width / 2
        color: bar.pressed ? Theme.fill : Theme.groove
        opacity: bar.size < 1 && (bar.active || bar.hovered || bar.policy === ScrollBar.AlwaysOn) ? 1 : 0
        Behavior on opacity { NumberAnimation { duration: Theme.fillOut } }
    }
    background: null
}
