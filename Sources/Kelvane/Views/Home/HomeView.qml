import QtQuick
import QtQuick.Controls.Basic
import Kelvane
import "../Controls"

// The projects of the library as cards, or what there is to do without any.
FocusScope {
    id: home

    required property ProjectsHomeView view

    // The menu of a card, at a place in it.
    function showMenu(card: Item, x: real, y: real) {
        const place = card.mapToItem(home, x, y)
        menu.projectID = card.projectID
        menu.popup(home, place.x, place.y)
    }

    Item {
        id: heading
        width: parent.width
        y: -grid.scroll
        visible: grid.visible && home.view.countText.length > 0

        Text {
            x: grid.margin
            y: 24
            text: qsTr("Projects")
            font { family: Theme.bodyFont.family; pixelSize: 22; weight: Font.DemiBold; letterSpacing: -0.2 }
            color: Theme.text1
        }
        Text {
            x: grid.margin
            y: 57
            text: home.view.countText
            font: Theme.captionFont
            color: Theme.text3
        }
    }
    ProjectGrid {
        id: grid
        objectName: "projectGrid"
        anchors.fill: parent
        focus: visible
        visible: !home.view.empty && !home.view.nothingFound
        clip: true
        view: home.view
        scroll: cards.contentY - cards.originY
        Accessible.role: Accessible.List
        Accessible.name: qsTr("Projects")
        onRevealed: scroll => cards.contentY = cards.originY + scroll
        onMenuWanted: row => {
            const shown = cards.itemAtIndex(row)
            if (shown) shown.askForMenu()
        }

        GridView {
            id: cards
            objectName: "projectCards"
            x: grid.margin
            // A sliver more, so that rounding drops no column.
            width: grid.columns * cellWidth + 0.5
            height: parent.height
            cellWidth: grid.cardWidth + grid.spacing
            cellHeight: grid.cardHeight + grid.rowSpacing
            cacheBuffer: 2 * cellHeight
            boundsBehavior: Flickable.StopAtBounds
            keyNavigationEnabled: false
            model: home.view.projects
            header: Item { width: 1; height: grid.heading }
            ScrollBar.vertical: PageScrollBar {
                parent: grid
                x: grid.width - width
                height: grid.height
            }
            delegate: ProjectCard {
                id: card
                view: home.view
                width: grid.cardWidth
                height: grid.cardHeight
                focused: grid.showsFocus && grid.current === index
                asked: menu.visible && menu.projectID === projectID
                onMenuWanted: (x, y) => home.showMenu(card, x, y)
            }
        }
    }
    Loader {
        anchors.fill: parent
        active: home.view.empty
        focus: active
        sourceComponent: EmptyLibrary { view: home.view }
    }
    Column {
        anchors.centerIn: parent
        visible: home.view.nothingFound
        spacing: 8

        Icon { anchors.horizontalCenter: parent.horizontalCenter; name: "search"; size: 24; color: Theme.text3 }
        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            width: Math.min(implicitWidth, home.width - 48)
            text: qsTr("No Results for “%1”").arg(home.view.search)
            textFormat: Text.PlainText
            elide: Text.ElideMiddle
            maximumLineCount: 1
            font: Theme.cardTitleFont
            color: Theme.text1
        }
        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            text: qsTr("Check the spelling or try a new search.")
            font: Theme.bodyFont
            color: Theme.text2
        }
    }
    ProjectCardMenu {
        id: menu
        view: home.view
    }
}
