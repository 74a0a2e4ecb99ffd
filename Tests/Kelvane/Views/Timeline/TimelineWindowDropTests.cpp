#include <QMimeData>
#include <QUrl>

#include "TimelineWindowFixture.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;

/// Drags of assets over the real window, as the platform tells of them.
class TimelineWindowDropTests : public TimelineWindowFixture {
protected:
    TimelineWindowDropTests() { data.setText(QString::fromStdString("asset:" + uuid(10).upper())); }

    /// Whether the drag would be copied.
    bool enter(QPoint point) {
        QDragEnterEvent event(point, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(window.get(), &event);
        context.runPosted();
        return event.isAccepted() && event.dropAction() == Qt::CopyAction;
    }
    bool move(QPoint point) {
        QDragMoveEvent event(point, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(window.get(), &event);
        context.runPosted();
        return event.isAccepted() && event.dropAction() == Qt::CopyAction;
    }
    bool drop(QPoint point) {
        QDropEvent event(point, Qt::CopyAction, &data, Qt::NoButton, Qt::NoModifier);
        QCoreApplication::sendEvent(window.get(), &event);
        context.runPosted();
        return event.isAccepted() && event.dropAction() == Qt::CopyAction;
    }
    void leave() {
        QDragLeaveEvent event;
        QCoreApplication::sendEvent(window.get(), &event);
        context.runPosted();
    }
    /// Where the marker stands, seconds; -1 without one.
    [[nodiscard]] double marker() {
        return timeline().insertionPreview() ? timeline().insertionPreview()->markerX / scale : -1;
    }

    QMimeData data;
};

TEST_F(TimelineWindowDropTests, AnAssetIsMarkedAndLandsWhereItIsLetGoInOneStep) {
    EXPECT_TRUE(enter(body(1, 0)));
    EXPECT_EQ(marker(), 0);
    EXPECT_TRUE(move(body(5, 0)));
    EXPECT_EQ(marker(), 4);
    EXPECT_TRUE(move(body(6, 0)));
    EXPECT_EQ(marker(), 7);
    EXPECT_TRUE(drop(body(6, 0)));
    EXPECT_EQ(marker(), -1);
    ASSERT_EQ(editor->clips().size(), 6U);
    EXPECT_THAT(order(), ElementsAre(a, b, *editor->selection(), c, voice, music));
    EXPECT_EQ(clip(*editor->selection()).duration(), 10);
    EXPECT_EQ(steps(), 1U);
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_THAT(order(), ElementsAre(a, b, c, voice, music));
}

TEST_F(TimelineWindowDropTests, ADragThatComesFromAnotherPaneIsTakenUpOverTheTimelineAndLeftAlonePastIt) {
    EXPECT_FALSE(enter({20, 20}));
    EXPECT_EQ(marker(), -1);
    EXPECT_TRUE(move(body(1, 0)));
    EXPECT_EQ(marker(), 0);
    EXPECT_FALSE(move({20, 20}));
    EXPECT_EQ(marker(), -1);
    EXPECT_TRUE(move(body(5, 0)));
    EXPECT_EQ(marker(), 4);
    leave();
    EXPECT_EQ(marker(), -1);
    EXPECT_EQ(steps(), 0U);
}

TEST_F(TimelineWindowDropTests, AProjectThatIsBusyRefusesADragUntilItIsDone) {
    editor->beginCopying();
    // The scene hands on whether an item follows a drag, and what it makes of it with the next move.
    (void)enter(body(1, 0));
    EXPECT_FALSE(move(body(1, 0)));
    EXPECT_FALSE(move(body(5, 0)));
    editor->endCopying();
    EXPECT_TRUE(move(body(5, 0)));
    EXPECT_TRUE(drop(body(5, 0)));
    EXPECT_THAT(order(), ElementsAre(a, *editor->selection(), b, c, voice, music));
}

TEST_F(TimelineWindowDropTests, FilesAndTextOfOtherProgramsInsertNothing) {
    data.setText("Dear diary");
    EXPECT_TRUE(enter(body(1, 0)));
    EXPECT_EQ(marker(), -1);
    (void)drop(body(1, 0));
    data.setUrls({QUrl("file:///media/a.mov")});
    EXPECT_TRUE(enter(body(1, 0))) << "to be imported";
    EXPECT_TRUE(move(body(5, 0)));
    EXPECT_EQ(marker(), -1);
    leave();
    EXPECT_THAT(order(), ElementsAre(a, b, c, voice, music));
    EXPECT_EQ(steps(), 0U);
}

TEST_F(TimelineWindowDropTests, ACommandEndsADragThatIsInTheAir) {
    ASSERT_TRUE(enter(body(1, 0)));
    ASSERT_EQ(marker(), 0);
    timeline().selectAll();
    timeline().resetGesture();
    context.runPosted();
    EXPECT_EQ(marker(), -1);
}

}  // namespace
}  // namespace kelvane::testing
