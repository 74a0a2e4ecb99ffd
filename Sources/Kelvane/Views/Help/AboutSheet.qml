import QtQuick
import Kelvane
import "../Controls"
import "../Sheets"

// What the program is, and what it is built with.
Sheet {
    id: sheet

    required property HelpView view

    title: qsTr("About Kelvane")
    shown: view.showsAbout
    width: 400
    defaultButton: done
    cancelButton: done
    firstFocus: done

    Row {
        spacing: 14
        ApplicationMark { size: 48 }
        Column {
            anchors.verticalCenter: parent.verticalCenter
            spacing: 2
            Text {
                text: "Kelvane"
                font: Theme.sheetTitleFont
                color: Theme.text1
            }
            SelectableText {
                width: 280
                text: sheet.view.version
            }
        }
    }
    Item { width: 1; height: 12 }
    Text {
        width: parent.width
        text: qsTr("Edits vertical video, by hand and together with a desktop assistant.")
        wrapMode: Text.Wrap
        font: Theme.bodyFont
        color: Theme.text1
    }
    Item { width: 1; height: 6 }
    Text {
        width: parent.width
        text: sheet.view.licence
        wrapMode: Text.Wrap
        font: Theme.captionFont
        color: Theme.text2
    }
    Item { width: 1; height: 14 }
    Rectangle {
        width: parent.width
        height: 1
        color: Theme.line
    }
    Item { width: 1; height: 12 }
    Text {
        text: qsTr("Libraries")
        font: Theme.titleFont
        color: Theme.text1
    }
    Item { width: 1; height: 6 }
    Column {
        width: parent.width
        spacing: 3
        Repeater {
            model: sheet.view.libraries
            Item {
                id: row
                required property int index
                required property string modelData
                width: parent.width
                height: 16
                Text {
                    text: row.modelData
                    font: Theme.captionFont
                    color: Theme.text2
                }
                Text {
                    anchors.right: parent.right
                    text: sheet.view.licences[row.index]
                    font: Theme.captionFont
                    color: Theme.text3
                }
            }
        }
    }
    SheetFoot {
        SheetButton {
            id: done
            primary: true
            text: qsTr("Done")
            onClicked: sheet.view.dismiss()
        }
    }
}
