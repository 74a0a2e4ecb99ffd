import QtQuick

// The row of buttons at the end of a sheet, to its right.
Item {
    default property alias buttons: row.data
    property real gap: 24

    width: parent.width
    implicitHeight: gap + row.height
    Row {
        id: row
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        spacing: 10
    }
}
