#include "TimelineViewFixture.h"

namespace kelvane::testing {
namespace {

class TimelineContent : public TimelineViewFixture {
protected:
    static constexpr std::chrono::seconds countdown{3};
};

TEST_F(TimelineContent, WithoutAProjectThereIsNothing) {
    workspace->setEditor(nullptr);
    EXPECT_TRUE(view->empty());
    EXPECT_EQ(view->clipCount(), "0 clips");
    EXPECT_EQ(view->selectedCount(), "");
    EXPECT_EQ(view->selectedVolume(), "");
    EXPECT_EQ(view->recordingTime(), "");
    EXPECT_FALSE(view->canSplit() || view->canDelete() || view->canMoveEarlier() || view->canMoveLater());
    click({500, 10});
    click({300, 60});
    dragBy({300, 60}, {50, 50});
    dragBy({300, 10}, {50, 0});
    view->hover({300, 60});
    view->doubleClick({300, 60}, Qt::NoModifier);
    view->wheel({0, 120}, false, Qt::NoModifier);
    view->pinch(2);
    view->seekOnClick(3);
    view->setZoom(2);
    view->setVolume(UUID::random(), 1);
    view->deleteSelection();
    view->showDrop(0);
    EXPECT_FALSE(press(Qt::Key_Delete) || press(Qt::Key_Left) || press(Qt::Key_A, Qt::ControlModifier));
    EXPECT_TRUE(view->drawnFrame(0).isEmpty());
}

TEST_F(TimelineContent, TheReadoutsTellWhatThereIs) {
    fill({videoClip(20), videoClip(13), audioClip(4, 50)});
    EXPECT_EQ(view->clipCount(), "3 clips");
    EXPECT_EQ(view->selectedCount(), "1 selected");
    EXPECT_EQ(view->selectedVolume(), "Volume 100%");
    EXPECT_EQ(view->timeReadout(), "00:00 / 00:54");
    goTo(17.9);
    EXPECT_EQ(view->timeReadout(), "00:17 / 00:54");
    EXPECT_EQ(view->recordingTime(), "");
    view->setVolume(clip(0).id, 0.804);
    tell();
    EXPECT_EQ(view->selectedVolume(), "Volume 80%");
    editor->selectTimelineClips({clip(0).id, clip(1).id});
    tell();
    EXPECT_EQ(view->selectedCount(), "2 selected");
    EXPECT_EQ(view->selectedVolume(), "");
    editor->selectTimelineClips({});
    EXPECT_EQ(view->selectedCount(), "");
}

TEST_F(TimelineContent, ATimelineOfThreeHoursReads180Minutes) {
    std::vector<Clip> clips;
    for (int i = 0; i < 12; ++i) clips.push_back(videoClip(900));
    fill(clips);
    goTo(10800);
    EXPECT_EQ(view->timeReadout(), "180:00 / 180:00");
}

TEST_F(TimelineContent, RowsAreTheVideoTrackAndOneForEachLane) {
    Clip first = audioClip(2, 1);
    Clip second = audioClip(2, 5);
    second.audioTrackID = first.id;
    fill({first, videoClip(10), audioClip(3, 4), second});
    EXPECT_EQ(view->drawnFrame(0), QRectF(32 + 3, 22 + 94, 64 - 6, 86));
    EXPECT_EQ(view->drawnFrame(1), QRectF(3, 22, 320 - 6, 86));
    EXPECT_EQ(view->drawnFrame(2), QRectF(128 + 3, 22 + 188, 96 - 6, 86));
    EXPECT_EQ(view->drawnFrame(3), QRectF(160 + 3, 22 + 94, 64 - 6, 86));
    EXPECT_TRUE(view->drawnFrame(4).isEmpty());
    EXPECT_EQ(view->viewportHeight(), 22 + 94 * 3);
}

TEST_F(TimelineContent, WhileItPlaysNoClipIsPlacedAnew) {
    std::vector<Clip> clips;
    for (int i = 0; i < 1000; ++i) clips.push_back(videoClip(1));
    fill(clips);
    editor->togglePlayback();
    tell();
    QSignalSpy content(view.get(), &TimelineView::contentChanged);
    QSignalSpy selection(view.get(), &TimelineView::selectionChanged);
    QSignalSpy scale(view.get(), &TimelineView::scaleChanged);
    QSignalSpy gesture(view.get(), &TimelineView::gestureChanged);
    QSignalSpy volume(view.get(), &TimelineView::selectedVolumeChanged);
    QSignalSpy enabling(view.get(), &TimelineView::enablingChanged);
    QSignalSpy position(view.get(), &TimelineView::positionChanged);
    QSignalSpy scrolled(view.get(), &TimelineView::scrolled);
    const int placements = view->placements();
    for (int frame = 1; frame <= 300; ++frame) {
        player->playTo(100.5 + frame / 30.0);
        tell();
    }
    EXPECT_EQ(view->placements(), placements);
    EXPECT_EQ(position.size(), 300);
    EXPECT_EQ(scrolled.size(), 300);
    EXPECT_EQ(content.size() + selection.size() + scale.size() + gesture.size() + volume.size(), 0);
    // The selected clip is another one than plays.
    EXPECT_EQ(enabling.size(), 0);
}

TEST_F(TimelineContent, ASecondSignalForTheSameClipsPlacesNothingAnew) {
    fill({videoClip(10)});
    const int placements = view->placements();
    editor->setLibraryName("Another");
    tell();
    EXPECT_EQ(view->placements(), placements);
    view->setVolume(clip(0).id, 0.5);
    tell();
    EXPECT_EQ(view->placements(), placements + 1);
}

TEST_F(TimelineContent, ARunningTakeIsShownAsItGrows) {
    fill({videoClip(10), audioClip(2, 0)});
    goTo(4);
    editor->toggleVoiceOverRecording();
    context.settle();
    advance(countdown);
    context.settle();
    ASSERT_TRUE(editor->isRecording());
    ASSERT_EQ(view->displayedClips().size(), 3u);
    EXPECT_EQ(view->clipCount(), "2 clips");
    EXPECT_EQ(view->displayedClips().front().id, editor->recordingClip()->id);
    EXPECT_EQ(view->recordingTime(), "Recording 00:00");
    recording.recorder->time = 8;
    advance(std::chrono::milliseconds(30));
    EXPECT_EQ(view->displayedClips().front().duration(), 8);
    EXPECT_EQ(view->drawnFrame(0), QRectF(128 + 3, 22 + 94, 256 - 6, 86));
    EXPECT_EQ(view->drawnFrame(2).top(), 22 + 188);
    EXPECT_EQ(view->recordingTime(), "Recording 00:08");
    EXPECT_EQ(view->timeReadout(), "00:12 / 00:12");
    EXPECT_EQ(view->visibleOrigin().x(), 12 * 32);
    EXPECT_TRUE(view->busy());
    editor->toggleVoiceOverRecording();
    context.settle();
    EXPECT_EQ(view->displayedClips(), editor->clips());
    EXPECT_EQ(view->recordingTime(), "");
}

// What is enabled.

TEST_F(TimelineContent, OneVideoClipThatHasAPlaceThereCanBeMoved) {
    fill({videoClip(2), videoClip(3), audioClip(2, 0)});
    EXPECT_FALSE(view->canMoveEarlier());
    EXPECT_TRUE(view->canMoveLater());
    EXPECT_FALSE(view->canMove(3));
    EXPECT_FALSE(view->canMove(std::numeric_limits<std::ptrdiff_t>::max()));
    EXPECT_FALSE(view->canMove(std::numeric_limits<std::ptrdiff_t>::min()));
    editor->setSelection(clip(1).id);
    EXPECT_TRUE(view->canMoveEarlier());
    EXPECT_TRUE(view->canMoveLater());
    editor->setSelection(clip(2).id);
    EXPECT_FALSE(view->canMoveEarlier() || view->canMoveLater());
    editor->selectTimelineClips({clip(0).id, clip(1).id});
    EXPECT_FALSE(view->canMoveEarlier() || view->canMoveLater());
    editor->selectTimelineClips({});
    EXPECT_FALSE(view->canMoveEarlier() || view->canMoveLater());
}

TEST_F(TimelineContent, ABusyProjectEnablesNothing) {
    fill({videoClip(2), videoClip(3)});
    goTo(1);
    EXPECT_TRUE(view->canMoveLater() && view->canSplit() && view->canDelete());
    QSignalSpy enabling(view.get(), &TimelineView::enablingChanged);
    beBusy();
    tell();
    EXPECT_EQ(enabling.size(), 1);
    EXPECT_TRUE(view->busy());
    EXPECT_FALSE(view->canMoveLater() || view->canSplit() || view->canDelete());
    context.settle();
    EXPECT_EQ(enabling.size(), 2);
    EXPECT_TRUE(view->canMoveLater() && view->canSplit() && view->canDelete());
}

TEST_F(TimelineContent, SplitIsEnabledWhereThePlayheadIsInTheSelectedClip) {
    fill({videoClip(2), videoClip(3)});
    EXPECT_FALSE(view->canSplit());
    QSignalSpy enabling(view.get(), &TimelineView::enablingChanged);
    goTo(1);
    EXPECT_TRUE(view->canSplit());
    EXPECT_EQ(enabling.size(), 1);
    goTo(1.5);
    EXPECT_EQ(enabling.size(), 1);
    goTo(2.5);
    EXPECT_FALSE(view->canSplit());
    EXPECT_EQ(enabling.size(), 2);
}

TEST_F(TimelineContent, TheButtonsChangeTheTimelineInOneStep) {
    fill({videoClip(2), videoClip(3), videoClip(4)});
    const auto before = order();
    view->moveLater();
    EXPECT_EQ(order(), (std::vector{before[1], before[0], before[2]}));
    view->moveEarlier();
    EXPECT_EQ(order(), before);
    settlePreview();
    goTo(1);
    view->split();
    EXPECT_EQ(editor->clips().size(), 4u);
    view->deleteSelection();
    EXPECT_EQ(order(), before);
    EXPECT_EQ(undoSteps(), 4u);
}

TEST_F(TimelineContent, DeleteClipLeavesSelectedAssetsAlone) {
    fill({videoClip(2)});
    editor->selectAssets({editor->assets().front().id});
    EXPECT_FALSE(view->canDelete());
    view->deleteSelection();
    EXPECT_EQ(editor->assets().size(), 1u);
    EXPECT_EQ(editor->clips().size(), 1u);
}

// A clip's menu.

TEST_F(TimelineContent, MuteUnmuteAndResetAreOneStepEach) {
    fill({videoClip(2)});
    const UUID id = clip(0).id;
    view->setVolume(id, 0);
    EXPECT_EQ(clip(0).volume, 0);
    view->setVolume(id, 1);
    EXPECT_EQ(clip(0).volume, 1);
    view->setVolume(id, 1.05);
    EXPECT_EQ(clip(0).volume, 1);
    EXPECT_EQ(undoSteps(), 2u);
    view->setVolume(id, -0.05);
    EXPECT_EQ(clip(0).volume, 0);
    view->setVolume(id, std::nan(""));
    view->setVolume(UUID::random(), 0.5);
    EXPECT_EQ(clip(0).volume, 0);
    EXPECT_EQ(undoSteps(), 3u);
    beBusy();
    view->setVolume(id, 1);
    EXPECT_EQ(clip(0).volume, 0);
}

// Assets that are dragged over the track.

TEST_F(TimelineContent, AssetsOverTheTrackPartTheClipsWhereTheyWouldLand) {
    fill({videoClip(2), videoClip(3)});
    view->showDrop(1);
    ASSERT_TRUE(view->insertionPreview());
    EXPECT_EQ(view->insertionPreview()->markerX, 64);
    EXPECT_EQ(view->drawnFrame(0).left(), 3 - 10);
    EXPECT_EQ(view->drawnFrame(1).left(), 64 + 3 + 10);
    QSignalSpy gesture(view.get(), &TimelineView::gestureChanged);
    view->showDrop(1);
    EXPECT_EQ(gesture.size(), 0);
    view->setZoom(2);
    EXPECT_EQ(view->insertionPreview()->markerX, 128);
    view->showDrop(std::nullopt);
    EXPECT_FALSE(view->insertionPreview());
    view->showDrop(0);
    EXPECT_TRUE(view->insertionPreview());
    view->endDrop();
    EXPECT_FALSE(view->insertionPreview());
}

TEST_F(TimelineContent, AResetEndsWhatIsDroppedToo) {
    fill({videoClip(2)});
    view->showDrop(1);
    QSignalSpy reset(view.get(), &TimelineView::gestureReset);
    beBusy();
    tell();
    EXPECT_EQ(reset.size(), 1);
    EXPECT_FALSE(view->insertionPreview());
}

}  // namespace
}  // namespace kelvane::testing
