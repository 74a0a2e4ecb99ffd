import QtQuick
import Kelvane

// A button with a label, and an icon before it where it has one.
KeyButton {
    id: button

    property string symbol: ""
    property string help: ""
    // The one main action of a surface.
    property bool primary: false
    // Does what can't be taken back.
    property bool danger: false
    // Without a ground of its own until it is hovered.
    property bool quiet: false
    // Between the icon and the label.
    property real gap: 6
    readonly property color ink: !enabled ? Theme.text4 : primary ? Theme.onAccent : danger ? "white" : Theme.text1

    implicitHeight: 30
    leftPadding: symbol.length > 0 ? 10 : 12
    rightPadding: 12
    topPadding: 0
    bottomPadding: 0
    font: primary || danger ? Theme.titleFont : Theme.buttonFont
    focusPolicy: Qt.TabFocus
    Accessible.name: text
    Accessible.description: help
    contentItem: Item {
        implicitWidth: content.implicitWidth
        implicitHeight: content.implicitHeight
        Row {
            id: content
            anchors.centerIn: parent
            spacing: button.gap
            Icon {
                anchors.verticalCenter: parent.verticalCenter
                visible: button.symbol.length > 0
                name: button.symbol
                size: 16
                color: button.ink
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: button.text
                font: button.font
                color: button.ink
                Accessible.ignored: true
            }
        }
    }
    background: Rectangle {
        readonly property bool lit: button.hovered && button.enabled
        radius: Theme.controlRadius
        color: button.primary && button.enabled ? (button.down ? Theme.accentPressed : lit ? Theme.accentHover : Theme.accent)
             : button.danger && button.enabled ? (button.down ? Theme.dangerPressed : lit ? Theme.dangerHover : Theme.dangerFill)
             : button.down ? Theme.controlPressed
             : button.quiet ? (lit ? Theme.control : "transparent")
             : lit ? Theme.controlHover : button.enabled ? Theme.control : "transparent"
        border.width: button.quiet || ((button.primary || button.danger) && button.enabled) ? 0 : 1
        // A border lies on what is behind the button, not on its ground.
        border.color: color.a < 1 ? Theme.line : Qt.tint(color, Theme.line)
        Behavior on color { ColorAnimation { duration: button.hovered ? Theme.fillIn : Theme.fillOut } }
        FocusRing { visible: button.visualFocus }
    }
    HelpTip { text: button.help }
}
