#include <gmock/gmock.h>

#include <QSignalSpy>

#include "Support/App/EditorFixture.h"
#include "Support/ClipBuilder.h"
#include "Views/Assets/AssetsView.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

/// A pane 312 points wide, which shows five assets in two columns; the last is a sound. The timeline has two clips of
/// 4 s of the first asset.
class AssetsViewTests : public EditorFixture {
protected:
    AssetsViewTests() : workspace(std::make_shared<Workspace>(UUID::random(), editor)) {
        for (int i = 1; i <= 4; ++i)
            files.push_back(makeManaged("take" + std::to_string(i) + ".mov", FakeFile::video(10)));
        files.push_back(makeManaged("sound.wav", FakeFile::audio(10)));
        std::vector<Clip> assets;
        for (std::uint64_t i = 0; i < 4; ++i) assets.push_back(videoClip(11 + i, files[i], 10));
        assets.push_back(audioClip(15, files[4], 10));
        load({videoClip(1, files[0], 10).stretch(0, 4), videoClip(2, files[0], 10).stretch(4, 8)}, assets);
        settlePreview();
        view = std::make_unique<AssetsView>(workspace);
        view->setWidth(312);
        view->setHeight(200);
        tell();
    }
    ~AssetsViewTests() override {
        view.reset();
        workspace.reset();
    }

    void tell() { context.runPosted(); }
    /// The middle of the asset at `index`, in the viewport.
    [[nodiscard]] QPointF at(std::size_t index) const {
        return view->layout().frame(index).center() - QPointF(0, view->scrollOffset());
    }
    void click(QPointF point, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        view->press(point, modifiers);
        view->release(point, modifiers);
        tell();
    }
    void click(std::size_t index, Qt::KeyboardModifiers modifiers = Qt::NoModifier) { click(at(index), modifiers); }
    bool press(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        const bool isDone = view->pressKey(key, modifiers);
        tell();
        return isDone;
    }
    [[nodiscard]] const std::set<UUID>& selected() const { return editor->selectedAssetIDs(); }
    [[nodiscard]] QVariant role(int row, const char* name) const {
        const int role = view->assets()->roleNames().key(name);
        return view->assets()->data(view->assets()->index(row), role);
    }

    static constexpr UUID first = uuid(11);
    static constexpr UUID second = uuid(12);
    static constexpr UUID third = uuid(13);
    static constexpr UUID fourth = uuid(14);
    static constexpr UUID sound = uuid(15);
    std::vector<FileURL> files;
    std::shared_ptr<Workspace> workspace;
    std::unique_ptr<AssetsView> view;
};

TEST_F(AssetsViewTests, ItsRowsAreTheAssetsInTheirOrderAndPlaces) {
    ASSERT_EQ(view->assets()->rowCount(), 5);
    EXPECT_EQ(role(0, "name"), "take1");
    EXPECT_EQ(role(0, "length"), "00:10.0");
    EXPECT_EQ(role(1, "frame"), QRectF(162, 6, 144, 81));
    EXPECT_EQ(role(4, "audio"), true);
    EXPECT_EQ(role(4, "name"), "sound");
    EXPECT_EQ(view->count(), "5");
    view->setWidth(300);
    EXPECT_EQ(role(1, "frame"), QRectF(6, 101, 144, 81));
    EXPECT_TRUE(view->namesBeside());
    view->setWidth(200);
    EXPECT_FALSE(view->namesBeside());
}

TEST_F(AssetsViewTests, RowsComeAndGoByTheirIdsAndTheModelIsNeverReset) {
    QSignalSpy reset(view->assets(), &QAbstractItemModel::modelReset);
    QSignalSpy removed(view->assets(), &QAbstractItemModel::rowsRemoved);
    QSignalSpy inserted(view->assets(), &QAbstractItemModel::rowsInserted);
    editor->deleteAssets({second});
    tell();
    ASSERT_EQ(removed.size(), 1);
    EXPECT_EQ(removed[0][1], 1);
    EXPECT_EQ(removed[0][2], 1);
    editor->undo();
    tell();
    ASSERT_EQ(inserted.size(), 1);
    EXPECT_EQ(inserted[0][1], 1);
    EXPECT_EQ(reset.size(), 0);
}

