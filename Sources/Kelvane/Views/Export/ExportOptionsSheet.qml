import QtQuick
import Kelvane
import "../Controls"
import "../Sheets"

// The choices before an export, over the window.
Sheet {
    id: sheet

    required property ExportOptionsView view

    // A label and the control that it names.
    component Choice: Item {
        property alias label: name.text
        property alias detail: detailText.text
        property bool hasDetail: true
        default property alias control: place.data

        width: parent.width
        height: hasDetail ? 54 : 32
        Text {
            id: name
            height: 32
            verticalAlignment: Text.AlignVCenter
            font: Theme.bodyFont
            color: Theme.text1
            // The control says it.
            Accessible.ignored: true
        }
        Item {
            id: place
            x: 100
            width: parent.width - x
            height: 32
        }
        Text {
            id: detailText
            visible: text.length > 0
            x: place.x
            y: 38
            width: place.width
            elide: Text.ElideRight
            font: Theme.captionFont
            color: Theme.text2
        }
    }

    title: qsTr("Export Video")
    shown: view.shown
    defaultButton: accept
    cancelButton: decline
    firstFocus: format

    Text {
        text: sheet.title
        font: Theme.sheetTitleFont
        color: Theme.text1
        Accessible.ignored: true
    }
    Item { width: 1; height: 3 }
    Text {
        text: qsTr("Portrait video")
        font: Theme.bodyFont
        color: Theme.text2
    }
    Item { width: 1; height: 22 }
    Choice {
        label: qsTr("Format")
        hasDetail: false
        SegmentedChoice {
            id: format
            width: parent.width
            label: qsTr("Format")
            options: sheet.view.containers
            current: sheet.view.container
            onChosen: index => sheet.view.container = index
        }
    }
    Item { width: 1; height: 16 }
    Choice {
        label: qsTr("Resolution")
        detail: sheet.view.resolutionText
        ChoiceBox {
            width: parent.width
            label: qsTr("Resolution")
            model: sheet.view.resolutions
            available: sheet.view.availableResolutions
            current: sheet.view.resolution
            onChosen: index => sheet.view.resolution = index
            onConfirmed: sheet.press(accept)
        }
    }
    Item { width: 1; height: 16 }
    Choice {
        label: qsTr("Frame rate")
        detail: sheet.view.frameRateText
        ChoiceBox {
            width: parent.width
            label: qsTr("Frame rate")
            model: sheet.view.frameRates
            current: sheet.view.frameRate
            onChosen: index => sheet.view.frameRate = index
            onConfirmed: sheet.press(accept)
        }
    }
    Item { width: 1; height: 20 }
    Rectangle {
        width: parent.width
        height: 1
        color: Theme.line
    }
    Item { width: 1; height: 16 }
    Item {
        width: parent.width
        height: 18
        Text {
            text: qsTr("Estimated size")
            font: Theme.bodyFont
            color: Theme.text1
        }
        Text {
            anchors.right: parent.right
            text: sheet.view.sizeText
            font: Theme.titleFont
            color: Theme.text1
        }
    }
    Item { width: 1; height: 3 }
    Text {
        text: qsTr("Actual file size may vary.")
        font: Theme.captionFont
        color: Theme.text3
    }
    SheetFoot {
        gap: 30
        SheetButton {
            id: decline
            text: qsTr("Cancel")
            onClicked: sheet.view.cancel()
        }
        SheetButton {
            id: accept
            primary: true
            text: qsTr("Export…")
            enabled: sheet.view.canExport
            onClicked: sheet.view.confirm()
        }
    }
}
