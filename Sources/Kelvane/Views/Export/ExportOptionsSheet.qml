import QtQuick
import Kelvane
import "../Controls"

// The choices before an export, over the window.
Item {
    id: sheet

    required property ExportOptionsView view

    visible: false
}
