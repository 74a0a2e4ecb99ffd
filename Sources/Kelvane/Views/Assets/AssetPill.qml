import QtQuick
import Kelvane

// A word on a picture, on a ground that makes it readable over anything.
Rectangle {
    property alias text: label.text
    // Whether something else says it to a reader of the screen.
    property bool silent: false
    implicitWidth: label.implicitWidth + 10
    implicitHeight: 17
    radius: 4
    color: Theme.pill
    Text {
        id: label
        anchors.verticalCenter: parent.verticalCenter
        x: 5
        width: parent.width - 10
        elide: Text.ElideMiddle
        textFormat: Text.PlainText
        font: Theme.smallFont
        color: Theme.text1
        Accessible.ignored: parent.silent
    }
}
