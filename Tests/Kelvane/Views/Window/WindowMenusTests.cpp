#include <algorithm>

#include "../Accessible/TreeReading.h"
#include "../Timeline/TimelineWindowFixture.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// The menus of a real window, and the keys of its commands.
class WindowMenusTests : public TimelineWindowFixture {
protected:
    [[nodiscard]] bool isOpen(const char* menu) const {
        auto* found = window->findChild<QObject*>(menu);
        check(found != nullptr, "the window has the menu");
        return found->property("visible").toBool();
    }
    [[nodiscard]] QAccessibleInterface& root() const { return treeRoot(*window); }
    /// The lines of an open menu.
    [[nodiscard]] std::vector<std::string> rows(const std::string& menu) {
        std::vector<std::string> lines;
        auto* found = findNode(root(), QAccessible::PopupMenu, menu);
        EXPECT_NE(found, nullptr) << menu << " isn't in\n" << treeOf(root());
        if (found == nullptr) return lines;
        walk(*found, [&lines](QAccessibleInterface& node, int) {
            if (node.role() != QAccessible::MenuItem) return;
            const auto key = node.text(QAccessible::Accelerator).toStdString();
            lines.push_back(nameOf(node) + (key.empty() ? "" : " · " + key) +
                            (node.state().disabled ? " (disabled)" : ""));
        });
        return lines;
    }
    [[nodiscard]] QPoint titlePoint(const std::string& title) const {
        auto* found = findNode(root(), QAccessible::MenuItem, title);
        EXPECT_NE(found, nullptr) << title << " isn't in\n" << treeOf(root());
        if (found == nullptr) return {};
        return window->mapFromGlobal(found->rect().center());
    }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        press(key, modifiers);
        QCoreApplication::processEvents();
    }
};

TEST_F(WindowMenusTests, EachMenuHoldsItsCommandsWithTheirKeys) {
    editor->selectTimelineClips({a});
    context.runPosted();
    click(titlePoint("File"));
    EXPECT_TRUE(isOpen("fileMenu"));
    EXPECT_THAT(rows("File"),
                ElementsAre("New Project… · Ctrl+N", "Import Project… · Ctrl+O", "Edit with AI…",
                            "Import Videos… · Ctrl+I", "Save Project · Ctrl+S", "Save Project As… · Ctrl+Shift+S",
                            "Export Video… · Ctrl+E", "Close Window · Ctrl+W", "Quit · Ctrl+Q"));
    EXPECT_THAT(faultsOf(root()), IsEmpty()) << treeOf(root());
    key(Qt::Key_Escape);
    EXPECT_FALSE(isOpen("fileMenu"));
    click(titlePoint("Edit"));
    EXPECT_THAT(rows("Edit"), ElementsAre("Undo · Ctrl+Z (disabled)", "Redo · Ctrl+Shift+Z (disabled)",
                                          "Delete Selected Item · Ctrl+Del"));
    key(Qt::Key_Escape);
    click(titlePoint("View"));
    EXPECT_THAT(rows("View"), ElementsAre("Projects · Ctrl+1", "Show Inspector", "Zoom In · Ctrl++",
                                          "Zoom Out · Ctrl+- (disabled)", "Actual Zoom · Ctrl+0"));
    key(Qt::Key_Escape);
    click(titlePoint("Clip"));
    EXPECT_THAT(rows("Clip"), ElementsAre("Split at Playhead · Ctrl+B (disabled)", "Delete Selected Item · Ctrl+Del",
                                          "Move Earlier", "Move Later"));
    key(Qt::Key_Escape);
    click(titlePoint("Help"));
    EXPECT_THAT(rows("Help"), ElementsAre("Keyboard Shortcuts · F1", "Make a Sample Project", "About Kelvane"));
    click(titlePoint("Help"));
    EXPECT_FALSE(isOpen("helpMenu"));
}

TEST_F(WindowMenusTests, F10AndTheArrowsWorkTheMenusAndReturnGivesACommand) {
    key(Qt::Key_F10);
    EXPECT_TRUE(isOpen("fileMenu"));
    key(Qt::Key_Right);
    key(Qt::Key_Right);
    EXPECT_TRUE(isOpen("viewMenu"));
    EXPECT_FALSE(isOpen("fileMenu"));
    key(Qt::Key_Down);
    key(Qt::Key_Down);
    key(Qt::Key_Return);
    EXPECT_TRUE(editor->showInspector());
    EXPECT_FALSE(isOpen("viewMenu"));
}

