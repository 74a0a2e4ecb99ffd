import QtQuick
import Kelvane

// The ground of what stands above the window, with the shadow that it throws: no blur, which costs.
Item {
    id: ground

    property real radius: Theme.menuRadius
    property color color: Theme.raised

    component Shade: Rectangle {
        required property real drop
        required property real grown
        x: -grown
        y: drop - grown
        width: ground.width + 2 * grown
        height: ground.height + 2 * grown
        radius: ground.radius + grown
    }
    Shade { drop: 8; grown: 6; color: Qt.rgba(0, 0, 0, 0.06) }
    Shade { drop: 4; grown: 3; color: Qt.rgba(0, 0, 0, 0.12) }
    Shade { drop: 2; grown: 1; color: Qt.rgba(0, 0, 0, 0.22) }
    Shade { drop: 0; grown: 1; color: Qt.rgba(0, 0, 0, 0.55) }
    Rectangle {
        anchors.fill: parent
        radius: ground.radius
        color: ground.color
        border.width: 1
        border.color: Qt.tint(color, Theme.lineStrong)
    }
}
