import QtQuick
import QtQuick.Controls.Basic
import Kelvane

PromptPanel {
    id: panel

    required property ConfirmQuestion question

    title: question.title
    acceptText: question.accept
    rejectText: question.reject
    // What is confirmed can't be taken back.
    agreesByDefault: false
    contentItem: Label {
        focus: true
        text: panel.question.text
        textFormat: Text.PlainText
        wrapMode: Text.Wrap
        Keys.onReturnPressed: panel.pressDefault()
        Keys.onEnterPressed: panel.pressDefault()
    }
    onAccepted: panel.question.confirm()
    onRejected: panel.question.cancel()
}
