import QtQuick
import Kelvane

// A time that never jitters: each digit stands in the middle of a cell that the widest one fills.
Row {
    id: time

    property string text: ""
    // How many of its characters stand out.
    property int leading: text.length
    property font font: Theme.buttonFont
    property color color: Theme.text1
    property color restColor: Theme.text2
    readonly property real cell: Math.max(...[..."0123456789"].map(digit => metrics.advanceWidth(digit)))

    Accessible.role: Accessible.StaticText
    Accessible.name: text

    FontMetrics {
        id: metrics
        font: time.font
    }
    Repeater {
        model: time.text.length
        Text {
            required property int index
            readonly property string letter: time.text.charAt(index)
            width: /[0-9]/.test(letter) ? time.cell : implicitWidth
            horizontalAlignment: Text.AlignHCenter
            text: letter
            font: time.font
            color: index < time.leading ? time.color : time.restColor
            Accessible.ignored: true
        }
    }
}
