import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import Kelvane
import "../Controls"
import "../Sheets"

// Our own chooser of files, over its window. Return takes what is typed, Escape declines.
Dialog {
    id: panel

    required property FileBrowser browser
    property alias acceptText: acceptButton.text

    anchors.centerIn: parent
    width: Math.min(680, parent ? parent.width - 40 : 680)
    padding: 20
    modal: true
    focus: true
    closePolicy: Popup.CloseOnEscape

    T.Overlay.modal: Rectangle { color: Theme.scrim }
    background: Rectangle {
        radius: Theme.menuRadius
        color: Theme.raised
        border.width: 1
        border.color: Theme.lineStrong
    }
    header: Text {
        visible: text.length > 0
        leftPadding: 20
        rightPadding: 20
        topPadding: 18
        text: panel.title
        textFormat: Text.PlainText
        wrapMode: Text.Wrap
        font: Theme.cardTitleFont
        color: Theme.text1
        Accessible.ignored: true
    }
    contentItem: ChooserPane {
        focus: true
        browser: panel.browser
        onConfirmed: if (acceptButton.enabled) acceptButton.clicked()
    }
    footer: Item {
        implicitHeight: 50
        Row {
            anchors.right: parent.right
            anchors.rightMargin: 20
            spacing: 10
            SheetButton {
                text: qsTr("Cancel")
                onClicked: panel.reject()
            }
            SheetButton {
                id: acceptButton
                primary: true
                enabled: panel.browser.canAccept
                onClicked: panel.browser.accept()
            }
        }
    }
}
