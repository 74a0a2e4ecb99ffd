#include <gtest/gtest.h>

#include "Views/Timeline/ScrollBarFade.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

TEST(ScrollBarFade, ComesWithScrollingStandsAndGoes) {
    ScrollBarFade bar;
    EXPECT_EQ(bar.shown(5s, false), 0);
    EXPECT_FALSE(bar.untilChange(5s));
    bar.scrolled(10s);
    EXPECT_EQ(bar.shown(10s, false), 0);
    EXPECT_EQ(bar.untilChange(10s), 0ns);
    EXPECT_NEAR(bar.shown(10s + 50ms, false), 0.5, 1e-9);
    EXPECT_EQ(bar.shown(10s + 100ms, false), 1);
    EXPECT_EQ(bar.untilChange(10s + 100ms), 700ms);
    EXPECT_EQ(bar.shown(10s + 800ms, false), 1);
    EXPECT_NEAR(bar.shown(10s + 950ms, false), 0.5, 1e-9);
    EXPECT_EQ(bar.untilChange(10s + 950ms), 0ns);
    EXPECT_EQ(bar.shown(10s + 1100ms, false), 0);
    EXPECT_FALSE(bar.untilChange(10s + 1101ms));
}

TEST(ScrollBarFade, ScrollingOnKeepsItAndBringsBackOneThatGoes) {
    ScrollBarFade bar;
    for (int step = 0; step < 20; ++step) bar.scrolled(1s + step * 50ms);
    EXPECT_EQ(bar.shown(1s + 950ms, false), 1);
    EXPECT_NEAR(bar.shown(1s + 950ms + 800ms + 150ms, false), 0.5, 1e-9);
    bar.scrolled(1s + 950ms + 800ms + 150ms);
    EXPECT_NEAR(bar.shown(1s + 950ms + 800ms + 150ms, false), 0.5, 1e-9) << "from where it was";
    EXPECT_EQ(bar.shown(1s + 950ms + 800ms + 200ms, false), 1);
}

TEST(ScrollBarFade, StandsWhileThePointerIsThere) {
    ScrollBarFade bar;
    bar.setHovered(true, 1s);
    EXPECT_EQ(bar.shown(1s + 100ms, false), 1);
    EXPECT_FALSE(bar.untilChange(1s + 100ms));
    EXPECT_EQ(bar.shown(100s, false), 1);
    bar.setHovered(false, 100s);
    EXPECT_EQ(bar.untilChange(100s), 800ms);
    EXPECT_EQ(bar.shown(100s + 1100ms, false), 0);
}

TEST(ScrollBarFade, ReducedMotionTakesItsFadesAndNotItsTimes) {
    ScrollBarFade bar;
    bar.scrolled(1s);
    EXPECT_EQ(bar.shown(1s, true), 1);
    EXPECT_EQ(bar.shown(1s + 799ms, true), 1);
    EXPECT_EQ(bar.shown(1s + 800ms, true), 0);
    bar.setHovered(true, 3s);
    EXPECT_EQ(bar.shown(3s, true), 1);
}

}  // namespace
}  // namespace kelvane::testing
