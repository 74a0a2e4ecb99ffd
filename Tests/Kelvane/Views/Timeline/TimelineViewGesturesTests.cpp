#include <algorithm>
#include <array>
#include <cmath>

#include "TimelineViewFixture.h"

namespace kelvane::testing {
namespace {

// How gestures end otherwise.

/// The gestures on clips, each begun far enough to change something.
enum class Kind { videoMove, soundMove, startTrim, endTrim, volume };
class TimelineClipGestures : public TimelineViewFixture, public ::testing::WithParamInterface<Kind> {
protected:
    void begin() {
        fill({videoClip(20, 2, 12), videoClip(20, 2, 9), audioClip(3, 6)});
        before = editor->clips();
        start();
    }
    void start() {
        switch (GetParam()) {
            case Kind::videoMove:
                return drag(at(13, row(0)), {-400, 0});
            case Kind::soundMove:
                return drag(at(7, row(1)), {100, 0});
            case Kind::startTrim:
                return drag(startOf(1), {50, 0});
            case Kind::endTrim:
                return drag(endOf(1), {-50, 0});
            case Kind::volume:
                return drag(at(13, volumeLine(0, 1)), {0, 20});
        }
    }
    /// What holds behind an end that changes nothing, also for the rest of the movement.
    void expectNoChange() {
        const Qt::KeyboardModifiers none;
        view->drag(now + QPointF(20, 20), none);
        EXPECT_FALSE(view->isEditingClip());
        view->release(now + QPointF(20, 20), none);
        context.settle();
        EXPECT_FALSE(editor->interactionSnapshot());
        EXPECT_EQ(editor->clips(), before);
        EXPECT_EQ(undoSteps(), 0u);
        EXPECT_EQ(view->displayedClips(), before);
        EXPECT_FALSE(view->insertionPreview() || view->snapTime());
    }

