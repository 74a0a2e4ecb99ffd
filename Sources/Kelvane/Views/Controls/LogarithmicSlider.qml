import QtQuick
import Kelvane

// A slider on which equal ways are equal ratios.
Item {
    id: slider

    required property string label
    property real from: 1
    property real to: 2
    property real value: 1
    // The ratios of a hundredth and of a tenth of its way, by which keys and readers of the screen step it.
    readonly property real ratio: Math.pow(to / from, 0.01)
    readonly property real pageRatio: Math.pow(to / from, 0.1)
    readonly property real stepSize: value * (ratio - 1)
    readonly property bool pressed: area.pressed
    readonly property real knobSize: area.containsMouse || pressed ? 16 : 14
    readonly property real place: to > from && from > 0 ? Math.min(Math.max(Math.log(value / from) / Math.log(to / from), 0), 1) : 0

    // A hand takes hold of it.
    signal begun()
    signal reset()

    implicitWidth: 100
    implicitHeight: 24
    activeFocusOnTab: true
    Accessible.role: Accessible.Slider
    Accessible.name: label
    Accessible.focusable: true
    Accessible.onIncreaseAction: step(ratio)
    Accessible.onDecreaseAction: step(1 / ratio)

    function step(by) { value = Math.min(Math.max(value * by, from), to) }
    function go(x) {
        const share = Math.min(Math.max((x - knob.width / 2) / (width - knob.width), 0), 1)
        value = from * Math.pow(to / from, share)
    }

    Keys.onLeftPressed: step(1 / ratio)
    Keys.onDownPressed: step(1 / ratio)
    Keys.onRightPressed: step(ratio)
    Keys.onUpPressed: step(ratio)
    Keys.onPressed: event => {
        if (event.key === Qt.Key_Home) value = from
        else if (event.key === Qt.Key_End) value = to
        else if (event.key === Qt.Key_PageUp) step(pageRatio)
        else if (event.key === Qt.Key_PageDown) step(1 / pageRatio)
        else return
        event.accepted = true
    }

    Rectangle {
        anchors.verticalCenter: parent.verticalCenter
        width: parent.width
        height: 4
        radius: 2
        color: Theme.groove
        Rectangle {
            width: knob.x + knob.width / 2
            height: parent.height
            radius: 2
            color: slider.pressed ? Theme.accent : slider.enabled ? Theme.fill : Theme.groove
        }
    }
    Rectangle {
        id: knob
        x: slider.place * (slider.width - width)
        anchors.verticalCenter: parent.verticalCenter
        width: slider.knobSize
        height: slider.knobSize
        radius: slider.knobSize / 2
        color: slider.pressed ? Theme.accent : slider.enabled ? Theme.knob : Theme.text4
        FocusRing {
            visible: slider.activeFocus
            corner: parent.radius
        }
    }
    MouseArea {
        id: area
        anchors.fill: parent
        hoverEnabled: true
        preventStealing: true
        onPressed: mouse => {
            slider.begun()
            slider.go(mouse.x)
        }
        onPositionChanged: mouse => { if (pressed) slider.go(mouse.x) }
        onDoubleClicked: slider.reset()
    }
    HelpTip { text: slider.label }
}
