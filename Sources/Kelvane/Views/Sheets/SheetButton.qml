import QtQuick
import Kelvane
import "../Controls"

// A button at the foot of a sheet.
TextButton {
    implicitWidth: Math.max(88, implicitContentWidth + leftPadding + rightPadding)
    // What Return presses, as a reader of the screen is told.
    highlighted: primary
    leftPadding: 14
    rightPadding: 14
}