    std::vector<Clip> before;
    QPointF now;

private:
    void drag(QPointF from, QPointF by) {
        beginDrag(from, by);
        now = from + by;
        ASSERT_TRUE(view->isEditingClip());
        ASSERT_TRUE(editor->interactionSnapshot());
    }
};

std::string nameOf(const ::testing::TestParamInfo<Kind>& kind) {
    constexpr std::array names{"VideoMove", "SoundMove", "StartTrim", "EndTrim", "Volume"};
    return names.at(static_cast<std::size_t>(kind.param));
}
const auto kinds = ::testing::Values(Kind::videoMove, Kind::soundMove, Kind::startTrim, Kind::endTrim, Kind::volume);
INSTANTIATE_TEST_SUITE_P(Kinds, TimelineClipGestures, kinds, nameOf);

TEST_P(TimelineClipGestures, EndsInOneStep) {
    begin();
    view->release(now, Qt::NoModifier);
    tell();
    EXPECT_NE(editor->clips(), before);
    EXPECT_EQ(view->displayedClips(), editor->clips());
    EXPECT_EQ(undoSteps(), 1u);
    EXPECT_FALSE(editor->interactionSnapshot());
    view->leave();
    EXPECT_EQ(view->cursor(), Qt::ArrowCursor);
    const auto after = editor->clips();
    editor->undo();
    EXPECT_EQ(editor->clips(), before);
    editor->redo();
    EXPECT_EQ(editor->clips(), after);
}

TEST_P(TimelineClipGestures, WorksWhileThePreviewIsBuilt) {
    begin();
    view->cancelGesture();
    editor->rebuildPreview();
    ASSERT_TRUE(editor->isBuilding());
    start();
    settlePreview();
    EXPECT_TRUE(view->isEditingClip()) << "the built preview leaves it alone";
    editor->rebuildPreview();
    view->release(now, Qt::NoModifier);
    tell();
    EXPECT_NE(editor->clips(), before);
    EXPECT_EQ(undoSteps(), 1u);
}

TEST_P(TimelineClipGestures, EndsWithNothingChangedWhereTheProjectTurnsBusy) {
    begin();
    beBusy();
    tell();
    EXPECT_FALSE(view->isEditingClip());
    expectNoChange();
}

TEST_P(TimelineClipGestures, ChangesNothingWhenItIsLetGoWhileBusy) {
    begin();
    beBusy();
    view->drag(now + QPointF(10, 5), Qt::NoModifier);
    view->release(now + QPointF(10, 5), Qt::NoModifier);
    expectNoChange();
}

TEST_P(TimelineClipGestures, EndsByEscapeWithTheSelectionAsItWas) {
    begin();
    EXPECT_NE(editor->selectedClipIDs(), std::set{before[0].id});
    EXPECT_TRUE(press(Qt::Key_Escape));
    EXPECT_EQ(editor->selectedClipIDs(), std::set{before[0].id});
    expectNoChange();
}

TEST_P(TimelineClipGestures, EndsWhereItsClipIsDeletedByAnotherRoad) {
    begin();
    const UUID gone = *editor->selection();
    std::erase_if(before, [&gone](const Clip& clip) { return clip.id == gone; });
    editor->commit(before);
    tell();
    EXPECT_FALSE(view->isEditingClip());
    EXPECT_FALSE(editor->interactionSnapshot());
    view->drag(now + QPointF(20, 20), Qt::NoModifier);
    view->release(now + QPointF(20, 20), Qt::NoModifier);
    tell();
    EXPECT_EQ(editor->clips(), before);
    EXPECT_EQ(view->displayedClips(), before);
    EXPECT_EQ(undoSteps(), 1u);
}

TEST_P(TimelineClipGestures, EndsAtTheNextMovementWhereItsClipHasJustBeenDeleted) {
    begin();
    const UUID gone = *editor->selection();
    std::erase_if(before, [&gone](const Clip& clip) { return clip.id == gone; });
    editor->commit(before);
    view->drag(now + QPointF(20, 20), Qt::NoModifier);
    EXPECT_FALSE(view->isEditingClip());
    view->release(now + QPointF(20, 20), Qt::NoModifier);
    tell();
    EXPECT_EQ(editor->clips(), before);
    EXPECT_EQ(undoSteps(), 1u);
}

TEST_P(TimelineClipGestures, DoesNothingWhereItsClipWasDeletedBehindThePress) {
    begin();
    view->cancelGesture();
    const QPointF from = startOf(2) + QPointF(20, 0);
    view->press(from, Qt::NoModifier);
    before.pop_back();
    editor->commit(before);
    view->drag(from + QPointF(30, 0), Qt::NoModifier);
    EXPECT_FALSE(view->isEditingClip());
    view->release(from + QPointF(30, 0), Qt::NoModifier);
    tell();
    EXPECT_EQ(editor->clips(), before);
    EXPECT_EQ(undoSteps(), 1u);
}

TEST_P(TimelineClipGestures, GoesOnWhereAnotherClipIsDeleted) {
    begin();
    auto left = before;
    left.erase(left.begin());
    editor->commit(left);
    tell();
    EXPECT_TRUE(view->isEditingClip());
    view->release(now, Qt::NoModifier);
    tell();
    EXPECT_EQ(editor->clips().size(), 2u);
    EXPECT_EQ(undoSteps(), 1u);
    EXPECT_EQ(view->displayedClips(), editor->clips());
}

TEST_P(TimelineClipGestures, EndsWhereTheWindowShowsAnotherProject) {
    begin();
    const auto first = editor;
    workspace->setEditor(nullptr);
    EXPECT_FALSE(first->interactionSnapshot());
    view->release(now, Qt::NoModifier);
    EXPECT_EQ(first->clips(), before);
    EXPECT_TRUE(first->undoStack().empty());
}

TEST_P(TimelineClipGestures, EndsWithItsView) {
    begin();
    view.reset();
    EXPECT_FALSE(editor->interactionSnapshot());
    EXPECT_EQ(editor->clips(), before);
    EXPECT_EQ(undoSteps(), 0u);
}

TEST_P(TimelineClipGestures, EndsByASecondButton) {
    begin();
    view->press(now, Qt::NoModifier);
    EXPECT_FALSE(view->isEditingClip());
    expectNoChange();
}

TEST_P(TimelineClipGestures, IsResetByAKeyThatChangesTheProject) {
    begin();
    const UUID held = *editor->selection();
    EXPECT_TRUE(press(Qt::Key_Delete));
    EXPECT_FALSE(view->isEditingClip());
    std::erase_if(before, [&held](const Clip& clip) { return clip.id == held; });
    view->release(now, Qt::NoModifier);
    tell();
    EXPECT_EQ(editor->clips(), before);
    EXPECT_EQ(undoSteps(), 1u);
}

TEST_P(TimelineClipGestures, StandsStillUnderThePerson) {
    begin();
    view->scrollBy({64, 0});
    view->wheel({0, -120}, false, Qt::NoModifier);
    view->wheel({0, 120}, false, Qt::ControlModifier);
    view->seekOnClick(3);
    EXPECT_FALSE(view->seekBy(1));
    EXPECT_EQ(view->visibleOrigin().x(), 0);
    EXPECT_EQ(view->zoom(), 1);
    EXPECT_EQ(editor->playhead(), 0);
    view->cancelGesture();
    view->scrollBy({64, 0});
    EXPECT_EQ(editor->playhead(), 2);
}

TEST_P(TimelineClipGestures, StaysWithItsClipWhenTheZoomChanges) {
    begin();
    const auto frames = [this] { return std::pair(view->trimDraft(), view->volumeDraft()); };
    const auto drafts = frames();
    view->setZoom(2);
    view->drag(at((now.x() - 500) / 32, now.y()), Qt::NoModifier);
    EXPECT_EQ(frames(), drafts);
    view->release(at((now.x() - 500) / 32, now.y()), Qt::NoModifier);
    EXPECT_EQ(undoSteps(), 1u);
}

class TimelineEdges : public TimelineViewFixture {};

// At the viewport's edge.

TEST_F(TimelineEdges, AClipHeldAtTheEdgeScrollsTheTrackAndLandsWhereItIs) {
    std::vector<Clip> clips;
    for (int i = 0; i < 20; ++i) clips.push_back(videoClip(5));
    fill(clips);
    const auto before = editor->clips();
    player->seeks.clear();
    const QPointF edge(995, row(0));
    beginDrag(at(3, row(0)), edge - at(3, row(0)));
    player->seeks.clear();
    advance(std::chrono::milliseconds(299));
    EXPECT_EQ(view->visibleOrigin().x(), 0);
    advance(std::chrono::seconds(2));
    const double x = view->visibleOrigin().x();
    EXPECT_GT(x, 300);
    EXPECT_DOUBLE_EQ(view->drawnFrame(0).left(), 3 + x + 495 - 96) << "the clip stays under the pointer";
    EXPECT_TRUE(player->seeks.empty());
    EXPECT_EQ(editor->playhead(), 0);
    const auto landing = static_cast<std::ptrdiff_t>(std::floor((x + 495) / 160 + 0.5)) - 1;
    view->release(edge, Qt::NoModifier);
    tell();
    EXPECT_EQ(view->visibleOrigin().x(), 0) << "the playhead's place is shown again";
    auto expected = before;
    std::rotate(expected.begin(), expected.begin() + 1, expected.begin() + 1 + landing);
    expectOneStep(expected, before);
}

TEST_F(TimelineEdges, ATrimHeldAtTheEdgeGoesOn) {
    fill({videoClip(100, 0, 10)});
    const QPointF edge(993, row(0));
    beginDrag(endOf(0), edge - endOf(0));
    const double first = view->trimDraft()->end;
    advance(std::chrono::milliseconds(299));
    EXPECT_EQ(view->trimDraft()->end, first);
    advance(std::chrono::seconds(1));
    EXPECT_GT(view->trimDraft()->end, first + 10);
    // Inside again it stops.
    view->drag({900, row(0)}, Qt::NoModifier);
    const QPointF origin = view->visibleOrigin();
    advance(std::chrono::seconds(1));
    EXPECT_EQ(view->visibleOrigin(), origin);
    EXPECT_EQ(context.pendingTimers(), 0u);
    view->release({900, row(0)}, Qt::NoModifier);
    EXPECT_EQ(undoSteps(), 1u);
    EXPECT_EQ(view->visibleOrigin().x(), 0);
}

TEST_F(TimelineEdges, TheTrackScrollsNoFurtherThanItsEnds) {
    fill({videoClip(10), audioClip(2, 3)});
    beginDrag(at(4, row(1)), {-1000, 0});
    advance(std::chrono::seconds(10));
    EXPECT_EQ(view->visibleOrigin().x(), 0);
    view->drag({2000, row(1)}, Qt::NoModifier);
    advance(std::chrono::seconds(10));
    EXPECT_EQ(view->visibleOrigin().x(), 320);
    EXPECT_EQ(context.pendingTimers(), 0u);
    EXPECT_TRUE(press(Qt::Key_Escape));
    EXPECT_EQ(view->visibleOrigin().x(), 0);
}

TEST_F(TimelineEdges, ASoundHeldAtTheLowerEdgeComesToLanesOutOfSight) {
    std::vector<Clip> clips{videoClip(20)};
    for (int i = 0; i < 6; ++i) clips.push_back(audioClip(2, 3));
    fill(clips);
    const auto before = editor->clips();
    beginDrag(at(4, row(1)), QPointF(at(4, 0).x(), 345) - at(4, row(1)));
    advance(std::chrono::seconds(3));
    EXPECT_EQ(view->visibleOrigin().y(), 22 + 94 * 7 - 348);
    view->release({at(4, 0).x(), 345}, Qt::NoModifier);
    tell();
    auto expected = before;
    expected[1].audioTrackID = before[6].id;
    // The lanes keep their order, so that the clip stands beside the one whose lane it is in.
    std::rotate(expected.begin() + 1, expected.begin() + 2, expected.begin() + 6);
    expectOneStep(expected, before);
}

TEST_F(TimelineEdges, AVolumeHeldAtTheEdgeScrollsNothing) {
    fill({videoClip(100)});
    beginDrag(at(3, volumeLine(0, 1)), {398, 10});
    advance(std::chrono::seconds(2));
    EXPECT_EQ(view->visibleOrigin().x(), 0);
}

// Many clips.

TEST_F(TimelineEdges, AThousandClipsOfOneFrameCanBeMovedAndTrimmed) {
    std::vector<Clip> clips;
    for (int i = 0; i < 1000; ++i) clips.push_back(videoClip(10, 1, 1 + 1.0 / 30));
    for (Clip& clip : clips)
        if (!clip.isValid()) clip.end += 1e-9;
    fill(clips);
    view->setZoom(6);
    const auto before = editor->clips();
    const QRectF frame = view->drawnFrame(20);
    dragBy(at(0, 0) + frame.center(), {30, 0});
    auto expected = before;
    std::rotate(expected.begin() + 20, expected.begin() + 21, expected.begin() + 25);
    expectOneStep(expected, before);
    tell();
    dragBy(endOf(20), {192, 0}, Qt::AltModifier);
    EXPECT_DOUBLE_EQ(clip(20).end, before[20].end + 1);
    view->setZoom(0);
    EXPECT_EQ(view->zoom(), std::min(1.0, 1000 / (view->duration() * 32)));
    click(at(0, 0) + view->drawnFrame(500).center());
    EXPECT_EQ(editor->selection(), before[500].id);
}

}  // namespace
}  // namespace kelvane::testing
