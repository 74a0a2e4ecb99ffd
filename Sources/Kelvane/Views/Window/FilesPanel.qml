import QtQuick.Dialogs
import Kelvane

FileDialog {
    id: panel

    required property FilesQuestion question

    title: question.title
    nameFilters: question.filters
    fileMode: FileDialog.OpenFiles
    onAccepted: panel.question.answer(panel.selectedFiles)
    onRejected: panel.question.cancel()
}
