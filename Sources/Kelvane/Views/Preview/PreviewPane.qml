import QtQuick
import QtQuick.Controls.Basic
import Kelvane

// The picture, on a ground that keeps to itself. What plays, seeks and records stands with the timeline.
Rectangle {
    id: pane

    required property PreviewView view
    // Points below the picture.
    property real foot: 0

    color: Theme.stage

    PreviewSurface {
        id: surface
        anchors.fill: parent
        anchors.topMargin: 12
        anchors.bottomMargin: Math.max(pane.foot, 8)
        anchors.leftMargin: 8
        anchors.rightMargin: 8
        view: pane.view
        visible: pane.view.hasPreview && !pane.view.audioOnly
    }
    // Rounds the picture's corners.
    Rectangle {
        readonly property real corner: Theme.previewRadius
        visible: surface.visible && surface.filled
        x: surface.x + surface.pictureRect.x - corner
        y: surface.y + surface.pictureRect.y - corner
        width: surface.pictureRect.width + 2 * corner
        height: surface.pictureRect.height + 2 * corner
        radius: 2 * corner
        color: "transparent"
        border.width: corner
        border.color: Theme.stage
    }
    // The empty surface, and what a reader of the screen finds in place of the picture.
    Rectangle {
        x: surface.x + surface.pictureRect.x
        y: surface.y + surface.pictureRect.y
        width: surface.pictureRect.width
        height: surface.pictureRect.height
        radius: Theme.previewRadius
        color: surface.visible && surface.filled ? "transparent" : Theme.window
        border.width: 1
        border.color: Theme.edge
        Accessible.role: Accessible.Graphic
        Accessible.name: qsTr("Vertical video preview")

        Label {
            objectName: "audioLabel"
            anchors.centerIn: parent
            visible: pane.view.hasPreview && pane.view.audioOnly && pane.view.countdown === 0
            text: qsTr("Audio preview")
            font: Theme.bodyFont
            color: Theme.text2
        }
        Label {
            objectName: "countdownLabel"
            anchors.centerIn: parent
            visible: pane.view.countdown > 0
            text: pane.view.countdown
            font: Theme.countdownFont
            Accessible.name: qsTr("Recording starts in %1 seconds").arg(pane.view.countdown)
        }
    }
}
