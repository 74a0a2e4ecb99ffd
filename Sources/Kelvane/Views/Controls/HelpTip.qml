import QtQuick
import QtQuick.Controls.Basic
import Kelvane

// What a control does, and in grey the key that does the same: "Play (Space)" is shown as "Play  Space".
ToolTip {
    id: tip
    readonly property var parts: /^(.*) \(([^()]+)\)$/.exec(text)
    delay: Theme.tipDelay
    padding: 6
    leftPadding: 9
    rightPadding: 9
    contentItem: Row {
        spacing: 6
        Text {
            text: tip.parts ? tip.parts[1] : tip.text
            font: Theme.captionFont
            color: Theme.text1
            Accessible.ignored: true
        }
        Text {
            visible: tip.parts !== null
            text: tip.parts ? tip.parts[2] : ""
            font: Theme.captionFont
            color: Theme.text2
            Accessible.ignored: true
        }
    }
    background: Rectangle {
        radius: 6
        color: Theme.tip
        border.width: 1
        border.color: Theme.line
    }
    enter: Transition { NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.tipFade } }
    exit: null
}
