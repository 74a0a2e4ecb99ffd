#include "TimelineWindowFixture.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;

/// What hands do on the real window one thing right behind another, at its edges, and by fingers.
class TimelineWindowGesturesTests : public TimelineWindowFixture {
protected:
    /// As hands do it that don't wait between a click and the next press.
    void clickAtOnce(QPoint point, Qt::KeyboardModifiers modifiers = {}) {
        QTest::mouseClick(window.get(), Qt::LeftButton, modifiers, point);
        context.runPosted();
    }
    [[nodiscard]] auto touch() { return QTest::touchEvent(window.get(), screen); }
    /// One finger goes from a place to another in three steps of 8 ms.
    void swipe(QPoint from, QPoint to, bool isHeld = false) {
        touch().press(1, from);
        for (int step = 1; step <= 3; ++step) {
            advance(std::chrono::milliseconds(8));
            touch().move(1, from + (to - from) * step / 3);
            // The window keeps movements until its next frame.
            showFrame();
        }
        if (!isHeld) touch().release(1, to);
        context.runPosted();
    }
    void showFrame() {
        bool isShown = false;
        const auto watch = QObject::connect(window.get(), &QQuickWindow::frameSwapped, [&isShown] { isShown = true; });
        window->update();
        EXPECT_TRUE(QTest::qWaitFor([&isShown] { return isShown; }, static_cast<int>(patience.count())));
        QObject::disconnect(watch);
        context.runPosted();
    }
    /// As a platform tells of fingers on a touchpad.
    void scroll(QPoint pixels, Qt::ScrollPhase phase, Qt::KeyboardModifiers modifiers = {}) {
        const QPoint point = body(2, 0);
        QWheelEvent event(point, window->mapToGlobal(point), pixels, pixels * 3 / 2, Qt::NoButton, modifiers, phase,
                          false);
        QCoreApplication::sendEvent(window.get(), &event);
        context.runPosted();
    }
    [[nodiscard]] double origin() { return timeline().visibleOrigin().x(); }

    QPointingDevice* screen = QTest::createTouchDevice();
};

// Clicks.

TEST_F(TimelineWindowGesturesTests, AClickAndADragRightBehindItMoveTheClip) {
    clickAtOnce(body(5, 0));
    drag(body(5, 0), body(9.9, 0));
    EXPECT_THAT(order(), ElementsAre(a, c, voice, music, b));
    EXPECT_EQ(steps(), 1U);
    EXPECT_FALSE(editor->showInspector()) << "a drag is no double click";
}

TEST_F(TimelineWindowGesturesTests, AClickAndADragRightBehindItMoveTheVolume) {
    editor->update(a, [](Clip& clip) { clip.volume = 0.5; });
    context.runPosted();
    clickAtOnce(at(2, 0, 43));
    drag(at(2, 0, 43), at(2, 0, 43 + 31));
    EXPECT_NEAR(clip(a).volume, 0, 0.01);
    EXPECT_EQ(steps(), 2U);
}

TEST_F(TimelineWindowGesturesTests, TwoClicksWithControlToggleToAndFro) {
    clickAtOnce(body(5, 0));
    clickAtOnce(body(5, 0), Qt::ControlModifier);
    EXPECT_TRUE(editor->selectedClipIDs().empty());
    clickAtOnce(body(5, 0), Qt::ControlModifier);
    EXPECT_EQ(editor->selectedClipIDs(), std::set{b});
    EXPECT_FALSE(editor->showInspector());
}

TEST_F(TimelineWindowGesturesTests, ADoubleClickShowsTheInspectorAndSelects) {
    QTest::mouseDClick(window.get(), Qt::LeftButton, {}, body(5, 0));
    context.runPosted();
    EXPECT_TRUE(editor->showInspector());
    EXPECT_EQ(editor->selectedClipIDs(), std::set{b});
    EXPECT_EQ(steps(), 0U);
}

