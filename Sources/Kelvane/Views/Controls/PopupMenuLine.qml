import QtQuick
import QtQuick.Controls.Basic
import Kelvane

// Between groups of a menu's rows.
MenuSeparator {
    implicitHeight: 11
    padding: 0
    leftPadding: 10
    rightPadding: 10
    contentItem: Item {
        Rectangle {
            anchors.verticalCenter: parent.verticalCenter
            width: parent.width
            height: 1
            color: Theme.line
        }
    }
}
