#include <QSignalSpy>

#include "TimelineWindowFixture.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;

/// Gestures by real events on the real window: each ends in the array that it should, in one step of history.
class TimelineSurfaceTests : public TimelineWindowFixture {};

TEST_F(TimelineSurfaceTests, AVideoClipThatIsDraggedBehindAnotherLandsThere) {
    const auto before = editor->clips();
    drag(body(5, 0), body(9.9, 0));
    EXPECT_THAT(order(), ElementsAre(a, c, voice, music, b)) << "behind all that is there";
    EXPECT_EQ(steps(), 1U);
    EXPECT_EQ(editor->selectedClipIDs(), std::set{b});
    EXPECT_TRUE(surface().hasActiveFocus());
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(editor->clips(), before);
}

TEST_F(TimelineSurfaceTests, AVideoClipThatIsLetGoOfAtItsOwnPlaceChangesNothing) {
    const auto before = editor->clips();
    drag(body(5, 0), body(5.5, 0));
    EXPECT_EQ(editor->clips(), before);
    EXPECT_EQ(steps(), 0U);
}

TEST_F(TimelineSurfaceTests, ASoundIsDraggedAlongAndAcrossLanesAndSnaps) {
    // Its end comes to 7.1 s, near the cut at 7 s, and it lands in the lane below.
    drag(body(2, 1), body(5.1, 2));
    EXPECT_DOUBLE_EQ(clip(voice).audioPosition(), 4);
    EXPECT_EQ(clip(voice).lane(), clip(music).lane());
    EXPECT_EQ(steps(), 1U);
}

TEST_F(TimelineSurfaceTests, AltHoldsSnappingOff) {
    drag(body(2, 1), body(5.125, 1), Qt::AltModifier);
    EXPECT_NEAR(clip(voice).audioPosition(), 4.125, 1.0 / scale);
    EXPECT_NE(clip(voice).audioPosition(), 4);
}

TEST_F(TimelineSurfaceTests, AnEdgeThatIsDraggedTrimsAndSnapsToASound) {
    // Out of the playhead's way.
    editor->seekPreview(9);
    context.runPosted();
    // The end of C, from 12 s to 11 s, where "Music" ends.
    drag(at(12, 0, 50) - QPoint(5, 0), at(11, 0, 50) - QPoint(5 + 6, 0));
    EXPECT_DOUBLE_EQ(clip(c).end, 6);
    EXPECT_EQ(steps(), 1U);
    // And the start of A, by half a second.
    drag(at(0, 0, 50) + QPoint(5, 0), at(0.5, 0, 50) + QPoint(5, 0), Qt::AltModifier);
    EXPECT_NEAR(clip(a).start, 2.5, 1e-9);
    EXPECT_EQ(steps(), 2U);
}

TEST_F(TimelineSurfaceTests, TheVolumeLineIsDraggedDownAndUpAgain) {
    drag(at(2, 0, 12), at(2, 0, 12 + 31));
    EXPECT_NEAR(clip(a).volume, 0.5, 1e-9);
    EXPECT_EQ(steps(), 1U);
    EXPECT_EQ(view.timeline()->selectedVolume(), "Volume 50%");
    drag(at(2, 0, 43), at(2, 0, -100));
    EXPECT_EQ(clip(a).volume, 1);
    EXPECT_EQ(steps(), 2U);
}

TEST_F(TimelineSurfaceTests, TheVolumeOfTheClipThatIsChosenNextIsTold) {
    editor->update(b, [](Clip& clip) { clip.volume = 0.25; });
    click(body(2, 0));
    const QSignalSpy told(&timeline(), &TimelineView::selectedVolumeChanged);
    click(body(5, 0));
    EXPECT_EQ(told.size(), 1);
    EXPECT_EQ(timeline().selectedVolume(), "Volume 25%");
}

TEST_F(TimelineSurfaceTests, ARubberBandSelectsWhatItTouchesAndChangesNothing) {
    // From below "Voice" to the right of it, up over B.
    drag(at(4.5, 1, 60), at(4.4, 0, 60) + QPoint(40, 0));
    EXPECT_EQ(editor->selectedClipIDs(), std::set{b});
    drag(at(4.5, 1, 60), at(3.5, 1, 30), Qt::ShiftModifier);
    EXPECT_EQ(editor->selectedClipIDs(), (std::set{b, voice}));
    EXPECT_EQ(steps(), 0U);
}

