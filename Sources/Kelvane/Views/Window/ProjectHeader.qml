import QtQuick
import QtQuick.Controls.Basic
import Kelvane
import "../Controls"

// The window's head: the way back, the project's name and whether it is saved, and what is done to the whole of it.
Rectangle {
    id: header

    required property ProjectWindowView view

    implicitHeight: Theme.headerHeight
    color: Theme.panel

    Rectangle {
        anchors.bottom: parent.bottom
        width: parent.width
        height: 1
        color: Theme.line
    }

    Row {
        id: leading
        anchors.left: parent.left
        anchors.leftMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        spacing: 2

        TextButton { visible: !header.view.showsHome; quiet: true; symbol: "chevron-left"; text: qsTr("Projects"); help: qsTr("Projects (Ctrl+1)"); enabled: header.view.canShowHome; onClicked: header.view.showHome() }
        IconButton { visible: !header.view.showsHome; symbol: "undo"; label: qsTr("Undo"); help: qsTr("Undo (Ctrl+Z)"); enabled: header.view.canUndo; onClicked: header.view.undo() }
        IconButton { visible: !header.view.showsHome; symbol: "redo"; label: qsTr("Redo"); help: qsTr("Redo (Ctrl+Shift+Z)"); enabled: header.view.canRedo; onClicked: header.view.redo() }
    }

    Row {
        id: name
        readonly property real room: trailing.x - leading.x - leading.width - 24
        readonly property real middle: (header.width - width) / 2
        x: Math.max(leading.x + leading.width + 12, Math.min(middle, trailing.x - 12 - width))
        height: parent.height
        spacing: 8

        Text {
            anchors.verticalCenter: parent.verticalCenter
            // Gives way before what stands beside it does.
            width: Math.min(implicitWidth, Math.max(name.room - (saved.visible ? saved.width + 8 : 0), 40))
            text: header.view.title
            textFormat: Text.PlainText
            elide: Text.ElideRight
            font: Theme.titleFont
            color: Theme.text1
        }
        Text {
            id: saved
            anchors.verticalCenter: parent.verticalCenter
            visible: text.length > 0
            text: header.view.status
            textFormat: Text.PlainText
            font: Theme.smallFont
            color: header.view.unsaved ? Theme.danger : Theme.text3
        }
    }

    Row {
        id: trailing
        anchors.right: parent.right
        anchors.rightMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        spacing: 6

        TextButton { visible: header.view.showsHome; quiet: true; symbol: "import"; text: qsTr("Import Project…"); help: qsTr("Import Project… (Ctrl+O)"); onClicked: header.view.chooseProject() }
        TextButton { visible: header.view.showsHome; primary: true; symbol: "plus"; text: qsTr("New Project…"); help: qsTr("New Project… (Ctrl+N)"); onClicked: header.view.newProject() }
        TextButton { visible: !header.view.showsHome; quiet: true; symbol: "import"; text: qsTr("Import Videos…"); help: qsTr("Import assets (Ctrl+I)"); enabled: header.view.canImport; onClicked: header.view.importMedia() }
        TextButton { visible: !header.view.showsHome; primary: true; symbol: "export"; text: qsTr("Export"); help: qsTr("Export (Ctrl+E)"); enabled: header.view.canExport; onClicked: header.view.exportVideo() }
    }
}
