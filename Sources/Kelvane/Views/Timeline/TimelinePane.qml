import QtQuick
import QtQuick.Controls.Basic
import Kelvane
import "../Controls"

// The timeline: its toolbar, and below it the viewport with the ruler.
Item {
    id: pane

    required property TimelineView view
    required property PreviewView preview
    readonly property alias surface: surface

    implicitHeight: toolbar.height + view.viewportHeight

    Rectangle {
        width: parent.width
        height: toolbar.height
        color: Theme.panel
    }
    Rectangle {
        width: parent.width
        height: 1
        color: Theme.line
    }
    TimelineToolbar {
        id: toolbar
        width: parent.width
        height: Theme.toolbarHeight
        view: pane.view
        preview: pane.preview
    }
    TimelineSurface {
        id: surface
        objectName: "timelineSurface"
        anchors.top: toolbar.bottom
        width: parent.width
        height: Math.max(pane.height - toolbar.height, 0)
        view: pane.view
        Accessible.role: Accessible.Grouping
        Accessible.name: qsTr("Timeline viewport")
        Accessible.description: qsTr("Scroll the timeline or drag to seek")
        // What is at work keeps hands out; a take can be watched all the same.
        opacity: pane.view.busy && !pane.preview.recording && pane.preview.countdown === 0 ? Theme.busyOpacity : 1
        onMenuWanted: point => clipMenu.popup(surface, point)

        Item {
            width: parent.width
            height: Theme.rulerHeight
            // Where there is nothing that says so by itself.
            HelpTip { text: pane.view.empty ? "" : qsTr("Scroll the timeline or drag to seek") }
        }
    }

    PopupMenu {
        id: clipMenu
        objectName: "clipMenu"
        title: qsTr("Clip actions")
        PopupMenuItem {
            objectName: "muteItem"
            text: surface.isMenuClipMuted ? qsTr("Unmute") : qsTr("Mute")
            onTriggered: surface.toggleMenuClipMute()
        }
        PopupMenuItem {
            text: qsTr("Reset Volume")
            onTriggered: surface.resetMenuClipVolume()
        }
    }
}
