import QtQuick
import Kelvane
import "../Assistants"
import "../Export"
import "../Help"

// What a window shows over itself.
Item {
    id: sheets
    objectName: "windowSheets"

    required property ProjectWindowView view

    ExportOptionsSheet { view: sheets.view.exportOptions }
    ExportingSheet { view: sheets.view.exportWork }
    AIAssistantSheet { view: sheets.view.assistants }
    KeyboardShortcutsSheet { view: sheets.view.help }
    AboutSheet { view: sheets.view.help }
    ExportedAlert { view: sheets.view.exportWork }
    FailureAlert {
        failure: sheets.view.error
        onDismissed: sheets.view.dismissError()
    }
}
