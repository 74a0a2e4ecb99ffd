#include "TimelineViewFixture.h"

namespace kelvane::testing {
namespace {

class TimelineClips : public TimelineViewFixture {};

// How a gesture begins.

TEST_F(TimelineClips, AGestureMakesTheClipTheSelectionAndHoldsOthersOff) {
    fill({videoClip(5), videoClip(5), videoClip(5)});
    editor->togglePlayback();
    editor->selectTimelineClips({clip(0).id, clip(2).id});
    QSignalSpy focus(view.get(), &TimelineView::focusWanted);
    view->press(at(7, row(0)), Qt::NoModifier);
    view->drag(at(7, row(0)) + QPointF(2, 0), Qt::NoModifier);
    EXPECT_FALSE(editor->interactionSnapshot());
    view->drag(at(7, row(0)) + QPointF(3, 0), Qt::NoModifier);
    EXPECT_TRUE(editor->interactionSnapshot());
    EXPECT_EQ(view->dragging(), clip(1).id);
    EXPECT_EQ(view->cursor(), Qt::ClosedHandCursor);
    EXPECT_EQ(editor->selectedClipIDs(), std::set<UUID>{clip(1).id});
    EXPECT_FALSE(editor->isPlaying());
    EXPECT_EQ(focus.size(), 1);
    view->drag(at(7, row(0)) + QPointF(9, 0), Qt::NoModifier);
    EXPECT_EQ(focus.size(), 1);
}

TEST_F(TimelineClips, AGestureLeavesAnAssetsPreview) {
    fill({videoClip(5), videoClip(5)});
    editor->showAssetPreview(editor->assets().front().id);
    settlePreview();
    beginDrag(at(7, row(0)), {10, 0});
    EXPECT_FALSE(editor->previewAssetID());
    EXPECT_TRUE(editor->selectedAssetIDs().empty());
    EXPECT_TRUE(view->dragging());
}

TEST_F(TimelineClips, WhatAPressTakesHoldOfIsDecidedByItsPlaceOnTheClip) {
    fill({videoClip(5), videoClip(5)});
    goTo(2);
    const double left = view->drawnFrame(1).left();
    const double right = view->drawnFrame(1).right();
    const auto edgeAt = [this](double x, double y) {
        beginDrag(at(0, y) + QPointF(x, 0), {0, 4});
        const bool isTrim = view->trimOriginal().has_value();
        const bool isMove = view->dragging().has_value();
        const bool isEditing = view->isEditingClip();
        view->cancelGesture();
        return isTrim ? "trim" : isMove ? "move" : isEditing ? "volume" : "none";
    };
    EXPECT_STREQ(edgeAt(left, row(0)), "trim");
    EXPECT_STREQ(edgeAt(left + 6, row(0)), "trim") << "the limit of the zone is the edge's";
    EXPECT_STREQ(edgeAt(left + 6.5, row(0)), "move");
    EXPECT_STREQ(edgeAt(right - 6, row(0)), "trim");
    EXPECT_STREQ(edgeAt(right - 6.5, row(0)), "move");
    EXPECT_STREQ(edgeAt(left + 3, volumeLine(0, 1)), "trim") << "an edge comes before the volume line";
    EXPECT_STREQ(edgeAt(left + 40, volumeLine(0, 1) + 7), "volume");
    EXPECT_STREQ(edgeAt(left + 40, volumeLine(0, 1) - 7), "volume");
    EXPECT_STREQ(edgeAt(left + 40, volumeLine(0, 1) + 7.5), "move");
    EXPECT_STREQ(edgeAt(right + 2, row(0)), "none") << "between clips there is none";
}

TEST_F(TimelineClips, AClipOf8PointsHasEdgesOf2Points) {
    // 8 points of drawing and a gap of a sixteenth of the whole at both ends.
    fill({videoClip(5), videoClip(8 / 0.875 / 32), videoClip(5)});
    const QRectF frame = view->drawnFrame(1);
    ASSERT_NEAR(frame.width(), 8, 1e-9);
    const auto edgeAt = [this, &frame](double x) {
        beginDrag(at(0, row(0)) + QPointF(frame.left() + x, 0), {4, 0});
        const auto original = view->trimOriginal();
        view->cancelGesture();
        return original.has_value();
    };
    EXPECT_TRUE(edgeAt(1.99));
    EXPECT_FALSE(edgeAt(2.01));
    EXPECT_FALSE(edgeAt(5.99));
    EXPECT_TRUE(edgeAt(6.01));
}

TEST_F(TimelineClips, ThePointerShowsWhatAPressWouldTakeHoldOf) {
    fill({videoClip(5), videoClip(5)});
    goTo(2);
    view->hover(startOf(1));
    EXPECT_EQ(view->cursor(), Qt::SizeHorCursor);
    EXPECT_EQ(view->hoveredClipID(), clip(1).id);
    EXPECT_FALSE(view->hoveredVolumeClipID());
    view->hover(at(7, volumeLine(0, 1)));
    EXPECT_EQ(view->cursor(), Qt::SizeVerCursor);
    EXPECT_EQ(view->hoveredVolumeClipID(), clip(1).id);
    view->hover(at(7, row(0)));
    EXPECT_EQ(view->cursor(), Qt::ArrowCursor);
    EXPECT_EQ(view->hoveredClipID(), clip(1).id);
    view->hover(at(7, 10));
    EXPECT_FALSE(view->hoveredClipID());
    view->hover(endOf(1));
    view->leave();
    EXPECT_EQ(view->cursor(), Qt::ArrowCursor);
    EXPECT_FALSE(view->hoveredClipID());
    // Under the playhead it is the playhead that would be dragged.
    goTo(5);
    view->hover(startOf(1));
    EXPECT_EQ(view->cursor(), Qt::ArrowCursor);
    view->hover(at(7, row(0)));
    beBusy();
    tell();
    EXPECT_FALSE(view->hoveredClipID());
    view->hover(at(7, row(0)));
    EXPECT_FALSE(view->hoveredClipID());
}

// Moving a video clip.

TEST_F(TimelineClips, AVideoClipMovesToWhereItIsLetGo) {
    fill({videoClip(5), videoClip(6), videoClip(7)});
    const auto before = editor->clips();
    beginDrag(at(2, row(0)), {12 * 32, 40});
    ASSERT_TRUE(view->insertionPreview());
    // Before the middle of the third clip, in the track as it is drawn.
    EXPECT_EQ(view->insertionPreview()->markerX, 11 * 32);
    EXPECT_EQ(view->drawnFrame(0).topLeft(), QPointF(12 * 32 + 3, 22)) << "video stays on its track";
    EXPECT_EQ(view->drawnFrame(1).left(), 5 * 32 + 3 - 10);
    EXPECT_EQ(view->drawnFrame(2).left(), 11 * 32 + 3 + 10);
    EXPECT_EQ(editor->clips(), before);
    view->release(at(14, row(0) + 40), Qt::NoModifier);
    tell();
    EXPECT_EQ(editor->selection(), before[0].id);
    expectOneStep({before[1], before[0], before[2]}, before);
}

TEST_F(TimelineClips, AVideoClipLetGoAtItsOwnPlaceMakesNoStep) {
    fill({videoClip(5), videoClip(6), videoClip(7)});
    const auto before = editor->clips();
    dragBy(at(7, row(0)), {20, 0});
    expectNothing(before);
    EXPECT_EQ(editor->selection(), before[1].id);
}

TEST_F(TimelineClips, AVideoClipPassesSoundsInTheArray) {
    fill({videoClip(5), audioClip(3, 1), videoClip(6), audioClip(3, 2)});
    const auto before = editor->clips();
    dragBy(at(2, row(0)), {20 * 32, 0});
    expectOneStep({before[1], before[2], before[3], before[0]}, before);
}

TEST_F(TimelineClips, ADragAsManyTimesAsYouLikeIsOneStep) {
    fill({videoClip(5), videoClip(6), videoClip(7)});
    const auto before = editor->clips();
    view->press(at(2, row(0)), Qt::NoModifier);
    for (int i = 0; i < 100; ++i) view->drag(at(2 + (i % 17), row(0)), Qt::NoModifier);
    view->release(at(17, row(0)), Qt::NoModifier);
    tell();
    expectOneStep({before[1], before[2], before[0]}, before);
}

// Moving a sound.

TEST_F(TimelineClips, ASoundMovesAlongAndAcrossLanes) {
    fill({videoClip(20), audioClip(3, 1), audioClip(2, 10)});
    const auto before = editor->clips();
    beginDrag(at(2, row(1)), {4 * 32, 60});
    EXPECT_EQ(view->drawnFrame(1).topLeft(), QPointF(5 * 32 + 3, 22 + 188));
    EXPECT_FALSE(view->insertionPreview());
    view->release(at(6, row(1) + 60), Qt::NoModifier);
    tell();
    auto expected = before;
    expected[1].timelineStart = 5;
    expected[1].audioTrackID = before[2].id;
    expectOneStep(expected, before);
}

TEST_F(TimelineClips, ASoundStaysOnTheLanesThatThereAre) {
    fill({videoClip(20), audioClip(3, 1), audioClip(2, 10)});
    const auto before = editor->clips();
    beginDrag(at(2, row(1)), {4 * 32, 1000});
    EXPECT_EQ(view->drawnFrame(1).top(), 22 + 188);
    view->drag(at(6, row(1) - 1000), Qt::NoModifier);
    EXPECT_EQ(view->drawnFrame(1).top(), 22 + 94);
    view->release(at(6, row(1) - 1000), Qt::NoModifier);
    tell();
    expectOneStep(
        [&] {
            auto expected = before;
            expected[1].timelineStart = 5;
            return expected;
        }(),
        before);
}

TEST_F(TimelineClips, ASoundDoesntBeginBeforeTheTimeline) {
    fill({videoClip(20), audioClip(3, 1)});
    const auto before = editor->clips();
    dragBy(at(2, row(1)), {-400, 0});
    expectOneStep(changed(1, [](Clip& clip) { clip.timelineStart = 0; }), before);
}

TEST_F(TimelineClips, EitherEndOfASoundSnaps) {
    fill({videoClip(20), audioClip(3, 1)});
    goTo(12);
    beginDrag(at(2, row(1)), {250, 0});
    // Its start comes to 8.8125 and its end to 11.8125.
    EXPECT_EQ(view->snapTime(), 12);
    EXPECT_EQ(view->drawnFrame(1).left(), 9 * 32 + 3);
    view->drag(at(2, row(1)) + QPointF(-27, 0), Qt::NoModifier);
    EXPECT_EQ(view->snapTime(), 0);
    EXPECT_EQ(view->drawnFrame(1).left(), 3);
    view->drag(at(2, row(1)) + QPointF(100, 0), Qt::NoModifier);
    EXPECT_FALSE(view->snapTime());
    view->release(at(2, row(1)) + QPointF(250, 0), Qt::NoModifier);
    EXPECT_EQ(clip(1).timelineStart, 9);
}

TEST_F(TimelineClips, AltHoldsSnappingOffWheneverItIsDown) {
    fill({videoClip(20), audioClip(3, 1)});
    goTo(12);
    beginDrag(at(2, row(1)), {250, 0}, Qt::AltModifier);
    EXPECT_FALSE(view->snapTime());
    EXPECT_EQ(view->drawnFrame(1).left(), 32 + 250 + 3);
    view->changeModifiers(Qt::NoModifier);
    EXPECT_EQ(view->snapTime(), 12);
    view->changeModifiers(Qt::AltModifier);
    EXPECT_FALSE(view->snapTime());
    view->release(at(2, row(1)) + QPointF(250, 0), Qt::AltModifier);
    EXPECT_DOUBLE_EQ(clip(1).audioPosition(), 1 + 250 / 32.0);
}

TEST_F(TimelineClips, ASoundLetGoAtItsOwnPlaceMakesNoStep) {
    fill({videoClip(20), audioClip(3, 1), audioClip(2, 10)});
    const auto before = editor->clips();
    const QPointF start = at(2, row(1));
    beginDrag(start, {90, 90});
    view->drag(start, Qt::NoModifier);
    view->release(start, Qt::NoModifier);
    tell();
    expectNothing(before);
}

// Trims.

TEST_F(TimelineClips, AnEndIsTrimmedAndTheRestMovesUp) {
    fill({videoClip(20, 2, 12), videoClip(5)});
    const auto before = editor->clips();
    const QPointF end = endOf(0);
    beginDrag(end, {-10, 0});
    EXPECT_EQ(view->cursor(), Qt::SizeHorCursor);
    QSignalSpy content(view.get(), &TimelineView::contentChanged);
    view->drag(end + QPointF(-100, 0), Qt::NoModifier);
    view->drag(end + QPointF(-100, 1), Qt::NoModifier);
    EXPECT_EQ(content.size(), 1) << "the same draft is told once";
    EXPECT_EQ(view->trimDraft()->end, 12 - 100 / 32.0);
    EXPECT_EQ(view->displayedClips()[0], *view->trimDraft());
    EXPECT_EQ(view->drawnFrame(1).left(), 220 + 3);
    EXPECT_EQ(view->trimOriginal(), before[0]);
    EXPECT_EQ(editor->clips(), before);
    view->release(at(0, 0), Qt::NoModifier);
}

TEST_F(TimelineClips, ATrimIsOneStep) {
    fill({videoClip(20, 2, 12), videoClip(5)});
    const auto before = editor->clips();
    dragBy(endOf(0), {-100, 0});
    expectOneStep(changed(0, [](Clip& clip) { clip.end = 12 - 100 / 32.0; }), before);
    tell();
    settlePreview();
    goTo(5);
    dragBy(startOf(0), {64, 0});
    EXPECT_EQ(clip(0).start, 4);
    EXPECT_EQ(clip(0).end, 12);
}

TEST_F(TimelineClips, AnEndSnapsToThePlayheadWithin8Points) {
    fill({videoClip(20, 0, 10)});
    goTo(8);
    const QPointF end = endOf(0);
    beginDrag(end, {-57, 0});
    EXPECT_EQ(view->snapTime(), 8);
    EXPECT_EQ(view->trimDraft()->end, 8);
    view->drag(end + QPointF(-56, 0), Qt::NoModifier);
    EXPECT_EQ(view->snapTime(), 8) << "8 points are the limit";
    view->drag(end + QPointF(-55, 0), Qt::NoModifier);
    EXPECT_FALSE(view->snapTime());
    EXPECT_EQ(view->trimDraft()->end, 265 / 32.0);
    view->drag(end + QPointF(-57, 0), Qt::AltModifier);
    EXPECT_FALSE(view->snapTime());
    EXPECT_EQ(view->trimDraft()->end, 263 / 32.0);
    view->setZoom(2);
    EXPECT_EQ(view->zoom(), 2);
    view->cancelGesture();
}

TEST_F(TimelineClips, ATrimThatTheSourceCantReachDrawsNoLine) {
    fill({videoClip(10, 0, 10), audioClip(2, 10.5)});
    const QPointF end = endOf(0);
    beginDrag(end, {16, 0});
    EXPECT_EQ(view->trimDraft()->end, 10);
    EXPECT_FALSE(view->snapTime());
    view->release(end + QPointF(16, 0), Qt::NoModifier);
    tell();
    EXPECT_EQ(undoSteps(), 0u);
}

TEST_F(TimelineClips, AClipIsNeverTrimmedToLessThanAFrame) {
    fill({videoClip(10), videoClip(5)});
    const auto before = editor->clips();
    dragBy(endOf(0), {-1000, 0}, Qt::AltModifier);
    EXPECT_EQ(clip(0).end, trimMargin);
    EXPECT_TRUE(clip(0).isValid());
    EXPECT_EQ(undoSteps(), 1u);
}

TEST_F(TimelineClips, TheHeadOfASoundIsTrimmedWithTheSoundInItsPlace) {
    Clip sound = audioClip(20, 3);
    sound.start = 5;
    fill({videoClip(30), sound});
    const auto before = editor->clips();
    beginDrag(startOf(1), {64, 0}, Qt::AltModifier);
    EXPECT_EQ(view->drawnFrame(1).left(), 5 * 32 + 3);
    view->release(startOf(1) + QPointF(64, 0), Qt::AltModifier);
    // The press was 64 points before where the head is now.
    tell();
    EXPECT_EQ(undoSteps(), 1u);
    EXPECT_EQ(clip(1).audioPosition() - clip(1).start, -2) << "what is heard when stays as it was";
    EXPECT_EQ(clip(1).end, 20);
    editor->undo();
    EXPECT_EQ(editor->clips(), before);
}

// The frame at a trimmed edge.

TEST_F(TimelineClips, ATrimShowsTheFrameAtItsEdge) {
    fill({videoClip(5), videoClip(20, 2, 12)});
    goTo(7);
    hoverPlayer->seeks.clear();
    const QPointF end = endOf(1);
    beginDrag(end, {-32, 0}, Qt::AltModifier);
    // The last frame before the end at 14 s of the timeline.
    EXPECT_EQ(editor->hoverPreview(), (HoverPreview{std::nullopt, 419 / 30.0}));
    context.settle();
    ASSERT_TRUE(hoverPlayer->item());
    EXPECT_EQ(hoverPlayer->seeks, std::vector<double>{2 + 419 / 30.0 - 5});
    const int builds = hoverPlayer->replacements;
    view->drag(end + QPointF(-64, 0), Qt::AltModifier);
    context.settle();
    EXPECT_EQ(hoverPlayer->replacements, builds) << "one build serves the whole trim";
    EXPECT_EQ(hoverPlayer->seeks.back(), 2 + 389 / 30.0 - 5);
    view->release(end + QPointF(-64, 0), Qt::AltModifier);
    EXPECT_FALSE(editor->hoverPreview());
    EXPECT_EQ(editor->playhead(), 7);
}

TEST_F(TimelineClips, ATrimmedStartShowsTheFirstFrameThatStays) {
    fill({videoClip(5), videoClip(20, 2, 12)});
    goTo(2);
    beginDrag(startOf(1), {32, 0}, Qt::AltModifier);
    context.settle();
    EXPECT_EQ(editor->hoverPreview(), (HoverPreview{std::nullopt, 5}));
    EXPECT_EQ(hoverPlayer->seeks.back(), 3);
    EXPECT_FALSE(editor->isAudioPreview());
    EXPECT_TRUE(press(Qt::Key_Escape));
    EXPECT_FALSE(editor->hoverPreview());
}

TEST_F(TimelineClips, ATrimBehindTheVideoShowsItsFrameToo) {
    fill({videoClip(5), audioClip(20, 0)});
    goTo(9);
    ASSERT_TRUE(editor->isAudioPreview());
    beginDrag(endOf(0), {-32, 0});
    EXPECT_FALSE(editor->isAudioPreview());
    view->cancelGesture();
    EXPECT_TRUE(editor->isAudioPreview());
}

TEST_F(TimelineClips, ATrimmedSoundHasNoFrameToShow) {
    fill({videoClip(15), audioClip(5, 2)});
    beginDrag(endOf(1), {-32, 0});
    ASSERT_TRUE(view->trimDraft());
    EXPECT_FALSE(editor->hoverPreview());
}

TEST_F(TimelineClips, ASourceThatIsGoneShowsNoFrameAndIsTriedOnce) {
    fill({videoClip(20, 2, 12)});
    goTo(2);
    media.failOn("openAsset", "The disk is gone.");
    media.clearCalls();
    const QPointF end = endOf(0);
    beginDrag(end, {-32, 0});
    context.settle();
    for (int i = 0; i < 9; ++i) {
        view->drag(end + QPointF(-40 - i, 0), Qt::NoModifier);
        context.settle();
    }
    EXPECT_FALSE(hoverPlayer->item());
    EXPECT_FALSE(editor->error());
    EXPECT_EQ(media.count("openAsset"), 1u);
    view->release(end, Qt::NoModifier);
    EXPECT_EQ(undoSteps(), 0u);
}

// The volume.

TEST_F(TimelineClips, TheVolumeFollowsThePointerUpAndDown) {
    fill({videoClip(10), videoClip(5)});
    const auto before = editor->clips();
    const QPointF line = at(3, volumeLine(0, 1));
    beginDrag(line, {0, 31});
    EXPECT_EQ(view->cursor(), Qt::SizeVerCursor);
    EXPECT_EQ(view->volumeDraft()->volume, 0.5);
    EXPECT_EQ(view->displayedClips()[0].volume, 0.5);
    EXPECT_EQ(view->selectedVolume(), "Volume 50%");
    EXPECT_EQ(editor->clips(), before);
    view->drag(line + QPointF(0, 1000), Qt::NoModifier);
    EXPECT_EQ(view->volumeDraft()->volume, 0);
    view->drag(line + QPointF(0, -1000), Qt::NoModifier);
    EXPECT_EQ(view->volumeDraft()->volume, 1);
    view->release(line + QPointF(0, 62 * 0.75), Qt::NoModifier);
    tell();
    expectOneStep(changed(0, [](Clip& clip) { clip.volume = 0.25; }), before);
}

TEST_F(TimelineClips, AVolumeThatComesBackMakesNoStep) {
    fill({videoClip(10)});
    const auto before = editor->clips();
    const QPointF line = at(3, volumeLine(0, 1));
    beginDrag(line, {0, 31});
    view->release(line, Qt::NoModifier);
    tell();
    expectNothing(before);
}

TEST_F(TimelineClips, AVolumeDragPlacesNothingAnew) {
    fill({videoClip(10)});
    const int placements = view->placements();
    beginDrag(at(3, volumeLine(0, 1)), {0, 31});
    EXPECT_EQ(view->placements(), placements);
}

}  // namespace
}  // namespace kelvane::testing
