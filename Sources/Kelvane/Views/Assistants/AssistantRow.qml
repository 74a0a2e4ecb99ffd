import QtQuick
import Kelvane
import "../Controls"

// An assistant that a project can be handed to; the whole of it is pressed.
KeyButton {
    id: row

    // Of the application; empty where it has none.
    property url picture
    // Whether the application is still there.
    property bool known: true

    implicitHeight: 64
    focusPolicy: Qt.TabFocus
    Accessible.name: text
    Accessible.description: qsTr("Desktop app")
    contentItem: Item {
        opacity: row.enabled ? 1 : Theme.busyOpacity
        Image {
            id: image
            visible: row.known && status === Image.Ready
            x: 4
            anchors.verticalCenter: parent.verticalCenter
            width: 40
            height: 40
            sourceSize: Qt.size(40, 40)
            fillMode: Image.PreserveAspectFit
            source: row.picture
        }
        Rectangle {
            visible: row.known && !image.visible
            anchors.fill: image
            radius: 8
            color: Theme.segmentOn
            Text {
                anchors.centerIn: parent
                text: row.text.charAt(0)
                font: Theme.sheetTitleFont
                color: Theme.text1
                Accessible.ignored: true
            }
        }
        Column {
            x: 56
            anchors.verticalCenter: parent.verticalCenter
            spacing: 1
            Text {
                text: row.text
                font: Theme.titleFont
                color: Theme.text1
                Accessible.ignored: true
            }
            Text {
                text: row.Accessible.description
                font: Theme.captionFont
                color: Theme.text2
                Accessible.ignored: true
            }
        }
        Icon {
            anchors.right: parent.right
            anchors.rightMargin: 4
            anchors.verticalCenter: parent.verticalCenter
            name: "arrow-up-right"
            size: 18
            color: Theme.text2
        }
    }
    background: Rectangle {
        radius: Theme.menuRadius
        color: row.down ? Theme.controlPressed : row.hovered && row.enabled ? Theme.controlHover : Theme.control
        border.width: 1
        border.color: Qt.tint(color, row.hovered && row.enabled ? Theme.lineStrong : Theme.line)
        Behavior on color { ColorAnimation { duration: row.hovered ? Theme.fillIn : Theme.fillOut } }
        FocusRing { visible: row.visualFocus; corner: Theme.menuRadius }
    }
}
