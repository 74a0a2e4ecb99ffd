import QtQuick
import QtQuick.Controls.Basic
import Kelvane

// A menu of choices, of which some may not be there to take.
ComboBox {
    id: box

    required property string label
    property var available: []
    property int current: 0

    // A person takes another one.
    signal chosen(int index)
    // Return, while the menu is closed: the surroundings' default button.
    signal confirmed()

    function isAvailable(index) { return index >= available.length || available[index] }
    // To the next one that can be taken.
    function step(by) {
        for (let index = current + by; index >= 0 && index < count; index += by)
            if (isAvailable(index)) return chosen(index)
    }

    implicitHeight: 32
    currentIndex: current
    font: Theme.bodyFont
    // The wheel over a sheet changes nothing unseen.
    wheelEnabled: false
    focusPolicy: Qt.TabFocus
    Accessible.name: label
    Accessible.description: displayText
    onActivated: index => {
        if (isAvailable(index)) chosen(index)
        // What is taken is the view's to say.
        currentIndex = Qt.binding(() => box.current)
    }
    Keys.onPressed: event => {
        if (popup.visible) return
        event.accepted = true
        if (event.key === Qt.Key_Up) step(-1)
        else if (event.key === Qt.Key_Down && (event.modifiers & Qt.AltModifier)) popup.open()
        else if (event.key === Qt.Key_Down) step(1)
        else if (event.key === Qt.Key_Return || event.key === Qt.Key_Enter) confirmed()
        else event.accepted = false
    }

    contentItem: Text {
        leftPadding: 11
        rightPadding: 28
        text: box.displayText
        font: box.font
        color: box.enabled ? Theme.text1 : Theme.text4
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        Accessible.ignored: true
    }
    indicator: Icon {
        x: box.width - width - 8
        y: (box.height - height) / 2
        name: "chevrons-up-down"
        size: 16
        color: box.enabled ? Theme.text2 : Theme.text4
    }
    background: Rectangle {
        radius: Theme.controlRadius
        color: box.down ? Theme.controlPressed : box.hovered && box.enabled ? Theme.controlHover : Theme.control
        border.width: 1
        border.color: Qt.tint(color, Theme.line)
        Behavior on color { ColorAnimation { duration: box.hovered ? Theme.fillIn : Theme.fillOut } }
        FocusRing { visible: box.visualFocus }
    }
    delegate: ItemDelegate {
        id: option
        required property int index
        required property string modelData
        width: ListView.view ? ListView.view.width : 0
        implicitHeight: 30
        leftPadding: 30
        text: modelData
        font: Theme.bodyFont
        enabled: box.isAvailable(index)
        highlighted: box.highlightedIndex === index
        Accessible.role: Accessible.ListItem
        Accessible.name: text
        Accessible.selectable: true
        Accessible.selected: box.current === index
        Icon {
            x: 9
            y: 7
            visible: box.current === option.index
            name: "check"
            size: 16
            color: Theme.accent
        }
        contentItem: Text {
            text: option.text
            font: option.font
            color: option.enabled ? Theme.text1 : Theme.text4
            verticalAlignment: Text.AlignVCenter
            elide: Text.ElideRight
            Accessible.ignored: true
        }
        background: Rectangle {
            radius: Theme.controlRadius - 2
            color: option.highlighted && option.enabled ? Theme.controlHover : "transparent"
        }
    }
    popup: Popup {
        y: box.height + 4
        width: box.width
        implicitHeight: contentItem.implicitHeight + 8
        padding: 4
        margins: 8
        background: RaisedGround {}
        // Its keys are the box's, however it was opened: else Escape would close what the box stands on.
        onAboutToShow: box.forceActiveFocus(Qt.PopupFocusReason)
        contentItem: ListView {
            clip: true
            implicitHeight: contentHeight
            model: box.delegateModel
            currentIndex: box.highlightedIndex
            boundsBehavior: Flickable.StopAtBounds
            Accessible.role: Accessible.List
            Accessible.name: box.label
        }
        enter: Transition { NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.tipFade } }
        exit: null
    }
}
