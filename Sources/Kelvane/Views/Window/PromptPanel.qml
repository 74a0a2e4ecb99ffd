import QtQuick
import Kelvane
import "../Sheets"

// A question that the window draws itself. Return presses its default button, Escape declines.
Alert {
    id: panel

    property alias acceptText: acceptButton.text
    property alias rejectText: rejectButton.text
    property bool agreesByDefault: true

    signal agreed()
    signal declined()

    defaultButton: agreesByDefault ? acceptButton : rejectButton
    cancelButton: rejectButton
    firstFocus: defaultButton
    buttons: [
        SheetButton {
            id: rejectButton
            highlighted: !panel.agreesByDefault
            onClicked: panel.declined()
        },
        SheetButton {
            id: acceptButton
            primary: panel.agreesByDefault
            danger: !panel.agreesByDefault
            onClicked: panel.agreed()
        }
    ]
}
