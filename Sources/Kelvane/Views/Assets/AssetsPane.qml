import QtQuick
import Kelvane
import "../Controls"

// The files that the project has, to be looked at and taken into the timeline.
FocusScope {
    id: pane

    required property AssetsView view

    Rectangle {
        anchors.fill: parent
        color: Theme.panel
    }
    Text {
        x: 12
        height: Theme.toolbarHeight
        verticalAlignment: Text.AlignVCenter
        text: qsTr("Assets")
        font: Theme.titleFont
        color: Theme.text1
    }
}
