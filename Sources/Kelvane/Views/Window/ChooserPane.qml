import QtQuick
import QtQuick.Controls.Basic
import Kelvane
import "../Controls"

// A folder's rows, and the field in which names and paths can be typed: what our own choosers of files show.
FocusScope {
    id: pane

    required property FileBrowser browser
    // Return was pressed on a control that keeps it, and means the default button.
    signal confirmed()

    readonly property Item field: nameField

    implicitHeight: column.implicitHeight
    implicitWidth: 620

    Column {
        id: column
        width: parent.width
        spacing: 10

        Row {
            width: parent.width
            spacing: 6
            IconButton {
                id: up
                label: qsTr("Parent folder")
                symbol: "chevron-up"
                onClicked: pane.browser.showParent()
            }
            Text {
                width: parent.width - up.width - parent.spacing
                anchors.verticalCenter: up.verticalCenter
                text: pane.browser.folder
                textFormat: Text.PlainText
                elide: Text.ElideLeft
                font: Theme.bodyFont
                color: Theme.text2
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }
        Row {
            width: parent.width
            height: 240
            spacing: 10
            ListView {
                id: places
                width: 132
                height: parent.height
                model: pane.browser.places
                clip: true
                activeFocusOnTab: true
                boundsBehavior: Flickable.StopAtBounds
                // One of its rows says so.
                readonly property bool readsFocused: activeFocus && currentIndex < 0
                Accessible.role: Accessible.List
                Accessible.name: qsTr("Places")
                Keys.onPressed: event => {
                    if (event.key === Qt.Key_Home) currentIndex = 0
                    else if (event.key === Qt.Key_End) currentIndex = count - 1
                    else return
                    event.accepted = true
                }
                Keys.onSpacePressed: pane.browser.showPlace(currentIndex)
                Keys.onReturnPressed: pane.browser.showPlace(currentIndex)
                Keys.onEnterPressed: pane.browser.showPlace(currentIndex)
                delegate: Item {
                    id: place
                    required property int index
                    required property string modelData
                    readonly property bool readsFocused: places.activeFocus && places.currentIndex === index
                    width: ListView.view.width
                    height: 28
                    Accessible.role: Accessible.ListItem
                    Accessible.name: modelData
                    Accessible.focusable: true
                    Accessible.onPressAction: pane.browser.showPlace(index)
                    Rectangle {
                        anchors.fill: parent
                        radius: Theme.controlRadius
                        color: placePointer.pressed ? Theme.controlPressed : placePointer.containsMouse ? Theme.control : "transparent"
                        FocusRing { visible: place.readsFocused; gap: 0 }
                    }
                    Text {
                        x: 8
                        width: parent.width - 16
                        anchors.verticalCenter: parent.verticalCenter
                        text: place.modelData
                        textFormat: Text.PlainText
                        font: Theme.bodyFont
                        color: Theme.text1
                        elide: Text.ElideRight
                        Accessible.ignored: true
                    }
                    MouseArea {
                        id: placePointer
                        anchors.fill: parent
                        hoverEnabled: true
                        onClicked: {
                            places.currentIndex = place.index
                            pane.browser.showPlace(place.index)
                        }
                    }
                }
            }
            Rectangle {
                width: parent.width - places.width - parent.spacing
                height: parent.height
                radius: Theme.controlRadius
                color: Theme.window
                border.width: 1
                border.color: Qt.tint(color, Theme.lineStrong)
                ListView {
                    id: rows
                    anchors.fill: parent
                    anchors.margins: 4
                    model: pane.browser.rows
                    clip: true
                    activeFocusOnTab: true
                    keyNavigationEnabled: false
                    boundsBehavior: Flickable.StopAtBounds
                    ScrollBar.vertical: PageScrollBar { policy: rows.contentHeight > rows.height ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff }
                    readonly property bool readsFocused: activeFocus && currentIndex < 0
                    Accessible.role: Accessible.List
                    Accessible.name: qsTr("Files")
                    function go(row, modifiers) {
                        currentIndex = Math.max(0, Math.min(count - 1, row))
                        pane.browser.choose(currentIndex, false, (modifiers & Qt.ShiftModifier) !== 0)
                    }
                    Keys.onUpPressed: event => go(currentIndex - 1, event.modifiers)
                    Keys.onDownPressed: event => go(currentIndex + 1, event.modifiers)
                    Keys.onReturnPressed: pane.browser.open(currentIndex)
                    Keys.onEnterPressed: pane.browser.open(currentIndex)
                    Keys.onPressed: event => {
                        if (event.key === Qt.Key_Backspace) pane.browser.showParent()
                        else if (event.key === Qt.Key_Home) go(0, event.modifiers)
                        else if (event.key === Qt.Key_End) go(count - 1, event.modifiers)
                        else return
                        event.accepted = true
                    }
                    delegate: Item {
                        id: row
                        required property int index
                        required property string name
                        required property bool isFolder
                        required property bool chosen
                        readonly property bool readsFocused: rows.activeFocus && rows.currentIndex === index
                        width: ListView.view.width
                        height: 28
                        Accessible.role: Accessible.ListItem
                        Accessible.name: name
                        Accessible.description: isFolder ? qsTr("Folder") : ""
                        Accessible.focusable: true
                        Accessible.selectable: true
                        Accessible.selected: chosen
                        Accessible.onPressAction: pane.browser.open(index)
                        Rectangle {
                            anchors.fill: parent
                            radius: Theme.controlRadius - 2
                            color: row.chosen ? Theme.controlPressed : pointer.containsMouse ? Theme.control : "transparent"
                            FocusRing { visible: row.readsFocused; gap: 0 }
                        }
                        Icon {
                            x: 8
                            anchors.verticalCenter: parent.verticalCenter
                            name: row.isFolder ? "folder" : "film"
                            size: 16
                            color: Theme.text2
                        }
                        Text {
                            x: 32
                            width: parent.width - 40
                            anchors.verticalCenter: parent.verticalCenter
                            text: row.name
                            textFormat: Text.PlainText
                            elide: Text.ElideMiddle
                            font: Theme.bodyFont
                            color: Theme.text1
                            Accessible.ignored: true
                        }
                        MouseArea {
                            id: pointer
                            anchors.fill: parent
                            hoverEnabled: true
                            onPressed: mouse => {
                                rows.currentIndex = row.index
                                rows.forceActiveFocus(Qt.MouseFocusReason)
                                pane.browser.choose(row.index, (mouse.modifiers & Qt.ControlModifier) !== 0, (mouse.modifiers & Qt.ShiftModifier) !== 0)
                            }
                            onDoubleClicked: pane.browser.open(row.index)
                        }
                    }
                }
                Connections {
                    target: pane.browser
                    function onFolderChanged() { rows.currentIndex = 0; rows.positionViewAtBeginning() }
                }
            }
        }
        Row {
            width: parent.width
            spacing: 10
            Text {
                id: fieldLabel
                anchors.verticalCenter: nameField.verticalCenter
                text: qsTr("File name")
                font: Theme.bodyFont
                color: Theme.text2
                Accessible.ignored: true
            }
            TextField {
                id: nameField
                width: parent.width - fieldLabel.width - parent.spacing - (kinds.visible ? kinds.width + parent.spacing : 0)
                implicitHeight: 32
                leftPadding: 10
                rightPadding: 10
                focus: true
                font: Theme.bodyFont
                color: Theme.text1
                selectByMouse: true
                selectionColor: Theme.accent
                selectedTextColor: Theme.onAccent
                text: pane.browser.text
                onTextEdited: pane.browser.text = text
                Accessible.name: qsTr("File name")
                background: Rectangle {
                    radius: Theme.controlRadius
                    color: Theme.window
                    border.width: 1
                    border.color: Qt.tint(color, Theme.lineStrong)
                    FocusRing { visible: nameField.activeFocus; gap: 0 }
                }
                // A proposed name is replaced by typing, its extension is not.
                Component.onCompleted: {
                    const dot = text.lastIndexOf(".")
                    select(0, dot > 0 ? dot : text.length)
                }
            }
            ChoiceBox {
                id: kinds
                visible: pane.browser.filters.length > 1
                width: 168
                label: qsTr("Kind of file")
                model: pane.browser.filters
                current: pane.browser.filter
                onChosen: index => pane.browser.filter = index
                onConfirmed: pane.confirmed()
            }
        }
        Text {
            width: parent.width
            visible: text.length > 0
            text: pane.browser.problem
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
            font: Theme.bodyFont
            color: Theme.danger
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
    }
}
