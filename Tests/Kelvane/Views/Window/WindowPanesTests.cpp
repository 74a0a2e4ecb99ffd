#include <QMimeData>
#include <QUrl>
#include <algorithm>

#include "../Accessible/TreeReading.h"
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
    /// Starts a person's import of so many files, of which none is done.
    void beginImports(int count) {
        std::vector<FileURL> files;
        for (int i = 1; i <= count; ++i) {
            const std::string name = "Take " + std::to_string(i) + ".mov";
            media.addFileNamed(name, FakeFile::video(3));
            files.push_back(folder.write("Sources/" + name));
        }
        editor->importURLs(std::move(files));
        refresh();
    }
    /// Lets it go on up to the file at this place, from 1 on.
    void importUntil(std::size_t file) {
        while (editor->importProgress().file < file) {
            check(context.hasWork(), "the import goes on");
            if (!context.runOnePosted()) context.stepBackground();
        }
        context.runPosted();
    }
    [[nodiscard]] bool isLabelled(const std::string& text) {
        return findNode(treeRoot(*window), QAccessible::StaticText, text) != nullptr;
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

TEST_F(WindowPanesTests, ThePictureHasTheHeightThatItsControlsLeave) {
    const auto picture = [this] { return findNode(treeRoot(*window), QAccessible::Graphic, "Vertical video preview"); };
    ASSERT_NE(picture(), nullptr);
    for (const QSize size : {QSize(1060, 760), QSize(740, 560), QSize(1400, 1000)}) {
        resize(size);
        const QRect pane = extents("previewPane");
        const QRect drawn = picture()->rect().translated(-window->position());
        EXPECT_EQ(drawn.bottom() + 1, pane.bottom() + 1 - 48) << size.width();
        EXPECT_EQ(drawn.top(), pane.top() + 12) << size.width();
        EXPECT_NEAR(drawn.width(), drawn.height() * 9.0 / 16, 1) << size.width();
        EXPECT_NEAR(drawn.center().x(), pane.center().x(), 1) << size.width();
    }
}

TEST_F(WindowPanesTests, TheWindowsTitleIsTheProjects) {
    EXPECT_EQ(window->title(), "Film");
    edit(*editor);
    refresh();
    EXPECT_EQ(window->title(), "Film") << "whether it is saved stands in the header";
    context.settle();
    finish(context, windows->showHome(workspace));
    refresh();
    EXPECT_EQ(window->title(), "Kelvane");
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

TEST_F(WindowPanesTests, ThatStopIsTheFirstButtonAgainOnceItCanBePressed) {
    const auto isStop = [this](const char* name) { return item(name)->activeFocusOnTab(); };
    EXPECT_TRUE(isStop("playButton"));
    item("playButton")->setEnabled(false);
    EXPECT_TRUE(isStop("recordButton")) << "as while the preview is made";
    item("playButton")->setEnabled(true);
    EXPECT_TRUE(isStop("playButton"));
    EXPECT_FALSE(isStop("recordButton"));
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

TEST_F(WindowPanesTests, FilesAreCopiedWhateverTheDesktopProposes) {
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile("/somewhere/Dropped.mov")});
    for (const QPoint point : {QPoint(700, 200), QPoint(100, 200)}) {
        QDragEnterEvent enter(point, Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton, Qt::NoModifier);
        enter.setDropAction(Qt::MoveAction);
        QCoreApplication::sendEvent(window.get(), &enter);
        EXPECT_TRUE(enter.isAccepted());
        QDragMoveEvent move(point, Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton, Qt::NoModifier);
        move.setDropAction(Qt::MoveAction);
        QCoreApplication::sendEvent(window.get(), &move);
        EXPECT_TRUE(move.isAccepted());
        EXPECT_EQ(move.dropAction(), Qt::CopyAction);
        QDragLeaveEvent leave;
        QCoreApplication::sendEvent(window.get(), &leave);
    }
}

TEST_F(WindowPanesTests, WhatIsNoFileIsTakenNowhere) {
    QMimeData data;
    data.setUrls({QUrl("https://example.org/Film.mov")});
    for (const QPoint point : {QPoint(700, 200), QPoint(100, 200), body(1, 0)}) {
        QDragEnterEvent enter(point, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(window.get(), &enter);
        EXPECT_FALSE(enter.isAccepted()) << point.x();
        EXPECT_FALSE(view.editor()->dropTarget());
    }
}

TEST_F(WindowPanesTests, WhatIsBehindASheetTakesNoFiles) {
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(QString::fromStdString(folder.write("Sources/Dropped.mov").path()))});
    view.help()->showAbout();
    refresh();
    for (const QPoint point : {QPoint(700, 200), QPoint(100, 200), QPoint(530, 400)}) {
        QDragEnterEvent enter(point, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(window.get(), &enter);
        EXPECT_FALSE(view.editor()->dropTarget());
        QDragMoveEvent move(point, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(window.get(), &move);
        EXPECT_FALSE(move.isAccepted() && move.dropAction() != Qt::IgnoreAction) << point.x();
        QDropEvent drop(point, Qt::CopyAction, &data, Qt::NoButton, Qt::NoModifier);
        QCoreApplication::sendEvent(window.get(), &drop);
        EXPECT_FALSE(editor->isImporting());
    }
}

TEST_F(WindowPanesTests, AnImportOfSeveralFilesIsShownAndCancelledByThePointer) {
    beginImports(12);
    EXPECT_FALSE(isLabelled("Importing…")) << "what is done within a moment shows nothing";
    importUntil(3);
    context.advance(std::chrono::milliseconds(300));
    refresh();
    EXPECT_TRUE(isLabelled("Importing…"));
    EXPECT_TRUE(isLabelled("3 of 12"));
    click(middle("cancelImport"));
    context.settle();
    refresh();
    EXPECT_FALSE(editor->busy());
    EXPECT_EQ(editor->assets().size(), 4U) << "those that were done stay";
    EXPECT_EQ(editor->error(), std::nullopt);
    EXPECT_FALSE(isLabelled("Importing…"));
    EXPECT_FALSE(item("cancelImport")->isVisible());
}

TEST_F(WindowPanesTests, AnImportOfSeveralFilesIsCancelledByTheKeyboard) {
    beginImports(12);
    importUntil(2);
    context.advance(std::chrono::milliseconds(300));
    refresh();
    item("paneDivider")->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Tab);
    ASSERT_EQ(focused(), "cancelImport");
    press(Qt::Key_Return);
    context.settle();
    refresh();
    QCoreApplication::processEvents();
    EXPECT_FALSE(editor->busy());
    EXPECT_EQ(editor->assets().size(), 3U);
    EXPECT_EQ(focused(), "timelineSurface") << "what is hidden keeps no keys";
}

TEST_F(WindowPanesTests, KeysStepTheAssetThatIsShown) {
    editor->showAssetPreview(editor->assets().front().id);
    advance(std::chrono::milliseconds(180));
    refresh();
    item("assetPosition")->forceActiveFocus(Qt::TabFocusReason);
    const auto after = [this](Qt::Key key) {
        press(key);
        return editor->previewPlayhead();
    };
    EXPECT_NEAR(after(Qt::Key_Right), 1.0 / 30, 1e-9);
    EXPECT_NEAR(after(Qt::Key_Up), 2.0 / 30, 1e-9);
    EXPECT_NEAR(after(Qt::Key_Left), 1.0 / 30, 1e-9);
    EXPECT_NEAR(after(Qt::Key_PageUp), 31.0 / 30, 1e-9);
    EXPECT_NEAR(after(Qt::Key_PageDown), 1.0 / 30, 1e-9);
    EXPECT_EQ(after(Qt::Key_PageDown), 0) << "there is nothing before it";
    EXPECT_NEAR(after(Qt::Key_End), 10, 1e-9);
    EXPECT_NEAR(after(Qt::Key_PageUp), 10, 1e-9);
    EXPECT_EQ(after(Qt::Key_Home), 0);
    EXPECT_EQ(editor->playhead(), 0) << "the timeline's is none of its business";
    EXPECT_EQ(steps(), 0U);
}

TEST_F(WindowPanesTests, TheKeyboardLeavesWhatIsHidden) {
    const auto settled = [this] {
        refresh();
        QCoreApplication::processEvents();
        return focused();
    };
    editor->showAssetPreview(editor->assets().front().id);
    advance(std::chrono::milliseconds(180));
    refresh();
    item("backToTimeline")->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Return);
    EXPECT_EQ(settled(), "timelineSurface");
    editor->setShowInspector(true);
    editor->select(a);
    refresh();
    item("startSlider")->forceActiveFocus(Qt::TabFocusReason);
    editor->setShowInspector(false);
    EXPECT_EQ(settled(), "timelineSurface");
    editor->selectAssets({editor->assets().back().id});
    refresh();
    item("deleteAssetButton")->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Return);
    EXPECT_EQ(editor->assets().size(), 1U);
    EXPECT_EQ(settled(), "assetsSurface");
    editor->selectAssets({editor->assets().back().id});
    refresh();
    item("deleteAssetButton")->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Return);
    EXPECT_EQ(settled(), "importButton") << "which is what a pane without assets has";
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