TEST_F(WindowMenusTests, F10AgainOrEscapeClosesTheMenuAndEscapeGoesBackToWhatHadTheKeyboard) {
    surface().forceActiveFocus();
    key(Qt::Key_F10);
    key(Qt::Key_F10);
    EXPECT_FALSE(isOpen("fileMenu"));
    key(Qt::Key_F10);
    EXPECT_TRUE(isOpen("fileMenu"));
    key(Qt::Key_Escape);
    EXPECT_FALSE(isOpen("fileMenu"));
    EXPECT_FALSE(surface().hasActiveFocus());
    key(Qt::Key_Escape);
    EXPECT_TRUE(surface().hasActiveFocus());
    EXPECT_FALSE(editor->selectedClipIDs().empty()) << "nothing else is ended by it";
}

TEST_F(WindowMenusTests, ATitleIsPressedByAReaderOfTheScreen) {
    auto* title = findNode(root(), QAccessible::MenuItem, "Edit");
    ASSERT_NE(title, nullptr);
    const auto press = [&] {
        title->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QCoreApplication::processEvents();
    };
    press();
    EXPECT_TRUE(isOpen("editMenu"));
    EXPECT_TRUE(title->state().expanded);
    press();
    EXPECT_FALSE(isOpen("editMenu"));
}

TEST_F(WindowMenusTests, AnOpenMenuGoesToItsNeighbourAndEscapeClosesIt) {
    key(Qt::Key_F, Qt::AltModifier);
    EXPECT_TRUE(isOpen("fileMenu"));
    key(Qt::Key_Right);
    EXPECT_TRUE(isOpen("editMenu"));
    EXPECT_FALSE(isOpen("fileMenu"));
    key(Qt::Key_Left);
    key(Qt::Key_Left);
    EXPECT_TRUE(isOpen("helpMenu"));
    key(Qt::Key_Escape);
    EXPECT_FALSE(isOpen("helpMenu"));
    EXPECT_FALSE(editor->selectedClipIDs().empty()) << "what is behind it stays as it is";
}

TEST_F(WindowMenusTests, AltAloneGoesToTheMenusAndAltWithAKeyDoesNot) {
    QTest::keyPress(window.get(), Qt::Key_Alt);
    QTest::keyRelease(window.get(), Qt::Key_Alt);
    EXPECT_TRUE(isOpen("fileMenu"));
    key(Qt::Key_Escape);
    surface().forceActiveFocus();
    QTest::keyPress(window.get(), Qt::Key_Alt);
    QTest::keyClick(window.get(), Qt::Key_Right, Qt::AltModifier);
    QTest::keyRelease(window.get(), Qt::Key_Alt);
    EXPECT_TRUE(surface().hasActiveFocus());
}

TEST_F(WindowMenusTests, AltWithALetterOpensThatMenuWhichStaysWhenAltIsLetGo) {
    QTest::keyPress(window.get(), Qt::Key_Alt);
    QTest::keyClick(window.get(), Qt::Key_V, Qt::AltModifier);
    QTest::keyRelease(window.get(), Qt::Key_Alt);
    key(Qt::Key_Down);
    EXPECT_TRUE(isOpen("viewMenu"));
    EXPECT_FALSE(isOpen("fileMenu"));
}

TEST_F(WindowMenusTests, KeysGiveTheirCommands) {
    editor->selectTimelineClips({b});
    editor->seekPreview(5);
    context.runPosted();
    key(Qt::Key_B, Qt::ControlModifier);
    EXPECT_EQ(editor->clips().size(), 6U);
    key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(editor->clips().size(), 5U);
    key(Qt::Key_Y, Qt::ControlModifier);
    EXPECT_EQ(editor->clips().size(), 6U);
    key(Qt::Key_Backspace, Qt::ControlModifier);
    EXPECT_EQ(editor->clips().size(), 5U);
    key(Qt::Key_Delete);
    EXPECT_EQ(editor->clips().size(), 4U);
    key(Qt::Key_1, Qt::ControlModifier);
    context.settle();
    EXPECT_TRUE(view.showsHome());
}

TEST_F(WindowMenusTests, WhatStandsOverTheWindowKeepsKeysOut) {
    editor->selectTimelineClips({b});
    windows->setError("The disk is full.");
    context.runPosted();
    QCoreApplication::processEvents();
    key(Qt::Key_Delete, Qt::ControlModifier);
    key(Qt::Key_Delete);
    key(Qt::Key_Space);
    EXPECT_EQ(editor->clips().size(), 5U);
    EXPECT_FALSE(editor->isPlaying());
}

