import QtQuick
import Kelvane
import "../Sheets"

// Our own chooser of files, over its window. Return takes what is typed, Escape declines.
Sheet {
    id: panel

    required property FileBrowser browser
    property alias acceptText: acceptButton.text

    signal declined()

    width: Math.min(680, parent ? parent.width - 40 : 680)
    padding: 20
    defaultButton: acceptButton
    cancelButton: rejectButton
    firstFocus: chooser.field

    Text {
        width: parent.width
        text: panel.title
        textFormat: Text.PlainText
        wrapMode: Text.Wrap
        font: Theme.cardTitleFont
        color: Theme.text1
        Accessible.ignored: true
    }
    Item { width: 1; height: 14 }
    ChooserPane {
        id: chooser
        width: parent.width
        browser: panel.browser
        onConfirmed: panel.press(acceptButton)
    }
    SheetFoot {
        gap: 20
        SheetButton {
            id: rejectButton
            text: qsTr("Cancel")
            onClicked: panel.declined()
        }
        SheetButton {
            id: acceptButton
            primary: true
            enabled: panel.browser.canAccept
            onClicked: panel.browser.accept()
        }
    }
}