TEST_F(TimelineSurfaceTests, ADragOnTheRulerAndAClickSeek) {
    drag(at(0, -1, 10) + QPoint(64, 0), at(0, -1, 10) + QPoint(96, 0));
    EXPECT_NEAR(editor->playhead(), 3, 1e-9);
    click(at(5, -1, 10));
    EXPECT_NEAR(editor->playhead(), 5, 0.5 / scale);
    // A click on the track clears the selection besides.
    click(body(2, 0));
    EXPECT_EQ(editor->selectedClipIDs(), std::set{a});
    click(at(0.5, 1, 50));
    EXPECT_TRUE(editor->selectedClipIDs().empty());
    EXPECT_NEAR(editor->playhead(), 0.5, 0.5 / scale);
    EXPECT_EQ(steps(), 0U);
}

TEST_F(TimelineSurfaceTests, ThePlayheadCanBeDragged) {
    drag(at(0, 2, 50), at(0, 2, 50) + QPoint(80, 0));
    EXPECT_NEAR(editor->playhead(), 2.5, 1e-9);
}

TEST_F(TimelineSurfaceTests, ClicksWithModifiersAddAndToggle) {
    click(body(2, 0));
    click(body(5, 0), Qt::ControlModifier);
    EXPECT_EQ(editor->selectedClipIDs(), (std::set{a, b}));
    click(body(2, 0), Qt::ControlModifier);
    EXPECT_EQ(editor->selectedClipIDs(), std::set{b});
    // From the clip that was clicked last.
    click(body(9, 0), Qt::ShiftModifier);
    EXPECT_EQ(editor->selectedClipIDs(), (std::set{a, b, c}));
}

TEST_F(TimelineSurfaceTests, EscapeEndsAGestureWithNothingChanged) {
    const auto before = editor->clips();
    drag(body(5, 0), body(9.9, 0), {}, true);
    EXPECT_TRUE(timeline().dragging());
    EXPECT_TRUE(editor->interactionSnapshot()) << "an assistant is told to wait";
    press(Qt::Key_Escape);
    EXPECT_FALSE(timeline().dragging());
    EXPECT_FALSE(editor->interactionSnapshot());
    letGo(body(9.9, 0));
    EXPECT_EQ(editor->clips(), before);
    EXPECT_EQ(steps(), 0U);
}

TEST_F(TimelineSurfaceTests, AMenusKeyEndsAGestureFirst) {
    drag(body(5, 0), body(9.9, 0));
    drag(at(2, 0, 12), at(2, 0, 43), {}, true);
    ASSERT_TRUE(timeline().volumeDraft());
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_FALSE(timeline().volumeDraft());
    EXPECT_THAT(order(), ElementsAre(a, b, c, voice, music));
    letGo(at(2, 0, 43));
    EXPECT_EQ(clip(a).volume, 1);
    EXPECT_EQ(steps(), 0U);
}

TEST_F(TimelineSurfaceTests, AProjectThatTurnsBusyEndsAGestureWithNothingChanged) {
    const auto before = editor->clips();
    drag(body(5, 0), body(9.9, 0), {}, true);
    beginImport(*editor);
    context.runPosted();
    EXPECT_FALSE(timeline().dragging());
    letGo(body(9.9, 0));
    context.settle();
    EXPECT_EQ(editor->clips(), before);
}

TEST_F(TimelineSurfaceTests, AClipThatGoesByAnotherRoadEndsItsGesture) {
    drag(body(5, 0), body(9.9, 0), {}, true);
    std::vector<Clip> left = editor->clips();
    left.erase(left.begin() + 1);
    editor->commit(left);
    context.runPosted();
    EXPECT_FALSE(timeline().dragging());
    letGo(body(9.9, 0));
    EXPECT_THAT(order(), ElementsAre(a, c, voice, music));
}

TEST_F(TimelineSurfaceTests, AWheelScrollsTimeAndZoomsAboutThePlayhead) {
    // The lanes all fit, so that the wheel alone is for time; a notch is 80 points.
    wheel(body(2, 0), -1);
    EXPECT_NEAR(editor->playhead(), 2.5, 1e-9);
    wheel(body(2, 0), 0, {}, -1);
    EXPECT_NEAR(editor->playhead(), 5, 1e-9);
    advance(std::chrono::seconds(1));
    wheel(body(2, 0), 1, Qt::ControlModifier);
    EXPECT_DOUBLE_EQ(timeline().zoom(), 1.25);
    EXPECT_NEAR(editor->playhead(), 5, 1e-9);
    EXPECT_NEAR(timeline().visibleOrigin().x(), 5 * 1.25 * scale, 1e-6);
}

