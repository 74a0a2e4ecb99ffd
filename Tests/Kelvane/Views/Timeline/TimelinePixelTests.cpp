#include "TimelineWindowFixture.h"
#include "Views/Theme.h"
#include "Views/Timeline/Drawing/TimelineDrawing.h"

namespace kelvane::testing {
namespace {

/// What is drawn where drawing has a fixed place, at a pixel to a point. The window is 1,060 points wide, so that the
/// playhead stands at 530.
class TimelinePixelTests : public TimelineWindowFixture {
protected:
    static constexpr int middle = 530;
    const QColor lane = blended(Theme::track, Theme::lane);
    const QColor ruler = blended(Theme::track, Theme::ruler);
    /// The picture of every file.
    const QColor ground{0x80, 0x80, 0x80};

    /// `x` points right of time 0, `y` points below the ruler's upper end.
    [[nodiscard]] QColor pixel(const QImage& image, double x, double y) {
        const double left = x + middle - timeline().visibleOrigin().x();
        return image.pixelColor(static_cast<int>(left), static_cast<int>(y));
    }
    static bool isLike(const QColor& one, const QColor& other, int most = 3) {
        return std::abs(one.red() - other.red()) <= most && std::abs(one.green() - other.green()) <= most &&
               std::abs(one.blue() - other.blue()) <= most;
    }
    static std::string named(const QColor& color) { return color.name().toStdString(); }
};

#define EXPECT_COLOR(found, wanted) EXPECT_TRUE(isLike(found, wanted)) << named(found) << ", not " << named(wanted)

TEST_F(TimelinePixelTests, RowsTicksAndThePlayheadStandWhereTheyShould) {
    const QImage image = picture();
    ASSERT_EQ(image.size(), QSize(1060, 22 + 3 * 94));
    // Rows of 86 points from 22 on, with gaps of 8.
    for (const int row : {0, 1, 2}) {
        const int top = 22 + 94 * row;
        EXPECT_COLOR(pixel(image, -100, top), lane);
        EXPECT_COLOR(pixel(image, -100, top + 85), lane);
        EXPECT_COLOR(pixel(image, -100, top + 86), Theme::track);
        EXPECT_COLOR(pixel(image, -100, top + 93), Theme::track);
    }
    // A tick every 5 s at zoom 1, over the ruler's height.
    for (const int second : {5, 10}) {
        EXPECT_COLOR(pixel(image, second * scale, 0), blended(ruler, Theme::tick));
        EXPECT_COLOR(pixel(image, second * scale, 21), blended(ruler, Theme::tick));
        EXPECT_COLOR(pixel(image, second * scale - 2, 2), ruler);
    }
    // No tick stands behind the end, at 12 s, or before the beginning.
    EXPECT_COLOR(pixel(image, 15 * scale, 2), ruler);
    EXPECT_COLOR(pixel(image, -5 * scale, 2), ruler);
    // The playhead's line is 1.5 points wide, over the full height, and its head 11.
    // Three quarters of the pixels on either side of the middle.
    for (const int x : {-1, 0})
        for (const int y : {200, 303}) EXPECT_NEAR(pixel(image, x, y).red(), 0.75 * 0xf4, 12) << x << ", " << y;
    EXPECT_COLOR(pixel(image, -4, 8), Theme::playhead);
    EXPECT_COLOR(pixel(image, 4, 8), Theme::playhead);
    EXPECT_COLOR(pixel(image, 8, 2), ruler);
}

TEST_F(TimelinePixelTests, AClipIsDrawnInItsFrameWithRoundCorners) {
    const QImage image = picture();
    // B: from 128 to 224, less 3 points at either end.
    EXPECT_COLOR(pixel(image, 128 + 2, 60), lane);
    EXPECT_COLOR(pixel(image, 128 + 3, 90), blended(ground, Theme::edge));
    EXPECT_COLOR(pixel(image, 128 + 5, 90), ground);
    EXPECT_COLOR(pixel(image, 224 - 4, 90), blended(ground, Theme::edge));
    EXPECT_COLOR(pixel(image, 224 - 3, 90), lane);
    EXPECT_COLOR(pixel(image, 128 + 3, 22), lane) << "a corner";
    EXPECT_COLOR(pixel(image, 224 - 4, 107), lane) << "a corner";
    EXPECT_COLOR(pixel(image, 160, 107), blended(ground, Theme::edge));
    // "Music": from 160 to 352 in the third row.
    EXPECT_COLOR(pixel(image, 160 + 2, 260), lane);
    EXPECT_COLOR(pixel(image, 160 + 20, 270), Theme::audioClip);
    EXPECT_COLOR(pixel(image, 352 - 3, 260), lane);
}

TEST_F(TimelinePixelTests, AboveTheVolumeLineTheClipIsShaded) {
    editor->update(c, [](Clip& clip) { clip.volume = 0.5; });
    QImage image = picture();
    const QColor shaded = blended(ground, faded(Qt::black, 0.45));
    // C: from 224 to 384; its line lies at 22 + 43, between the zones of its edges.
    EXPECT_COLOR(pixel(image, 370, 22 + 42), shaded);
    EXPECT_COLOR(pixel(image, 370, 22 + 43), blended(ground, faded(Qt::white, 0.65)));
    EXPECT_COLOR(pixel(image, 370, 22 + 44), ground);
    EXPECT_COLOR(pixel(image, 224 + 3 + 6, 22 + 43), blended(ground, faded(Qt::white, 0.65)));
    EXPECT_COLOR(pixel(image, 224 + 3 + 5, 22 + 43), ground);
    EXPECT_COLOR(pixel(image, 384 - 3 - 7, 22 + 43), blended(ground, faded(Qt::white, 0.65)));
    EXPECT_COLOR(pixel(image, 384 - 3 - 6, 22 + 43), ground);
    editor->update(c, [](Clip& clip) { clip.volume = 0; });
    image = picture();
    EXPECT_COLOR(pixel(image, 370, 22 + 74), blended(ground, faded(Qt::white, 0.35)));
    EXPECT_COLOR(pixel(image, 370, 22 + 75), ground);
}

TEST_F(TimelinePixelTests, ASelectedClipHasARingAndGrips) {
    click(body(5, 0));
    QTest::mouseMove(window.get(), at(14, 2, 50));
    const QImage image = picture();
    // The ring is 2 points of accent, and inside it one of black.
    EXPECT_COLOR(pixel(image, 131, 95), Theme::accent);
    EXPECT_COLOR(pixel(image, 132, 95), Theme::accent);
    EXPECT_COLOR(pixel(image, 133, 95), blended(ground, Theme::selectionInset));
    EXPECT_COLOR(pixel(image, 134, 95), ground);
    EXPECT_COLOR(pixel(image, 220, 95), Theme::accent);
    // Grips of 3 × 22, 3.5 points from the edges: the middle of each is solid.
    for (const double x : {131 + 3.5 + 1.5, 221 - 3.5 - 1.5}) {
        EXPECT_COLOR(pixel(image, x, 22 + 43), Theme::playhead);
        EXPECT_COLOR(pixel(image, x, 22 + 43 - 9), Theme::playhead);
        EXPECT_FALSE(isLike(pixel(image, x, 22 + 43 - 14), Theme::playhead));
    }
    // Others have none.
    EXPECT_FALSE(isLike(pixel(image, 224 + 3 + 5, 22 + 43), Theme::playhead));
}

TEST_F(TimelinePixelTests, ATrimShowsItsGhostAndItsSnap) {
    editor->seekPreview(9);
    context.runPosted();
    // The end of C from 12 s to the end of "Music" at 11 s.
    drag(at(12, 0, 50) - QPoint(5, 0), at(11, 0, 50) - QPoint(5 + 6, 0), {}, true);
    const QImage image = picture();
    // The snap's line is 2 points wide, over the full height, with a diamond at the row's foot.
    EXPECT_COLOR(pixel(image, 351, 3), Theme::snap);
    EXPECT_COLOR(pixel(image, 352, 300), Theme::snap);
    EXPECT_COLOR(pixel(image, 348, 108), Theme::snap);
    EXPECT_COLOR(pixel(image, 355, 108), Theme::snap);
    // What is cut off stands behind the clip, fainter: from 352 to 384.
    const QColor ghost = blended(lane, faded(ground, 0.35));
    EXPECT_COLOR(pixel(image, 370, 90), ghost);
    EXPECT_COLOR(pixel(image, 386, 90), lane);
    letGo(at(11, 0, 50));
}

TEST_F(TimelinePixelTests, ADraggedClipIsLiftedFromItsPlaceAndTheOthersPart) {
    drag(body(5, 0), body(9.9, 0), {}, true);
    const QImage image = picture();
    const double moved = 4.9 * scale;
    // Its ring stands where it is dragged to.
    EXPECT_COLOR(pixel(image, std::floor(131 + moved) + 1, 95), Theme::accent);
    // The marker behind C, at 384, whose end has parted by 10 points to the left.
    EXPECT_COLOR(pixel(image, 384, 60), Theme::accent);
    EXPECT_COLOR(pixel(image, 384, 112), Theme::accent);
    EXPECT_COLOR(pixel(image, 384, 17), Theme::accent) << "its head";
    EXPECT_COLOR(pixel(image, 100 - 8, 60), ground) << "A has parted, too";
    EXPECT_COLOR(pixel(image, 128 - 3 - 5, 60), lane);
    letGo(body(9.9, 0));
}

TEST_F(TimelinePixelTests, ARubberBandHasARim) {
    drag(at(12.5, 1, 60), at(12.5, 1, 60) + QPoint(90, -40), {}, true);
    const QImage image = picture();
    const double left = 12.5 * scale;
    const double top = 22 + 94 + 20;
    const QColor band = blended(lane, faded(Theme::accent, 0.12));
    EXPECT_COLOR(pixel(image, left, top + 10), Theme::accent);
    EXPECT_COLOR(pixel(image, left + 89, top + 10), Theme::accent);
    EXPECT_COLOR(pixel(image, left + 40, top), Theme::accent);
    EXPECT_COLOR(pixel(image, left + 40, top + 39), Theme::accent);
    EXPECT_COLOR(pixel(image, left + 40, top + 10), band);
    EXPECT_COLOR(pixel(image, left - 1, top + 10), lane);
    EXPECT_COLOR(pixel(image, left + 40, top + 41), lane);
    letGo(at(14, 1, 20));
}

TEST_F(TimelinePixelTests, ATimelineThatTheKeyboardWorksIsRinged) {
    editor->selectTimelineClips({});
    item("playButton")->forceActiveFocus(Qt::TabFocusReason);
    surface().forceActiveFocus(Qt::TabFocusReason);
    QImage image = picture();
    EXPECT_COLOR(image.pixelColor(1, 150), Theme::accent);
    EXPECT_COLOR(image.pixelColor(1058, 150), Theme::accent);
    EXPECT_COLOR(image.pixelColor(300, 302), Theme::accent);
    // A chosen clip has a ring of its own, outside its frame.
    press(Qt::Key_Right, Qt::ControlModifier);
    image = picture();
    ASSERT_TRUE(editor->selection());
    EXPECT_FALSE(isLike(image.pixelColor(1, 150), Theme::accent));
    const QRectF frame = timeline().drawnFrame(*timeline().displayedPlacement().index(*editor->selection()));
    EXPECT_COLOR(pixel(image, frame.right(), frame.center().y()), QColor(Qt::white));
    // The pointer takes it away.
    click(at(9, 0, 50));
    image = picture();
    EXPECT_FALSE(isLike(pixel(image, 384 - 3, 65), QColor(Qt::white)));
}

TEST_F(TimelinePixelTests, AnEmptyTrackSaysWhatBelongsThere) {
    editor->commit({});
    const QImage image = picture();
    ASSERT_EQ(image.height(), 22 + 94);
    int written = 0;
    for (int x = middle + 19; x < middle + 170; ++x)
        for (int y = 50; y < 80; ++y)
            if (isLike(image.pixelColor(x, y), Theme::text3, 24)) ++written;
    EXPECT_GT(written, 60);
}

}  // namespace
}  // namespace kelvane::testing
