import QtQuick
import Kelvane
import "../Controls"
import "../Sheets"

// How far an export is, and the way to stop it, over the window. Only its button does that: neither Escape nor Return,
// which a person may still be pressing for what was asked before.
Sheet {
    id: sheet

    required property ExportingView view

    title: qsTr("Exporting Video")
    shown: view.shown
    width: 328

    Text {
        text: sheet.title
        font: Theme.sheetTitleFont
        color: Theme.text1
        Accessible.ignored: true
    }
    Item { width: 1; height: 6 }
    Text {
        width: parent.width
        elide: Text.ElideRight
        text: sheet.view.format
        textFormat: Text.PlainText
        font: Theme.bodyFont
        color: Theme.text2
    }
    Item { width: 1; height: 16 }
    WorkProgress {
        width: 280
        label: qsTr("Export progress")
        value: sheet.view.progress
    }
    Item { width: 1; height: 24 }
    Item {
        width: parent.width
        height: 30
        Column {
            anchors.verticalCenter: parent.verticalCenter
            spacing: 1
            Text {
                text: sheet.view.progressText
                font: Theme.captionFont
                color: Theme.text2
            }
            Text {
                visible: text.length > 0
                text: sheet.view.remainingText
                font: Theme.captionFont
                color: Theme.text2
            }
        }
        SheetButton {
            anchors.right: parent.right
            text: qsTr("Cancel")
            enabled: sheet.view.canCancel
            onClicked: sheet.view.cancel()
        }
    }
}
