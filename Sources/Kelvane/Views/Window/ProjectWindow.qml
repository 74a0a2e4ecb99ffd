import QtQuick
import QtQuick.Controls.Basic
import Kelvane
import "../Controls"
import "../Home"

ApplicationWindow {
    id: window

    required property ProjectWindowView view
    // What shows the project; null until it is made.
    readonly property EditorPane pane: editor.item as EditorPane
    // Whether all parts are made.
    readonly property bool whole: editor.ready && sheets.ready && header.whole

    width: 1060
    height: 760
    minimumWidth: 740
    minimumHeight: 560
    color: Theme.window
    font: Theme.bodyFont
    title: view.showsHome ? "Kelvane" : view.title

    palette.window: Theme.raised
    palette.windowText: Theme.text1
    palette.text: Theme.text1
    palette.base: Theme.window
    palette.button: Theme.control
    palette.buttonText: Theme.text1
    palette.highlight: Theme.accent
    palette.highlightedText: Theme.onAccent
    palette.mid: Theme.groove
    palette.dark: Theme.text2
    palette.light: Theme.controlHover
    palette.midlight: Theme.controlPressed

    Component.onCompleted: view.beginShowing()
    onClosing: close => close.accepted = view.shouldClose()
    onXChanged: keepFrame()
    onYChanged: keepFrame()
    onWidthChanged: keepFrame()
    onHeightChanged: keepFrame()

    // What a maximised window is restored to is the desktop's to know.
    function keepFrame() {
        if (visible && visibility === Window.Windowed) view.keepFrame(Qt.rect(x, y, width, height))
    }

    Connections {
        target: window.view
        function onCloseConfirmed() { window.close() }
        function onCloseRequested() { window.close() }
        function onProjectShown() { editor.now().timeline.forceActiveFocus(Qt.OtherFocusReason) }
        function onPaneRequested(step) { focus.go(step) }
        function onShortcutsRequested() { window.view.help.showShortcuts() }
        function onAboutRequested() { window.view.help.showAbout() }
        function onPlaceRequested(place) {
            window.x = place.x
            window.y = place.y
        }
        function onFrameRequested(frame) {
            if (window.visibility === Window.Maximized || window.visibility === Window.FullScreen) return
            window.width = Math.max(frame.width, window.minimumWidth)
            window.height = Math.max(frame.height, window.minimumHeight)
        }
    }

    // What comes after the first frame.
    Connections {
        target: window
        enabled: !window.view.standing
        function onFrameSwapped() { window.view.frameShown() }
    }
    // The keys of all commands. They belong to the window's content, so that what stands over it keeps them out.
    Item {
        Instantiator {
            model: window.view.commands.count
            Shortcut {
                required property int index
                readonly property WindowCommand command: window.view.commands.at(index)
                sequences: command.keys
                enabled: command.actsByKey
                autoRepeat: command.repeats
                onActivated: command.trigger()
            }
        }
        Shortcut { sequence: "F10"; onActivated: header.takeFocus() }
    }
    PaneFocus {
        id: focus
        panes: window.pane ? [header, window.pane.assetsPane, window.pane.previewPane, window.pane.timeline, window.pane.inspectorPane, home] : [header, home]
        resting: window.pane ? window.pane.timeline : null
        onAltPressed: header.takeFocus()
    }
    Binding {
        target: window.view
        property: "typing"
        value: focus.typing
    }
    // Files are dropped anywhere on the window of a project.
    DropArea {
        // The whole window, its head too.
        parent: window.contentItem.parent
        width: window.width
        height: window.height
        z: -1
        // Files are copied, whatever the desktop proposes.
        function answer(drag, takes) {
            if (takes) drag.accept(Qt.CopyAction)
            else drag.accepted = false
        }
        onEntered: drag => answer(drag, drag.hasUrls && window.view.editor.enterDrop(drag.urls))
        onPositionChanged: drag => answer(drag, window.view.editor.acceptsDrop())
        onExited: window.view.editor.leaveDrop()
        onDropped: drop => answer(drop, window.view.editor.importDrop(drop.urls))
    }
    Rectangle {
        objectName: "dropFrame"
        parent: window.contentItem.parent
        x: 4
        y: 4
        width: window.width - 8
        height: window.height - 8
        z: 1
        radius: Theme.previewRadius
        color: "transparent"
        border.width: 3
        border.color: Theme.accent
        opacity: window.view.editor.dropTarget ? 0.4 : 0
        visible: opacity > 0
        Behavior on opacity { NumberAnimation { duration: Theme.reducedMotion ? 0 : Theme.tipFade } }
    }

    header: ProjectHeader {
        id: header
        objectName: "projectHeader"
        view: window.view
    }
    HelpBubble { tips: window.view.tips }

    LateLoader {
        id: editor
        anchors.fill: parent
        part: Qt.resolvedUrl("EditorPane.qml")
        properties: ({ view: window.view })
        visible: !window.view.showsHome
        focus: visible
        due: window.view.standing
        wanted: !window.view.showsHome
    }
    HomeView {
        id: home
        anchors.fill: parent
        visible: window.view.showsHome
        focus: visible
        view: window.view.home
    }
    WorkBar {
        visible: window.view.showsHome && showsWork
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 12
        view: window.view
    }

    LateLoader {
        id: sheets
        anchors.fill: parent
        part: Qt.resolvedUrl("WindowSheets.qml")
        properties: ({ view: window.view })
        due: window.view.standing
        wanted: window.view.error.length > 0
    }
}
