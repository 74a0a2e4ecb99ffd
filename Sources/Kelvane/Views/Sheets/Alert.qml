import QtQuick
import QtQuick.Controls.Basic
import Kelvane
import "../Controls"

// An alert: a picture of its kind, a title, a message, and buttons. The safe button has the focus.
Sheet {
    id: panel

    property string message: ""
    // Of an icon; empty shows the application's.
    property string symbol: ""
    property color symbolColor: Theme.text1
    property alias buttons: foot.buttons
    // What stands between the message and the buttons.
    property alias extra: middle.data

    alert: true
    width: 324
    padding: 20

    Item {
        width: parent.width
        height: 40
        Icon {
            visible: panel.symbol.length > 0
            x: 1
            y: 2
            name: panel.symbol
            size: 22
            color: panel.symbolColor
        }
        ApplicationMark {
            visible: panel.symbol.length === 0
            size: 30
        }
    }
    Text {
        width: parent.width
        text: panel.title
        textFormat: Text.PlainText
        wrapMode: Text.Wrap
        elide: Text.ElideRight
        maximumLineCount: 4
        font: Theme.cardTitleFont
        color: Theme.text1
        Accessible.ignored: true
    }
    Item { width: 1; height: 6; visible: panel.message.length > 0 }
    Flickable {
        id: pages
        visible: panel.message.length > 0
        width: parent.width
        // As much as leaves the buttons within the least window, and no less than a few lines.
        height: Math.max(Math.min(words.implicitHeight, 300), 72)
        contentHeight: words.implicitHeight
        clip: contentHeight > height
        boundsBehavior: Flickable.StopAtBounds
        interactive: contentHeight > height
        ScrollBar.vertical: PageScrollBar { policy: pages.interactive ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff }
        SelectableText {
            id: words
            width: pages.width - (pages.interactive ? 12 : 0)
            text: panel.message
        }
    }
    Column {
        id: middle
        width: parent.width
        topPadding: children.length > 0 ? 12 : 0
    }
    SheetFoot { id: foot }
}