TEST_F(AssetsViewTests, AnEditOfTheTimelineChangesNoRow) {
    click(1);
    QSignalSpy changed(view->assets(), &QAbstractItemModel::dataChanged);
    editor->selectAssets({second});
    editor->addAssets({}, {});
    tell();
    EXPECT_EQ(changed.size(), 0);
}

TEST_F(AssetsViewTests, AClickShowsAndSelectsTheAssetAlone) {
    click(1);
    EXPECT_THAT(selected(), UnorderedElementsAre(second));
    EXPECT_EQ(editor->previewAssetID(), second);
    EXPECT_EQ(view->selectionAnchor(), second);
    EXPECT_THAT(editor->selectedClipIDs(), IsEmpty());
    EXPECT_EQ(view->count(), "1 selected");
    EXPECT_TRUE(view->canDelete());
    EXPECT_EQ(role(1, "selected"), true);
    EXPECT_EQ(role(0, "selected"), false);
    click(2);
    EXPECT_THAT(selected(), UnorderedElementsAre(third));
}

TEST_F(AssetsViewTests, ClicksWithControlTakeAssetsInAndOut) {
    click(0);
    click(2, Qt::ControlModifier);
    EXPECT_THAT(selected(), UnorderedElementsAre(first, third));
    EXPECT_EQ(view->selectionAnchor(), third);
    EXPECT_EQ(view->count(), "2 selected");
    EXPECT_EQ(view->deleteLabel(), "Delete Selected Assets");
    click(0, Qt::ControlModifier);
    EXPECT_THAT(selected(), UnorderedElementsAre(third));
    // What is left alone is shown.
    EXPECT_EQ(editor->previewAssetID(), third);
    EXPECT_EQ(view->deleteLabel(), "Delete Asset");
    click(2, Qt::ControlModifier);
    EXPECT_THAT(selected(), IsEmpty());
    EXPECT_FALSE(editor->previewAssetID());
}

TEST_F(AssetsViewTests, AClickWithShiftSelectsFromTheAnchorWhichStays) {
    click(1);
    click(3, Qt::ShiftModifier);
    EXPECT_THAT(selected(), UnorderedElementsAre(second, third, fourth));
    EXPECT_EQ(view->selectionAnchor(), second);
    click(0, Qt::ShiftModifier);
    EXPECT_THAT(selected(), UnorderedElementsAre(first, second));
    click(4, Qt::ControlModifier);
    click(2, Qt::ControlModifier);
    click(3, Qt::ShiftModifier | Qt::ControlModifier);
    EXPECT_THAT(selected(), UnorderedElementsAre(first, second, third, fourth, sound));
    click(2, Qt::ShiftModifier);
    EXPECT_THAT(selected(), UnorderedElementsAre(third));
    EXPECT_EQ(editor->previewAssetID(), third);
}

TEST_F(AssetsViewTests, AClickWithShiftBeforeAnyPlainOneIsAPlainClick) {
    click(2, Qt::ShiftModifier);
    EXPECT_THAT(selected(), UnorderedElementsAre(third));
    EXPECT_EQ(editor->previewAssetID(), third);
    EXPECT_EQ(view->selectionAnchor(), third);
}

TEST_F(AssetsViewTests, AnAnchorThatIsGoneCountsForNothing) {
    click(1);
    editor->deleteAssets({second});
    tell();
    click(2, Qt::ShiftModifier);
    EXPECT_THAT(selected(), UnorderedElementsAre(fourth));
}

