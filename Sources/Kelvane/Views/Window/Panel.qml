import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Dialogs

Item {
    id: panel

    property var panels

    function begin() {
        const question = panels.question
        switch (question.kind) {
        case "files":
            files.title = question.title
            files.nameFilters = question.filters
            files.open()
            break
        case "destination":
            destination.title = question.title
            destination.nameFilters = question.filters
            destination.defaultSuffix = question.suffix
            destination.currentFile = destination.currentFolder + "/" + encodeURIComponent(question.initial)
            destination.open()
            break
        default:
            prompt.title = question.title
            field.visible = question.kind === "name"
            field.text = question.initial ?? ""
            field.selectAll()
            note.visible = question.kind === "confirm"
            note.text = question.text ?? ""
            accept.text = question.accept
            reject.text = question.reject
            prompt.open()
        }
    }

    FileDialog {
        id: files
        fileMode: FileDialog.OpenFiles
        onAccepted: panel.panels.answerFiles(selectedFiles)
        onRejected: panel.panels.cancel()
    }

    FileDialog {
        id: destination
        fileMode: FileDialog.SaveFile
        onAccepted: panel.panels.answerFiles([selectedFile])
        onRejected: panel.panels.cancel()
    }

    Dialog {
        id: prompt
        parent: Overlay.overlay
        anchors.centerIn: parent
        width: 400
        modal: true
        closePolicy: Popup.CloseOnEscape
        onRejected: panel.panels.cancel()
        contentItem: Column {
            spacing: 12
            TextField {
                id: field
                width: parent.width
                focus: true
                onAccepted: accept.clicked()
            }
            Label {
                id: note
                width: parent.width
                textFormat: Text.PlainText
                wrapMode: Text.Wrap
            }
        }
        footer: DialogButtonBox {
            Button { id: reject; DialogButtonBox.buttonRole: DialogButtonBox.RejectRole }
            Button {
                id: accept
                highlighted: true
                onClicked: field.visible ? panel.panels.answerText(field.text) : panel.panels.answerYes()
            }
        }
    }
}
