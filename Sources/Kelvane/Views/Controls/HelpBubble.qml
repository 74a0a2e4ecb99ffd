import QtQuick
import Kelvane

// Shows the window's tip: what a control does, in grey the key that does the same, and below why it is dimmed.
Rectangle {
    id: bubble

    required property HelpTips tips
    readonly property point place: tips.place(tips.target, Qt.size(width, height), Qt.size(parent.width, parent.height))

    x: place.x
    y: place.y
    width: Math.min(content.width + 18, parent.width - 12)
    height: content.height + 12
    visible: tips.shown && tips.text.length + tips.reason.length > 0
    radius: 6
    color: Theme.tip
    border.width: 1
    border.color: Qt.tint(color, Theme.line)
    // What a control does is its own description.
    Accessible.ignored: true
    Component.onCompleted: tips.attach(bubble)

    NumberAnimation on opacity { running: bubble.visible; from: 0; to: 1; duration: Theme.tipFade }

    Column {
        id: content
        x: 9
        y: 6
        spacing: 2
        Row {
            visible: bubble.tips.text.length > 0
            spacing: 6
            Text {
                text: bubble.tips.text
                textFormat: Text.PlainText
                font: Theme.captionFont
                color: Theme.text1
                Accessible.ignored: true
            }
            Text {
                visible: text.length > 0
                text: bubble.tips.key
                textFormat: Text.PlainText
                font: Theme.captionFont
                color: Theme.text2
                Accessible.ignored: true
            }
        }
        Text {
            visible: text.length > 0
            text: bubble.tips.reason
            textFormat: Text.PlainText
            font: Theme.captionFont
            color: Theme.text2
            Accessible.ignored: true
        }
    }
}
