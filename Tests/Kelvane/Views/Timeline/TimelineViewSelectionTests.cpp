#include "TimelineViewFixture.h"

namespace kelvane::testing {
namespace {

/// Four clips of 5 s on the track, 160 points each, and one of 5 s in a lane.
class TimelineSelection : public TimelineViewFixture {
protected:
    TimelineSelection() {
        fill({videoClip(5), videoClip(5), videoClip(5), videoClip(5), audioClip(5, 0)});
        clips = order();
    }
    [[nodiscard]] const std::set<UUID>& selected() const { return editor->selectedClipIDs(); }
    [[nodiscard]] std::set<UUID> set(std::initializer_list<int> indices) const {
        std::set<UUID> chosen;
        for (const int index : indices) chosen.insert(clips.at(static_cast<std::size_t>(index)));
        return chosen;
    }
    /// A place below all rows of clips there is none; this one is on the lane, behind its clip.
    [[nodiscard]] QPointF empty(double seconds) const { return at(seconds, row(1)); }

    void doubleClick(QPointF point, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        view->doubleClick(point, modifiers);
        view->release(point, modifiers);
        tell();
    }

    std::vector<UUID> clips;
};

TEST_F(TimelineSelection, AClickSelectsTheClipAndTakesTheFocusButDoesntSeek) {
    QSignalSpy focus(view.get(), &TimelineView::focusWanted);
    click(at(7, row(0)));
    EXPECT_EQ(selected(), set({1}));
    EXPECT_EQ(focus.size(), 1);
    EXPECT_EQ(editor->playhead(), 0);
    click(at(1, row(1)));
    EXPECT_EQ(selected(), set({4}));
    EXPECT_EQ(undoSteps(), 0u);
}

TEST_F(TimelineSelection, ControlTogglesAndShiftSelectsARange) {
    click(at(7, row(0)));
    click(at(17, row(0)), Qt::ControlModifier);
    EXPECT_EQ(selected(), set({1, 3}));
    click(at(17, row(0)), Qt::ControlModifier);
    EXPECT_EQ(selected(), set({1}));
    click(at(7, row(0)));
    click(at(17, row(0)), Qt::ShiftModifier);
    EXPECT_EQ(selected(), set({1, 2, 3}));
    click(at(2, row(0)), Qt::ShiftModifier);
    EXPECT_EQ(selected(), set({0, 1}));
    click(at(17, row(0)));
    click(at(2, row(0)), Qt::ControlModifier);
    click(at(7, row(0)), Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(selected(), set({0, 1, 3}));
}

TEST_F(TimelineSelection, OtherModifiersPlayNoPart) {
    click(at(7, row(0)), Qt::AltModifier | Qt::MetaModifier);
    EXPECT_EQ(selected(), set({1}));
    click(at(12, row(0)), Qt::ControlModifier | Qt::AltModifier);
    EXPECT_EQ(selected(), set({1, 2}));
}

TEST_F(TimelineSelection, AMovementOfLessThanThreePointsIsAClick) {
    dragBy(at(7, row(0)), {2, 2});
    EXPECT_EQ(selected(), set({1}));
    EXPECT_EQ(undoSteps(), 0u);
}

TEST_F(TimelineSelection, AClickOnTheEmptyTrackClearsTheSelectionAndSeeks) {
    click(empty(10));
    EXPECT_TRUE(selected().empty());
    EXPECT_EQ(editor->playhead(), 10);
    advance(std::chrono::milliseconds(230));
    EXPECT_EQ(view->visibleOrigin().x(), 320);
}

TEST_F(TimelineSelection, AClickOnACutIsOnNeitherClip) {
    goTo(2);
    click(at(5, row(0)));
    EXPECT_TRUE(selected().empty());
    EXPECT_EQ(editor->playhead(), 5);
}

TEST_F(TimelineSelection, AClickOnTheRulerSeeksAndKeepsTheSelection) {
    QSignalSpy focus(view.get(), &TimelineView::focusWanted);
    click(at(7, 21));
    EXPECT_EQ(editor->playhead(), 7);
    EXPECT_EQ(selected(), set({0}));
    EXPECT_EQ(focus.size(), 1);
}

TEST_F(TimelineSelection, AClickOnAClipUnderThePlayheadSelectsIt) {
    goTo(7);
    click({500, row(0)});
    EXPECT_EQ(selected(), set({1}));
    EXPECT_EQ(editor->playhead(), 7);
}

TEST_F(TimelineSelection, ABusyProjectTakesNoClicks) {
    goTo(1);
    beBusy();
    tell();
    click(at(7, row(0)));
    click(empty(10));
    click(at(7, 10));
    dragBy(empty(10), {-200, -60});
    EXPECT_EQ(selected(), set({0}));
    EXPECT_EQ(editor->playhead(), 1);
}

TEST_F(TimelineSelection, ADoubleClickOnAClipShowsTheInspector) {
    doubleClick(at(7, row(0)));
    EXPECT_TRUE(editor->showInspector());
    EXPECT_EQ(selected(), set({1})) << "as a click does";
    EXPECT_EQ(undoSteps(), 0u);
}

TEST_F(TimelineSelection, ADoubleClickElsewhereShowsNothing) {
    doubleClick(empty(10));
    doubleClick(at(7, 10));
    EXPECT_FALSE(editor->showInspector());
}

TEST_F(TimelineSelection, ADoubleClickWithControlOrShiftIsTwoClicks) {
    for (const auto modifier : {Qt::ControlModifier, Qt::ShiftModifier}) doubleClick(at(7, row(0)), modifier);
    EXPECT_FALSE(editor->showInspector());
}

TEST_F(TimelineSelection, ADoubleClickThatMovesIsADrag) {
    const QPointF from = at(7, row(0));
    view->doubleClick(from, Qt::NoModifier);
    view->drag(from + QPointF(192, 0), Qt::NoModifier);
    view->release(from + QPointF(192, 0), Qt::NoModifier);
    EXPECT_FALSE(editor->showInspector());
    EXPECT_EQ(order(), (std::vector{clips[0], clips[2], clips[1], clips[3], clips[4]}));
}

TEST_F(TimelineSelection, ADoubleClickOnTheVolumeLineMakesItFull) {
    view->setVolume(clips[1], 0.5);
    tell();
    doubleClick(at(7, volumeLine(0, 0.5)));
    EXPECT_EQ(clip(1).volume, 1);
    EXPECT_FALSE(editor->showInspector());
    EXPECT_EQ(undoSteps(), 2u);
}

// The rubber band.

TEST_F(TimelineSelection, ABandSelectsWhatItTouchesAsItGrowsAndShrinks) {
    const QPointF start = empty(12);
    view->press(start, Qt::NoModifier);
    view->drag(start + QPointF(0, -60), Qt::NoModifier);
    EXPECT_TRUE(selected().empty()) << "a band without a width touches nothing";
    view->drag(start + QPointF(-10, -60), Qt::NoModifier);
    EXPECT_EQ(selected(), set({2}));
    EXPECT_EQ(view->marqueeRect(), QRectF(384 - 10, row(1) - 60, 10, 60));
    view->drag(start + QPointF(-300, -60), Qt::NoModifier);
    EXPECT_EQ(selected(), set({0, 1, 2, 4}));
    view->drag(start + QPointF(200, -60), Qt::NoModifier);
    EXPECT_EQ(selected(), set({2, 3}));
    view->release(start + QPointF(200, -60), Qt::NoModifier);
    EXPECT_FALSE(view->marqueeRect());
    EXPECT_EQ(selected(), set({2, 3}));
    EXPECT_EQ(undoSteps(), 0u);
    EXPECT_EQ(editor->playhead(), 0);
}

TEST_F(TimelineSelection, ABandWithControlOrShiftKeepsWhatWasSelected) {
    for (const auto modifier : {Qt::ControlModifier, Qt::ShiftModifier}) {
        editor->selectTimelineClips(set({0}));
        const QPointF start = empty(12);
        beginDrag(start, {-10, -60}, modifier);
        EXPECT_EQ(selected(), set({0, 2}));
        view->drag(start + QPointF(200, -60), Qt::NoModifier);
        EXPECT_EQ(selected(), set({0, 2, 3}));
        view->drag(start + QPointF(5, 5), modifier);
        EXPECT_EQ(selected(), set({0}));
        view->release(start + QPointF(5, 5), modifier);
        EXPECT_EQ(selected(), set({0}));
    }
}

TEST_F(TimelineSelection, ABandLeavesAnAssetsPreviewAndPausesThePlayer) {
    const UUID asset = editor->assets().front().id;
    editor->showAssetPreview(asset);
    settlePreview();
    QSignalSpy focus(view.get(), &TimelineView::focusWanted);
    beginDrag(empty(12), {-10, -60});
    EXPECT_FALSE(editor->previewAssetID());
    EXPECT_TRUE(editor->selectedAssetIDs().empty());
    EXPECT_EQ(focus.size(), 1);
    view->release(empty(12), Qt::NoModifier);
    settlePreview();
    editor->togglePlayback();
    beginDrag(empty(12), {-10, -60});
    EXPECT_FALSE(editor->isPlaying());
}

TEST_F(TimelineSelection, ABandThatBeginsOnAClipMovesTheClip) {
    beginDrag(at(7, row(0)), {40, 0});
    EXPECT_FALSE(view->marqueeRect());
    EXPECT_EQ(view->dragging(), clips[1]);
}

TEST_F(TimelineSelection, ADragFromTheRulerIsNoBand) {
    beginDrag(at(7, 21), {40, 60});
    EXPECT_FALSE(view->marqueeRect());
    view->release({0, 0}, Qt::NoModifier);
    beginDrag(at(5, 22), {-40, 60});
    EXPECT_TRUE(view->marqueeRect());
}

TEST_F(TimelineSelection, TheTrackStandsStillUnderABand) {
    beginDrag(empty(12), {-10, -60});
    goTo(3);
    view->scrollBy({64, 0});
    EXPECT_EQ(view->visibleOrigin().x(), 0);
    view->seekOnClick(9);
    EXPECT_EQ(editor->playhead(), 3);
    view->release(empty(12), Qt::NoModifier);
    EXPECT_EQ(view->visibleOrigin().x(), 96);
}

TEST_F(TimelineSelection, EscapeEndsABandWithTheSelectionAsItWas) {
    editor->selectTimelineClips(set({1, 3}));
    editor->setSelection(clips[3]);
    editor->selectTimelineClips(set({1, 3}));
    beginDrag(empty(12), {-10, -60});
    EXPECT_EQ(selected(), set({2}));
    EXPECT_TRUE(press(Qt::Key_Escape));
    EXPECT_FALSE(view->marqueeRect());
    EXPECT_EQ(selected(), set({1, 3}));
    EXPECT_EQ(editor->selection(), clips[3]);
    view->drag(empty(14), Qt::NoModifier);
    view->release(empty(14), Qt::NoModifier);
    EXPECT_EQ(selected(), set({1, 3}));
}

TEST_F(TimelineSelection, EscapeGivesSelectedAssetsBack) {
    const std::set<UUID> assets{editor->assets().front().id};
    editor->selectAssets(assets);
    beginDrag(empty(12), {-10, -60});
    EXPECT_TRUE(view->cancelGesture());
    EXPECT_EQ(editor->selectedAssetIDs(), assets);
    EXPECT_TRUE(selected().empty());
}

TEST_F(TimelineSelection, EscapeGivesAnAssetsPreviewBack) {
    const UUID asset = editor->assets().front().id;
    editor->showAssetPreview(asset);
    settlePreview();
    beginDrag(empty(12), {-10, -60});
    settlePreview();
    ASSERT_FALSE(editor->previewAssetID());
    EXPECT_TRUE(view->cancelGesture());
    EXPECT_EQ(editor->previewAssetID(), asset);
    EXPECT_EQ(editor->selectedAssetIDs(), std::set{asset});
}

TEST_F(TimelineSelection, AProjectThatTurnsBusyEndsABand) {
    beginDrag(empty(12), {-10, -60});
    beBusy();
    view->drag(empty(1), Qt::NoModifier);
    EXPECT_EQ(selected(), set({2}));
    tell();
    EXPECT_FALSE(view->marqueeRect());
    context.settle();
    view->drag(empty(1), Qt::NoModifier);
    view->release(empty(1), Qt::NoModifier);
    EXPECT_EQ(selected(), set({2}));
}

TEST_F(TimelineSelection, AClipThatGoesUnderABandIsSelectedNoMore) {
    editor->selectTimelineClips({});
    const QPointF start = empty(12);
    beginDrag(start, {-10, -60}, Qt::ControlModifier);
    EXPECT_EQ(selected(), set({2}));
    auto left = editor->clips();
    left.erase(left.begin() + 2);
    editor->commit(left);
    tell();
    view->drag(start + QPointF(-12, -60), Qt::ControlModifier);
    EXPECT_EQ(selected(), set({3}));
}

TEST_F(TimelineSelection, ABandHeldAtTheEdgeScrollsTheTrackUnderIt) {
    std::vector<Clip> many;
    for (int i = 0; i < 8; ++i) many.push_back(videoClip(5));
    many.push_back(audioClip(5, 0));
    fill(many);
    clips = order();
    const QPointF start = empty(12);
    const QPointF edge(994, start.y() - 60);
    view->press(start, Qt::NoModifier);
    view->drag(edge, Qt::NoModifier);
    EXPECT_EQ(selected(), set({2, 3}));
    advance(std::chrono::milliseconds(299));
    EXPECT_EQ(view->visibleOrigin().x(), 0);
    advance(std::chrono::milliseconds(700));
    EXPECT_GT(view->visibleOrigin().x(), 306);
    EXPECT_LT(view->visibleOrigin().x(), 469);
    EXPECT_EQ(selected(), set({2, 3, 4, 5}));
    EXPECT_EQ(view->marqueeRect()->left(), 384);
    EXPECT_DOUBLE_EQ(view->marqueeRect()->right(), view->visibleOrigin().x() + 494);
    EXPECT_EQ(editor->playhead(), 0);
    view->release(edge, Qt::NoModifier);
    EXPECT_EQ(view->visibleOrigin().x(), 0);
    EXPECT_EQ(context.pendingTimers(), 0u);
}

// The scrub.

TEST_F(TimelineSelection, ADragOnTheRulerSeeksToThePlaceUnderThePointer) {
    QSignalSpy focus(view.get(), &TimelineView::focusWanted);
    const QPointF start = at(7, 10);
    view->press(start, Qt::NoModifier);
    EXPECT_EQ(view->cursor(), Qt::SizeHorCursor);
    view->drag(start + QPointF(2, 0), Qt::NoModifier);
    EXPECT_EQ(editor->playhead(), 0);
    view->drag(start + QPointF(32, 100), Qt::NoModifier);
    tell();
    EXPECT_EQ(editor->playhead(), 8);
    EXPECT_EQ(view->visibleOrigin().x(), 0);
    EXPECT_EQ(focus.size(), 1);
    view->drag(start + QPointF(-1000, 0), Qt::NoModifier);
    EXPECT_EQ(editor->playhead(), 0);
    view->drag(start + QPointF(64, 0), Qt::NoModifier);
    view->release(start + QPointF(64, 0), Qt::NoModifier);
    EXPECT_EQ(editor->playhead(), 9);
    EXPECT_EQ(view->visibleOrigin().x(), 288);
    EXPECT_EQ(view->cursor(), Qt::ArrowCursor);
}

TEST_F(TimelineSelection, ThePlayheadCanBeTakenHoldOfWithin12Points) {
    goTo(7);
    dragBy({512, row(0)}, {32, 0});
    EXPECT_EQ(editor->playhead(), 8.375);
    EXPECT_EQ(undoSteps(), 0u);
    beginDrag({513, row(0)}, {32, 0});
    EXPECT_TRUE(view->dragging());
}

TEST_F(TimelineSelection, AScrubWaitsWhileThePreviewIsBuilt) {
    editor->rebuildPreview();
    beginDrag(at(7, 10), {32, 0});
    EXPECT_EQ(editor->playhead(), 0);
    settlePreview();
    view->drag(at(8, 10), Qt::NoModifier);
    EXPECT_EQ(editor->playhead(), 8);
}

TEST_F(TimelineSelection, EscapeEndsAScrubWhereThePlayheadWas) {
    goTo(3);
    beginDrag(at(7, 10), {32, 0});
    EXPECT_EQ(editor->playhead(), 8);
    EXPECT_TRUE(press(Qt::Key_Escape));
    EXPECT_EQ(editor->playhead(), 3);
    EXPECT_EQ(view->visibleOrigin().x(), 96);
    EXPECT_EQ(selected(), set({0}));
}

TEST_F(TimelineSelection, APressThatIsCancelledIsNoClick) {
    for (const QPointF place : {at(7, 10), at(7, row(0)), empty(12)}) {
        view->press(place, Qt::NoModifier);
        EXPECT_FALSE(view->cancelGesture());
        EXPECT_EQ(view->cursor(), Qt::ArrowCursor);
        view->release(place, Qt::NoModifier);
        EXPECT_EQ(editor->playhead(), 0);
        EXPECT_EQ(selected(), set({0}));
    }
}

TEST_F(TimelineSelection, AProjectThatTurnsBusyEndsAScrub) {
    beginDrag(at(7, 10), {32, 0});
    beBusy();
    view->drag(at(9, 10), Qt::NoModifier);
    EXPECT_EQ(editor->playhead(), 8);
    tell();
    context.settle();
    view->drag(at(9, 10), Qt::NoModifier);
    EXPECT_EQ(editor->playhead(), 8);
    EXPECT_EQ(view->visibleOrigin().x(), 256);
}

TEST_F(TimelineSelection, AScrubLeavesAnAssetsPreview) {
    editor->showAssetPreview(editor->assets().front().id);
    settlePreview();
    beginDrag(at(7, 10), {32, 0});
    EXPECT_FALSE(editor->previewAssetID());
    // The first movement has begun the build for which the second waits.
    EXPECT_EQ(editor->playhead(), 7.5);
}

}  // namespace
}  // namespace kelvane::testing
