import QtQuick
import QtQuick.Controls.Basic
import Kelvane
import "../Controls"

// The picture, on a ground that keeps to itself. What plays, seeks and records the timeline stands with it; an asset
// that is shown has its controls below the picture.
FocusScope {
    id: pane

    required property PreviewView view
    // Points below the picture.
    property real foot: 0
    // Which of several files is imported, "3 of 12"; empty where there is one or none.
    property string importProgress: ""

    // A person wants no more of them.
    signal importCancelled()

    Rectangle {
        anchors.fill: parent
        color: Theme.stage
    }
    PreviewSurface {
        id: surface
        anchors.fill: parent
        anchors.topMargin: 12
        anchors.bottomMargin: pane.foot
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
        id: frame
        x: surface.x + surface.pictureRect.x
        y: surface.y + surface.pictureRect.y
        width: Math.max(surface.pictureRect.width, 1)
        height: Math.max(surface.pictureRect.height, 1)
        radius: Theme.previewRadius
        color: surface.visible && surface.filled ? "transparent" : Theme.window
        border.width: 1
        border.color: Theme.edge
        Accessible.role: Accessible.Graphic
        Accessible.name: qsTr("Vertical video preview")

        Label {
            objectName: "audioLabel"
            anchors.centerIn: parent
            visible: pane.view.hasPreview && pane.view.audioOnly && pane.view.countdown === 0 && !pane.view.importing
            text: qsTr("Audio preview")
            font: Theme.bodyFont
            color: Theme.text2
        }
        // What covers the picture makes it darker.
        Rectangle {
            anchors.fill: parent
            visible: countdown.visible || importing.visible
            radius: parent.radius
            // Dark enough for words over a white picture.
            color: Theme.pill
        }
        CountdownRing {
            id: countdown
            anchors.centerIn: parent
            width: Math.min(116, parent.width - 24, parent.height - 24)
            height: width
            visible: pane.view.countdown > 0
            share: pane.view.countdownShare
            Label {
                objectName: "countdownLabel"
                anchors.centerIn: parent
                visible: pane.view.countdown > 0
                text: pane.view.countdown
                font: Theme.countdownFont
                Accessible.name: qsTr("Recording starts in %1 seconds").arg(pane.view.countdown)
            }
        }
        Column {
            id: importing
            objectName: "importing"
            // Within the picture of the smallest window, too.
            readonly property bool isTight: frame.height < 160
            anchors.centerIn: parent
            spacing: isTight ? 6 : 16
            visible: pane.view.importing
            Spinner {
                anchors.horizontalCenter: parent.horizontalCenter
                size: importing.isTight ? 16 : 24
                color: Theme.text1
            }
            Label {
                anchors.horizontalCenter: parent.horizontalCenter
                text: qsTr("Importing…")
                font: Theme.buttonFont
                color: Theme.text1
            }
            Label {
                objectName: "importProgress"
                anchors.horizontalCenter: parent.horizontalCenter
                visible: text.length > 0
                text: pane.importProgress
                font: Theme.captionFont
                color: Theme.text2
            }
            TextButton {
                objectName: "cancelImport"
                anchors.horizontalCenter: parent.horizontalCenter
                visible: pane.importProgress.length > 0
                text: qsTr("Cancel")
                onClicked: pane.importCancelled()
            }
        }
    }

    AssetControls {
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        height: pane.foot
        width: Math.min(implicitWidth, parent.width - 16)
        visible: pane.view.showsAsset
        view: pane.view
    }
}