TEST_F(AssetsViewTests, ADragCarriesTheAssetOrTheSelectionThatItIsPartOf) {
    EXPECT_EQ(view->dragPayload(second), "asset:" + second.upper());
    click(1);
    EXPECT_EQ(view->dragPayload(second), "asset:" + second.upper());
    click(3, Qt::ControlModifier);
    click(0, Qt::ControlModifier);
    EXPECT_EQ(view->dragPayload(fourth), "assets:" + first.upper() + "," + second.upper() + "," + fourth.upper());
    EXPECT_EQ(view->dragPayload(third), "asset:" + third.upper());
}

TEST_F(AssetsViewTests, APressThatMovesIsADragAndNoClick) {
    QSignalSpy wanted(view.get(), &AssetsView::dragWanted);
    view->press(at(1), {});
    view->drag(at(1) + QPointF(4, 4));
    EXPECT_EQ(wanted.size(), 0);
    view->drag(at(1) + QPointF(6, 4));
    view->drag(at(1) + QPointF(60, 4));
    ASSERT_EQ(wanted.size(), 1);
    EXPECT_EQ(wanted[0][0].value<UUID>(), second);
    view->release(at(1) + QPointF(60, 4), {});
    tell();
    EXPECT_THAT(selected(), IsEmpty());
    EXPECT_EQ(editor->selection(), uuid(1));
}

TEST_F(AssetsViewTests, ABandSelectsWhatItTouchesAndDropsItAgain) {
    view->press({156, 2}, {});
    tell();
    // Already the press takes the choice from the timeline.
    EXPECT_THAT(editor->selectedClipIDs(), IsEmpty());
    EXPECT_EQ(view->marquee(), QRectF(156, 2, 0, 0));
    view->drag({170, 120});
    EXPECT_EQ(view->marquee(), QRectF(156, 2, 14, 118));
    EXPECT_THAT(selected(), UnorderedElementsAre(second, fourth));
    view->drag({140, 60});
    EXPECT_EQ(view->marquee(), QRectF(140, 2, 16, 58));
    EXPECT_THAT(selected(), UnorderedElementsAre(first));
    view->release({140, 60}, {});
    EXPECT_TRUE(view->marquee().isNull());
    EXPECT_THAT(selected(), UnorderedElementsAre(first));
}

TEST_F(AssetsViewTests, ABandWithAKeyAddsToWhatWasSelected) {
    for (const auto modifier : {Qt::ControlModifier, Qt::ShiftModifier}) {
        click(2);
        view->press({156, 2}, modifier);
        EXPECT_THAT(selected(), UnorderedElementsAre(third));
        view->drag({170, 20});
        EXPECT_THAT(selected(), UnorderedElementsAre(second, third));
        view->drag({158, 20});
        EXPECT_THAT(selected(), UnorderedElementsAre(third));
        view->release({158, 20}, modifier);
    }
}

TEST_F(AssetsViewTests, AClickOnTheGroundSelectsNothing) {
    click(1);
    click(QPointF(156, 94));
    EXPECT_THAT(selected(), IsEmpty());
    EXPECT_FALSE(editor->previewAssetID());
}

TEST_F(AssetsViewTests, ABandThatIsCancelledLeavesWhatWasSelected) {
    click(2);
    view->press({156, 2}, {});
    view->drag({170, 120});
    EXPECT_TRUE(press(Qt::Key_Escape));
    EXPECT_THAT(selected(), UnorderedElementsAre(third));
    view->drag({170, 20});
    view->release({170, 20}, {});
    EXPECT_THAT(selected(), UnorderedElementsAre(third));
    editor->select(uuid(2));
    view->press({156, 2}, {});
    view->drag({170, 120});
    EXPECT_TRUE(view->cancelGesture());
    EXPECT_THAT(selected(), IsEmpty());
    EXPECT_EQ(editor->selection(), uuid(2));
}

