import QtQuick
import QtQuick.Controls.Basic
import Kelvane
import "../Controls"

// What can be done with the project of a card.
PopupMenu {
    id: menu

    required property ProjectsHomeView view
    property string projectID: ""

    title: qsTr("Project actions")
    width: 208
    margins: 4
    // A click beside it closes it and does nothing else.
    modal: true
    dim: false

    PopupMenuItem { text: qsTr("Open"); onTriggered: menu.view.open(menu.projectID) }
    PopupMenuItem { text: qsTr("Open in New Window"); onTriggered: menu.view.openInNewWindow(menu.projectID) }
    PopupMenuLine {}
    PopupMenuItem { text: qsTr("Rename…"); onTriggered: menu.view.rename(menu.projectID) }
    PopupMenuItem { text: qsTr("Duplicate"); onTriggered: menu.view.duplicate(menu.projectID) }
    PopupMenuLine {}
    PopupMenuItem { text: qsTr("Delete…"); dangerous: true; onTriggered: menu.view.remove(menu.projectID) }
}
