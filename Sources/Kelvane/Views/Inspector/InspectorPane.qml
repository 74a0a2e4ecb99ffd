import QtQuick
import Kelvane
import "../Controls"

// The numbers of the selected clip.
FocusScope {
    id: pane

    required property InspectorView view

    implicitWidth: Theme.inspectorWidth

    Rectangle {
        anchors.fill: parent
        color: Theme.panel
    }
    Rectangle {
        width: 1
        height: parent.height
        color: Theme.line
    }
}
