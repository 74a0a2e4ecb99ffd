import QtQuick
import QtQuick.Controls.Basic
import Kelvane

// How far work is, from 0 to 1.
ProgressBar {
    id: progress

    required property string label
    // What is still to come, on a ground that it stands out from.
    property color groove: Theme.groove

    implicitWidth: 280
    implicitHeight: 6
    padding: 0
    Accessible.name: label
    background: Rectangle {
        radius: height / 2
        color: progress.groove
    }
    contentItem: Item {
        Rectangle {
            width: progress.visualPosition * parent.width
            height: parent.height
            radius: height / 2
            color: Theme.accent
            visible: width > 0
        }
    }
}
