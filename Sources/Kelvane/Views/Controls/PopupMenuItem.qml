import QtQuick
import QtQuick.Controls.Basic
import Kelvane

// A row of a menu: what it does, and in grey the key that does the same.
MenuItem {
    id: item

    // The key, "Ctrl+N"; empty without one.
    property string shortcut: ""
    // An icon before what it does; empty without one.
    property string symbol: ""
    // Where what it does can't be taken back.
    property bool dangerous: false
    readonly property color ink: !enabled ? Theme.text4 : highlighted ? Theme.onAccent : dangerous ? Theme.danger : Theme.text1

    implicitHeight: 30
    implicitWidth: leftPadding + label.x + label.implicitWidth + (keyText.visible ? 32 + keyText.implicitWidth : 0) + rightPadding
    leftPadding: 10
    rightPadding: 10
    topPadding: 0
    bottomPadding: 0
    font: Theme.bodyFont
    contentItem: Item {
        Icon {
            anchors.verticalCenter: parent.verticalCenter
            visible: item.symbol.length > 0
            name: item.symbol
            size: 16
            color: item.ink
        }
        Text {
            id: label
            x: item.symbol.length > 0 ? 24 : 0
            anchors.verticalCenter: parent.verticalCenter
            text: item.text
            textFormat: Text.PlainText
            font: item.font
            color: item.ink
            Accessible.ignored: true
        }
        Text {
            id: keyText
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            visible: text.length > 0
            text: item.shortcut
            font: Theme.captionFont
            color: !item.enabled ? Theme.text4 : item.highlighted ? Theme.onAccent : Theme.text3
            Accessible.ignored: true
        }
    }
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()
    arrow: null
    indicator: null
    background: Rectangle {
        radius: 5
        color: !item.highlighted || !item.enabled ? "transparent" : item.down ? Theme.accentPressed : Theme.accent
    }
}
