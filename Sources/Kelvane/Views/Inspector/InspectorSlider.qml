import QtQuick
import Kelvane
import "../Controls"

// One row of the inspector: what it is, its value, and below them the slider.
Item {
    id: item

    required property InspectorView view
    required property InspectorRow row
    required property string label
    // What the slider's fill runs from.
    property real centre: row.from
    // Left free at the slider's right.
    property real spare: 0

    width: parent.width
    height: 42

    Text {
        id: name
        text: item.label
        font: Theme.captionFont
        color: item.enabled ? Theme.text1 : Theme.text4
        // The slider says it.
        Accessible.ignored: true
    }
    TimeText {
        visible: text.length > 0
        anchors.right: parent.right
        text: item.row.text
        font: Theme.captionFont
        color: item.enabled ? Theme.text2 : Theme.text4
    }
    ValueSlider {
        id: slider
        objectName: item.objectName + "Slider"
        y: 18
        width: parent.width - item.spare
        label: item.label
        from: item.row.from
        to: item.row.to
        stepSize: item.row.step
        centre: item.centre
        onBegun: item.row.begin()
        onDragged: wished => item.row.drag(wished)
        onEnded: item.row.end()
        onStepped: steps => item.row.stepBy(steps)
        onPaged: pages => item.row.pageBy(pages)
        onWentToEnd: upper => item.row.goToEnd(upper)
        onReset: item.row.reset()
        onDeserted: item.view.endEditing()
        onMoved: {
            item.row.set(value)
            value = item.row.value
        }
        undo: () => item.view.undoRun()
        Binding {
            target: slider
            property: "value"
            value: item.row.value
            restoreMode: Binding.RestoreNone
        }
    }
}
