#include <gmock/gmock.h>

#include <QGuiApplication>
#include <QStyleHints>

#include "Kelvane/Views/Accessible/TreeReading.h"
#include "Kelvane/Views/Timeline/TimelineWindowFixture.h"

namespace kelvane::testing {
namespace {

/// The inspector of a real window, which shows the first clip: 4 s of footage of 10 s, from 2 s on.
class InspectorPaneTests : public TimelineWindowFixture {
protected:
    InspectorPaneTests() {
        editor->setShowInspector(true);
        editor->select(a);
        refresh();
    }

    [[nodiscard]] QAccessibleInterface* find(QAccessible::Role role, const std::string& name) {
        return findNode(treeRoot(*window), role, name);
    }
    [[nodiscard]] QAccessibleInterface& slider(const std::string& name) {
        auto* found = find(QAccessible::Slider, name);
        check(found != nullptr, ("the tree has the slider " + name).c_str());
        return *found;
    }
    [[nodiscard]] double valueOf(const std::string& name) {
        return slider(name).valueInterface()->currentValue().toDouble();
    }
    void set(const std::string& name, double value) {
        slider(name).valueInterface()->setCurrentValue(value);
        context.runPosted();
    }
    void pause() {
        context.advance(std::chrono::milliseconds(500));
        context.runPosted();
    }
    void doubleClick(QPoint point) {
        QTest::mouseDClick(window.get(), Qt::LeftButton, {}, point, 1000);
        context.runPosted();
    }
    /// Where a share of the way of a slider is, in points of the window.
    [[nodiscard]] QPoint on(const char* name, double share) const {
        const QQuickItem* control = item(name);
        return control->mapToScene({7 + (control->width() - 14) * share, control->height() / 2}).toPoint();
    }
};

TEST_F(InspectorPaneTests, ItsSectionsHoldSlidersWithTheirValues) {
    struct Row {
        const char* section;
        const char* name;
        double value;
        double least;
        double most;
        const char* text;
    };
    for (const Row& row :
         {Row{"Trim", "Start", 2, 0, 6 - 1.0 / 30, "00:02.0"}, Row{"Trim", "End", 6, 2 + 1.0 / 30, 10, "00:06.0"},
          Row{"Frame", "Zoom", 1, 1, 3, "1.0×"}, Row{"Frame", "Horizontal", 0, -1, 1, ""},
          Row{"Frame", "Vertical", 0, -1, 1, ""}, Row{"Audio", "Volume", 1, 0, 1, "100%"}}) {
        auto* section = find(QAccessible::Grouping, row.section);
        ASSERT_TRUE(section) << row.section;
        auto* found = findNode(*section, QAccessible::Slider, row.name);
        ASSERT_TRUE(found) << row.name;
        auto* value = found->valueInterface();
        ASSERT_TRUE(value) << row.name;
        EXPECT_EQ(value->currentValue().toDouble(), row.value) << row.name;
        EXPECT_EQ(value->minimumValue().toDouble(), row.least) << row.name;
        EXPECT_EQ(value->maximumValue().toDouble(), row.most) << row.name;
        EXPECT_EQ(findNode(*section, QAccessible::StaticText, row.text) != nullptr, *row.text != 0) << row.name;
    }
    auto* trim = find(QAccessible::Grouping, "Trim");
    EXPECT_TRUE(findNode(*trim, QAccessible::StaticText, "Duration"));
    EXPECT_TRUE(findNode(*trim, QAccessible::StaticText, "00:04.0"));
    EXPECT_TRUE(find(QAccessible::PushButton, "Reset Frame"));
    EXPECT_TRUE(find(QAccessible::PushButton, "Mute"));
    EXPECT_FALSE(find(QAccessible::Grouping, "Timeline"));
}

TEST_F(InspectorPaneTests, ASoundHasAPositionAndNoFrame) {
    editor->select(voice);
    refresh();
    EXPECT_FALSE(find(QAccessible::Grouping, "Frame"));
    EXPECT_FALSE(find(QAccessible::Slider, "Zoom"));
    ASSERT_TRUE(find(QAccessible::Grouping, "Timeline"));
    EXPECT_EQ(valueOf("Position"), 1);
    set("Position", 2.5);
    EXPECT_EQ(clip(voice).audioPosition(), 2.5);
}

TEST_F(InspectorPaneTests, WithoutOneClipItSaysWhatToSelect) {
    editor->selectTimelineClips({});
    refresh();
    EXPECT_TRUE(find(QAccessible::StaticText, "Select a Clip"));
    EXPECT_TRUE(find(QAccessible::StaticText, "Trim, reframe, and adjust sound."));
    EXPECT_FALSE(find(QAccessible::Slider, "Start"));
    editor->selectTimelineClips({a, b});
    refresh();
    EXPECT_TRUE(find(QAccessible::StaticText, "2 Clips Selected"));
    EXPECT_TRUE(find(QAccessible::StaticText, "Select one clip to trim, reframe, or adjust sound."));
}

TEST_F(InspectorPaneTests, AReaderOfTheScreenSetsAndStepsValues) {
    set("Zoom", 1.5);
    EXPECT_EQ(clip(a).zoom, 1.5);
    EXPECT_EQ(valueOf("Zoom"), 1.5);
    slider("Zoom").actionInterface()->doAction(QAccessibleActionInterface::increaseAction());
    context.runPosted();
    EXPECT_NEAR(clip(a).zoom, 1.52, 1e-9);
    pause();
    EXPECT_EQ(steps(), 1U);
    set("End", 100);
    EXPECT_EQ(clip(a).end, 10);
    set("Start", 100);
    EXPECT_NEAR(clip(a).start, 10 - 1.0 / 30, 0.00001);
    EXPECT_EQ(valueOf("Start"), clip(a).start);
}

TEST_F(InspectorPaneTests, AHandDragsASliderInOneStep) {
    drag(on("volumeSlider", 1), on("volumeSlider", 0.5));
    EXPECT_NEAR(clip(a).volume, 0.5, 0.01);
    EXPECT_EQ(steps(), 1U);
    // Back to where it was is no step.
    const double before = clip(a).volume;
    drag(on("volumeSlider", before), on("volumeSlider", 0.1), {}, true);
    EXPECT_NEAR(clip(a).volume, 0.1, 0.01);
    const QPoint back = on("volumeSlider", before);
    QMouseEvent moved(QEvent::MouseMove, back, window->mapToGlobal(back), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(window.get(), &moved);
    letGo(back);
    if (clip(a).volume == before) EXPECT_EQ(steps(), 1U);
}

TEST_F(InspectorPaneTests, ADoubleClickOnAKnobSetsTheStandardInOneStep) {
    set("Horizontal", 0.5);
    pause();
    ASSERT_EQ(steps(), 1U);
    const QPoint knob = on("horizontalSlider", 0.75);
    QTest::mouseDClick(window.get(), Qt::LeftButton, {}, knob, 10);
    context.runPosted();
    EXPECT_EQ(clip(a).horizontal, 0);
    EXPECT_EQ(steps(), 2U);
}

TEST_F(InspectorPaneTests, ADoubleClickBesideAKnobIsOneStepAsWell) {
    set("Volume", 0.3);
    pause();
    ASSERT_EQ(steps(), 1U);
    doubleClick(on("volumeSlider", 0.7));
    EXPECT_EQ(clip(a).volume, 1);
    EXPECT_EQ(steps(), 2U);
    view.undo();
    context.runPosted();
    EXPECT_EQ(clip(a).volume, 0.3);
    // What has its standard already has lost nothing and gained no step.
    doubleClick(on("verticalSlider", 0.9));
    EXPECT_EQ(clip(a).vertical, 0);
    EXPECT_EQ(steps(), 1U);
}

TEST_F(InspectorPaneTests, AThirdQuickClickChangesNothing) {
    // However slowly this runs, the clicks are quick ones.
    const int interval = QGuiApplication::styleHints()->mouseDoubleClickInterval();
    QGuiApplication::styleHints()->setMouseDoubleClickInterval(static_cast<int>(patience.count()));
    set("Horizontal", 0.5);
    pause();
    const QPoint knob = on("horizontalSlider", 0.75);
    doubleClick(knob);
    EXPECT_EQ(clip(a).horizontal, 0);
    QTest::mouseClick(window.get(), Qt::LeftButton, {}, knob, 10);
    context.runPosted();
    EXPECT_EQ(clip(a).horizontal, 0);
    EXPECT_EQ(steps(), 2U);
    EXPECT_FALSE(editor->interactionSnapshot());
    // Somewhere else a hand means it.
    QTest::mouseClick(window.get(), Qt::LeftButton, {}, on("horizontalSlider", 0.9), 10);
    context.runPosted();
    EXPECT_NEAR(clip(a).horizontal, 0.8, 0.02);
    QGuiApplication::styleHints()->setMouseDoubleClickInterval(interval);
}

TEST_F(InspectorPaneTests, KeysStepASliderAndCanBeTakenBackAtOnce) {
    item("volumeSlider")->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Left);
    press(Qt::Key_PageDown);
    EXPECT_EQ(clip(a).volume, 0.89);
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(clip(a).volume, 1);
    press(Qt::Key_Home);
    EXPECT_EQ(clip(a).volume, 0);
    EXPECT_TRUE(find(QAccessible::PushButton, "Unmute"));
    press(Qt::Key_Left, Qt::ControlModifier);
    pause();
    EXPECT_EQ(steps(), 1U);
    item("startSlider")->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Right);
    EXPECT_NEAR(clip(a).start, 2 + 1.0 / 30, 1e-8);
    press(Qt::Key_PageUp);
    EXPECT_NEAR(clip(a).start, 3 + 1.0 / 30, 1e-8);
    // The focus goes on, and with it the run ends.
    item("endSlider")->forceActiveFocus(Qt::TabFocusReason);
    EXPECT_EQ(steps(), 2U);
    EXPECT_FALSE(editor->interactionSnapshot());
}

TEST_F(InspectorPaneTests, ButtonsResetTheFrameAndMute) {
    set("Zoom", 2);
    set("Vertical", 0.5);
    pause();
    click(middle("resetFrameButton"));
    EXPECT_EQ(clip(a).zoom, 1);
    EXPECT_EQ(clip(a).vertical, 0);
    click(middle("muteButton"));
    EXPECT_EQ(clip(a).volume, 0);
    click(middle("muteButton"));
    EXPECT_EQ(clip(a).volume, 1);
    EXPECT_EQ(steps(), 4U);
}

TEST_F(InspectorPaneTests, ABusyProjectDisablesEveryControl) {
    editor->beginCopying();
    refresh();
    for (const char* name : {"Start", "End", "Zoom", "Horizontal", "Vertical", "Volume"}) {
        EXPECT_TRUE(slider(name).state().disabled) << name;
        set(name, 0.5);
    }
    EXPECT_TRUE(find(QAccessible::PushButton, "Reset Frame")->state().disabled);
    EXPECT_TRUE(find(QAccessible::PushButton, "Mute")->state().disabled);
    EXPECT_EQ(steps(), 0U);
    editor->endCopying();
    refresh();
    EXPECT_FALSE(slider("Start").state().disabled);
}

}  // namespace
}  // namespace kelvane::testing
