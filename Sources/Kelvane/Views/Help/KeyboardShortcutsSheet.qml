import QtQuick
import QtQuick.Controls.Basic
import Kelvane
import "../Controls"
import "../Sheets"

// The keys of the window, by what they do.
Sheet {
    id: sheet

    required property HelpView view

    title: qsTr("Keyboard Shortcuts")
    shown: view.showsShortcuts
    defaultButton: done
    cancelButton: done
    firstFocus: keys

    Text {
        text: sheet.title
        font: Theme.sheetTitleFont
        color: Theme.text1
        Accessible.ignored: true
    }
    Item { width: 1; height: 12 }
    ListView {
        id: keys
        width: parent.width
        height: 352
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        activeFocusOnTab: true
        model: sheet.view.shortcuts
        // Keys scroll it; no row is chosen.
        currentIndex: -1
        keyNavigationEnabled: false
        Keys.onUpPressed: scroll(-48)
        Keys.onDownPressed: scroll(48)
        Keys.onPressed: event => {
            if (event.key === Qt.Key_PageUp) scroll(-height)
            else if (event.key === Qt.Key_PageDown) scroll(height)
            else if (event.key === Qt.Key_Home) scroll(-contentHeight)
            else if (event.key === Qt.Key_End) scroll(contentHeight)
            else return
            event.accepted = true
        }
        Accessible.role: Accessible.List
        Accessible.name: sheet.title
        ScrollBar.vertical: PageScrollBar { policy: ScrollBar.AlwaysOn }

        function scroll(by) {
            contentY = Math.max(originY, Math.min(contentY + by, originY + contentHeight - height))
        }

        section.property: "heading"
        section.delegate: Text {
            required property string section
            width: ListView.view.width
            height: 34
            verticalAlignment: Text.AlignBottom
            bottomPadding: 4
            text: section
            font: Theme.titleFont
            color: Theme.text1
        }
        delegate: Item {
            id: row
            required property string keys
            required property string what
            width: ListView.view.width - 12
            height: 26
            Accessible.role: Accessible.ListItem
            Accessible.name: what
            Accessible.description: keys
            Text {
                anchors.verticalCenter: parent.verticalCenter
                width: parent.width - combination.width - 12
                text: row.what
                elide: Text.ElideRight
                font: Theme.bodyFont
                color: Theme.text2
            }
            Text {
                id: combination
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                text: row.keys
                font: Theme.captionFont
                color: Theme.text1
            }
        }
    }
    SheetFoot {
        gap: 18
        SheetButton {
            id: done
            primary: true
            text: qsTr("Done")
            onClicked: sheet.view.dismiss()
        }
    }
}
