#include <QMimeData>
#include <QUrl>
#include <algorithm>

#include "../Timeline/TimelineWindowFixture.h"

namespace kelvane::testing {
namespace {

/// The panes of a real window, worked by the platform's own events.
class WindowPanesTests : public TimelineWindowFixture {
protected:
    [[nodiscard]] QRect extents(const char* name) const {
        const QQuickItem* found = item(name);
        return found->mapRectToScene({0, 0, found->width(), found->height()}).toRect();
    }
    /// The name of the pane or control that has the keyboard.
    [[nodiscard]] std::string focused() const {
        for (const auto* at = window->activeFocusItem(); at != nullptr; at = at->parentItem())
            if (!at->objectName().isEmpty()) return at->objectName().toStdString();
        return {};
    }
    void resize(QSize size) {
        window->resize(size);
        // The platform tells of it later.
        QCoreApplication::processEvents();
        refresh();
    }
    void doubleClick(QPoint point) {
        QTest::mouseDClick(window.get(), Qt::LeftButton, {}, point);
        context.runPosted();
    }
};

TEST_F(WindowPanesTests, AssetsDividerAndPreviewStandAboveTheTimeline) {
    EXPECT_EQ(extents("assetsPane"), QRect(0, 44, 353, 372));
    EXPECT_EQ(extents("paneDivider"), QRect(353, 44, 8, 372));
    EXPECT_EQ(extents("previewPane"), QRect(361, 44, 699, 372));
    EXPECT_EQ(extents("timelinePane"), QRect(0, 416, 1060, 344));
    EXPECT_FALSE(item("inspectorPane")->isVisible());
}

TEST_F(WindowPanesTests, TheInspectorStandsBesideAllBelowTheHeader) {
    editor->setShowInspector(true);
    refresh();
    EXPECT_EQ(extents("inspectorPane"), QRect(804, 44, 256, 716));
    EXPECT_EQ(extents("assetsPane"), QRect(0, 44, 268, 372));
    EXPECT_EQ(extents("previewPane"), QRect(276, 44, 528, 372));
    EXPECT_EQ(extents("timelinePane"), QRect(0, 416, 804, 344));
}

TEST_F(WindowPanesTests, TheDividerGoesWithTheHandAndADoubleClickTakesItBack) {
    const QPoint grip = middle("paneDivider");
    drag(grip, grip + QPoint(90, 40));
    EXPECT_EQ(extents("assetsPane").width(), 443);
    drag(middle("paneDivider"), {1050, 100});
    EXPECT_EQ(extents("assetsPane").width(), 700);
    drag(middle("paneDivider"), {3, 100});
    EXPECT_EQ(extents("assetsPane").width(), 200);
    doubleClick(middle("paneDivider"));
    EXPECT_EQ(extents("assetsPane").width(), 353);
}

TEST_F(WindowPanesTests, KeysAndReadersOfTheScreenStepTheDivider) {
    item("paneDivider")->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Right);
    EXPECT_EQ(extents("assetsPane").width(), 406);
    press(Qt::Key_Left);
    press(Qt::Key_Left);
    EXPECT_EQ(extents("assetsPane").width(), 300);
    auto* divider = QAccessible::queryAccessibleInterface(item("paneDivider"));
    EXPECT_EQ(divider->role(), QAccessible::Splitter);
    EXPECT_EQ(divider->text(QAccessible::Name), "Assets pane width");
    EXPECT_EQ(divider->text(QAccessible::Description), "Resize assets");
    EXPECT_EQ(divider->valueInterface()->currentValue(), 28);
    divider->actionInterface()->doAction(QAccessibleActionInterface::increaseAction());
    EXPECT_EQ(extents("assetsPane").width(), 353);
    divider->valueInterface()->setCurrentValue(50);
    EXPECT_EQ(extents("assetsPane").width(), 530);
    divider->valueInterface()->setCurrentValue(100);
    EXPECT_EQ(extents("assetsPane").width(), 700);
    EXPECT_EQ(divider->valueInterface()->currentValue(), 66);
}

TEST_F(WindowPanesTests, TheTimelinesButtonsAreOneStopAmongWhichArrowsGo) {
    editor->selectTimelineClips({a});
    context.runPosted();
    item("playButton")->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Right);
    EXPECT_EQ(focused(), "recordButton");
    press(Qt::Key_Right);
    EXPECT_EQ(focused(), "laterButton") << "what can't be pressed is passed over";
    press(Qt::Key_Left);
    EXPECT_EQ(focused(), "recordButton");
    press(Qt::Key_Tab);
    EXPECT_EQ(focused(), "zoomSlider") << "behind all of them";
    press(Qt::Key_Tab, Qt::ShiftModifier);
    EXPECT_EQ(focused(), "recordButton") << "which had the keyboard last";
    press(Qt::Key_Left);
    press(Qt::Key_Left);
    EXPECT_EQ(focused(), "playButton") << "there is nothing before it";
    EXPECT_EQ(editor->playhead(), 0) << "and the playhead is none of their business";
}

