import QtQuick
import Kelvane

// A slider that asks for values and shows the one that there is. A hand takes hold of the knob where it is; beside it,
// the knob comes to the hand.
Item {
    id: slider

    required property string label
    property real from: 0
    property real to: 1
    property real value: 0
    // By what a reader of the screen changes it.
    property real stepSize: 0.1
    // What its fill runs from, where that isn't its lower end.
    property real centre: from
    readonly property bool centred: centre > from
    readonly property bool pressed: area.pressed
    readonly property real knobSize: area.containsMouse || pressed ? 16 : 14

    // A hand takes hold of it, moves it to a value, and lets go.
    signal begun()
    signal dragged(real wished)
    signal ended()
    // A reader of the screen has set the value.
    signal moved()
    // Keys ask for so many steps, or for so many long ones, or for an end.
    signal stepped(int steps)
    signal paged(int pages)
    signal wentToEnd(bool upper)
    signal reset()
    // Takes back what keys have done, where the command for it doesn't know of that yet; whether it did.
    property var undo: () => false
    // The keyboard goes elsewhere.
    signal deserted()

    implicitWidth: 100
    implicitHeight: 24
    activeFocusOnTab: true
    onActiveFocusChanged: {
        if (activeFocus) return
        byHand = false
        deserted()
    }
    Accessible.role: Accessible.Slider
    Accessible.name: label
    Accessible.focusable: true

    function place(number) {
        return to > from ? Math.min(Math.max((number - from) / (to - from), 0), 1) * (width - 14) + 7 : 7
    }
    function number(x) {
        return from + Math.min(Math.max((x - 7) / Math.max(width - 14, 1), 0), 1) * (to - from)
    }

    // Whether a hand has taken it last: the focus shows only where the keyboard works it.
    property bool byHand: false

    Keys.onPressed: event => {
        byHand = false
        event.accepted = press(event.key, event.modifiers & ~Qt.KeypadModifier)
    }
    function press(key, modifiers) {
        if (modifiers === Qt.ControlModifier && key === Qt.Key_Z) return undo()
        if (modifiers !== Qt.NoModifier) return false
        switch (key) {
        case Qt.Key_Left:
        case Qt.Key_Down:
            stepped(-1)
            return true
        case Qt.Key_Right:
        case Qt.Key_Up:
            stepped(1)
            return true
        case Qt.Key_PageUp:
            paged(1)
            return true
        case Qt.Key_PageDown:
            paged(-1)
            return true
        case Qt.Key_Home:
            wentToEnd(false)
            return true
        case Qt.Key_End:
            wentToEnd(true)
            return true
        }
        return false
    }

    Rectangle {
        anchors.verticalCenter: parent.verticalCenter
        width: parent.width
        height: 4
        radius: 2
        color: Theme.groove
        Rectangle {
            readonly property real origin: slider.centred ? slider.place(slider.centre) : 0
            readonly property real knobPlace: slider.place(slider.value)
            x: Math.min(origin, knobPlace)
            width: Math.abs(knobPlace - origin)
            height: parent.height
            radius: slider.centred ? 0 : 2
            color: slider.pressed ? Theme.accent : slider.enabled ? Theme.fill : Theme.groove
        }
    }
    Rectangle {
        visible: slider.centred
        anchors.verticalCenter: parent.verticalCenter
        x: Math.round(slider.place(slider.centre)) - 0.5
        width: 1
        height: 10
        color: Theme.fill
        opacity: slider.enabled ? 1 : 0.4
    }
    Rectangle {
        x: slider.place(slider.value) - width / 2
        anchors.verticalCenter: parent.verticalCenter
        width: slider.knobSize
        height: slider.knobSize
        radius: slider.knobSize / 2
        color: slider.pressed ? Theme.accent : slider.enabled ? Theme.knob : Theme.text4
        FocusRing {
            visible: slider.activeFocus && !slider.byHand
            corner: parent.radius
        }
    }
    MouseArea {
        id: area
        // From the knob's middle to where it was taken.
        property real grip: 0
        // Where a double click was; a third press that follows it there is a slip of the hand.
        property real doubled: 0
        property bool slipped: false
        Timer {
            id: slip
            interval: Qt.styleHints.mouseDoubleClickInterval
        }
        anchors.fill: parent
        hoverEnabled: true
        preventStealing: true
        onPressed: mouse => {
            const knob = slider.place(slider.value)
            const onKnob = Math.abs(mouse.x - knob) <= 8
            slipped = !onKnob && slip.running && Math.abs(mouse.x - doubled) <= Qt.styleHints.startDragDistance
            if (slipped) return
            grip = onKnob ? mouse.x - knob : 0
            slider.byHand = true
            slider.forceActiveFocus(Qt.MouseFocusReason)
            slider.begun()
            if (!onKnob) slider.dragged(slider.number(mouse.x))
        }
        onPositionChanged: mouse => { if (pressed && !slipped) slider.dragged(slider.number(mouse.x - grip)) }
        onReleased: slider.ended()
        onCanceled: slider.ended()
        onDoubleClicked: mouse => {
            doubled = mouse.x
            slip.restart()
            slider.reset()
        }
    }
    HelpTip { text: slider.label }
}
