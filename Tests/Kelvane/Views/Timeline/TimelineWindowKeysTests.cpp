#include <QAccessible>

#include "Kelvane/Views/Accessible/TreeReading.h"
#include "TimelineWindowFixture.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;

/// Keys on the real window: what each does to the array, the selection and the playhead.
class TimelineWindowKeysTests : public TimelineWindowFixture {
protected:
    TimelineWindowKeysTests() { click(body(5, 0)); }
    void goTo(double seconds) {
        editor->seekPreview(seconds);
        context.runPosted();
    }
    [[nodiscard]] std::set<UUID> selected() const { return editor->selectedClipIDs(); }
};

TEST_F(TimelineWindowKeysTests, FramesEndsAndCuts) {
    goTo(5);
    press(Qt::Key_Period);
    EXPECT_NEAR(editor->playhead(), 5 + 1.0 / 30, 1e-9);
    press(Qt::Key_Comma);
    press(Qt::Key_Comma);
    EXPECT_NEAR(editor->playhead(), 5 - 1.0 / 30, 1e-9);
    press(Qt::Key_End);
    EXPECT_EQ(editor->playhead(), 12);
    press(Qt::Key_PageUp);
    EXPECT_EQ(editor->playhead(), 7);
    press(Qt::Key_Home);
    EXPECT_EQ(editor->playhead(), 0);
    EXPECT_EQ(timeline().visibleOrigin().x(), 0);
    EXPECT_EQ(steps(), 0U);
}

TEST_F(TimelineWindowKeysTests, BracketsTrimToThePlayheadInOneStepEach) {
    goTo(5);
    press(Qt::Key_BracketLeft);
    EXPECT_EQ(clip(b).start, 3);
    EXPECT_EQ(steps(), 1U);
    goTo(5.5);
    press(Qt::Key_BracketRight);
    EXPECT_NEAR(clip(b).end, 4.5, 1e-9);
    EXPECT_EQ(steps(), 2U);
}

TEST_F(TimelineWindowKeysTests, AltMovesAndBackspaceDeletesInOneStepEach) {
    press(Qt::Key_Left, Qt::AltModifier);
    EXPECT_THAT(order(), ElementsAre(b, a, c, voice, music));
    press(Qt::Key_Right, Qt::AltModifier);
    EXPECT_THAT(order(), ElementsAre(a, b, c, voice, music));
    EXPECT_EQ(steps(), 2U);
    press(Qt::Key_Backspace);
    EXPECT_THAT(order(), ElementsAre(a, c, voice, music));
    EXPECT_EQ(steps(), 3U);
}

TEST_F(TimelineWindowKeysTests, ControlGoesFromClipToClipAndShiftTakesThemAlong) {
    press(Qt::Key_Right, Qt::ControlModifier);
    EXPECT_EQ(selected(), std::set{c});
    EXPECT_EQ(editor->playhead(), 7);
    press(Qt::Key_Down, Qt::ControlModifier);
    EXPECT_EQ(selected(), std::set{voice});
    press(Qt::Key_Down, Qt::ControlModifier);
    EXPECT_EQ(selected(), std::set{music});
    press(Qt::Key_Up, Qt::ControlModifier);
    press(Qt::Key_Up, Qt::ControlModifier);
    EXPECT_EQ(selected(), std::set{a});
    press(Qt::Key_Right, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(selected(), (std::set{a, b}));
    press(Qt::Key_Escape);
    EXPECT_TRUE(selected().empty());
    EXPECT_EQ(steps(), 0U);
}

TEST_F(TimelineWindowKeysTests, ShiftF10OpensTheMenuOfTheClipAndEscapeClosesIt) {
    press(Qt::Key_F10, Qt::ShiftModifier);
    auto* menu = window->findChild<QObject*>("clipMenu");
    ASSERT_NE(menu, nullptr);
    ASSERT_TRUE(
        QTest::qWaitFor([menu] { return menu->property("opened").toBool(); }, static_cast<int>(patience.count())));
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    EXPECT_EQ(clip(b).volume, 0) << "the first item, by the keyboard";
    EXPECT_EQ(steps(), 1U);
    ASSERT_TRUE(
        QTest::qWaitFor([menu] { return !menu->property("visible").toBool(); }, static_cast<int>(patience.count())));
    EXPECT_TRUE(surface().hasActiveFocus()) << "where the keys were";
}

TEST_F(TimelineWindowKeysTests, WhatAButtonDoesToAClipTakesTheFocusThere) {
    for (const char* name : {"laterButton", "earlierButton"}) {
        item(name)->forceActiveFocus(Qt::TabFocusReason);
        press(Qt::Key_Space);
        EXPECT_TRUE(surface().hasActiveFocus()) << name;
        EXPECT_TRUE(surface().hasKeyboard()) << "the ring goes along: " << name;
    }
    goTo(5);
    item("splitButton")->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Return);
    EXPECT_EQ(editor->clips().size(), 6U);
    EXPECT_TRUE(surface().hasActiveFocus());
    item("deleteButton")->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Return);
    EXPECT_EQ(editor->clips().size(), 5U);
    EXPECT_TRUE(surface().hasActiveFocus());
    EXPECT_EQ(steps(), 4U);
}

TEST_F(TimelineWindowKeysTests, TheZoomIsSteppedByHundredthsAndTenthsOfItsWay) {
    const double way = timeline().highestZoom() / timeline().lowestZoom();
    auto* slider = item("zoomSlider");
    slider->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Right);
    EXPECT_NEAR(timeline().zoom(), std::pow(way, 0.01), 1e-9);
    press(Qt::Key_PageUp);
    EXPECT_NEAR(timeline().zoom(), std::pow(way, 0.11), 1e-9);
    press(Qt::Key_PageDown);
    press(Qt::Key_Left);
    EXPECT_NEAR(timeline().zoom(), 1, 1e-9);
    QAccessible::setActive(true);
    auto* node = QAccessible::queryAccessibleInterface(slider);
    node->actionInterface()->doAction(QAccessibleActionInterface::increaseAction());
    EXPECT_NEAR(timeline().zoom(), std::pow(way, 0.01), 1e-9);
    EXPECT_NEAR(node->valueInterface()->minimumStepSize().toDouble(), timeline().zoom() * (std::pow(way, 0.01) - 1),
                1e-9);
    node->valueInterface()->setCurrentValue(2.5);
    EXPECT_EQ(timeline().zoom(), 2.5);
    EXPECT_EQ(node->valueInterface()->currentValue().toDouble(), 2.5);
}

TEST_F(TimelineWindowKeysTests, TheHeaderTellsTheClipsAndWhatIsChosenOfThem) {
    const auto has = [this](const char* label) {
        refresh();
        return findNode(treeRoot(*window), QAccessible::StaticText, label) != nullptr;
    };
    for (const char* label : {"Timeline", "5 clips", "1 selected", "Volume 100%", "00:00 / 00:12"})
        EXPECT_TRUE(has(label)) << label << " in\n" << treeOf(treeRoot(*window));
    press(Qt::Key_Escape);
    EXPECT_TRUE(has("5 clips"));
    EXPECT_FALSE(has("1 selected"));
    EXPECT_FALSE(has("Volume 100%"));
}

}  // namespace
}  // namespace kelvane::testing
