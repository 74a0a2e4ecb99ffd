import QtQuick
import Kelvane

ChooserPanel {
    id: panel

    required property FilesQuestion question

    title: question.title
    acceptText: qsTr("Open")
    onDeclined: panel.question.cancel()
    Connections {
        target: panel.browser
        function onAccepted(files) { panel.question.answer(files) }
    }
}
