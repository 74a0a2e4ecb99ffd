import QtQuick
import Kelvane
import "../Controls"

// The numbers of the selected clip.
FocusScope {
    id: pane

    required property InspectorView view

    implicitWidth: Theme.inspectorWidth

    Rectangle {
        anchors.fill: parent
        color: Theme.panel
    }
    Rectangle {
        width: 1
        height: parent.height
        color: Theme.line
    }

    Flickable {
        visible: pane.view.hasClip
        anchors.fill: parent
        contentHeight: rows.height
        interactive: contentHeight > height
        boundsBehavior: Flickable.StopAtBounds
        clip: true

        Column {
            id: rows
            x: 14
            width: pane.width - 28
            enabled: pane.view.enabled

            InspectorSection {
                title: qsTr("Trim")
                parted: false
                InspectorSlider { objectName: "start"; view: pane.view; row: pane.view.start; label: qsTr("Start") }
                InspectorSlider { objectName: "end"; view: pane.view; row: pane.view.end; label: qsTr("End") }
                Item {
                    width: parent.width
                    height: 20
                    Text {
                        text: qsTr("Duration")
                        font: Theme.captionFont
                        color: parent.enabled ? Theme.text1 : Theme.text4
                    }
                    TimeText {
                        objectName: "durationText"
                        anchors.right: parent.right
                        text: pane.view.duration
                        font: Theme.captionFont
                        color: parent.enabled ? Theme.text2 : Theme.text4
                    }
                }
            }
            InspectorSection {
                title: qsTr("Frame")
                visible: !pane.view.audio
                InspectorSlider { objectName: "zoom"; view: pane.view; row: pane.view.zoom; label: qsTr("Zoom") }
                InspectorSlider { objectName: "horizontal"; view: pane.view; row: pane.view.horizontal; label: qsTr("Horizontal"); centre: 0 }
                InspectorSlider { objectName: "vertical"; view: pane.view; row: pane.view.vertical; label: qsTr("Vertical"); centre: 0 }
                TextButton {
                    objectName: "resetFrameButton"
                    width: parent.width
                    text: qsTr("Reset Frame")
                    onClicked: pane.view.resetFrame()
                }
            }
            InspectorSection {
                title: qsTr("Timeline")
                visible: pane.view.audio
                InspectorSlider { objectName: "position"; view: pane.view; row: pane.view.position; label: qsTr("Position") }
            }
            InspectorSection {
                title: qsTr("Audio")
                InspectorSlider {
                    objectName: "volume"
                    view: pane.view
                    row: pane.view.volume
                    label: qsTr("Volume")
                    spare: 34
                    IconButton {
                        objectName: "muteButton"
                        anchors.right: parent.right
                        y: 15
                        iconSize: 16
                        implicitWidth: 26
                        tint: Theme.text2
                        symbol: pane.view.muted ? "speaker-slash" : "speaker"
                        label: pane.view.muteLabel
                        onClicked: pane.view.toggleMute()
                    }
                }
            }
        }
    }

    Column {
        visible: !pane.view.hasClip
        anchors.centerIn: parent
        width: parent.width - 48
        spacing: 8
        Icon {
            anchors.horizontalCenter: parent.horizontalCenter
            name: pane.view.noticeSymbol
            size: 24
            color: Theme.text3
        }
        Text {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            text: pane.view.noticeTitle
            font: Theme.cardTitleFont
            color: Theme.text1
        }
        Text {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            text: pane.view.noticeText
            font: Theme.captionFont
            color: Theme.text2
        }
    }
}
