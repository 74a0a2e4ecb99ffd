import QtQuick
import Kelvane
import "../Controls"

// What a library without projects shows: what the program is, and the two ways in.
FocusScope {
    id: panel

    required property ProjectsHomeView view

    focus: true

    Column {
        anchors.centerIn: parent
        anchors.verticalCenterOffset: -15
        spacing: 0

        Item {
            anchors.horizontalCenter: parent.horizontalCenter
            width: 224
            height: 120
            Rectangle { x: 0; y: 38; width: 62; height: 44; radius: 6; color: Theme.raised }
            Rectangle { x: 162; y: 38; width: 62; height: 44; radius: 6; color: Theme.raised }
            Rectangle { x: 78; width: 68; height: 120; radius: 10; color: Theme.accent }
            Icon { x: 87; y: 35; size: 50; name: "play"; color: Theme.onAccent }
        }
        Item { width: 1; height: 36 }
        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            text: qsTr("Create a video")
            font { family: Theme.bodyFont.family; pixelSize: 24; weight: Font.DemiBold; letterSpacing: -0.3 }
            color: Theme.text1
        }
        Item { width: 1; height: 10 }
        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            width: 400
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: qsTr("Bring your clips together, cut them into an upright film, add your voice, and export it ready to share.")
            lineHeightMode: Text.FixedHeight
            lineHeight: 21
            font { family: Theme.bodyFont.family; pixelSize: 14 }
            color: Theme.text2
        }
        Item { width: 1; height: 24 }
        Row {
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: 10
            TextButton { implicitHeight: 36; leftPadding: 14; rightPadding: 14; primary: true; focus: true; symbol: "plus"; text: qsTr("New Project…"); onClicked: panel.view.newProject() }
            TextButton { implicitHeight: 36; leftPadding: 14; rightPadding: 14; symbol: "import"; text: qsTr("Import Project…"); onClicked: panel.view.chooseProject() }
        }
    }
}