TEST_F(TimelineSurfaceTests, ATouchpadPinchesAndScrollsInBothDirections) {
    const QPoint point = body(2, 0);
    const auto pinch = [&](Qt::NativeGestureType type, double value) {
        QNativeGestureEvent event(type, QPointingDevice::primaryPointingDevice(), 2, point, point,
                                  window->mapToGlobal(point), value, {});
        QCoreApplication::sendEvent(window.get(), &event);
    };
    pinch(Qt::BeginNativeGesture, 0);
    pinch(Qt::ZoomNativeGesture, 0.5);
    pinch(Qt::ZoomNativeGesture, 0.2);
    pinch(Qt::EndNativeGesture, 0);
    EXPECT_NEAR(timeline().zoom(), 1.8, 1e-9);
    QWheelEvent moved(point, window->mapToGlobal(point), {-90, 0}, {-90, 0}, Qt::NoButton, {}, Qt::ScrollUpdate, false);
    QCoreApplication::sendEvent(window.get(), &moved);
    context.runPosted();
    EXPECT_NEAR(timeline().visibleOrigin().x(), 90, 1e-6);
}

TEST_F(TimelineSurfaceTests, FingersScrollPinchTapAndMoveWhatIsChosen) {
    auto* screen = QTest::createTouchDevice();
    const auto touch = [&] { return QTest::touchEvent(window.get(), screen); };
    // Where the finger comes down: the clip goes with it from then on.
    const QPoint down = body(9, 0);
    touch().press(1, down);
    touch().move(1, down - QPoint(20, 0));
    touch().move(1, down - QPoint(64, 0));
    touch().release(1, down - QPoint(64, 0));
    context.runPosted();
    EXPECT_NEAR(editor->playhead(), 2, 1e-9);
    advance(std::chrono::seconds(1));
    touch().press(1, body(9, 0));
    touch().release(1, body(9, 0));
    context.runPosted();
    EXPECT_EQ(editor->selectedClipIDs(), std::set{c});
    const QPoint from = body(9, 0);
    const QPoint to = body(0.5, 0);
    touch().press(1, from);
    touch().move(1, (from + to) / 2);
    touch().move(1, to);
    touch().release(1, to);
    context.runPosted();
    EXPECT_THAT(order(), ElementsAre(c, a, b, voice, music));
    EXPECT_EQ(steps(), 1U);
    advance(std::chrono::seconds(1));
    const double before = timeline().zoom();
    const QPoint middle = body(4, 1);
    touch().press(1, middle - QPoint(50, 0)).press(2, middle + QPoint(50, 0));
    touch().move(1, middle - QPoint(100, 0)).move(2, middle + QPoint(100, 0));
    touch().release(1, middle - QPoint(100, 0)).release(2, middle + QPoint(100, 0));
    EXPECT_NEAR(timeline().zoom(), 2 * before, 0.01);
}

