import QtQuick
import Kelvane
import "../Controls"

// What stands above the timeline: what it holds and what is chosen, the acts, the zoom, and where the playhead is.
Item {
    id: toolbar

    required property TimelineView view
    required property PreviewView preview

    readonly property bool isRecording: preview.recording
    // Where there is little room the title gives way, as what stands beside it says more.
    readonly property bool isNarrow: width < 640
    // The clips' count gives way next, where something is chosen.
    readonly property real countEnd: header.x + 16 + (isNarrow ? 0 : 8 + title.implicitWidth) + 8 + clipCount.implicitWidth
        + 8 + selectedCount.implicitWidth + 8 + selectedVolume.implicitWidth
    readonly property bool hasRoomForCount: view.selectedCount.length === 0 || countEnd + 16 + acts.width <= zooms.x

    implicitHeight: Theme.toolbarHeight

    component HeaderText: Text {
        anchors.verticalCenter: parent.verticalCenter
        visible: text.length > 0 && !toolbar.isRecording
        font: Theme.bodyFont
        color: Theme.text3
    }

    Row {
        id: header
        anchors.left: parent.left
        anchors.leftMargin: 12
        height: parent.height
        spacing: 8
        // What can be done and where the playhead is stay in any width.
        visible: x + implicitWidth + 16 + acts.width <= zooms.x

        Icon {
            anchors.verticalCenter: parent.verticalCenter
            visible: !toolbar.isRecording
            name: "film-stack"
            size: 16
            color: Theme.text2
        }
        HeaderText {
            id: title
            visible: !toolbar.isNarrow && !toolbar.isRecording
            text: qsTr("Timeline")
            font: Theme.titleFont
            color: Theme.text1
        }
        HeaderText {
            id: clipCount
            visible: toolbar.hasRoomForCount && !toolbar.isRecording
            text: toolbar.view.clipCount
        }
        HeaderText { id: selectedCount; text: toolbar.view.selectedCount }
        HeaderText { id: selectedVolume; text: toolbar.view.selectedVolume }
        Rectangle {
            anchors.verticalCenter: parent.verticalCenter
            visible: toolbar.isRecording
            width: 8
            height: 8
            radius: 4
            color: Theme.record
        }
        TimeText {
            anchors.verticalCenter: parent.verticalCenter
            visible: toolbar.isRecording
            text: toolbar.view.recordingTime
            color: Theme.record
        }
    }

    Row {
        id: acts
        readonly property real middle: (parent.width - width) / 2
        // In the middle, unless what is left or right of it needs the room.
        x: Math.max(header.visible ? header.x + header.width + 16 : 8, Math.min(middle, zooms.x - 8 - width))
        anchors.verticalCenter: parent.verticalCenter
        Keys.onLeftPressed: event => event.accepted = actsGroup.step(-1)
        Keys.onRightPressed: event => event.accepted = actsGroup.step(1)

        ControlGroup {
            id: actsGroup
            row: acts
        }
        IconButton {
            objectName: "playButton"
            implicitWidth: 36
            raised: true
            enabled: toolbar.preview.canPlay
            symbol: toolbar.preview.recording ? "stop" : toolbar.preview.playing ? "pause" : "play"
            label: toolbar.preview.recording ? qsTr("Stop Voice Over") : toolbar.preview.playing ? qsTr("Pause Timeline") : qsTr("Play Timeline")
            help: toolbar.preview.recording ? qsTr("Stop recording (Space)") : toolbar.preview.playing ? qsTr("Pause (Space)") : qsTr("Play (Space)")
            onClicked: toolbar.preview.togglePlayback()
        }
        Item { width: 2; height: 1 }
        IconButton {
            objectName: "recordButton"
            enabled: toolbar.preview.canRecord
            symbol: toolbar.preview.countdown > 0 ? "x-circle" : toolbar.preview.recording ? "stop-circle" : "mic"
            tint: toolbar.preview.recording ? Theme.record : Theme.text1
            label: toolbar.preview.countdown > 0 ? qsTr("Cancel Voice Over") : qsTr("Record Voice Over")
            help: toolbar.preview.countdown > 0 ? qsTr("Cancel countdown") : qsTr("Record voice-over (R)")
            onClicked: toolbar.preview.toggleRecording()
        }
        Item {
            width: 20
            height: 30
            Rectangle { anchors.centerIn: parent; width: 1; height: 16; color: Theme.lineStrong }
        }
        IconButton { objectName: "earlierButton"; symbol: "chevron-left"; label: qsTr("Move Earlier"); enabled: toolbar.view.canMoveEarlier; onClicked: toolbar.view.moveEarlier() }
        Item { width: 2; height: 1 }
        IconButton { objectName: "laterButton"; symbol: "chevron-right"; label: qsTr("Move Later"); enabled: toolbar.view.canMoveLater; onClicked: toolbar.view.moveLater() }
        Item { width: 2; height: 1 }
        IconButton { objectName: "splitButton"; symbol: "scissors"; label: qsTr("Split at Playhead"); enabled: toolbar.view.canSplit; onClicked: toolbar.view.split() }
        Item { width: 2; height: 1 }
        IconButton { objectName: "deleteButton"; symbol: "trash"; label: qsTr("Delete Clip"); help: qsTr("Delete clips (Del)"); enabled: toolbar.view.canDelete; onClicked: toolbar.view.deleteSelection() }
    }

    Row {
        id: zooms
        anchors.right: parent.right
        anchors.rightMargin: toolbar.isNarrow ? 8 : 12
        height: parent.height

        IconButton {
            objectName: "zoomOutButton"
            anchors.verticalCenter: parent.verticalCenter
            symbol: "zoom-out"
            iconSize: 16
            label: qsTr("Zoom Out")
            help: qsTr("Zoom out")
            tint: Theme.text2
            enabled: toolbar.view.zoom > toolbar.view.lowestZoom
            onClicked: toolbar.view.zoomBy(-1)
        }
        LogarithmicSlider {
            id: zoom
            objectName: "zoomSlider"
            implicitWidth: toolbar.isNarrow ? 92 : 100
            anchors.verticalCenter: parent.verticalCenter
            label: qsTr("Timeline Zoom")
            from: toolbar.view.lowestZoom
            to: toolbar.view.highestZoom
            onBegun: toolbar.view.endScrolling()
            onReset: value = 1
            onValueChanged: {
                if (value === toolbar.view.zoom) return
                toolbar.view.zoom = value
                value = toolbar.view.zoom
            }
            Binding {
                target: zoom
                property: "value"
                value: toolbar.view.zoom
                restoreMode: Binding.RestoreNone
            }
        }
        IconButton {
            objectName: "zoomInButton"
            anchors.verticalCenter: parent.verticalCenter
            symbol: "zoom-in"
            iconSize: 16
            label: qsTr("Zoom In")
            help: qsTr("Zoom in")
            tint: Theme.text2
            enabled: toolbar.view.zoom < toolbar.view.highestZoom
            onClicked: toolbar.view.zoomBy(1)
        }
        Item { width: toolbar.isNarrow ? 6 : 12; height: 1 }
        TimeText {
            objectName: "timeReadout"
            anchors.verticalCenter: parent.verticalCenter
            text: toolbar.view.timeReadout
            leading: text.indexOf(" ")
            Accessible.description: readoutTip.text
            HelpTip {
                id: readoutTip
                text: qsTr("Timeline position / total duration")
            }
        }
    }
}
