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

        // The ruler, for who works by its value.
        Item {
            id: ruler
            objectName: "seekSlider"
            property real value: 0
            readonly property real from: 0
            readonly property real to: pane.view.duration
            readonly property real stepSize: 1
            width: parent.width
            height: Theme.rulerHeight
            enabled: pane.preview.canSeek
            // The timeline's own tree has the ruler.
            Accessible.ignored: true
            Accessible.role: Accessible.Slider
            Accessible.name: qsTr("Seek")
            Accessible.description: qsTr("Timeline ruler. Use left and right arrow keys to seek, or Enter to return to the beginning.")
            // A reader of the screen sets the value, without a hand on it.
            onValueChanged: {
                if (value === pane.view.position) return
                pane.view.seekOnClick(Math.min(Math.max(value, from), to))
                value = pane.view.position
            }
            Binding {
                target: ruler
                property: "value"
                value: pane.view.position
                restoreMode: Binding.RestoreNone
            }
        }
        Item {
            width: parent.width
            height: Theme.rulerHeight
            // Where there is nothing that says so by itself.
            HelpTip { text: pane.view.empty ? "" : qsTr("Scroll the timeline or drag to seek") }
        }
    }

    Menu {
        id: clipMenu
        objectName: "clipMenu"
        MenuItem {
            objectName: "muteItem"
            text: surface.isMenuClipMuted ? qsTr("Unmute") : qsTr("Mute")
            onTriggered: surface.toggleMenuClipMute()
        }
        MenuItem {
            text: qsTr("Reset Volume")
            onTriggered: surface.resetMenuClipVolume()
        }
    }
}
