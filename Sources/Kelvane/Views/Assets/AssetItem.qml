import QtQuick
import Kelvane
import "../Controls"

// One asset in the grid: its picture with its length, its name where there is room for it or where it is asked for, and
// the rings of selection and focus. What is out of sight draws nothing.
Item {
    id: asset

    required property string assetID
    required property string name
    required property string length
    required property rect frame
    required property bool audio
    required property var sound
    required property var picture
    required property bool selected
    required property bool hovered
    required property bool current
    required property bool missing
    property AssetsView view
    // Whether the name stands beside the picture, and how wide it may be.
    property bool beside: false
    property real nameWidth: 0
    // Whether it is in the viewport, or nearly.
    property bool seen: true
    // Of the picture, where nothing can be done with it.
    property real dim: 1
    // For a reader of the screen, though the keys go to the grid.
    readonly property bool readsFocused: current

    x: frame.x
    y: frame.y
    width: frame.width
    height: frame.height
    Accessible.role: Accessible.ListItem
    Accessible.name: name
    Accessible.description: qsTr("Preview or drag to timeline")
    Accessible.selectable: true
    Accessible.selected: selected
    Accessible.focusable: true
    Accessible.onPressAction: view.click(assetID)

    // Has the tip shown here; the grid itself follows the pointer.
    HoverHandler {}
    HelpTip { text: qsTr("Preview or drag to timeline") }
    Loader {
        active: asset.seen
        anchors.fill: parent
        sourceComponent: Item {
            // Words stay readable where the picture is dimmed.
            Item {
                anchors.fill: parent
                opacity: asset.dim

                // Stands for the picture until that is there.
                Rectangle {
                    anchors.fill: parent
                    radius: Theme.clipRadius
                    color: asset.audio ? Theme.audioClip : asset.missing ? Theme.window : Theme.control
                }
                Icon {
                    visible: !asset.audio && !thumbnail.filled
                    anchors.centerIn: parent
                    name: asset.missing ? "warning" : "film"
                    size: 20
                    color: asset.missing ? Theme.snap : Theme.text4
                }
                AudioWaveformView {
                    visible: asset.audio
                    x: 1
                    width: parent.width - 2
                    y: parent.height * 0.38
                    height: parent.height - y - 1
                    overlay: true
                    clip: asset.sound
                }
                AssetThumbnail {
                    id: thumbnail
                    anchors.fill: parent
                    view: asset.view
                    assetID: asset.assetID
                    picture: asset.picture
                    radius: Theme.clipRadius
                    opacity: filled ? 1 : 0
                    Behavior on opacity { NumberAnimation { duration: Theme.fillOut } }
                }
                Rectangle {
                    anchors.fill: parent
                    radius: Theme.clipRadius
                    color: "transparent"
                    border.width: 1
                    border.color: Theme.edge
                }
            }
            Rectangle {
                visible: asset.selected
                anchors.fill: parent
                radius: Theme.clipRadius
                color: "transparent"
                border.width: 2
                border.color: Theme.accent
                Rectangle {
                    anchors.fill: parent
                    anchors.margins: 2
                    radius: Theme.clipRadius - 2
                    color: "transparent"
                    border.width: 1
                    border.color: Theme.selectionInset
                }
            }
            AssetPill {
                visible: !asset.beside
                anchors.right: parent.right
                anchors.bottom: parent.bottom
                anchors.margins: 5
                text: asset.length
            }
            AssetPill {
                visible: !asset.beside && (asset.hovered || asset.selected || asset.current || asset.audio || asset.missing)
                x: 5
                y: 5
                width: Math.min(implicitWidth, parent.width - 10)
                text: asset.name
                silent: true
            }
            Column {
                visible: asset.beside
                x: parent.width + 10
                y: 4
                width: Math.max(asset.nameWidth, 0)
                spacing: 4
                Text {
                    width: parent.width
                    elide: Text.ElideMiddle
                    text: asset.name
                    textFormat: Text.PlainText
                    font: Theme.captionFont
                    color: Theme.text1
                    Accessible.ignored: true
                }
                TimeText {
                    text: asset.length
                    font: Theme.smallFont
                    color: Theme.text2
                }
            }
            FocusRing {
                visible: asset.current
                corner: Theme.clipRadius
            }
        }
    }
}
