import QtQuick
import Kelvane
import "../Controls"
import "../Naming"

// One project: its picture, its name, how long it is and when it was edited last. What a reader of the screen finds of
// it is the grid's.
Item {
    id: card

    required property ProjectsHomeView view
    required property int index
    required property string projectID
    required property string name
    required property string modified
    required property string length
    required property real stamp
    // Whether the ring of the keyboard's focus lies round it.
    property bool focused: false
    readonly property bool renaming: view.renamingProjectID === projectID
    readonly property Item actions: actions
    // Whether its menu is open.
    property bool asked: false
    readonly property bool lit: asked || area.containsMouse || actions.hovered

    signal menuWanted(x: real, y: real)

    // Below the button for it.
    function askForMenu() { card.menuWanted(card.width - 197, 38) }

    Rectangle {
        anchors.fill: parent
        radius: Theme.sheetRadius
        color: card.lit ? Theme.raised : Theme.panel
        border.width: 1
        border.color: Qt.tint(color, card.lit ? Theme.lineStrong : Theme.line)
        Behavior on color { ColorAnimation { duration: card.lit ? Theme.fillIn : Theme.fillOut } }
    }
    FocusRing {
        visible: card.focused && !card.renaming
        corner: Theme.sheetRadius
    }
    MouseArea {
        id: area
        anchors.fill: parent
        acceptedButtons: Qt.LeftButton | Qt.RightButton
        hoverEnabled: true
        onClicked: mouse => {
            if (mouse.button === Qt.RightButton) card.menuWanted(mouse.x, mouse.y)
            else card.view.open(card.projectID)
        }
    }
    Rectangle {
        x: 8
        y: 8
        width: 86
        height: 152
        radius: Theme.controlRadius
        color: Theme.control
        visible: picture.opacity < 1
        Icon { anchors.centerIn: parent; name: "film"; size: 34; color: Theme.text3 }
    }
    CardPicture {
        id: picture
        x: 8
        y: 8
        width: 86
        height: 152
        view: card.view
        projectID: card.projectID
        stamp: card.stamp
        opacity: filled ? 1 : 0
        Behavior on opacity { NumberAnimation { duration: Theme.reducedMotion ? 0 : 120 } }
    }
    Text {
        x: 110
        y: 16
        width: card.width - 40 - x
        visible: !card.renaming
        text: card.name
        textFormat: Text.PlainText
        wrapMode: Text.WrapAtWordBoundaryOrAnywhere
        maximumLineCount: 2
        elide: Text.ElideRight
        lineHeightMode: Text.FixedHeight
        lineHeight: 20
        font: Theme.cardTitleFont
        color: Theme.text1
        Accessible.ignored: true
    }
    Loader {
        x: 104
        y: 14
        width: card.width - 40 - x
        active: card.renaming
        sourceComponent: ProjectNameField { editor: card.view.nameEditor }
    }
    TimeText {
        x: 110
        y: 116
        text: card.length
        Accessible.ignored: true
    }
    Text {
        x: 110
        y: 136
        text: card.modified
        font: Theme.captionFont
        color: Theme.text3
        Accessible.ignored: true
    }
    IconButton {
        id: actions
        x: card.width - width - 8
        y: 10
        implicitWidth: 26
        implicitHeight: 26
        iconSize: 16
        symbol: "ellipsis"
        label: qsTr("Actions for %1").arg(card.name)
        help: qsTr("Project actions")
        focusPolicy: Qt.NoFocus
        Accessible.ignored: true
        onClicked: card.askForMenu()
    }
}