TEST_F(AssetsViewTests, ABusyProjectKeepsItsSelection) {
    click(1);
    editor->beginCopying();
    tell();
    EXPECT_FALSE(view->canDelete() || view->canImport());
    EXPECT_TRUE(view->busy());
    click(2);
    click(2, Qt::ControlModifier);
    view->press({156, 2}, {});
    view->drag({170, 120});
    EXPECT_TRUE(view->marquee().isNull());
    view->release({170, 120}, {});
    view->doubleClick(at(2));
    EXPECT_FALSE(press(Qt::Key_Delete));
    EXPECT_FALSE(press(Qt::Key_A, Qt::ControlModifier));
    EXPECT_THAT(selected(), UnorderedElementsAre(second));
    EXPECT_EQ(editor->assets().size(), 5U);
    EXPECT_EQ(editor->clips().size(), 2U);
    editor->endCopying();
    tell();
    EXPECT_TRUE(view->canDelete() && view->canImport());
}

TEST_F(AssetsViewTests, ABandStopsWhereTheProjectTurnsBusyAndIsGoneAtItsEnd) {
    view->press({156, 2}, {});
    view->drag({170, 60});
    EXPECT_THAT(selected(), UnorderedElementsAre(second));
    editor->beginCopying();
    tell();
    view->drag({170, 160});
    EXPECT_THAT(selected(), UnorderedElementsAre(second));
    view->release({170, 160}, {});
    EXPECT_TRUE(view->marquee().isNull());
    editor->endCopying();
}

TEST_F(AssetsViewTests, ThePointerOverAnAssetShowsItsFrameThere) {
    const QRectF frame = view->layout().frame(1);
    view->hover(frame.topLeft() + QPointF(36, 10));
    EXPECT_EQ(view->hoveredID(), second);
    EXPECT_EQ(editor->assetHoverID(), second);
    EXPECT_DOUBLE_EQ(*editor->assetHoverTime(), 2.5);
    EXPECT_EQ(role(1, "hovered"), true);
    view->hover({156, 20});
    EXPECT_FALSE(editor->hoverPreview());
    EXPECT_EQ(role(1, "hovered"), false);
    view->hover(frame.center());
    view->leave();
    EXPECT_FALSE(editor->hoverPreview());
}

TEST_F(AssetsViewTests, APointerThatLeavesEndsNoHoverOfTheTimeline) {
    editor->previewTrimHover(editor->clips()[0], TrimEdge::end);
    view->leave();
    EXPECT_TRUE(editor->hoverPreview());
}

TEST_F(AssetsViewTests, ADoubleClickAddsTheAssetBehindTheClipUnderThePlayhead) {
    QSignalSpy wanted(view.get(), &AssetsView::timelineWanted);
    editor->seekPreview(1);
    click(1);
    view->doubleClick(at(1));
    view->release(at(1), {});
    tell();
    ASSERT_EQ(editor->clips().size(), 3U);
    EXPECT_EQ(editor->clips()[1].url, files[1]);
    EXPECT_EQ(editor->selection(), editor->clips()[1].id);
    EXPECT_EQ(editor->undoStack().size(), 1U);
    EXPECT_FALSE(editor->previewAssetID());
    EXPECT_EQ(wanted.size(), 1);
    editor->undo();
    EXPECT_EQ(editor->clips().size(), 2U);
    editor->seekPreview(8);
    view->doubleClick(at(2));
    ASSERT_EQ(editor->clips().size(), 3U);
    EXPECT_EQ(editor->clips()[2].url, files[2]);
}

TEST_F(AssetsViewTests, TheMenuActsOnTheSelectionThatItsAssetIsPartOf) {
    click(0);
    click(1, Qt::ControlModifier);
    EXPECT_TRUE(view->openMenu(at(1)));
    EXPECT_THAT(selected(), UnorderedElementsAre(first, second));
    EXPECT_EQ(view->deleteLabel(), "Delete Selected Assets");
    EXPECT_TRUE(view->openMenu(at(2)));
    EXPECT_THAT(selected(), UnorderedElementsAre(third));
    EXPECT_EQ(view->deleteLabel(), "Delete Asset");
    EXPECT_FALSE(view->openMenu({156, 20}));
    view->deleteSelection();
    tell();
    EXPECT_EQ(view->assets()->rowCount(), 4);
    EXPECT_EQ(role(2, "name"), "take4");
}

