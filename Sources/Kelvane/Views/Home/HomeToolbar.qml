import QtQuick
import Kelvane
import "../Controls"

// What the head of the window holds while it shows the home: the search, and what makes or imports a project.
Row {
    id: toolbar

    required property ProjectsHomeView view
    // The search gives way where there is little room.
    property real room: 190

    spacing: 8

    SearchField {
        objectName: "projectSearch"
        width: Math.max(120, Math.min(190, toolbar.room))
        prompt: qsTr("Search projects")
        text: toolbar.view.search
        onEdited: text => toolbar.view.search = text
    }
    // On a first start the panel below has the main action.
    TextButton { primary: !toolbar.view.empty; symbol: "plus"; text: qsTr("New Project"); help: qsTr("New Project (Ctrl+N)"); onClicked: toolbar.view.newProject() }
    TextButton { symbol: "import"; text: qsTr("Import Project"); help: qsTr("Import Project (Ctrl+O)"); onClicked: toolbar.view.chooseProject() }
}