TEST_F(WindowMenusTests, ADragThatIsUnderWayEndsBeforeACommandChangesTheProject) {
    editor->selectTimelineClips({a});
    edit(*editor);
    advance(std::chrono::milliseconds(180));
    drag(body(9, 0), body(1, 0), {}, true);
    ASSERT_TRUE(timeline().dragging());
    key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_FALSE(timeline().dragging());
    EXPECT_EQ(clip(a).volume, 1);
    letGo(body(1, 0));
    EXPECT_THAT(order(), ElementsAre(a, b, c, voice, music));
}

TEST_F(WindowMenusTests, TheWindowIsTitledAsItsProjectSavedOrNot) {
    EXPECT_EQ(window->title(), "Film");
    edit(*editor);
    context.runPosted();
    ASSERT_TRUE(editor->isDirty());
    EXPECT_EQ(window->title(), "Film");
    finish(context, windows->showHome(workspace));
    EXPECT_EQ(window->title(), "Kelvane");
}

TEST_F(WindowMenusTests, InTheNarrowestWindowTheHeadsTextGivesWayAndNothingOverlaps) {
    const auto resize = [this](QSize size) {
        window->resize(size);
        QCoreApplication::processEvents();
        refresh();
    };
    const auto expectApart = [this] {
        std::vector<QRect> places;
        walk(root(), [this, &places](QAccessibleInterface& node, int) {
            const QRect place(window->mapFromGlobal(node.rect().topLeft()), node.rect().size());
            if (place.bottom() < 44 && node.childCount() == 0) places.push_back(place);
        });
        EXPECT_GE(places.size(), 8U);
        for (std::size_t one = 0; one < places.size(); ++one)
            for (std::size_t other = 0; other < one; ++other)
                EXPECT_FALSE(places[one].intersects(places[other]))
                    << "at " << places[one].x() << " and " << places[other].x();
    };
    resize({740, 560});
    editor->setLibraryName(std::string(10'000, 'm'));
    refresh();
    expectApart();
    finish(context, windows->showHome(workspace));
    refresh();
    expectApart();
    // Where the search leaves no room for it, as in a wider font, the window's name goes.
    item("projectSearch")->setWidth(190);
    refresh();
    expectApart();
    EXPECT_EQ(findNode(root(), QAccessible::StaticText, "Kelvane"), nullptr);
    resize({1060, 760});
    EXPECT_NE(findNode(root(), QAccessible::StaticText, "Kelvane"), nullptr);
}

TEST_F(WindowMenusTests, WorkOnAProjectWithALongNameKeepsToItsWindow) {
    Project contents;
    contents.clips = editor->clips();
    const auto film = project(std::string(10'000, 'm'), contents);
    const auto isShown = [this] {
        const auto bars = window->findChildren<QQuickItem*>("workBar");
        return std::ranges::find_if(bars, &QQuickItem::isVisible) != bars.end();
    };
    const auto duplicating = windows->duplicate(film.id);
    context.runPosted();
    ASSERT_EQ(windows->work().size(), 1U);
    windows->work().front()->progress = {.bytes = 1, .totalBytes = 2, .items = 0, .totalItems = 1};
    Q_EMIT windows->workChanged();
    context.advance(std::chrono::milliseconds(300));
    refresh();
    ASSERT_TRUE(isShown());
    for (const auto* bar : window->findChildren<QQuickItem*>("workBar")) {
        if (!bar->isVisible()) continue;
        const QRectF drawn = bar->mapRectToScene({0, 0, bar->width(), bar->height()});
        EXPECT_GE(drawn.left(), 0);
        EXPECT_LE(drawn.right(), window->width());
    }
    context.settle();
}

TEST_F(WindowMenusTests, TheHeaderHasTheWayBackTheNameAndTheMainActions) {
    EXPECT_THAT(treeOf(root()), HasSubstr("button \"Projects\" (Projects (Ctrl+1))\n"));
    EXPECT_THAT(treeOf(root()), HasSubstr("button \"Edit with AI…\""));
    EXPECT_THAT(treeOf(root()), HasSubstr("button \"Export\" (Export (Ctrl+E))\n"));
    EXPECT_THAT(treeOf(root()), HasSubstr("label \"Saved\"\n"));
    beginImport(*editor);
    context.runPosted();
    context.advance(std::chrono::milliseconds(300));
    EXPECT_THAT(treeOf(root()), HasSubstr("button \"Projects\" (Projects (Ctrl+1)) disabled\n"));
    EXPECT_THAT(treeOf(root()), HasSubstr("button \"Export\" (Export (Ctrl+E)) disabled\n"));
    EXPECT_THAT(treeOf(root()), HasSubstr("label \"Importing…\"\n"));
    context.settle();
}

}  // namespace
}  // namespace kelvane::testing
