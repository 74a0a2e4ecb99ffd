import QtQuick
import QtQuick.Controls.Basic

// A question that the window draws itself. Return presses the default button, Escape declines.
Dialog {
    id: panel

    property alias acceptText: acceptButton.text
    property alias rejectText: rejectButton.text
    property bool agreesByDefault: true

    function pressDefault() {
        if (agreesByDefault) accept(); else reject()
    }

    component PanelButton: Button {
        Keys.onReturnPressed: clicked()
        Keys.onEnterPressed: clicked()
    }

    anchors.centerIn: parent
    width: 400
    modal: true
    focus: true
    closePolicy: Popup.CloseOnEscape
    footer: DialogButtonBox {
        PanelButton {
            id: rejectButton
            highlighted: !panel.agreesByDefault
            DialogButtonBox.buttonRole: DialogButtonBox.RejectRole
        }
        PanelButton {
            id: acceptButton
            highlighted: panel.agreesByDefault
            DialogButtonBox.buttonRole: DialogButtonBox.AcceptRole
        }
    }
}
