import QtQuick
import QtQuick.Controls.Basic
import Kelvane
import "../Controls"

// The project's files as a grid of pictures, to be looked at and taken to the timeline.
FocusScope {
    id: pane

    required property AssetsView view
    // Files are being dragged over the window, which takes them.
    property bool dropTarget: false
    readonly property alias surface: surface
    // What has the keyboard where a button that had it is gone.
    readonly property Item resting: view.empty ? importButton : surface

    // An asset was added to the timeline, which takes the keyboard's focus.
    signal timelineWanted()

    Connections {
        target: pane.view
        function onTimelineWanted() { pane.timelineWanted() }
    }

    Rectangle {
        anchors.fill: parent
        color: Theme.panel
    }

    Item {
        id: header
        width: parent.width
        height: Theme.toolbarHeight

        Row {
            id: title
            x: 12
            height: parent.height
            spacing: 8
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: qsTr("Assets")
                font: Theme.titleFont
                color: Theme.text1
            }
            Text {
                objectName: "assetCount"
                anchors.verticalCenter: parent.verticalCenter
                // What else would run under the buttons gives way.
                width: Math.min(implicitWidth, acts.x - x - title.x - 8)
                elide: Text.ElideRight
                text: pane.view.count
                font: Theme.bodyFont
                color: Theme.text3
            }
        }
        Row {
            id: acts
            anchors.right: parent.right
            anchors.rightMargin: 6
            anchors.verticalCenter: parent.verticalCenter
            spacing: 4
            IconButton {
                objectName: "deleteAssetButton"
                visible: pane.view.hasSelection
                enabled: pane.view.canDelete
                symbol: "trash"
                label: qsTr("Delete Asset")
                help: qsTr("Delete assets and clips (Del)")
                onClicked: pane.view.deleteSelection()
            }
            IconButton {
                id: importButton
                objectName: "importButton"
                enabled: pane.view.canImport
                symbol: "plus"
                label: qsTr("Import Assets")
                help: qsTr("Import assets (Ctrl+I)")
                onClicked: pane.view.importFiles()
            }
        }
    }

    EmptyAssets {
        visible: pane.view.empty
        anchors.fill: parent
        anchors.topMargin: header.height + 6
        anchors.margins: 12
        enabled: pane.view.canImport
        onClicked: pane.view.importFiles()
    }

    AssetsSurface {
        id: surface
        objectName: "assetsSurface"
        anchors.top: header.bottom
        anchors.bottom: parent.bottom
        width: parent.width
        focus: true
        // A grid that holds nothing is none, and the place for files takes the keys.
        visible: !pane.view.empty
        view: pane.view
        Accessible.role: Accessible.List
        Accessible.name: qsTr("Assets")
        Accessible.focusable: true
        // Where the keyboard is on an asset, that one says so.
        readonly property bool readsFocused: activeFocus && !hasKeyboard
        onMenuWanted: point => menu.popup(surface, point)

        Item {
            y: -pane.view.scrollOffset
            width: parent.width
            height: pane.view.contentHeight

            Repeater {
                model: pane.view.assets
                delegate: AssetItem {
                    view: pane.view
                    beside: pane.view.namesBeside
                    nameWidth: surface.width - x - width - 16
                    seen: y + height > pane.view.scrollOffset - height && y < pane.view.scrollOffset + surface.height + height
                    dim: pane.view.busy ? Theme.busyOpacity : 1
                }
            }
            Rectangle {
                x: pane.view.marquee.x
                y: pane.view.marquee.y
                width: pane.view.marquee.width
                height: pane.view.marquee.height
                visible: width > 0 && height > 0
                color: Qt.alpha(Theme.accent, 0.12)
                border.width: 1
                border.color: Theme.accent
                Accessible.role: Accessible.Graphic
                Accessible.name: qsTr("Selection")
            }
        }
        ScrollBar {
            id: bar
            orientation: Qt.Vertical
            anchors.right: parent.right
            anchors.rightMargin: 3
            height: parent.height
            padding: 0
            policy: ScrollBar.AsNeeded
            size: surface.height / Math.max(pane.view.contentHeight, 1)
            visible: size < 1
            Binding {
                target: bar
                property: "position"
                value: pane.view.scrollOffset / Math.max(pane.view.contentHeight, 1)
                when: !bar.pressed
                restoreMode: Binding.RestoreNone
            }
            onPositionChanged: if (pressed) pane.view.scrollOffset = position * pane.view.contentHeight
            contentItem: Rectangle {
                implicitWidth: bar.hovered || bar.pressed ? 8 : 5
                radius: width / 2
                color: Theme.lineStrong
            }
        }
    }
    FocusRing {
        visible: surface.hasKeyboard && pane.view.empty
        anchors.fill: surface
        gap: -4
    }

    // Files over the window find their place here.
    Rectangle {
        anchors.fill: parent
        // Within the frame round the window.
        anchors.margins: 10
        visible: opacity > 0
        opacity: pane.dropTarget ? 0.4 : 0
        color: "transparent"
        radius: Theme.menuRadius
        border.width: 3
        border.color: Theme.accent
        Behavior on opacity { NumberAnimation { duration: Theme.reducedMotion ? 0 : Theme.tipFade } }
    }
    Rectangle {
        visible: pane.dropTarget
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 48
        width: hint.width + 26
        height: 36
        radius: Theme.controlRadius
        color: Theme.accent
        Row {
            id: hint
            anchors.centerIn: parent
            spacing: 8
            Icon {
                anchors.verticalCenter: parent.verticalCenter
                name: "import"
                size: 18
                color: Theme.onAccent
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: qsTr("Drop to import")
                font: Theme.titleFont
                color: Theme.onAccent
            }
        }
    }

    PopupMenu {
        id: menu
        objectName: "assetMenu"
        title: qsTr("Asset actions")
        PopupMenuItem {
            objectName: "deleteAssetItem"
            symbol: "trash"
            text: pane.view.deleteLabel
            enabled: pane.view.canDelete
            onTriggered: pane.view.deleteSelection()
        }
    }
}