TEST_F(TimelineWindowGesturesTests, AClipsMenuIsWorkedByThePointer) {
    QTest::mouseClick(window.get(), Qt::RightButton, {}, body(5, 0));
    auto* menu = window->findChild<QObject*>("clipMenu");
    ASSERT_NE(menu, nullptr);
    ASSERT_TRUE(
        QTest::qWaitFor([menu] { return menu->property("opened").toBool(); }, static_cast<int>(patience.count())));
    const auto* mute = window->findChild<QQuickItem*>("muteItem");
    ASSERT_NE(mute, nullptr);
    click(mute->mapToScene({mute->width() / 2, mute->height() / 2}).toPoint());
    EXPECT_EQ(clip(b).volume, 0);
    EXPECT_EQ(steps(), 1U);
    ASSERT_TRUE(
        QTest::qWaitFor([menu] { return !menu->property("visible").toBool(); }, static_cast<int>(patience.count())));
    EXPECT_EQ(editor->selectedClipIDs(), std::set{a}) << "a menu leaves the selection alone";
}

TEST_F(TimelineWindowGesturesTests, ADoubleClickOnTheZoomBringsOneBack) {
    timeline().setZoom(4);
    QTest::mouseDClick(window.get(), Qt::LeftButton, {}, middle("zoomSlider") + QPoint(30, 0));
    EXPECT_EQ(timeline().zoom(), 1);
}

// The edges.

TEST_F(TimelineWindowGesturesTests, AClipThatIsHeldAtTheWindowsEdgeLandsFarAway) {
    for (int i = 0; i < 5; ++i) {
        std::vector<Clip> more = editor->clips();
        more.insert(more.begin() + 3, videoClip(20 + i, more[0].url, 10).stretch(0, 10));
        editor->commit(more);
    }
    advance(std::chrono::milliseconds(180));
    const auto before = editor->clips();
    const auto undoable = steps();
    const QPoint edge(static_cast<int>(surface().width()) - 3, body(5, 0).y());
    drag(body(2, 0), edge, {}, true);
    const double seen = origin();
    advance(std::chrono::milliseconds(290));
    EXPECT_EQ(origin(), seen) << "it was held for less than 0.3 s";
    advance(std::chrono::seconds(5));
    EXPECT_GT(origin(), seen + 1000);
    EXPECT_EQ(editor->playhead(), 0) << "what the program scrolls seeks nothing";
    letGo(edge);
    std::vector<Clip> expected = before;
    std::rotate(expected.begin(), expected.begin() + 1, expected.end());
    EXPECT_EQ(editor->clips(), expected) << "behind all of them";
    EXPECT_EQ(steps(), undoable + 1);
    EXPECT_EQ(origin(), 0) << "where the playhead is";
}

TEST_F(TimelineWindowGesturesTests, ABandAndAScrubEndByEscapeAsTheyBegan) {
    click(body(5, 0));
    editor->seekPreview(1);
    context.runPosted();
    drag(at(4.5, 1, 60), at(8, 0, 60), Qt::ControlModifier, true);
    EXPECT_EQ(editor->selectedClipIDs(), (std::set{b, c}));
    press(Qt::Key_Escape);
    EXPECT_EQ(editor->selectedClipIDs(), std::set{b});
    EXPECT_FALSE(timeline().marqueeRect());
    letGo(at(8, 0, 60));
    drag(at(3, -1, 10), at(6, -1, 10), {}, true);
    EXPECT_NEAR(editor->playhead(), 6, 1.0 / scale);
    press(Qt::Key_Escape);
    EXPECT_EQ(editor->playhead(), 1);
    letGo(at(6, -1, 10));
    EXPECT_EQ(editor->playhead(), 1);
    EXPECT_EQ(steps(), 0U);
}

// Wheels and touchpads.