TEST_F(AssetsViewTests, DeletingAnAssetTakesItsClipsAlongInOneStep) {
    click(0);
    EXPECT_TRUE(press(Qt::Key_Delete));
    EXPECT_EQ(editor->assets().size(), 4U);
    EXPECT_THAT(editor->clips(), IsEmpty());
    EXPECT_EQ(editor->undoStack().size(), 1U);
    // The keyboard goes on from where the asset was.
    EXPECT_EQ(view->currentID(), second);
    editor->undo();
    tell();
    EXPECT_EQ(editor->clips().size(), 2U);
    click(4);
    EXPECT_TRUE(press(Qt::Key_Backspace));
    EXPECT_EQ(view->currentID(), fourth);
}

TEST_F(AssetsViewTests, KeysGoFromAssetToAssetAndSelectIt) {
    view->setHasKeyboard(true);
    EXPECT_EQ(view->currentID(), first);
    struct Row {
        Qt::Key key;
        UUID reached;
    };
    for (const Row& row :
         {Row{Qt::Key_Right, second}, Row{Qt::Key_Down, fourth}, Row{Qt::Key_Down, sound}, Row{Qt::Key_Down, sound},
          Row{Qt::Key_Right, sound}, Row{Qt::Key_Up, third}, Row{Qt::Key_Left, second}, Row{Qt::Key_Up, second},
          Row{Qt::Key_Home, first}, Row{Qt::Key_Left, first}, Row{Qt::Key_End, sound}}) {
        EXPECT_TRUE(press(row.key));
        EXPECT_EQ(view->currentID(), row.reached);
        EXPECT_THAT(selected(), UnorderedElementsAre(row.reached));
        EXPECT_EQ(editor->previewAssetID(), row.reached);
    }
    EXPECT_EQ(role(4, "current"), true);
    view->setHasKeyboard(false);
    EXPECT_EQ(role(4, "current"), false);
}

TEST_F(AssetsViewTests, KeysWithShiftExtendAndWithControlChooseOneByOne) {
    click(0);
    EXPECT_TRUE(press(Qt::Key_Right, Qt::ShiftModifier));
    EXPECT_TRUE(press(Qt::Key_Down, Qt::ShiftModifier));
    EXPECT_THAT(selected(), UnorderedElementsAre(first, second, third, fourth));
    EXPECT_TRUE(press(Qt::Key_Home, Qt::ShiftModifier));
    EXPECT_THAT(selected(), UnorderedElementsAre(first));
    EXPECT_TRUE(press(Qt::Key_End, Qt::ControlModifier));
    EXPECT_THAT(selected(), UnorderedElementsAre(first));
    EXPECT_TRUE(press(Qt::Key_Space, Qt::ControlModifier));
    EXPECT_THAT(selected(), UnorderedElementsAre(first, sound));
    EXPECT_TRUE(press(Qt::Key_Space, Qt::ControlModifier));
    EXPECT_THAT(selected(), UnorderedElementsAre(first));
    EXPECT_TRUE(press(Qt::Key_A, Qt::ControlModifier));
    EXPECT_EQ(selected().size(), 5U);
}

TEST_F(AssetsViewTests, EnterAddsWhatIsSelectedInTheOrderOfTheList) {
    click(2);
    click(1, Qt::ControlModifier);
    EXPECT_TRUE(press(Qt::Key_Return));
    ASSERT_EQ(editor->clips().size(), 4U);
    EXPECT_EQ(editor->clips()[1].url, files[1]);
    EXPECT_EQ(editor->clips()[2].url, files[2]);
    EXPECT_EQ(editor->undoStack().size(), 1U);
}

