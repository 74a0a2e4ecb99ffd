import QtQuick
import Kelvane

// A few choices side by side, of which one is taken: a panel of radio buttons, and one stop of the Tab key.
FocusScope {
    id: choice

    required property string label
    property var options: []
    property int current: 0

    // A person takes another one.
    signal chosen(int index)

    function step(by) {
        const next = Math.min(Math.max(current + by, 0), options.length - 1)
        if (next === current) return
        chosen(next)
        segments.itemAt(current).forceActiveFocus(Qt.TabFocusReason)
    }

    implicitHeight: 32
    Accessible.role: Accessible.Grouping
    Accessible.name: label
    Keys.onLeftPressed: step(-1)
    Keys.onUpPressed: step(-1)
    Keys.onRightPressed: step(1)
    Keys.onDownPressed: step(1)

    Rectangle {
        anchors.fill: parent
        radius: Theme.controlRadius
        color: Theme.window
        border.width: 1
        border.color: Qt.tint(color, Theme.lineStrong)
    }
    Row {
        anchors.fill: parent
        anchors.margins: 2
        Repeater {
            id: segments
            model: choice.options
            SegmentButton {
                required property int index
                required property string modelData
                width: parent.width / choice.options.length
                height: parent.height
                text: modelData
                checked: choice.current === index
                focus: checked
                focusPolicy: checked ? Qt.TabFocus : Qt.NoFocus
                autoExclusive: false
                // What is taken is the view's to say.
                onClicked: {
                    choice.chosen(index)
                    checked = Qt.binding(() => choice.current === index)
                }
            }
        }
    }
}
