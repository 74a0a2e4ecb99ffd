#include <gtest/gtest.h>

#include <QMimeData>
#include <QSignalSpy>
#include <QUrl>

#include "Support/App/EditorFixture.h"
#include "Views/Timeline/TimelineAssetDropArea.h"

namespace kelvane::testing {
namespace {

/// A viewport of 1,000 points over a timeline of three clips of 4 s, 32 points a second, with time 0 at 500.
class TimelineAssetDropAreaTests : public EditorFixture {
protected:
    TimelineAssetDropAreaTests() {
        assets = {video(makeManaged("a.mov", FakeFile::video(4)), 4),
                  video(makeManaged("new.mov", FakeFile::video(2)), 2),
                  audio(makeManaged("sound.wav", FakeFile::audio(5)), 5)};
        std::vector<Clip> clips(3, assets[0]);
        for (Clip& clip : clips) clip.id = UUID::random();
        load(clips, assets);
        settlePreview();
        before = editor->clips();
        data.setText(QString::fromStdString("asset:" + assets[1].id.upper()));
    }

    struct Answer {
        bool accepted = false;
        Qt::DropAction action = Qt::IgnoreAction;
        bool operator==(const Answer&) const = default;
    };
    static constexpr Answer copies{true, Qt::CopyAction};
    static constexpr Answer refuses{false, Qt::IgnoreAction};
    /// Refuses, and wants to be told of what follows.
    static constexpr Answer follows{true, Qt::IgnoreAction};