TEST_F(AssetsViewTests, EscapeLeavesThePreviewThenTheSelection) {
    click(2);
    EXPECT_TRUE(press(Qt::Key_Escape));
    EXPECT_FALSE(editor->previewAssetID());
    EXPECT_THAT(selected(), UnorderedElementsAre(third));
    EXPECT_TRUE(press(Qt::Key_Escape));
    EXPECT_THAT(selected(), IsEmpty());
    EXPECT_FALSE(press(Qt::Key_Escape));
}

TEST_F(AssetsViewTests, TheGridScrollsNoFurtherThanItsRowsAndToWhereTheKeyboardGoes) {
    EXPECT_EQ(view->contentHeight(), 283);
    view->scrollBy(1000);
    EXPECT_EQ(view->scrollOffset(), 83);
    EXPECT_EQ(view->layout().assetAt({70, 20 + 83}), third);
    click(0);
    EXPECT_THAT(selected(), UnorderedElementsAre(first)) << "the first row ends above the viewport, but for its end";
    view->scrollBy(-1000);
    EXPECT_EQ(view->scrollOffset(), 0);
    press(Qt::Key_End);
    EXPECT_EQ(view->scrollOffset(), 83);
    press(Qt::Key_Home);
    EXPECT_EQ(view->scrollOffset(), 0);
    view->scrollBy(80);
    view->setHeight(250);
    EXPECT_EQ(view->scrollOffset(), 33);
}

TEST_F(AssetsViewTests, TheKeyboardGoesToTheFirstNewAssetWhenAnImportIsDone) {
    view->setHasKeyboard(true);
    const FileURL file = makeSource("new.mov", FakeFile::video(3));
    editor->importURLs({file});
    EXPECT_TRUE(editor->isImporting());
    tell();
    EXPECT_TRUE(view->busy());
    context.settle();
    ASSERT_EQ(editor->assets().size(), 6U);
    EXPECT_EQ(view->currentID(), editor->assets()[5].id);
    EXPECT_EQ(view->scrollOffset(), 83);
}

TEST_F(AssetsViewTests, WhatChangesTheProjectTellsSoBefore) {
    std::size_t clips = 0;
    QObject::connect(view.get(), &AssetsView::willChange, [&] { clips = editor->clips().size(); });
    click(1);
    press(Qt::Key_Return);
    EXPECT_EQ(clips, 2U);
    clips = 0;
    click(0);
    view->deleteSelection();
    EXPECT_EQ(clips, 3U);
}

TEST_F(AssetsViewTests, APictureIsMissedWhereItCouldNotBeMadeAndNotWhereItIsStillToCome) {
    const FileURL broken = makeManaged("broken.mov", FakeFile::neither(5));
    load({}, std::vector<Clip>{videoClip(11, files[0], 10), videoClip(21, broken, 5), audioClip(15, files[4], 10)});
    tell();
    for (int row = 0; row < 3; ++row) EXPECT_EQ(role(row, "missing"), false) << row;
    context.settle();
    EXPECT_TRUE(role(0, "picture").value<StillImagePtr>());
    EXPECT_EQ(role(0, "missing"), false);
    EXPECT_FALSE(role(1, "picture").value<StillImagePtr>());
    EXPECT_EQ(role(1, "missing"), true);
    EXPECT_EQ(role(2, "missing"), false);
}

TEST_F(AssetsViewTests, OnTheProjectsHomeThereIsNothing) {
    click(1);
    workspace->setEditor(nullptr);
    tell();
    EXPECT_EQ(view->assets()->rowCount(), 0);
    EXPECT_TRUE(view->empty());
    EXPECT_EQ(view->count(), "");
    EXPECT_FALSE(view->canImport() || view->canDelete() || view->busy());
    EXPECT_FALSE(press(Qt::Key_Home));
    click(QPointF(20, 20));
    view->hover({20, 20});
    EXPECT_EQ(view->dragged(first), std::vector<UUID>());
}

}  // namespace
}  // namespace kelvane::testing
