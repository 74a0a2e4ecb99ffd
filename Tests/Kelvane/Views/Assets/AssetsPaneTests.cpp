#include <gmock/gmock.h>

#include <QDropEvent>
#include <QMimeData>
#include <QSignalSpy>
#include <QUrl>

#include "Kelvane/Views/Accessible/TreeReading.h"
#include "Kelvane/Views/Timeline/TimelineWindowFixture.h"
#include "Views/Assets/AssetThumbnail.h"
#include "Views/Assets/AssetsSurface.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

/// The assets pane of a real window: the footage, and the sound.
class AssetsPaneTests : public TimelineWindowFixture {
protected:
    static constexpr UUID footage = uuid(10);
    static constexpr UUID sound = uuid(11);

    [[nodiscard]] AssetsSurface& grid() const { return *static_cast<AssetsSurface*>(item("assetsSurface")); }
    [[nodiscard]] AssetsView& assets() const { return *grid().view(); }
    /// The middle of the asset at `index`, in points of the window.
    [[nodiscard]] QPoint asset(std::size_t index) const {
        const QPointF place = assets().layout().frame(index).center() - QPointF(0, assets().scrollOffset());
        return grid().mapToScene(place).toPoint();
    }
    /// The first that is drawn below `item`.
    static const AssetThumbnail* thumbnail(const QQuickItem& item) {
        if (const auto* found = qobject_cast<const AssetThumbnail*>(&item)) return found;
        for (const QQuickItem* child : item.childItems())
            if (const auto* found = thumbnail(*child)) return found;
        return nullptr;
    }
    [[nodiscard]] QAccessibleInterface& node(QAccessible::Role role, const std::string& name) {
        auto* found = findNode(treeRoot(*window), role, name);
        check(found != nullptr, ("the tree has " + name).c_str());
        return *found;
    }
};

TEST_F(AssetsPaneTests, ItStandsInTheTreeAsAListOfItsAssets) {
    refresh();
    auto& list = node(QAccessible::List, "Assets");
    ASSERT_EQ(list.childCount(), 2);
    auto& first = *list.child(0);
    EXPECT_EQ(lineOf(first), "list item \"Footage\" (Preview or drag to timeline)");
    EXPECT_EQ(lineOf(*list.child(1)), "list item \"Sound\" (Preview or drag to timeline)");
    // The extents are those of the picture.
    const QRect frame = grid().mapRectToScene(assets().layout().frame(0)).toRect();
    EXPECT_EQ(first.rect(), frame.translated(window->position()));
    EXPECT_EQ(frame.size(), QSize(144, 81));
    EXPECT_TRUE(findNode(treeRoot(*window), QAccessible::StaticText, "2"));
    EXPECT_TRUE(findNode(treeRoot(*window), QAccessible::PushButton, "Import Assets"));
    EXPECT_FALSE(findNode(treeRoot(*window), QAccessible::PushButton, "Delete Asset"));
    click(asset(0));
    EXPECT_TRUE(first.state().selected);
    EXPECT_TRUE(findNode(treeRoot(*window), QAccessible::StaticText, "1 selected"));
    auto& button = node(QAccessible::PushButton, "Delete Asset");
    EXPECT_EQ(button.text(QAccessible::Description), "Delete assets and clips (Del)");
    EXPECT_EQ(node(QAccessible::PushButton, "Import Assets").text(QAccessible::Description), "Import assets (Ctrl+I)");
}

TEST_F(AssetsPaneTests, AClickPreviewsAnAssetAndADoubleClickAddsIt) {
    click(asset(0));
    EXPECT_THAT(editor->selectedAssetIDs(), UnorderedElementsAre(footage));
    EXPECT_EQ(editor->previewAssetID(), footage);
    click(asset(1), Qt::ControlModifier);
    EXPECT_THAT(editor->selectedAssetIDs(), UnorderedElementsAre(footage, sound));
    QTest::mouseDClick(window.get(), Qt::LeftButton, {}, asset(0), 1000);
    context.runPosted();
    EXPECT_EQ(editor->clips().size(), 6U);
    EXPECT_EQ(editor->clips()[1].url, editor->assets()[0].url);
    EXPECT_EQ(steps(), 1U);
    EXPECT_TRUE(surface().hasActiveFocus()) << "the clip that was added has the focus";
}

TEST_F(AssetsPaneTests, ABandOnTheGroundSelectsAndTakesTheChoiceFromTheTimeline) {
    const QPoint ground = grid().mapToScene({grid().width() - 20, grid().height() - 8}).toPoint();
    drag(ground, asset(0), {}, true);
    refresh();
    EXPECT_TRUE(findNode(treeRoot(*window), QAccessible::Graphic, "Selection"));
    EXPECT_THAT(editor->selectedClipIDs(), IsEmpty());
    EXPECT_FALSE(editor->selectedAssetIDs().empty());
    letGo(asset(0));
    refresh();
    EXPECT_FALSE(findNode(treeRoot(*window), QAccessible::Graphic, "Selection"));
}

