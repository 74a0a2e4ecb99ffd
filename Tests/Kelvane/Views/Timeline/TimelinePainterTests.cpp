#include "TimelineViewFixture.h"
#include "Views/Theme.h"
#include "Views/Timeline/Drawing/TimelineMarks.h"
#include "Views/Timeline/Drawing/TimelinePainter.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

/// What the painter makes of times that a test gives it. Clips are placeholders where nothing else is said.
class TimelinePainterTests : public TimelineViewFixture {
protected:
    /// What is painted `when` after the first moment.
    QImage paint(std::chrono::nanoseconds when) {
        QImage image(1000, 300, QImage::Format_RGB32);
        isMoving = painter.paint(image, *view,
                                 {.size = image.size(),
                                  .now = 1s + when,
                                  .reducedMotion = reducedMotion,
                                  .scrollBar = scrollBar,
                                  .isScrollBarHovered = isBarHovered});
        return image;
    }
    /// The lightness in the middle of the first clip's row, so many seconds from the beginning, off lines and names.
    static int light(const QImage& image, double seconds) {
        return image.pixelColor(500 + static_cast<int>(seconds * 32), TimelineMetrics::trackTop + 70).lightness();
    }

    TimelinePainter painter{[] {}};
    bool isMoving = false;
    double scrollBar = 0;
    bool isBarHovered = false;
};

TEST_F(TimelinePainterTests, AnAssistantsMarkIsFullForFourTenthsAndFadesOverSix) {
    fill({videoClip(4), videoClip(4)});
    const QImage plain = paint(0ns);
    painter.highlight({.changed = {clip(0).id}}, 1s);
    const int washed = light(paint(0ns), 2);
    EXPECT_GT(washed, light(plain, 2) + 15);
    EXPECT_EQ(light(paint(0ns), 6), light(plain, 6)) << "the other clip isn't marked";
    EXPECT_EQ(light(paint(400ms), 2), washed);
    EXPECT_TRUE(isMoving);
    const int half = light(paint(700ms), 2);
    EXPECT_NEAR(half, (washed + light(plain, 2)) / 2, 2);
    EXPECT_EQ(paint(1s), plain);
    EXPECT_FALSE(isMoving);
}

TEST_F(TimelinePainterTests, WithReducedMotionTheMarkStandsForASecondAndGoesAtOnce) {
    reducedMotion = true;
    fill({videoClip(4)});
    const QImage plain = paint(0ns);
    painter.highlight({.changed = {clip(0).id}}, 1s);
    const QImage marked = paint(0ns);
    EXPECT_NE(marked, plain);
    EXPECT_EQ(paint(999ms), marked);
    EXPECT_EQ(paint(1s), plain);
}

TEST_F(TimelinePainterTests, AClipThatAnAssistantAddsFadesIn) {
    fill({videoClip(4)});
    (void)paint(0ns);
    auto clips = editor->clips();
    clips.push_back(videoClip(4));
    editor->commit(clips);
    tell();
    painter.contentChanged();
    const QImage standing = paint(0ns);
    painter.highlight({.added = {clip(1).id}}, 1s);
    const QColor ground = blended(Theme::track, Theme::lane);
    // The rim of the mark is there at once, and within it the ground shows still.
    EXPECT_EQ(light(paint(0ns), 6), blended(ground, Theme::highlight).lightness());
    const int half = light(paint(100ms), 6);
    const int whole = light(paint(200ms), 6);
    EXPECT_GT(half, blended(ground, Theme::highlight).lightness());
    EXPECT_LT(half, whole);
    EXPECT_EQ(light(paint(400ms), 6), whole);
    EXPECT_EQ(paint(1s), standing);
    reducedMotion = true;
    painter.highlight({.added = {clip(1).id}}, 2s);
    EXPECT_EQ(light(paint(1s), 6), whole) << "at once where motion is reduced";
}

TEST_F(TimelinePainterTests, AClipThatAnAssistantMovesTravelsThere) {
    fill({videoClip(4), videoClip(6)});
    (void)paint(0ns);
    editor->commit({clip(1), clip(0)});
    tell();
    painter.contentChanged();
    (void)paint(1ms);
    EXPECT_TRUE(isMoving);
    const QImage amid = paint(100ms);
    const QImage there = paint(400ms);
    EXPECT_FALSE(isMoving);
    EXPECT_NE(amid, there);
}

TEST_F(TimelinePainterTests, TheBarBesideTheRowsIsWiderUnderThePointer) {
    std::vector<Clip> clips{videoClip(40)};
    for (int lane = 0; lane < 6; ++lane) clips.push_back(audioClip(4, 0));
    fill(clips);
    const auto barWidth = [](const QImage& with, const QImage& without) {
        int width = 0;
        for (int x = 950; x < 1000; ++x) width += with.pixel(x, 60) != without.pixel(x, 60) ? 1 : 0;
        return width;
    };
    const QImage without = paint(0ns);
    scrollBar = 1;
    EXPECT_EQ(barWidth(paint(0ns), without), 5);
    isBarHovered = true;
    EXPECT_EQ(barWidth(paint(0ns), without), 8);
    const QRectF zone = TimelineMarks::scrollBarZone({1000, 300}, view->contentHeight());
    EXPECT_TRUE(zone.contains(QPointF(995, 60)));
    EXPECT_FALSE(zone.contains(QPointF(995, 10))) << "the ruler's";
    EXPECT_FALSE(zone.contains(QPointF(980, 60)));
    EXPECT_TRUE(TimelineMarks::scrollBarZone({1000, 1000}, view->contentHeight()).isEmpty()) << "all rows fit";
}

/// The tiles of one clip, whose thumbnail comes when the test says so.
class TilesThatCome : public TimelineViewFixture {
protected:
    TilesThatCome() {
        fill({videoClip(4)});
        context.settle();
    }
    ClipStills::Tile at(std::chrono::milliseconds when, bool isLoaded) {
        stills.begin(isLoaded ? editor.get() : nullptr, nullptr, 1,
                     reducedMotion ? std::nullopt : std::optional(std::chrono::nanoseconds(when)));
        auto tile = stills.tile(clip(0), 0, 32, 0);
        (void)stills.end();
        return tile;
    }

    ClipStills stills;
};

TEST_F(TilesThatCome, FadeInOverWhatStoodInTheirPlace) {
    ASSERT_FALSE(editor->thumbnails().empty());
    EXPECT_TRUE(at(0ms, false).image.isNull());
    EXPECT_FALSE(stills.isFading());
    const auto first = at(10ms, true);
    EXPECT_FALSE(first.image.isNull());
    EXPECT_TRUE(first.former.isNull()) << "the placeholder";
    EXPECT_EQ(first.shown, 0);
    EXPECT_TRUE(stills.isFading());
    EXPECT_NEAR(at(70ms, true).shown, 0.5, 1e-9);
    EXPECT_EQ(at(130ms, true).shown, 1);
    EXPECT_FALSE(stills.isFading());
    // One that was out of sight, or went and came in one go, stands at once.
    stills.begin(editor.get(), nullptr, 1, 200ms);
    (void)stills.end();
    EXPECT_EQ(at(210ms, true).shown, 1);
}

TEST_F(TilesThatCome, StandAtOnceWhereMotionIsReduced) {
    reducedMotion = true;
    (void)at(0ms, false);
    EXPECT_EQ(at(10ms, true).shown, 1);
    EXPECT_FALSE(stills.isFading());
}

}  // namespace
}  // namespace kelvane::testing
