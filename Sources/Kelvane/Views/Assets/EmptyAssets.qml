import QtQuick
import Kelvane
import "../Controls"

// The place for files of a project that has none; a click asks for some.
Item {
    id: place

    signal clicked()

    Rectangle {
        anchors.fill: parent
        radius: Theme.menuRadius
        color: area.containsMouse && place.enabled ? Qt.alpha(Theme.control, 0.4) : "transparent"
    }
    DashedFrame {
        anchors.fill: parent
        radius: Theme.menuRadius
        color: Theme.lineStrong
    }
    Column {
        anchors.centerIn: parent
        width: parent.width - 32
        spacing: 12
        Icon {
            anchors.horizontalCenter: parent.horizontalCenter
            name: "photo-stack"
            size: 24
            color: Theme.text2
        }
        Text {
            objectName: "emptyAssetsText"
            anchors.horizontalCenter: parent.horizontalCenter
            width: Math.min(parent.width, 180)
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            text: qsTr("Import or drop video and audio here.")
            font: Theme.bodyFont
            color: place.enabled ? Theme.text2 : Theme.text4
        }
    }
    MouseArea {
        id: area
        objectName: "emptyAssets"
        anchors.fill: parent
        hoverEnabled: true
        onClicked: place.clicked()
    }
}
