import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Kelvane
import "../Controls"

// The projects of the library, to be opened.
FocusScope {
    id: home

    required property ProjectsHomeView view

    ListView {
        id: list
        anchors.fill: parent
        anchors.margins: 24
        model: home.view.projects
        delegate: projectRow
        clip: true
        spacing: 6
        ScrollBar.vertical: ScrollBar {}
    }
    Label {
        anchors.centerIn: parent
        visible: list.count === 0
        horizontalAlignment: Text.AlignHCenter
        color: Theme.text2
        text: "No projects yet.\nCreate one with New Project…"
    }
    Component {
        id: projectRow
        Rectangle {
            required property int index
            required property string name
            required property string modified
            required property string length
            width: ListView.view.width
            height: 52
            radius: Theme.sheetRadius
            color: mouse.containsMouse ? Theme.raised : Theme.panel
            MouseArea {
                id: mouse
                anchors.fill: parent
                hoverEnabled: true
                onDoubleClicked: home.view.openProject(index)
            }
            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: 14
                anchors.rightMargin: 14
                spacing: 16
                Label { text: name; textFormat: Text.PlainText; elide: Text.ElideRight; font: Theme.cardTitleFont; Layout.fillWidth: true }
                Label { text: modified; color: Theme.text3 }
                Label { text: length; horizontalAlignment: Text.AlignRight; Layout.preferredWidth: 70 }
                TextButton { text: "Open"; onClicked: home.view.openProject(index) }
                TextButton { text: "Delete…"; onClicked: home.view.deleteProject(index) }
            }
        }
    }
}
