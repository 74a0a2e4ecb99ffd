import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import Kelvane
import "../Controls"

// A sheet over its window: what is behind it is dimmed and can't be reached. It opens while it is shown; Return presses
// its default button and Escape its cancelling one, and without one of them does nothing.
Dialog {
    id: sheet

    // What a reader of the screen is told that it is.
    property bool alert: false
    property bool shown: false
    property Item defaultButton: null
    property Item cancelButton: null
    // What has the focus first; none leaves it with the sheet itself.
    property Item firstFocus: null
    property bool reducedMotion: Theme.reducedMotion
    default property alias body: column.data
    // How far below its place it is.
    property real drop: 0

    function press(button) { if (button && button.enabled) button.clicked() }

    x: parent ? Math.round((parent.width - width) / 2) : 0
    // A little above the middle, where it looks to be in it.
    y: parent ? Math.round(Math.max((parent.height - height) / 2 - 16, 8) + drop) : 0
    width: 480
    parent: T.Overlay.overlay
    padding: 24
    margins: 8
    modal: true
    focus: true
    // Escape is the cancelling button's, and a click beside the sheet is nobody's.
    closePolicy: Popup.NoAutoClose

    onAboutToShow: turn.enter()
    // Before anything is drawn, so that keys that follow at once find their place.
    onVisibleChanged: {
        if (visible && firstFocus) firstFocus.forceActiveFocus(alert ? Qt.TabFocusReason : Qt.PopupFocusReason)
        else if (visible) keys.forceActiveFocus(Qt.PopupFocusReason)
    }
    onClosed: turn.leave()

    readonly property SheetTurn turn: SheetTurn {
        place: sheet.parent
        content: keys
        wanted: sheet.shown
        alone: sheet.alert
        onGrantedChanged: if (granted) sheet.open(); else sheet.close()
    }

    header: null
    footer: null

    T.Overlay.modal: Rectangle {
        color: Theme.scrim
        // What is dragged over the window is taken here, and refused.
        DropArea {
            anchors.fill: parent
            onEntered: drag => drag.accept(Qt.IgnoreAction)
            onPositionChanged: drag => drag.accept(Qt.IgnoreAction)
            onDropped: drop => drop.accept(Qt.IgnoreAction)
        }
    }
    background: RaisedGround { radius: Theme.sheetRadius }
    contentItem: FocusScope {
        id: keys
        implicitHeight: column.implicitHeight
        Keys.onReturnPressed: sheet.press(sheet.defaultButton)
        Keys.onEnterPressed: sheet.press(sheet.defaultButton)
        Keys.onEscapePressed: sheet.press(sheet.cancelButton)
        Column {
            id: column
            width: parent.width
        }
    }
    enter: Transition {
        NumberAnimation { property: "opacity"; from: 0; to: 1; duration: sheet.reducedMotion ? Theme.reducedFade : Theme.sheetIn; easing.type: Easing.OutCubic }
        NumberAnimation { target: sheet; property: "drop"; from: sheet.reducedMotion ? 0 : Theme.sheetRise; to: 0; duration: Theme.sheetIn; easing.type: Easing.OutCubic }
    }
    exit: Transition {
        NumberAnimation { property: "opacity"; from: 1; to: 0; duration: sheet.reducedMotion ? Theme.reducedFade : Theme.sheetOut }
    }
}
