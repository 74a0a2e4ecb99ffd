import QtQuick
import QtQuick.Controls.Basic
import Kelvane

// One choice of a few that stand side by side; arrow keys go from one to the next.
RadioButton {
    id: segment

    implicitHeight: 28
    padding: 0
    spacing: 0
    font: Theme.buttonFont
    // A click leaves the focus where it was.
    focusPolicy: Qt.TabFocus
    Accessible.name: text
    indicator: null
    contentItem: Text {
        text: segment.text
        font: segment.font
        color: !segment.enabled ? Theme.text4 : segment.checked ? Theme.text1 : Theme.text2
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        Accessible.ignored: true
    }
    background: Rectangle {
        radius: Theme.controlRadius - 1
        color: segment.checked ? Theme.segmentOn : segment.hovered && segment.enabled ? Theme.control : "transparent"
        Behavior on color { ColorAnimation { duration: segment.hovered ? Theme.fillIn : Theme.fillOut } }
        FocusRing {
            visible: segment.visualFocus
            gap: 0
        }
    }
}
