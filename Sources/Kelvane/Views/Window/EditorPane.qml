import QtQuick
import Kelvane
import "../Assets"
import "../Inspector"
import "../Preview"
import "../Timeline"

// The panes of a project: assets, divider and preview above the timeline, and the inspector beside all of them.
FocusScope {
    id: pane

    required property ProjectWindowView view
    readonly property EditorView editor: view.editor
    readonly property alias timeline: timelinePane.surface
    readonly property alias assetsPane: assets
    readonly property alias previewPane: preview
    readonly property alias inspectorPane: inspector

    focus: true
    Keys.onEscapePressed: event => event.accepted = view.escape()

    Item {
        id: work
        anchors.left: parent.left
        anchors.right: inspector.visible ? inspector.left : parent.right
        height: parent.height

        AssetsPane {
            id: assets
            objectName: "assetsPane"
            width: pane.editor.assetsWidth
            height: timelinePane.y
            dropTarget: pane.editor.dropTarget
            view: pane.view.assets
            onTimelineWanted: timelinePane.surface.forceActiveFocus(Qt.OtherFocusReason)
        }
        PaneDivider {
            id: divider
            objectName: "paneDivider"
            x: assets.width
            height: timelinePane.y
            view: pane.editor
        }
        PreviewPane {
            id: preview
            objectName: "previewPane"
            x: divider.x + divider.width
            width: Math.max(work.width - x, 0)
            height: timelinePane.y
            foot: 48
            view: pane.view.preview
            importProgress: pane.view.importProgress
            onImportCancelled: pane.view.cancelImport()
        }
        AssistantToastBar {
            // Under the preview, where the picture leaves room; above what plays an asset.
            x: Math.round(preview.x + (preview.width - width) / 2)
            y: preview.height - height - 6 - (preview.view.showsAsset ? preview.foot : 0)
            toast: pane.view.toast
            onFocusLeft: pane.timeline.forceActiveFocus(Qt.OtherFocusReason)
        }
        TimelinePane {
            id: timelinePane
            objectName: "timelinePane"
            anchors.bottom: parent.bottom
            width: parent.width
            // What is above it keeps some room in any window.
            height: Math.min(implicitHeight, parent.height - 64)
            view: pane.view.timeline
            preview: pane.view.preview
        }
        Binding {
            target: pane.editor
            property: "rowWidth"
            value: work.width
        }
        WorkBar {
            anchors.horizontalCenter: parent.horizontalCenter
            anchors.bottom: timelinePane.top
            anchors.bottomMargin: 6
            view: pane.view
        }
    }
    InspectorPane {
        id: inspector
        objectName: "inspectorPane"
        anchors.right: parent.right
        width: Theme.inspectorWidth
        height: parent.height
        visible: pane.editor.showInspector
        view: pane.view.inspector
    }
    AnnouncementLabel { view: pane.view }
}
