#include <cmath>

#include "TimelineViewFixture.h"

namespace kelvane::testing {
namespace {

class TimelineScrolling : public TimelineViewFixture {};

TEST_F(TimelineScrolling, AnEmptyTimelineCountsAsOneSecondLong) {
    EXPECT_EQ(view->lowestZoom(), 1);
    view->setViewportWidth(16);
    EXPECT_EQ(view->lowestZoom(), 0.5);
    view->setZoom(100);
    EXPECT_EQ(view->zoom(), 6);
}

TEST_F(TimelineScrolling, ATimelineCanBeZoomedOutUntilItFitsAndNoFurther) {
    fill({videoClip(100)});
    view->setZoom(0);
    EXPECT_DOUBLE_EQ(view->zoom(), 1000.0 / 3200);
    fill({videoClip(1)});
    view->setZoom(0.1);
    EXPECT_EQ(view->zoom(), 1);
}

TEST_F(TimelineScrolling, ThePlayheadStaysInTheMiddleWhenTheWidthChanges) {
    fill({videoClip(20)});
    goTo(7);
    EXPECT_EQ(view->visibleOrigin(), QPointF(7 * 32, 0));
    for (const double width : {400.0, 2000.0, 0.0, 1e9}) {
        view->setViewportWidth(width);
        EXPECT_EQ(view->visibleOrigin(), QPointF(7 * 32, 0)) << width;
        EXPECT_EQ(at(7, 0).x(), width / 2);
    }
    EXPECT_EQ(editor->playhead(), 7);
}

TEST_F(TimelineScrolling, WidthsThatAreNoneChangeNothing) {
    for (const double width : {-1.0, std::nan(""), HUGE_VAL, -HUGE_VAL}) view->setViewportWidth(width);
    EXPECT_EQ(view->viewportWidth(), 1000);
}

TEST_F(TimelineScrolling, ZoomingKeepsThePlayheadInTheMiddleAndIsKeptInTheProject) {
    fill({videoClip(20)});
    goTo(10);
    view->setZoom(2);
    EXPECT_EQ(view->visibleOrigin().x(), 640);
    EXPECT_EQ(editor->timelineZoom, 2);
    EXPECT_EQ(editor->timelineScrollOffset, 640);
    view->zoomBy(1);
    EXPECT_EQ(view->zoom(), 2.5);
    view->zoomBy(-2);
    EXPECT_EQ(view->zoom(), 1.6);
    view->setZoom(std::nan(""));
    EXPECT_EQ(view->zoom(), 1.6);
}

TEST_F(TimelineScrolling, TheTrackFollowsThePlayheadWhileItPlays) {
    fill({videoClip(20)});
    editor->togglePlayback();
    player->playTo(3);
    tell();
    EXPECT_EQ(view->visibleOrigin().x(), 96);
    EXPECT_EQ(editor->timelineScrollOffset, 96);
}

TEST_F(TimelineScrolling, AWindowThatShowsAnotherProjectShowsItAsItWasLeft) {
    fill({videoClip(20)});
    goTo(5);
    view->setZoom(3);
    const auto first = editor;
    makeEditor();
    load({videoClip(40)});
    settlePreview();
    editor->seekPreview(8);
    editor->timelineZoom = 0.9;
    workspace->setEditor(editor);
    EXPECT_EQ(view->zoom(), 0.9);
    EXPECT_DOUBLE_EQ(view->visibleOrigin().x(), 8 * 32 * 0.9);
    EXPECT_EQ(view->duration(), 40);
    workspace->setEditor(first);
    EXPECT_EQ(view->zoom(), 3);
    EXPECT_EQ(view->visibleOrigin().x(), 5 * 96);
    workspace->setEditor(nullptr);
    EXPECT_TRUE(view->empty());
    EXPECT_EQ(view->timeReadout(), "00:00 / 00:00");
}

TEST_F(TimelineScrolling, AZoomThatNoViewCanHaveIsTakenForOne) {
    for (const double zoom : {0.0, -1.0, std::nan(""), HUGE_VAL}) {
        editor->timelineZoom = zoom;
        makeView();
        EXPECT_EQ(view->zoom(), 1) << zoom;
    }
}

// A person's scrolling.

TEST_F(TimelineScrolling, ScrollingSeeksToTheTimeInTheMiddle) {
    fill({videoClip(20)});
    editor->togglePlayback();
    view->scrollBy({160, 0});
    EXPECT_EQ(editor->playhead(), 5);
    EXPECT_FALSE(editor->isPlaying());
    EXPECT_EQ(view->visibleOrigin().x(), 160);
    EXPECT_EQ(editor->timelineScrollOffset, 160);
    view->scrollBy({-1000, 0});
    EXPECT_EQ(editor->playhead(), 0);
    view->scrollBy({1e9, 0});
    EXPECT_EQ(editor->playhead(), 20);
}

TEST_F(TimelineScrolling, TheTrackThatThePersonScrollsDoesntFollowThePlayhead) {
    fill({videoClip(20)});
    view->scrollBy({160, 0});
    editor->seekPreview(1);
    tell();
    EXPECT_EQ(view->visibleOrigin().x(), 160);
    view->endScrolling();
    EXPECT_EQ(view->visibleOrigin().x(), 32);
}

TEST_F(TimelineScrolling, ScrollingByTheProgramSeeksNothing) {
    fill({videoClip(20)});
    player->seeks.clear();
    goTo(5);
    view->setZoom(2);
    view->setViewportWidth(500);
    advance(std::chrono::seconds(1));
    EXPECT_EQ(player->seeks, std::vector<double>{5});
}

TEST_F(TimelineScrolling, AMovementTooSmallToSeeSeeksNothing) {
    fill({videoClip(20)});
    view->scrollBy({0.01, 0});
    EXPECT_EQ(editor->playhead(), 0);
}

TEST_F(TimelineScrolling, ScrollingLeavesAnAssetsPreviewAndSelection) {
    fill({videoClip(20)});
    const UUID asset = editor->assets().front().id;
    editor->selectAssets({asset});
    view->scrollBy({32, 0});
    EXPECT_TRUE(editor->selectedAssetIDs().empty());
    editor->showAssetPreview(asset);
    settlePreview();
    view->scrollBy({32, 0});
    EXPECT_FALSE(editor->previewAssetID());
    EXPECT_EQ(editor->playhead(), 2);
}

TEST_F(TimelineScrolling, NobodyScrollsWhileTheProjectIsBusyOrItsPreviewIsBuilt) {
    fill({videoClip(20)});
    editor->rebuildPreview();
    ASSERT_TRUE(editor->isBuilding());
    view->scrollBy({160, 0});
    EXPECT_EQ(view->visibleOrigin().x(), 0);
    settlePreview();
    beBusy();
    view->scrollBy({160, 0});
    EXPECT_EQ(view->visibleOrigin().x(), 0);
    EXPECT_EQ(editor->playhead(), 0);
}

TEST_F(TimelineScrolling, AnAssetThatIsDraggedOverTheTrackHoldsScrollingOff) {
    fill({videoClip(20)});
    view->showDrop(std::nullopt);
    view->scrollBy({160, 0});
    EXPECT_EQ(view->visibleOrigin().x(), 0);
    view->endDrop();
    view->scrollBy({160, 0});
    EXPECT_EQ(view->visibleOrigin().x(), 160);
}

// Lanes.

TEST_F(TimelineScrolling, SixLanesScrollInAViewportOf348) {
    std::vector<Clip> clips{videoClip(20)};
    for (int i = 0; i < 6; ++i) clips.push_back(audioClip(2, i));
    fill(clips);
    EXPECT_EQ(view->viewportHeight(), 348);
    EXPECT_EQ(view->contentHeight(), 22 + 94 * 7);
    view->scrollBy({0, 100});
    EXPECT_EQ(view->visibleOrigin(), QPointF(0, 100));
    view->scrollBy({0, 1e9});
    EXPECT_EQ(view->visibleOrigin(), QPointF(0, 22 + 94 * 7 - 348));
    EXPECT_EQ(editor->playhead(), 0);
}

TEST_F(TimelineScrolling, LanesScrollWhileTheTimelinePlays) {
    std::vector<Clip> clips{videoClip(20)};
    for (int i = 0; i < 6; ++i) clips.push_back(audioClip(2, i));
    fill(clips);
    editor->togglePlayback();
    view->scrollBy({0, 50});
    player->playTo(2);
    tell();
    EXPECT_EQ(view->visibleOrigin(), QPointF(64, 50));
    EXPECT_TRUE(editor->isPlaying());
}

TEST_F(TimelineScrolling, ANewLaneAtTheBottomComesIntoSight) {
    std::vector<Clip> clips{videoClip(20)};
    for (int i = 0; i < 4; ++i) clips.push_back(audioClip(2, i));
    fill(clips);
    EXPECT_EQ(view->visibleOrigin().y(), 0);
    clips = editor->clips();
    clips.push_back(audioClip(2, 9));
    editor->commit(clips);
    tell();
    EXPECT_EQ(view->visibleOrigin().y(), 22 + 94 * 6 - 348);
    settlePreview();
    view->scrollBy({0, -1e9});
    editor->undo();
    tell();
    EXPECT_EQ(view->visibleOrigin().y(), 0);
}

TEST_F(TimelineScrolling, LanesThatGoTakeTheirHeightAlong) {
    std::vector<Clip> clips{videoClip(20)};
    for (int i = 0; i < 4; ++i) clips.push_back(audioClip(2, i));
    fill(clips);
    view->scrollBy({0, 1e9});
    editor->commit({clip(0)});
    tell();
    EXPECT_EQ(view->visibleOrigin().y(), 0);
    EXPECT_EQ(view->viewportHeight(), 22 + 94);
}

// The wheel.

TEST_F(TimelineScrolling, AWheelScrollsTimeWhereNoLanesOverflow) {
    fill({videoClip(20)});
    view->wheel({0, -120}, false, Qt::NoModifier);
    EXPECT_EQ(view->visibleOrigin(), QPointF(80, 0));
    EXPECT_EQ(editor->playhead(), 2.5);
    view->wheel({0, 60}, false, Qt::NoModifier);
    EXPECT_EQ(view->visibleOrigin(), QPointF(40, 0));
}

TEST_F(TimelineScrolling, AWheelScrollsLanesThatOverflowAndWithShiftTime) {
    std::vector<Clip> clips{videoClip(20)};
    for (int i = 0; i < 6; ++i) clips.push_back(audioClip(2, i));
    fill(clips);
    view->wheel({0, -120}, false, Qt::NoModifier);
    EXPECT_EQ(view->visibleOrigin(), QPointF(0, 80));
    view->wheel({0, -120}, false, Qt::ShiftModifier);
    EXPECT_EQ(view->visibleOrigin(), QPointF(80, 80));
    view->wheel({-120, 0}, false, Qt::NoModifier);
    EXPECT_EQ(view->visibleOrigin(), QPointF(160, 80));
    view->wheel({-120, 0}, false, Qt::ShiftModifier);
    EXPECT_EQ(view->visibleOrigin(), QPointF(240, 80));
}

TEST_F(TimelineScrolling, AWheelWithControlZoomsAboutThePlayhead) {
    fill({videoClip(20)});
    goTo(10);
    view->wheel({0, 120}, false, Qt::ControlModifier);
    EXPECT_EQ(view->zoom(), 1.25);
    EXPECT_EQ(view->visibleOrigin().x(), 400);
    EXPECT_EQ(editor->playhead(), 10);
    view->wheel({0, -240}, false, Qt::ControlModifier);
    EXPECT_DOUBLE_EQ(view->zoom(), 1);
}

TEST_F(TimelineScrolling, AWheelThatRestsGivesTheTrackBackToThePlayhead) {
    fill({videoClip(20)});
    view->wheel({0, -120}, false, Qt::NoModifier);
    editor->seekPreview(10);
    tell();
    EXPECT_EQ(view->visibleOrigin().x(), 80);
    advance(std::chrono::milliseconds(149));
    EXPECT_EQ(view->visibleOrigin().x(), 80);
    advance(std::chrono::milliseconds(1));
    EXPECT_EQ(view->visibleOrigin().x(), 320);
}

TEST_F(TimelineScrolling, TwoFingersScrollAlongTheFirstClearAxis) {
    std::vector<Clip> clips{videoClip(20)};
    for (int i = 0; i < 6; ++i) clips.push_back(audioClip(2, i));
    fill(clips);
    view->wheel({-1, -1}, true, Qt::NoModifier);
    EXPECT_EQ(view->visibleOrigin(), QPointF(0, 0));
    view->wheel({-1, -8}, true, Qt::NoModifier);
    EXPECT_EQ(view->visibleOrigin(), QPointF(0, 9));
    view->wheel({-30, -1}, true, Qt::NoModifier);
    EXPECT_EQ(view->visibleOrigin(), QPointF(0, 10));
    view->endScrolling();
    view->wheel({-30, -1}, true, Qt::NoModifier);
    EXPECT_EQ(view->visibleOrigin(), QPointF(30, 10));
    view->wheel({0, -20}, true, Qt::NoModifier);
    EXPECT_EQ(view->visibleOrigin(), QPointF(30, 10));
}

TEST_F(TimelineScrolling, WhatIsUnderARestingPointerIsAnotherClipOnceTheTrackHasMoved) {
    fill({videoClip(5), videoClip(5)});
    view->hover(at(2, row(0)));
    EXPECT_EQ(view->hoveredClipID(), clip(0).id);
    view->wheel({0, -240}, false, Qt::NoModifier);
    EXPECT_EQ(view->hoveredClipID(), clip(1).id);
    view->leave();
    view->wheel({0, 240}, false, Qt::NoModifier);
    EXPECT_FALSE(view->hoveredClipID());
}

// A pinch.

TEST_F(TimelineScrolling, APinchZoomsFromWhereItBegan) {
    fill({videoClip(20)});
    goTo(10);
    QSignalSpy focus(view.get(), &TimelineView::focusWanted);
    view->beginPinch();
    EXPECT_EQ(focus.size(), 1);
    view->pinch(2);
    EXPECT_EQ(view->zoom(), 2);
    EXPECT_EQ(view->visibleOrigin().x(), 640);
    view->pinch(1.5);
    EXPECT_EQ(view->zoom(), 1.5);
    view->scrollBy({32, 0});
    EXPECT_EQ(view->visibleOrigin().x(), 480);
    view->endPinch();
    EXPECT_EQ(editor->playhead(), 10);
    EXPECT_EQ(view->visibleOrigin().x(), 480);
}

TEST_F(TimelineScrolling, APinchHoldsTheTrackWhereItIs) {
    fill({videoClip(20)});
    view->beginPinch();
    goTo(10);
    EXPECT_EQ(view->visibleOrigin().x(), 0);
    view->endPinch();
    EXPECT_EQ(view->visibleOrigin().x(), 320);
}

TEST_F(TimelineScrolling, APinchDoesNothingWhileBuildingBusyOrDuringAGesture) {
    fill({videoClip(20)});
    editor->rebuildPreview();
    view->beginPinch();
    view->pinch(2);
    EXPECT_EQ(view->zoom(), 1);
    settlePreview();
    beginDrag(at(5, row(0)), {10, 0});
    ASSERT_TRUE(view->isEditingClip());
    view->pinch(2);
    EXPECT_EQ(view->zoom(), 1);
    view->cancelGesture();
    view->pinch(1.009);
    EXPECT_EQ(view->zoom(), 1);
    view->pinch(0);
    view->pinch(std::nan(""));
    EXPECT_EQ(view->zoom(), 1);
    beBusy();
    view->pinch(2);
    EXPECT_EQ(view->zoom(), 1);
}

// The animated seek.

TEST_F(TimelineScrolling, ASeekMovesTheTrackSmoothlyIn220Milliseconds) {
    fill({videoClip(20)});
    view->seekOnClick(10);
    tell();
    EXPECT_EQ(editor->playhead(), 10);
    EXPECT_EQ(view->visibleOrigin().x(), 0);
    advance(std::chrono::milliseconds(56));
    const double early = 56.0 / 220;
    EXPECT_DOUBLE_EQ(view->visibleOrigin().x(), 320 * early * early * (3 - 2 * early));
    advance(std::chrono::milliseconds(56));
    EXPECT_NEAR(view->visibleOrigin().x(), 160, 5);
    EXPECT_EQ(editor->timelineScrollOffset, view->visibleOrigin().x());
    advance(std::chrono::milliseconds(120));
    EXPECT_EQ(view->visibleOrigin().x(), 320);
    EXPECT_EQ(context.pendingTimers(), 0u);
}

TEST_F(TimelineScrolling, ASeekWithReducedMotionOrCloseByIsThereAtOnce) {
    fill({videoClip(20)});
    view->seekOnClick(0.5 / 32);
    EXPECT_EQ(view->visibleOrigin().x(), 0.5);
    reducedMotion = true;
    view->seekOnClick(10);
    EXPECT_EQ(view->visibleOrigin().x(), 320);
    EXPECT_EQ(context.pendingTimers(), 0u);
}

TEST_F(TimelineScrolling, ASeekBehindTheEndEndsAtTheEnd) {
    fill({videoClip(20)});
    view->seekOnClick(1000);
    advance(std::chrono::milliseconds(120));
    EXPECT_LT(view->visibleOrigin().x(), 640);
    advance(std::chrono::milliseconds(120));
    EXPECT_EQ(view->visibleOrigin().x(), 640);
    view->seekOnClick(-5);
    advance(std::chrono::milliseconds(240));
    EXPECT_EQ(view->visibleOrigin().x(), 0);
    view->seekOnClick(std::nan(""));
    EXPECT_EQ(editor->playhead(), 0);
}

TEST_F(TimelineScrolling, EveryOtherSeekAndAZoomEndTheAnimatedOne) {
    fill({videoClip(20)});
    view->seekOnClick(10);
    advance(std::chrono::milliseconds(50));
    EXPECT_TRUE(view->seekBy(1));
    EXPECT_EQ(view->visibleOrigin().x(), 352);
    EXPECT_EQ(context.pendingTimers(), 0u);
    view->seekOnClick(2);
    advance(std::chrono::milliseconds(50));
    goTo(3);
    EXPECT_EQ(view->visibleOrigin().x(), 96);
    EXPECT_EQ(context.pendingTimers(), 0u);
    view->seekOnClick(10);
    advance(std::chrono::milliseconds(50));
    view->setZoom(2);
    EXPECT_EQ(view->visibleOrigin().x(), 640);
    EXPECT_EQ(context.pendingTimers(), 0u);
    view->seekOnClick(2);
    advance(std::chrono::milliseconds(50));
    const double x = view->visibleOrigin().x();
    view->scrollBy({-64, 0});
    EXPECT_DOUBLE_EQ(editor->playhead(), (x - 64) / 64);
    EXPECT_EQ(context.pendingTimers(), 0u);
}

TEST_F(TimelineScrolling, NothingSeeksWhileTheProjectIsBusyOrItsPreviewIsBuilt) {
    fill({videoClip(20)});
    editor->rebuildPreview();
    view->seekOnClick(10);
    EXPECT_EQ(editor->playhead(), 0);
    EXPECT_TRUE(view->seekBy(1));
    EXPECT_EQ(editor->playhead(), 1);
    settlePreview();
    beBusy();
    view->seekOnClick(10);
    EXPECT_FALSE(view->seekBy(1));
    EXPECT_EQ(editor->playhead(), 1);
}

TEST_F(TimelineScrolling, TenHoursCanBeScrolledFromEndToEnd) {
    std::vector<Clip> clips;
    for (int i = 0; i < 40; ++i) clips.push_back(videoClip(900));
    fill(clips);
    EXPECT_EQ(view->timeReadout(), "00:00 / 600:00");
    view->setZoom(0);
    EXPECT_DOUBLE_EQ(view->zoom(), 1000.0 / (36000 * 32));
    view->scrollBy({500, 0});
    EXPECT_DOUBLE_EQ(editor->playhead(), 18000);
    view->endScrolling();
    view->setZoom(6);
    EXPECT_DOUBLE_EQ(view->visibleOrigin().x(), 18000.0 * 192);
    view->seekOnClick(36000);
    advance(std::chrono::milliseconds(300));
    EXPECT_EQ(view->visibleOrigin().x(), 36000.0 * 192);
}

}  // namespace
}  // namespace kelvane::testing
