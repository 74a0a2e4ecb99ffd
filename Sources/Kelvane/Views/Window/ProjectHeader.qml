import QtQuick
import Kelvane
import "../Controls"
import "../Home"
import "../Naming"

// The window's head: the menus, the way back, the project's name and whether it is saved, and what is done to the whole
// of it.
FocusScope {
    id: header

    required property ProjectWindowView view
    readonly property WindowCommands commands: view.commands

    readonly property bool whole: menus.whole

    implicitHeight: Theme.headerHeight

    // As F10 and Alt do.
    function takeFocus() { menus.takeFocus() }

    Keys.onEscapePressed: event => event.accepted = view.escape()

    Rectangle {
        anchors.fill: parent
        color: Theme.panel
    }
    Rectangle {
        anchors.bottom: parent.bottom
        width: parent.width
        height: 1
        color: Theme.line
    }

    Row {
        id: leading
        x: 6
        height: parent.height

        HeaderMenus {
            id: menus
            height: parent.height
            commands: header.commands
            due: header.view.standing
        }
        Item {
            visible: !header.view.showsHome
            width: 13
            height: parent.height
            Rectangle { anchors.centerIn: parent; width: 1; height: 16; color: Theme.lineStrong }
        }
        HeaderButton {
            anchors.verticalCenter: parent.verticalCenter
            visible: !header.view.showsHome
            command: header.commands.showProjects
            symbol: "chevron-left"
            text: qsTr("Projects")
            help: qsTr("Projects (Ctrl+1)")
            quiet: true
            leftPadding: 6
            gap: 3
        }
    }

    Row {
        id: name
        readonly property real from: leading.x + leading.width + 12
        readonly property real until: trailing.x - 12
        readonly property real middle: header.width < 860 ? (from + until - width) / 2 : (header.width - width) / 2
        x: Math.round(Math.max(from, Math.min(middle, until - width)))
        height: parent.height
        // The name's button has a margin of its own, its field has none.
        spacing: header.view.naming.editing ? 8 : 3

        Text {
            anchors.verticalCenter: parent.verticalCenter
            visible: header.view.showsHome && name.until - name.from >= implicitWidth
            text: "Kelvane"
            font: Theme.titleFont
            color: Theme.text1
        }
        InlineProjectName {
            anchors.verticalCenter: parent.verticalCenter
            visible: !header.view.showsHome
            view: header.view.naming
            // Gives way before what stands beside it does.
            room: Math.max(name.until - name.from - (saved.visible ? saved.width + name.spacing : 0), 40)
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

        HomeToolbar {
            visible: header.view.showsHome
            view: header.view.home
            room: header.width < 800 ? 150 : 190
        }
        HeaderButton {
            visible: !header.view.showsHome
            command: header.commands.editWithAI
            symbol: "sparkles"
            text: qsTr("Edit with AI…")
            quiet: true
        }
        HeaderButton {
            visible: !header.view.showsHome
            command: header.commands.exportVideo
            symbol: "export"
            text: qsTr("Export")
            help: qsTr("Export (Ctrl+E)")
            primary: true
        }
    }
}