TEST_F(WindowPanesTests, F6GoesFromPaneToPaneAndBack) {
    /// The pane that has the keyboard.
    const auto pane = [this] {
        for (const char* name : {"projectHeader", "assetsPane", "previewPane", "timelineSurface", "inspectorPane"})
            if (item(name)->hasActiveFocus() || item(name)->isAncestorOf(window->activeFocusItem()))
                return std::string(name);
        return std::string();
    };
    const auto keyFrom = [&](Qt::KeyboardModifiers modifiers) {
        press(Qt::Key_F6, modifiers);
        return pane();
    };
    ASSERT_EQ(pane(), "timelineSurface");
    std::vector<std::string> forward{pane()};
    while (forward.size() < 2 || forward.back() != "timelineSurface") forward.push_back(keyFrom({}));
    std::vector<std::string> backward{pane()};
    while (backward.size() < 2 || backward.back() != "timelineSurface") backward.push_back(keyFrom(Qt::ShiftModifier));
    std::ranges::reverse(backward);
    EXPECT_EQ(forward, backward);
    EXPECT_THAT(forward, ::testing::Contains("projectHeader"));
    EXPECT_THAT(forward, ::testing::Not(::testing::Contains("")));
}

TEST_F(WindowPanesTests, EscapeInTheHeaderEndsWhatItWouldEndInTheTimeline) {
    editor->selectTimelineClips({a, b});
    item("projectHeader")->nextItemInFocusChain(true)->forceActiveFocus(Qt::TabFocusReason);
    EXPECT_NE(focused(), "timelineSurface");
    press(Qt::Key_Escape);
    EXPECT_TRUE(editor->selectedClipIDs().empty());
    editor->selectAssets({uuid(10)});
    press(Qt::Key_Escape);
    EXPECT_TRUE(editor->selectedAssetIDs().empty());
}

TEST_F(WindowPanesTests, AFileThatIsDroppedAnywhereIsImportedAndBringsAFrame) {
    media.addFileNamed("Dropped.mov", FakeFile::video(3));
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(QString::fromStdString(folder.write("Sources/Dropped.mov").path()))});
    data.setText("asset:" + QString::fromStdString(uuid(10).upper()));
    const auto* frame = item("dropFrame");
    for (const QPoint point : {QPoint(700, 200), QPoint(500, 20), QPoint(100, 200), body(1, 0)}) {
        QDragEnterEvent enter(point, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(window.get(), &enter);
        EXPECT_TRUE(enter.isAccepted()) << point.x() << " " << point.y();
        EXPECT_TRUE(view.editor()->dropTarget());
        EXPECT_FALSE(timeline().insertionPreview());
        QDragLeaveEvent leave;
        QCoreApplication::sendEvent(window.get(), &leave);
        EXPECT_FALSE(view.editor()->dropTarget());
    }
    EXPECT_TRUE(frame != nullptr);
    QDragEnterEvent enter(body(1, 0), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window.get(), &enter);
    QDropEvent drop(body(1, 0), Qt::CopyAction, &data, Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window.get(), &drop);
    EXPECT_TRUE(drop.isAccepted());
    EXPECT_TRUE(editor->isImporting()) << "and nothing lands on the track";
    context.settle();
    EXPECT_EQ(editor->assets().back().name(), "Dropped");
    EXPECT_EQ(editor->clips().size(), 5U);
}

TEST_F(WindowPanesTests, ABusyProjectRefusesFiles) {
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile("/somewhere/Dropped.mov")});
    beginImport(*editor);
    QDragEnterEvent enter(QPoint(700, 200), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window.get(), &enter);
    EXPECT_FALSE(enter.isAccepted());
    EXPECT_FALSE(view.editor()->dropTarget());
    context.settle();
}

TEST_F(WindowPanesTests, AProjectsWindowIsAsLargeAsItWas) {
    const LibraryProject film = windows->library().projects().front();
    resize({900, 700});
    finish(context, windows->showHome(workspace));
    resize({1200, 800});
    const auto other = open(project("Other"), workspace, false);
    EXPECT_EQ(window->size(), QSize(1200, 800)) << "one that was never shown takes what there is";
    resize({1000, 600});
    open(film, workspace, false);
    QCoreApplication::processEvents();
    EXPECT_EQ(window->size(), QSize(900, 700));
}

TEST_F(WindowPanesTests, TheEndOfATakeGivesTheKeyboardToIt) {
    item("recordButton")->forceActiveFocus(Qt::TabFocusReason);
    editor->toggleVoiceOverRecording();
    context.settle();
    for (int i = 0; i < 3; ++i) advance(std::chrono::seconds(1));
    ASSERT_TRUE(editor->isRecording());
    EXPECT_EQ(focused(), "recordButton");
    media.addFileNamed(recording.recorder->url().fileName(), FakeFile::audio(1));
    editor->toggleVoiceOverRecording();
    context.settle();
    EXPECT_EQ(focused(), "timelineSurface");
    EXPECT_EQ(editor->clips().size(), 6U);
}

}  // namespace
}  // namespace kelvane::testing
