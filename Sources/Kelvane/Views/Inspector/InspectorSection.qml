import QtQuick
import Kelvane

// A part of the inspector: its title, and below it its rows.
Column {
    id: section

    required property string title
    // Whether a line parts it from the one before.
    property bool parted: true

    width: parent.width
    bottomPadding: 14
    spacing: 8
    Accessible.role: Accessible.Grouping
    Accessible.name: title

    Item {
        width: parent.width
        height: 30
        Rectangle {
            visible: section.parted
            x: -14
            width: parent.width + 28
            height: 1
            color: Theme.line
        }
        Text {
            y: 12
            text: section.title
            font: Theme.captionTitleFont
            color: Theme.text1
            // The section says it.
            Accessible.ignored: true
        }
    }
}
