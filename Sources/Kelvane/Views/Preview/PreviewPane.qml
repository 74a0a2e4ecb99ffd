import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Kelvane
import "../Controls"

// The picture, and under it what plays, seeks and records.
Item {
    id: pane

    required property PreviewView view

    function clock(seconds) {
        const whole = Math.floor(seconds)
        const minutes = Math.floor(whole / 60)
        return (minutes < 10 ? "0" : "") + minutes + ":" + (whole % 60 < 10 ? "0" : "") + whole % 60 + "." + Math.floor((seconds - whole) * 10)
    }

    component ControlButton: KeyButton {
        id: button
        required property string help
        implicitHeight: 32
        // A click leaves the focus where it was, else Space would press the button again.
        focusPolicy: Qt.TabFocus
        Accessible.description: help
        ToolTip.text: help
        ToolTip.visible: hovered
        ToolTip.delay: 600
        background: Rectangle {
            radius: 6
            color: button.down ? "#24272b" : button.hovered ? "#353940" : "#2b2e33"
            opacity: button.enabled ? 1 : 0.4
            border.width: button.visualFocus ? 2 : 0
            border.color: "#4ecdb8"
        }
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 8

        Rectangle {
            Layout.fillWidth: true
            Layout.fillHeight: true
            color: "#0d0e10"

            PreviewSurface {
                id: surface
                anchors.fill: parent
                anchors.margins: 8
                view: pane.view
                visible: pane.view.hasPreview && !pane.view.audioOnly
            }
            // The empty surface, and what a reader of the screen finds in place of the picture.
            Rectangle {
                x: surface.x + surface.pictureRect.x
                y: surface.y + surface.pictureRect.y
                width: surface.pictureRect.width
                height: surface.pictureRect.height
                color: surface.visible && surface.filled ? "transparent" : "#000000"
                border.width: 1
                border.color: "#1affffff"
                Accessible.role: Accessible.Graphic
                Accessible.name: qsTr("Vertical video preview")

                Label {
                    objectName: "audioLabel"
                    anchors.centerIn: parent
                    visible: pane.view.hasPreview && pane.view.audioOnly && pane.view.countdown === 0
                    text: qsTr("Audio preview")
                    color: "#a9aeb6"
                }
                Label {
                    objectName: "countdownLabel"
                    anchors.centerIn: parent
                    visible: pane.view.countdown > 0
                    text: pane.view.countdown
                    font.pixelSize: 56
                    font.weight: Font.DemiBold
                    Accessible.name: qsTr("Recording starts in %1 seconds").arg(pane.view.countdown)
                }
            }
        }

        RowLayout {
            Layout.fillWidth: true
            Layout.leftMargin: 8
            Layout.rightMargin: 8
            Layout.bottomMargin: 8
            spacing: 8

            ControlButton {
                objectName: "playButton"
                enabled: pane.view.canPlay
                text: pane.view.recording ? qsTr("Stop") : pane.view.playing ? qsTr("Pause") : qsTr("Play")
                Accessible.name: pane.view.recording ? qsTr("Stop Voice Over") : pane.view.playing ? qsTr("Pause Timeline") : qsTr("Play Timeline")
                help: pane.view.recording ? qsTr("Stop recording (Space)") : pane.view.playing ? qsTr("Pause (Space)") : qsTr("Play (Space)")
                onClicked: pane.view.togglePlayback()
            }
            Label {
                text: pane.clock(pane.view.position)
                color: pane.view.recording ? "#ff5a52" : "#ecedef"
            }
            Slider {
                id: slider
                objectName: "seekSlider"
                Layout.fillWidth: true
                enabled: pane.view.canSeek
                from: 0
                to: Math.max(pane.view.duration, 0.001)
                stepSize: 1 / 30
                focusPolicy: Qt.TabFocus
                Accessible.name: qsTr("Seek")
                onMoved: pane.view.seek(value)
                // A reader of the screen sets the value without moving anything. One that a shorter length holds back
                // is nobody's wish.
                onValueChanged: if (!pressed && value !== pane.view.position && pane.view.position <= to) pane.view.seek(value)
                onToChanged: if (!pressed) value = pane.view.position
                // A drag breaks no binding: the place follows the player whenever no hand is on it.
                Binding {
                    target: slider
                    property: "value"
                    value: pane.view.position
                    when: !slider.pressed
                    restoreMode: Binding.RestoreNone
                }
                handle: Rectangle {
                    x: slider.leftPadding + slider.visualPosition * (slider.availableWidth - width)
                    y: slider.topPadding + (slider.availableHeight - height) / 2
                    implicitWidth: 14
                    implicitHeight: 14
                    radius: 7
                    color: "#f1f2f4"
                    border.width: slider.visualFocus ? 2 : 0
                    border.color: "#4ecdb8"
                }
                background: Rectangle {
                    x: slider.leftPadding
                    y: slider.topPadding + (slider.availableHeight - height) / 2
                    implicitWidth: 120
                    implicitHeight: 4
                    width: slider.availableWidth
                    height: implicitHeight
                    radius: 2
                    color: "#3a3e45"
                    Rectangle {
                        width: slider.visualPosition * parent.width
                        height: parent.height
                        radius: 2
                        color: "#b9bec6"
                    }
                }
            }
            Label {
                text: pane.clock(pane.view.duration)
                color: "#a9aeb6"
            }
            ControlButton {
                objectName: "recordButton"
                enabled: pane.view.canRecord
                text: pane.view.countdown > 0 ? qsTr("Cancel") : pane.view.recording ? qsTr("Stop") : qsTr("Record")
                Accessible.name: pane.view.countdown > 0 ? qsTr("Cancel Voice Over") : qsTr("Record Voice Over")
                help: pane.view.countdown > 0 ? qsTr("Cancel countdown") : pane.view.recording ? qsTr("Stop recording (Space)") : qsTr("Record voice-over (R)")
                onClicked: pane.view.toggleRecording()
            }
        }
    }
}
