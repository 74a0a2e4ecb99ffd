#include "TimelineWindowFixture.h"

namespace kelvane::testing {
namespace {

class TimelineToolbarTests : public TimelineWindowFixture {
protected:
    [[nodiscard]] QRectF place(const char* name) const {
        const QQuickItem* control = item(name);
        return control->mapRectToScene({0, 0, control->width(), control->height()});
    }
};

TEST_F(TimelineToolbarTests, NothingLiesOverAnythingElseInTheNarrowestWindow) {
    editor->selectTimelineClips({a});
    for (const bool hasInspector : {false, true}) {
        editor->setShowInspector(hasInspector);
        context.runPosted();
        window->resize(740, 560);
        const double room = hasInspector ? 740 - 256 : 740;
        ASSERT_TRUE(QTest::qWaitFor([&] { return surface().width() == room; }, static_cast<int>(patience.count())));
        refresh();
        double end = 0;
        for (const char* name : {"playButton", "recordButton", "earlierButton", "laterButton", "splitButton",
                                 "deleteButton", "zoomOutButton", "zoomSlider", "zoomInButton", "timeReadout"}) {
            EXPECT_GE(place(name).left(), end) << name;
            end = place(name).right();
        }
        EXPECT_LE(end, room);
    }
}

}  // namespace
}  // namespace kelvane::testing
