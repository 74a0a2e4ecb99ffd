import QtQuick
import Kelvane
import "../Controls"
import "../Sheets"

// The assistants that a project can be handed to, over the window.
Sheet {
    id: sheet

    required property AIAssistantView view

    title: qsTr("Edit with AI")
    shown: view.shown
    defaultButton: done
    cancelButton: done
    firstFocus: done

    Item {
        width: parent.width
        height: 28
        Text {
            anchors.verticalCenter: parent.verticalCenter
            text: sheet.title
            font: Theme.sheetTitleFont
            color: Theme.text1
            Accessible.ignored: true
        }
        TextButton {
            id: done
            anchors.right: parent.right
            implicitHeight: 28
            text: qsTr("Done")
            highlighted: true
            enabled: !sheet.view.launching
            onClicked: sheet.view.dismiss()
        }
    }
    Item { width: 1; height: 6 }
    Text {
        text: qsTr("Choose an app to edit this project.")
        font: Theme.bodyFont
        color: Theme.text2
    }
    Item { width: 1; height: 12 }

    Column {
        visible: sheet.view.names.length > 0
        width: parent.width
        spacing: 8
        Repeater {
            model: sheet.view.names
            AssistantRow {
                required property int index
                required property string modelData
                width: parent.width
                text: modelData
                picture: sheet.view.icons[index]
                known: sheet.view.known[index]
                enabled: !sheet.view.launching
                onClicked: sheet.view.launch(index)
            }
        }
    }
    Item {
        visible: sheet.view.names.length === 0
        width: parent.width
        height: 160
        Column {
            anchors.centerIn: parent
            Icon {
                anchors.horizontalCenter: parent.horizontalCenter
                name: "sparkles"
                size: 24
                color: Theme.text2
            }
            Item { width: 1; height: 14 }
            Text {
                anchors.horizontalCenter: parent.horizontalCenter
                text: qsTr("No desktop assistants found")
                font: Theme.titleFont
                color: Theme.text1
            }
            Item { width: 1; height: 5 }
            Text {
                anchors.horizontalCenter: parent.horizontalCenter
                text: qsTr("Install ChatGPT or Claude to edit with AI.")
                font: Theme.bodyFont
                color: Theme.text2
            }
        }
    }

    Item { width: 1; height: 16 }
    Text {
        visible: !sheet.view.launching
        width: parent.width
        text: qsTr("Describe your edit in the assistant. Changes appear here with normal Undo. Keep Kelvane open.")
        wrapMode: Text.Wrap
        lineHeight: 16
        lineHeightMode: Text.FixedHeight
        font: Theme.captionFont
        color: Theme.text2
    }
    Row {
        visible: sheet.view.launching
        height: 32
        spacing: 8
        Spinner { anchors.verticalCenter: parent.verticalCenter }
        Text {
            anchors.verticalCenter: parent.verticalCenter
            text: qsTr("Opening assistant…")
            font: Theme.captionFont
            color: Theme.text2
        }
    }
    Item { width: 1; height: 12; visible: failure.visible }
    Item {
        id: failure
        visible: sheet.view.message.length > 0
        width: parent.width
        height: words.height
        Icon {
            y: 1
            name: "warning"
            size: 16
            color: Theme.danger
        }
        SelectableText {
            id: words
            x: 24
            width: parent.width - x
            text: sheet.view.message
            color: Theme.danger
        }
    }
}