TEST_F(TimelineWindowGesturesTests, AWheelThatIsToldInPixelsTooIsAWheel) {
    const QPoint point = body(2, 0);
    QWheelEvent turned(point, window->mapToGlobal(point), {0, -15}, {0, -120}, Qt::NoButton, {}, Qt::NoScrollPhase,
                       false);
    QCoreApplication::sendEvent(window.get(), &turned);
    context.runPosted();
    EXPECT_EQ(origin(), 80);
    QWheelEvent zoomed(point, window->mapToGlobal(point), {0, 15}, {0, 120}, Qt::NoButton, Qt::ControlModifier,
                       Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(window.get(), &zoomed);
    EXPECT_DOUBLE_EQ(timeline().zoom(), 1.25);
}

TEST_F(TimelineWindowGesturesTests, FingersWithoutPhasesScrollAlongOneAxis) {
    // Told as a part of a notch, as X11 does.
    const QPoint point = body(2, 0);
    QWheelEvent moved(point, window->mapToGlobal(point), {-5, -1}, {-60, -12}, Qt::NoButton, {}, Qt::NoScrollPhase,
                      false);
    QCoreApplication::sendEvent(window.get(), &moved);
    context.runPosted();
    EXPECT_EQ(origin(), 40);
}

TEST_F(TimelineWindowGesturesTests, FingersThatLetGoOfATouchpadLetTheTrackGoOn) {
    reducedMotion = false;
    scroll({}, Qt::ScrollBegin);
    for (int i = 0; i < 5; ++i) {
        scroll({-10, 0}, Qt::ScrollUpdate);
        advance(std::chrono::milliseconds(10));
    }
    scroll({}, Qt::ScrollEnd);
    EXPECT_NEAR(origin(), 50, 1e-9);
    advance(std::chrono::milliseconds(100));
    const double early = origin();
    EXPECT_GT(early, 100);
    EXPECT_NEAR(editor->playhead(), early / scale, 1e-9) << "time goes along";
    advance(std::chrono::milliseconds(100));
    EXPECT_LT(origin() - early, early - 50) << "slower and slower";
    // Fingers that come down stop it.
    scroll({}, Qt::ScrollBegin);
    const double caught = origin();
    advance(std::chrono::seconds(1));
    EXPECT_EQ(origin(), caught);
    EXPECT_NEAR(editor->playhead(), caught / scale, 1e-9);
}

// Fingers on the screen.

TEST_F(TimelineWindowGesturesTests, AFingerThatLetsGoInMotionFlingsAndATapCatches) {
    reducedMotion = false;
    swipe(body(9, 0), body(9, 0) - QPoint(96, 0));
    const double released = origin();
    EXPECT_NEAR(released, 96, 1);
    advance(std::chrono::milliseconds(40));
    EXPECT_GT(origin(), released + 20);
    const auto selected = editor->selectedClipIDs();
    touch().press(1, body(9, 0));
    const double caught = origin();
    touch().release(1, body(9, 0));
    advance(std::chrono::seconds(1));
    EXPECT_EQ(origin(), caught);
    EXPECT_EQ(editor->selectedClipIDs(), selected) << "the tap that stops it selects nothing";
}

TEST_F(TimelineWindowGesturesTests, AFingerThatRestsBeforeItIsLiftedFlingsNothing) {
    reducedMotion = false;
    swipe(body(9, 0), body(9, 0) - QPoint(96, 0), true);
    advance(std::chrono::milliseconds(80));
    touch().release(1, body(9, 0));
    advance(std::chrono::seconds(1));
    EXPECT_NEAR(origin(), 96, 1);
}

TEST_F(TimelineWindowGesturesTests, AFingerTrimsAndTurnsDownTheClipThatIsChosen) {
    click(body(5, 0));
    editor->seekPreview(9);
    context.runPosted();
    const QPoint end = at(7, 0, 60) - QPoint(5, 0);
    swipe(end, end - QPoint(32, 0));
    EXPECT_NEAR(clip(b).duration(), 2, 1e-9);
    EXPECT_EQ(steps(), 1U);
    swipe(at(5, 0, 12), at(5, 0, 12 + 31));
    EXPECT_NEAR(clip(b).volume, 0.5, 1e-9);
    EXPECT_EQ(steps(), 2U);
    advance(std::chrono::milliseconds(180));
    touch().press(1, at(1, -1, 10));
    touch().move(1, at(2, -1, 10));
    touch().release(1, at(2, -1, 10));
    context.runPosted();
    EXPECT_NEAR(editor->playhead(), 2, 1.0 / scale) << "the ruler";
}

}  // namespace
}  // namespace kelvane::testing
