import QtQuick
import Kelvane

ChooserPanel {
    id: panel

    required property DestinationQuestion question

    title: question.title.length > 0 ? question.title : qsTr("Save As")
    acceptText: qsTr("Save")
    onDeclined: panel.question.cancel()
    Connections {
        target: panel.browser
        function onAccepted(files) { panel.question.answer(files[0]) }
    }
}