TEST_F(TimelineSurfaceTests, KeysGoAlongTheTimelineAndChangeClips) {
    click(body(5, 0));
    press(Qt::Key_Right);
    press(Qt::Key_Right);
    EXPECT_NEAR(editor->playhead(), 2, 1e-9);
    press(Qt::Key_Left);
    EXPECT_NEAR(editor->playhead(), 1, 1e-9);
    press(Qt::Key_PageDown);
    EXPECT_NEAR(editor->playhead(), 4, 1e-9);
    press(Qt::Key_Return);
    EXPECT_EQ(editor->playhead(), 0);
    press(Qt::Key_Right, Qt::AltModifier);
    EXPECT_THAT(order(), ElementsAre(a, c, b, voice, music));
    EXPECT_EQ(steps(), 1U);
    press(Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(editor->selectedClipIDs().size(), 5U);
    press(Qt::Key_Delete);
    EXPECT_TRUE(editor->clips().empty());
    EXPECT_EQ(steps(), 2U);
}

TEST_F(TimelineSurfaceTests, ADoubleClickOnTheVolumeLineBringsAllOfTheSoundBack) {
    editor->update(a, [](Clip& clip) { clip.volume = 0.5; });
    context.runPosted();
    QTest::mouseDClick(window.get(), Qt::LeftButton, {}, at(2, 0, 43));
    context.runPosted();
    EXPECT_EQ(clip(a).volume, 1);
    EXPECT_EQ(steps(), 2U);
}

TEST_F(TimelineSurfaceTests, AClipsMenuMutesIt) {
    QTest::mouseClick(window.get(), Qt::RightButton, {}, body(5, 0));
    auto* menu = window->findChild<QObject*>("clipMenu");
    ASSERT_NE(menu, nullptr);
    ASSERT_TRUE(
        QTest::qWaitFor([menu] { return menu->property("opened").toBool(); }, static_cast<int>(patience.count())));
    auto* mute = window->findChild<QObject*>("muteItem");
    ASSERT_NE(mute, nullptr);
    EXPECT_EQ(mute->property("text").toString(), "Mute");
    QMetaObject::invokeMethod(mute, "triggered");
    context.runPosted();
    EXPECT_EQ(clip(b).volume, 0);
    EXPECT_EQ(steps(), 1U);
    EXPECT_EQ(mute->property("text").toString(), "Unmute");
    QMetaObject::invokeMethod(mute, "triggered");
    context.runPosted();
    EXPECT_EQ(clip(b).volume, 1);
    EXPECT_EQ(steps(), 2U);
}

TEST_F(TimelineSurfaceTests, TheToolbarActsOnWhatIsChosenAndLeavesTheFocusWhereItWas) {
    const auto pressed = [this](const char* name) {
        refresh();
        click(middle(name));
    };
    click(body(5, 0));
    pressed("laterButton");
    EXPECT_THAT(order(), ElementsAre(a, c, b, voice, music));
    pressed("earlierButton");
    EXPECT_THAT(order(), ElementsAre(a, b, c, voice, music));
    editor->seekPreview(5);
    context.runPosted();
    pressed("splitButton");
    EXPECT_EQ(editor->clips().size(), 6U);
    pressed("deleteButton");
    EXPECT_EQ(editor->clips().size(), 5U);
    EXPECT_EQ(steps(), 4U);
    EXPECT_TRUE(surface().hasActiveFocus());
    pressed("zoomInButton");
    EXPECT_DOUBLE_EQ(timeline().zoom(), 1.25);
    // The right end of the slider is the highest zoom.
    click(middle("zoomSlider") + QPoint(49, 0));
    EXPECT_NEAR(timeline().zoom(), 6, 1e-9);
    press(Qt::Key_Space);
    EXPECT_FALSE(editor->isPlaying()) << "its preview is built";
    advance(std::chrono::milliseconds(180));
    press(Qt::Key_Space);
    EXPECT_TRUE(editor->isPlaying());
}

TEST_F(TimelineSurfaceTests, ThePointersShapeSaysWhatItWouldDo) {
    const auto shapeAt = [this](QPoint point) {
        QTest::mouseMove(window.get(), point);
        return surface().cursor().shape();
    };
    EXPECT_EQ(shapeAt(at(5.5, 0, 50)), Qt::ArrowCursor);
    EXPECT_EQ(shapeAt(at(7, 0, 50) - QPoint(5, 0)), Qt::SizeHorCursor);
    EXPECT_EQ(shapeAt(at(5.5, 0, 12)), Qt::SizeVerCursor);
    EXPECT_EQ(shapeAt(at(5.5, -1, 8)), Qt::ArrowCursor);
    drag(body(5.5, 0), body(6, 0), {}, true);
    EXPECT_EQ(surface().cursor().shape(), Qt::ClosedHandCursor);
    letGo(body(6, 0));
}

TEST_F(TimelineSurfaceTests, AWindowOfAnotherWidthKeepsTheTimeUnderItsMiddle) {
    editor->seekPreview(5);
    context.runPosted();
    for (const int width : {740, 1600, 741}) {
        window->resize(width, 760);
        ASSERT_TRUE(QTest::qWaitFor([&] { return surface().width() == width; }, static_cast<int>(patience.count())));
        refresh();
        EXPECT_EQ(timeline().viewportWidth(), width);
        EXPECT_NEAR(timeline().visibleOrigin().x(), 5 * scale, 1e-9);
    }
}

}  // namespace
}  // namespace kelvane::testing
