import QtQuick
import Kelvane
import "../Controls"

// The assistants that a project can be handed to, over the window.
Item {
    id: sheet

    required property AIAssistantView view

    visible: false
}
