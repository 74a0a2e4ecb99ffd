import QtQuick
import QtQuick.Controls.Basic
import Kelvane
import "../Controls"

// What plays the asset that is shown, and the way back to the timeline.
Item {
    id: controls

    required property PreviewView view

    implicitWidth: 380

    IconButton {
        id: play
        objectName: "playAsset"
        anchors.verticalCenter: parent.verticalCenter
        symbol: controls.view.playing ? "pause" : "play"
        label: controls.view.playing ? qsTr("Pause Preview") : qsTr("Play Preview")
        help: controls.view.playing ? qsTr("Pause (Space)") : qsTr("Play (Space)")
        enabled: controls.view.canPlay
        onClicked: controls.view.togglePlayback()
    }
    TimeText {
        id: time
        anchors.left: play.right
        anchors.leftMargin: 6
        anchors.verticalCenter: parent.verticalCenter
        text: controls.view.positionText
        color: Theme.text2
        font: Theme.captionFont
    }
    Slider {
        id: position
        objectName: "assetPosition"
        anchors.left: time.right
        anchors.leftMargin: 10
        anchors.right: back.left
        anchors.rightMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        height: 24
        padding: 0
        to: Math.max(controls.view.duration, 0.001)
        // A hand goes anywhere, an arrow key by a frame and a page key by a second.
        stepSize: 1 / 30
        snapMode: Slider.NoSnap
        Keys.onPressed: event => {
            event.accepted = true
            if (event.key === Qt.Key_Right || event.key === Qt.Key_Up) go(value + stepSize)
            else if (event.key === Qt.Key_Left || event.key === Qt.Key_Down) go(value - stepSize)
            else if (event.key === Qt.Key_PageUp) go(value + 1)
            else if (event.key === Qt.Key_PageDown) go(value - 1)
            else if (event.key === Qt.Key_Home) go(0)
            else if (event.key === Qt.Key_End) go(to)
            else event.accepted = false
        }
        function go(seconds) { controls.view.seek(Math.min(Math.max(seconds, 0), to)) }
        enabled: controls.view.canSeek
        focusPolicy: Qt.TabFocus
        Accessible.name: qsTr("Asset preview position")
        onMoved: controls.view.seek(value)
        Binding {
            target: position
            property: "value"
            value: controls.view.position
            restoreMode: Binding.RestoreNone
        }
        background: Rectangle {
            y: (parent.height - height) / 2
            width: parent.width
            height: 4
            radius: 2
            color: Theme.groove
            Rectangle {
                width: position.visualPosition * parent.width
                height: parent.height
                radius: 2
                color: position.pressed ? Theme.accent : position.enabled ? Theme.fill : Theme.groove
            }
        }
        handle: Rectangle {
            x: position.visualPosition * (position.width - width)
            y: (position.height - height) / 2
            width: position.hovered || position.pressed ? 16 : 14
            height: width
            radius: width / 2
            color: position.pressed ? Theme.accent : position.enabled ? Theme.knob : Theme.text4
            FocusRing {
                visible: position.visualFocus
                corner: parent.radius
            }
        }
        HelpTip { text: qsTr("Asset preview position") }
    }
    TextButton {
        id: back
        objectName: "backToTimeline"
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        symbol: "return"
        text: qsTr("Back to Timeline")
        help: qsTr("Back to timeline")
        onClicked: controls.view.showTimeline()
    }
}
