import QtQuick

// The application's icon.
Image {
    property real size: 30
    width: size
    height: size
    sourceSize: Qt.size(size, size)
    source: Qt.resolvedUrl("kelvane.svg")
    Accessible.ignored: true
}
