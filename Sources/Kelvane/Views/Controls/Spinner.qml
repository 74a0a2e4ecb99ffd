import QtQuick
import Kelvane

// Work under way of which nobody knows how far it is: twelve steps a turn, a turn in 0.9 s.
Item {
    id: spinner

    property real size: 16
    property color color: Theme.text2
    property int step: 0

    implicitWidth: size
    implicitHeight: size
    Accessible.ignored: true

    Timer {
        interval: 75
        repeat: true
        running: spinner.visible
        onTriggered: spinner.step = (spinner.step + 1) % 12
    }
    Repeater {
        model: 12
        Rectangle {
            required property int index
            readonly property real angle: index * Math.PI / 6
            width: Math.max(spinner.size / 8, 1.5)
            height: width
            radius: width / 2
            x: (spinner.size - width) / 2 * (1 + Math.sin(angle))
            y: (spinner.size - height) / 2 * (1 - Math.cos(angle))
            color: spinner.color
            opacity: 0.25 + 0.75 * ((index - spinner.step + 23) % 12) / 11
        }
    }
}
