import QtQuick
import Kelvane
import "../Controls"

// What is copied, how far that is, and the way to stop it.
Item {
    id: bar

    required property ProjectWindowView view
    readonly property bool showsWork: view.copying.length > 0

    objectName: "workBar"
    visible: showsWork
    width: content.width + 24
    height: 40

    RaisedGround {
        anchors.fill: parent
        color: Theme.tip
    }
    Row {
        id: content
        anchors.centerIn: parent
        spacing: 12

        Text {
            anchors.verticalCenter: parent.verticalCenter
            // A long name gives way before what stands beside it does.
            width: Math.min(implicitWidth, bar.parent ? bar.parent.width - 48 - 3 * content.spacing - progress.width - remaining.width - cancel.width : 0)
            text: bar.view.copying
            textFormat: Text.PlainText
            elide: Text.ElideMiddle
            maximumLineCount: 1
            font: Theme.bodyFont
            color: Theme.text1
        }
        WorkProgress {
            id: progress
            anchors.verticalCenter: parent.verticalCenter
            width: 160
            height: 4
            groove: Theme.window
            label: bar.view.copying
            value: bar.view.copyingProgress
        }
        Text {
            id: remaining
            anchors.verticalCenter: parent.verticalCenter
            visible: text.length > 0
            text: bar.view.copyingRemaining
            font: Theme.captionFont
            color: Theme.text2
        }
        TextButton {
            id: cancel
            anchors.verticalCenter: parent.verticalCenter
            text: qsTr("Cancel")
            onClicked: bar.view.cancelCopying()
        }
    }
}