TEST_F(AssetsPaneTests, AnAssetIsCarriedOutOfThePaneAndTheNextPressBeginsAnew) {
    QSignalSpy carried(&assets(), &AssetsView::dragWanted);
    drag(asset(0), asset(0) + QPoint(40, 30));
    ASSERT_EQ(carried.size(), 1);
    EXPECT_EQ(carried[0][0].value<UUID>(), footage);
    EXPECT_THAT(editor->selectedAssetIDs(), IsEmpty());
    click(asset(1));
    EXPECT_THAT(editor->selectedAssetIDs(), UnorderedElementsAre(sound));
}

TEST_F(AssetsPaneTests, KeysWorkTheGridAndTheFocusStandsOnAnAsset) {
    grid().forceActiveFocus(Qt::TabFocusReason);
    context.runPosted();
    auto& list = node(QAccessible::List, "Assets");
    EXPECT_TRUE(list.child(0)->state().focused);
    EXPECT_FALSE(list.state().focused);
    press(Qt::Key_End);
    EXPECT_TRUE(list.child(1)->state().focused);
    EXPECT_THAT(editor->selectedAssetIDs(), UnorderedElementsAre(sound));
    press(Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(editor->selectedAssetIDs().size(), 2U);
    press(Qt::Key_Delete);
    EXPECT_THAT(editor->assets(), IsEmpty());
    EXPECT_THAT(editor->clips(), IsEmpty());
    EXPECT_EQ(steps(), 1U);
}

TEST_F(AssetsPaneTests, ItsMenuDeletesAndIsOfNoUseWhileBusy) {
    QTest::mouseClick(window.get(), Qt::RightButton, {}, asset(1), 1000);
    context.runPosted();
    refresh();
    auto* entry = findNode(treeRoot(*window), QAccessible::MenuItem, "Delete Asset");
    ASSERT_TRUE(entry);
    EXPECT_FALSE(entry->state().disabled);
    editor->beginCopying();
    context.runPosted();
    EXPECT_TRUE(entry->state().disabled);
    editor->endCopying();
    context.runPosted();
    entry->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    context.runPosted();
    ASSERT_EQ(editor->assets().size(), 1U);
    EXPECT_EQ(editor->assets()[0].id, footage);
}

TEST_F(AssetsPaneTests, AReaderOfTheScreenPressesAnAsset) {
    auto& list = node(QAccessible::List, "Assets");
    list.child(1)->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    context.runPosted();
    EXPECT_THAT(editor->selectedAssetIDs(), UnorderedElementsAre(sound));
}

TEST_F(AssetsPaneTests, AnEmptyPaneAsksForFilesWhereItIsClicked) {
    editor->selectAssets({footage, sound});
    editor->deleteSelection();
    refresh();
    EXPECT_TRUE(findNode(treeRoot(*window), QAccessible::StaticText, "Import or drop video and audio here."));
    EXPECT_FALSE(findNode(treeRoot(*window), QAccessible::List, "Assets"));
    panels.hold = true;
    click(middle("emptyAssets"));
    EXPECT_EQ(panels.askedFiles.size(), 1U);
}

TEST_F(AssetsPaneTests, ThePointerOverAnAssetShowsItsFrames) {
    QTest::mouseMove(window.get(), {2, 2});
    QTest::mouseMove(window.get(), asset(0));
    context.runPosted();
    EXPECT_EQ(editor->assetHoverID(), footage);
    QTest::mouseMove(window.get(), asset(0) + QPoint(36, 0));
    context.runPosted();
    EXPECT_NEAR(*editor->assetHoverTime(), 7.5, 0.1);
    QTest::mouseMove(window.get(), body(5, 0));
    context.runPosted();
    EXPECT_FALSE(editor->hoverPreview());
}

TEST_F(AssetsPaneTests, FilesThatAreDroppedAreImportedUnlessTheProjectIsBusy) {
    media.addFileNamed("New.mov", FakeFile::video(3));
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(QString::fromStdString(folder.write("Sources/New.mov").path()))});
    const auto dropOn = [&](QPoint point) {
        QDragEnterEvent entered(point, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(window.get(), &entered);
        QDropEvent dropped(point, Qt::CopyAction, &data, Qt::NoButton, Qt::NoModifier);
        QCoreApplication::sendEvent(window.get(), &dropped);
        context.settle();
    };
    editor->beginCopying();
    context.runPosted();
    dropOn(asset(1));
    EXPECT_EQ(editor->assets().size(), 2U);
    editor->endCopying();
    context.runPosted();
    dropOn(asset(1));
    EXPECT_EQ(editor->assets().size(), 3U);
}

TEST_F(AssetsPaneTests, APictureIsDrawnInTheBackgroundAtTheScreensPixels) {
    context.settle();
    refresh();
    context.settle();
    refresh();
    const AssetThumbnail* drawn = thumbnail(grid());
    ASSERT_TRUE(drawn);
    EXPECT_TRUE(drawn->filled());
    EXPECT_EQ(drawn->carried().size(), QSize(84, 47));
}

}  // namespace
}  // namespace kelvane::testing
