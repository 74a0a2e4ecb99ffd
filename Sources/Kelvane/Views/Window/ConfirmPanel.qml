import QtQuick
import Kelvane

PromptPanel {
    id: panel

    required property ConfirmQuestion question

    title: question.title
    message: question.text
    acceptText: question.accept
    rejectText: question.reject
    // What is confirmed can't be taken back.
    agreesByDefault: false
    onAgreed: panel.question.confirm()
    onDeclined: panel.question.cancel()
}
