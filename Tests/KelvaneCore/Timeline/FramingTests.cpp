#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Timeline/Framing.h"
#include "Timeline/TimeLabel.h"

namespace kelvane {
namespace {

constexpr AffineTransform upright{};
/// A quarter turn whose picture lies at negative x.
constexpr AffineTransform quarterTurn{0, 1, -1, 0, 0, 0};
constexpr AffineTransform halfTurn{-1, 0, 0, -1, 1920, 1080};
constexpr AffineTransform mirror{-1, 0, 0, 1, 0, 0};

/// Where the whole source lies on the canvas.
Rect placed(Size source, const AffineTransform& orientation, double zoom, double horizontal, double vertical,
            Size canvas = Framing::size) {
    return Framing::transform(source, orientation, zoom, horizontal, vertical, canvas)
        .boundingRect({0, 0, source.width, source.height});
}

void expectNear(const Rect& actual, const Rect& expected) {
    EXPECT_NEAR(actual.x, expected.x, 1e-9);
    EXPECT_NEAR(actual.y, expected.y, 1e-9);
    EXPECT_NEAR(actual.width, expected.width, 1e-9);
    EXPECT_NEAR(actual.height, expected.height, 1e-9);
}

TEST(Framing, NamesItsCanvases) {
    EXPECT_EQ(Framing::hdSize, (Size{720, 1280}));
    EXPECT_EQ(Framing::size, (Size{1080, 1920}));
    EXPECT_EQ(Framing::quadHDSize, (Size{1440, 2560}));
    EXPECT_EQ(Framing::ultraHDSize, (Size{2160, 3840}));
}

TEST(FramingSupport, NeedsThePixelsOnBothSides) {
    const struct {
        Size canvas;
        Size source;
        AffineTransform orientation;
        double zoom;
        bool supported;
    } rows[] = {
        {Framing::size, {1080, 1920}, upright, 1, true},
        {Framing::size, {1080, 1920}, upright, 1.001, false},
        {Framing::size, {1920, 1080}, upright, 1, false},
        {Framing::size, {1920, 1080}, quarterTurn, 1, true},
        {Framing::size, {1079.999, 1919.999}, upright, 1, true},
        {Framing::size, {1079.998, 1920}, upright, 1, false},
        {Framing::size, {1080, 1919.998}, upright, 1, false},
        {Framing::size, {2160, 3840}, mirror, 2, true},
        {Framing::ultraHDSize, {3840, 2160}, quarterTurn, 1, true},
        {Framing::ultraHDSize, {3840, 2160}, halfTurn, 1, false},
        {Framing::hdSize, {3840, 2160}, upright, 1, true},
        {Framing::hdSize, {3840, 2160}, upright, 2, false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Framing::supports(row.canvas, row.source, row.orientation, row.zoom), row.supported) << &row - rows;
}

TEST(FramingTransform, FillsTheCanvasAndCentres) {
    EXPECT_EQ(Framing::transform({1080, 1920}, upright, 1, 0, 0, Framing::size), AffineTransform());
    EXPECT_EQ(Framing::transform({540, 960}, upright, 1, 1, 1, Framing::size), AffineTransform::scaling(2, 2));
    const double width = 1920.0 * 1920 / 1080;
    expectNear(placed({1920, 1080}, upright, 1, 0, 0), {(1080 - width) / 2, 0, width, 1920});
    // A source that is narrower than the canvas overflows upward and downward.
    expectNear(placed({500, 1000}, upright, 1, 0, 0), {0, -120, 1080, 2160});
}

TEST(FramingTransform, MovesTheCropFromEdgeToEdge) {
    const double width = 1920.0 * 1920 / 1080;
    expectNear(placed({1920, 1080}, upright, 1, -1, -1), {0, 0, width, 1920});
    expectNear(placed({1920, 1080}, upright, 1, 1, 1), {1080 - width, 0, width, 1920});
    expectNear(placed({500, 1000}, upright, 1, -1, -1), {0, 0, 1080, 2160});
    expectNear(placed({500, 1000}, upright, 1, 1, 1), {0, -240, 1080, 2160});
    expectNear(placed({1080, 1920}, upright, 3, -1, 1), {0, -3840, 3240, 5760});
    expectNear(placed({1080, 1920}, upright, 3, 0.5, 0), {-1620, -1920, 3240, 5760});
}

TEST(FramingTransform, MeasuresATurnedSourceAsItStands) {
    // Turned by a quarter, a landscape source fills the canvas exactly: there is nothing to move.
    expectNear(placed({1920, 1080}, quarterTurn, 1, 1, -1), {0, 0, 1080, 1920});
    const AffineTransform map = Framing::transform({1920, 1080}, quarterTurn, 1, 0, 0, Framing::size);
    // The source's first pixel comes to the canvas's top right.
    EXPECT_EQ(map.boundingRect({0, 0, 0, 0}), (Rect{1080, 0, 0, 0}));
    // And a portrait source becomes landscape, with overflow at the sides alone.
    const double width = 1920.0 * 1920 / 1080;
    expectNear(placed({1080, 1920}, quarterTurn, 1, -1, 1), {0, 0, width, 1920});
    expectNear(placed({1920, 1080}, halfTurn, 1, 1, 0), {1080 - width, 0, width, 1920});
    expectNear(placed({1080, 1920}, mirror, 1, 0, 0), {0, 0, 1080, 1920});
}

TEST(FramingTransform, ServesEveryCanvas) {
    for (const Size canvas : {Framing::hdSize, Framing::size, Framing::quadHDSize, Framing::ultraHDSize})
        expectNear(placed({1080, 1920}, upright, 1, 0, 0, canvas), {0, 0, canvas.width, canvas.height});
    expectNear(placed({100, 100}, upright, 1, 0, 0, {50, 20}), {0, -15, 50, 50});
}

TEST(TimeLabel, ShowsMinutesSecondsAndTenths) {
    const struct {
        double seconds;
        const char* text;
    } rows[] = {
        {0, "00:00.0"},
        {-0.0, "00:00.0"},
        {-3, "00:00.0"},
        {std::nan(""), "00:00.0"},
        {std::numeric_limits<double>::infinity(), "00:00.0"},
        {-std::numeric_limits<double>::infinity(), "00:00.0"},
        {0.04, "00:00.0"},
        {9.94, "00:09.9"},
        {59.94, "00:59.9"},
        {59.96, "00:60.0"},
        {60, "01:00.0"},
        {65.3, "01:05.3"},
        {119.99, "01:60.0"},
        {3599.9, "59:59.9"},
        {3600, "60:00.0"},
        {5999, "99:59.0"},
        {36000, "600:00.0"},
    };
    for (const auto& row : rows) EXPECT_EQ(timeLabel(row.seconds), row.text) << row.seconds;
    EXPECT_TRUE(timeLabel(1e300).ends_with(".0"));
}

}  // namespace
}  // namespace kelvane
