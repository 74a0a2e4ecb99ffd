import QtQuick
import Kelvane
import "../Controls"

// What is copied, how far that is, and the way to stop it.
Item {
    id: bar

    required property ProjectWindowView view
    readonly property bool showsWork: view.copying.length > 0

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
            text: bar.view.copying
            textFormat: Text.PlainText
            font: Theme.bodyFont
            color: Theme.text1
        }
        WorkProgress {
            anchors.verticalCenter: parent.verticalCenter
            width: 160
            height: 4
            groove: Theme.window
            label: bar.view.copying
            value: bar.view.copyingProgress
        }
        TextButton {
            anchors.verticalCenter: parent.verticalCenter
            text: qsTr("Cancel")
            onClicked: bar.view.cancelCopying()
        }
    }
}
