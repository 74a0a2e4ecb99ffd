import QtQuick
import Kelvane
import "../Sheets"

// The movie is there.
Alert {
    id: panel

    required property ExportingView view

    title: qsTr("Video Exported")
    message: qsTr("Your vertical video is ready to share.")
    symbol: "check"
    symbolColor: Theme.accent
    shown: view.exported
    defaultButton: done
    cancelButton: done
    firstFocus: done
    buttons: [
        SheetButton {
            symbol: "folder"
            text: qsTr("Show in Folder")
            onClicked: panel.view.showInFolder()
        },
        SheetButton {
            id: done
            primary: true
            text: qsTr("Done")
            onClicked: panel.view.dismissExported()
        }
    ]
}
