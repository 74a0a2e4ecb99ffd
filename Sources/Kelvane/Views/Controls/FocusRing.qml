import QtQuick
import Kelvane

// The ring of the keyboard's focus, round what it is laid over.
Rectangle {
    // Of what it surrounds.
    property real corner: Theme.controlRadius
    property real gap: Theme.focusRing
    anchors.fill: parent
    anchors.margins: -gap - border.width
    radius: corner + gap + border.width
    color: "transparent"
    border.width: Theme.focusRing
    border.color: Theme.accent
}
