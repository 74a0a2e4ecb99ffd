import QtQuick
import Kelvane
import "../Controls"

// How far an export is, and the way to stop it, over the window.
Item {
    id: sheet

    required property ExportingView view

    visible: false
}
