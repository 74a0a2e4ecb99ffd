import QtQuick
import QtQuick.Controls.Basic
import Kelvane

PromptPanel {
    id: panel

    required property NameQuestion question

    title: question.title
    acceptText: question.accept
    rejectText: question.reject
    contentItem: TextField {
        id: field
        focus: true
        text: panel.question.initial
        Component.onCompleted: selectAll()
        onAccepted: panel.pressDefault()
    }
    onAccepted: panel.question.answer(field.text)
    onRejected: panel.question.cancel()
}
