import QtQuick
import Kelvane
import "../Sheets"

// What stopped an act, and why.
Alert {
    id: panel

    // Empty when nothing did.
    property string failure: ""

    signal dismissed()

    title: qsTr("Unable to Complete")
    symbol: "warning"
    symbolColor: Theme.snap
    shown: failure.length > 0
    // The words stay while it fades.
    onFailureChanged: if (failure.length > 0) message = failure
    Component.onCompleted: message = failure
    defaultButton: ok
    cancelButton: ok
    firstFocus: ok
    buttons: SheetButton {
        id: ok
        primary: true
        text: qsTr("OK")
        onClicked: panel.dismissed()
    }
}
