import QtQuick
import Kelvane
import "../Controls"

// Between assets and preview: takes room from one for the other.
Item {
    id: divider

    required property EditorView view
    property real value: 0
    readonly property real from: 0
    readonly property real to: 100
    readonly property real stepSize: 5

    implicitWidth: 8
    activeFocusOnTab: true
    Accessible.role: Accessible.Splitter
    Accessible.name: qsTr("Assets pane width")
    Accessible.description: qsTr("Resize assets")
    Accessible.focusable: true
    Accessible.onIncreaseAction: view.stepDivider(1)
    Accessible.onDecreaseAction: view.stepDivider(-1)
    Keys.onLeftPressed: view.stepDivider(-1)
    Keys.onRightPressed: view.stepDivider(1)
    // A reader of the screen sets the value.
    onValueChanged: {
        if (value === view.assetsPercent) return
        view.setAssetsPercent(value)
        value = view.assetsPercent
    }

    Binding {
        target: divider
        property: "value"
        value: divider.view.assetsPercent
        restoreMode: Binding.RestoreNone
    }
    Rectangle {
        anchors.fill: parent
        color: Theme.stage
    }
    Rectangle {
        width: 1
        height: parent.height
        color: Theme.line
    }
    Rectangle {
        anchors.centerIn: parent
        width: 2
        height: 32
        radius: 1
        color: area.containsMouse || area.pressed || divider.activeFocus ? Theme.text2 : Theme.lineStrong
    }
    FocusRing {
        visible: divider.activeFocus
        gap: -border.width
        corner: 0
    }
    MouseArea {
        id: area
        property real start: 0
        anchors.fill: parent
        hoverEnabled: true
        preventStealing: true
        cursorShape: Qt.SplitHCursor
        // In the window, as the divider itself moves.
        onPressed: mouse => {
            start = mapToItem(null, mouse.x, 0).x
            divider.view.beginDividerDrag()
        }
        onPositionChanged: mouse => { if (pressed) divider.view.dragDivider(mapToItem(null, mouse.x, 0).x - start) }
        onReleased: divider.view.endDividerDrag()
        onCanceled: divider.view.endDividerDrag()
        onDoubleClicked: divider.view.resetDivider()
    }
    HelpTip {
        text: qsTr("Resize assets")
    }
}
