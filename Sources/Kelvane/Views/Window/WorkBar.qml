import QtQuick
import QtQuick.Controls.Basic
import Kelvane
import "../Controls"

// What is copied or exported, how far that is, and the way to stop it.
Rectangle {
    id: bar

    required property ProjectWindowView view
    readonly property bool isCopying: view.copying.length > 0
    readonly property bool showsWork: isCopying || view.exporting

    visible: showsWork
    width: content.width + 24
    height: 40
    radius: Theme.menuRadius
    color: Theme.tip
    border.width: 1
    border.color: Theme.line

    Row {
        id: content
        anchors.centerIn: parent
        spacing: 12

        Text {
            anchors.verticalCenter: parent.verticalCenter
            text: bar.isCopying ? bar.view.copying : bar.view.status
            textFormat: Text.PlainText
            font: Theme.bodyFont
            color: Theme.text1
        }
        ProgressBar {
            id: progress
            anchors.verticalCenter: parent.verticalCenter
            width: 160
            value: bar.isCopying ? bar.view.copyingProgress : bar.view.progress
            Accessible.name: bar.isCopying ? bar.view.copying : bar.view.status
            background: Rectangle {
                implicitHeight: 4
                radius: 2
                color: Theme.groove
            }
            contentItem: Item {
                implicitHeight: 4
                Rectangle {
                    width: progress.visualPosition * parent.width
                    height: parent.height
                    radius: 2
                    color: Theme.accent
                }
            }
        }
        TextButton {
            anchors.verticalCenter: parent.verticalCenter
            text: qsTr("Cancel")
            onClicked: bar.isCopying ? bar.view.cancelCopying() : bar.view.cancelExport()
        }
    }
}
