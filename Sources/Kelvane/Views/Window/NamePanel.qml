import QtQuick
import Kelvane
import "../Sheets"

PromptPanel {
    id: panel

    required property NameQuestion question

    title: question.title
    width: 340
    acceptText: question.accept
    rejectText: question.reject
    firstFocus: field
    extra: SheetField {
        id: field
        implicitHeight: 24
        leftPadding: 6
        rightPadding: 6
        topPadding: 0
        bottomPadding: 0
        label: qsTr("Name")
        text: panel.question.initial
        Component.onCompleted: selectAll()
    }
    onAgreed: panel.question.answer(field.text)
    onDeclined: panel.question.cancel()
}
