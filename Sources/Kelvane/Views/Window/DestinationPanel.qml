import QtQml
import QtQuick.Dialogs
import Kelvane

FileDialog {
    id: panel

    required property DestinationQuestion question

    title: question.title
    nameFilters: question.filters
    defaultSuffix: question.suffix
    fileMode: FileDialog.SaveFile
    // Once: bound, it would take back what a person has typed when the folder changes.
    Component.onCompleted: currentFile = currentFolder + "/" + encodeURIComponent(question.initial)
    onAccepted: panel.question.answer(panel.selectedFile)
    onRejected: panel.question.cancel()
}