    Answer enter(int x, Qt::DropActions actions = Qt::CopyAction | Qt::MoveAction) {
        QDragEnterEvent event({x, 60}, actions, &data, Qt::LeftButton, Qt::NoModifier);
        area.enter(event);
        return {event.isAccepted(), event.dropAction()};
    }
    Answer move(int x) {
        QDragMoveEvent event({x, 60}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        area.move(event);
        return {event.isAccepted(), event.dropAction()};
    }
    Answer drop(int x) {
        QDropEvent event({static_cast<double>(x), 60}, Qt::CopyAction, &data, Qt::NoButton, Qt::NoModifier);
        area.drop(event);
        return {event.isAccepted(), event.dropAction()};
    }
    /// Where the marker stands, points from the beginning of the track; -1 without one.
    [[nodiscard]] double marker() const { return view.insertionPreview() ? view.insertionPreview()->markerX : -1; }
    [[nodiscard]] std::vector<std::string> timeline() const {
        std::vector<std::string> names;
        for (const Clip& clip : editor->clips()) names.push_back(clip.name());
        return names;
    }

    std::vector<Clip> assets;
    std::vector<Clip> before;
    QMimeData data;
    std::shared_ptr<Workspace> workspace = std::make_shared<Workspace>(UUID::random(), editor);
    TimelineView view{workspace, context, [] { return true; }};
    TimelineAssetDropArea area{view};
};

using Names = std::vector<std::string>;

TEST_F(TimelineAssetDropAreaTests, ADragIsMarkedAndItsDropInsertsInOneStep) {
    EXPECT_EQ(enter(510), copies);
    EXPECT_EQ(marker(), -1) << "its payload comes in a later turn";
    context.runPosted();
    EXPECT_EQ(marker(), 0);
    EXPECT_EQ(move(630), copies);
    EXPECT_EQ(marker(), 128);
    EXPECT_EQ(drop(630), copies);
    EXPECT_EQ(timeline(), (Names{"a", "new", "a", "a"}));
    EXPECT_EQ(editor->undoStack().size(), 1U);
    EXPECT_EQ(marker(), -1);
    editor->undo();
    EXPECT_EQ(editor->clips(), before);
}

TEST_F(TimelineAssetDropAreaTests, WhoDropsHasTheKeyboardOnTheTimeline) {
    const QSignalSpy focus(&view, &TimelineView::focusWanted);
    enter(700);
    context.settle();
    EXPECT_EQ(focus.size(), 0);
    drop(700);
    EXPECT_EQ(focus.size(), 1);
}

TEST_F(TimelineAssetDropAreaTests, APlaceCountsFromWhatIsScrolledIntoSight) {
    editor->seekPreview(8);
    context.runPosted();
    ASSERT_EQ(view.visibleOrigin().x(), 256);
    (void)enter(500);
    context.runPosted();
    EXPECT_EQ(marker(), 256);
    EXPECT_EQ(move(500 - 70), copies);
    EXPECT_EQ(marker(), 128);
    EXPECT_EQ(drop(500 - 70), copies);
    EXPECT_EQ(timeline(), (Names{"a", "new", "a", "a"}));
}

TEST_F(TimelineAssetDropAreaTests, ADropBeforeThePayloadLandsWithIt) {
    (void)enter(510);
    EXPECT_EQ(drop(630), copies);
    EXPECT_EQ(editor->clips(), before);
    context.runPosted();
    EXPECT_EQ(timeline(), (Names{"a", "new", "a", "a"}));
    EXPECT_EQ(editor->undoStack().size(), 1U);
}

TEST_F(TimelineAssetDropAreaTests, LeavingTakesTheMarkerAway) {
    (void)enter(510);
    context.runPosted();
    ASSERT_EQ(marker(), 0);
    area.leave();
    EXPECT_EQ(marker(), -1);
    EXPECT_EQ(area.target().location(), std::nullopt);
    EXPECT_EQ(editor->clips(), before);
}

TEST_F(TimelineAssetDropAreaTests, SoundIsTakenWithoutAMarker) {
    data.setText(QString::fromStdString("asset:" + assets[2].id.upper()));
    (void)enter(510);
    context.runPosted();
    EXPECT_EQ(move(630), copies);
    EXPECT_EQ(marker(), -1);
    EXPECT_EQ(drop(630), copies);
    EXPECT_EQ(timeline(), (Names{"a", "sound", "a", "a"}));
}

TEST_F(TimelineAssetDropAreaTests, FilesAndOtherDragsAreLeftToOthers) {
    data.setUrls({QUrl("file:///media/a.mov")});
    EXPECT_EQ(enter(510), refuses);
    EXPECT_EQ(move(510), refuses);
    EXPECT_EQ(drop(510), refuses);
    data.clear();
    data.setData("image/png", "x");
    EXPECT_EQ(enter(510), refuses);
    data.clear();
    data.setText("asset:" + QString::fromStdString(assets[1].id.upper()));
    EXPECT_EQ(enter(510, Qt::MoveAction), refuses) << "what can't be copied";
    EXPECT_EQ(area.target().location(), std::nullopt);
    EXPECT_EQ(editor->clips(), before);
}

TEST_F(TimelineAssetDropAreaTests, TheTextOfAnotherProgramInsertsNothing) {
    data.setText("Dear diary");
    EXPECT_EQ(enter(510), copies);
    context.runPosted();
    EXPECT_EQ(move(510), copies);
    EXPECT_EQ(marker(), -1);
    (void)drop(510);
    EXPECT_EQ(editor->clips(), before);
    EXPECT_TRUE(editor->undoStack().empty());
}

TEST_F(TimelineAssetDropAreaTests, ABusyProjectRefusesUntilItIsDone) {
    beBusy();
    EXPECT_EQ(enter(510), follows);
    EXPECT_EQ(move(630), refuses);
    context.settle();
    settlePreview();
    EXPECT_EQ(move(630), copies);
    EXPECT_EQ(drop(630), copies);
    context.runPosted();
    EXPECT_EQ(timeline(), (Names{"a", "new", "a", "a"}));
}

TEST_F(TimelineAssetDropAreaTests, ADragEndsWithEveryGesture) {
    (void)enter(510);
    context.runPosted();
    view.resetGesture();
    EXPECT_EQ(marker(), -1);
    EXPECT_EQ(area.target().location(), std::nullopt);
    // A drop that waits, too.
    (void)enter(510);
    (void)drop(510);
    view.resetGesture();
    context.runPosted();
    EXPECT_EQ(editor->clips(), before);
}

TEST_F(TimelineAssetDropAreaTests, AnAssetThatGoesDuringTheDragTakesTheMarkerAlong) {
    (void)enter(510);
    context.runPosted();
    ASSERT_EQ(marker(), 0);
    editor->deleteAssets({assets[1].id});
    context.runPosted();
    EXPECT_EQ(marker(), -1);
    EXPECT_EQ(move(510), refuses);
}

TEST_F(TimelineAssetDropAreaTests, NobodyScrollsWhileAssetsAreDragged) {
    (void)enter(510);
    view.scrollBy({64, 0});
    EXPECT_EQ(view.visibleOrigin().x(), 0);
    area.leave();
    view.scrollBy({64, 0});
    EXPECT_EQ(view.visibleOrigin().x(), 64);
}

TEST_F(TimelineAssetDropAreaTests, WhereNoProjectIsShownNothingIsTaken) {
    (void)enter(510);
    workspace->setEditor(nullptr);
    EXPECT_EQ(area.target().location(), std::nullopt);
    EXPECT_EQ(move(510), refuses);
    EXPECT_EQ(drop(510), refuses);
    area.leave();
    EXPECT_EQ(enter(510), follows) << "a project may be opened below it";
    context.runPosted();
    EXPECT_EQ(editor->clips(), before);
}

}  // namespace
}  // namespace kelvane::testing
