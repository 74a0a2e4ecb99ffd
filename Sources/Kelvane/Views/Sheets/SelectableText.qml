import QtQuick
import Kelvane

// Words that can be selected and copied, and can't be changed; a label to who reads the screen.
TextEdit {
    width: parent.width
    readOnly: true
    selectByMouse: true
    // The keyboard goes past it; a press of the mouse puts the focus here, for the key that copies.
    activeFocusOnTab: false
    textFormat: TextEdit.PlainText
    wrapMode: TextEdit.Wrap
    font: Theme.bodyFont
    color: Theme.text2
    selectionColor: Theme.accent
    selectedTextColor: Theme.onAccent
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
