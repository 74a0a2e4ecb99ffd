#include <gmock/gmock.h>

#include <QSignalSpy>

#include "Support/Quick/TextContrast.h"
#include "Views/Theme.h"

namespace kelvane::testing {
namespace {

struct Pair {
    const char* name;
    QColor text;
    QColor ground;
};

std::vector<Pair> painted() {
    const auto over = [](const QColor& ground, const QColor& color) { return laidOver(ground, color, 1); };
    const QColor row = over(Theme::track, Theme::lane);
    return {
        {"a tick's label", Theme::text2, over(Theme::track, Theme::ruler)},
        {"the hint of an empty track", Theme::text3, row},
        {"the name of a missing file", Theme::text2, Theme::control},
        {"a sound's name", Theme::audioName, Theme::audioClip},
        {"a sound's name in the shade", Theme::audioName, over(Theme::audioClip, QColor(0, 0, 0, 115))},
        {"a length over a white picture", Theme::text1, over(Qt::white, Theme::badge)},
        {"a volume", Theme::onAccent, Theme::playhead},
        {"a tip", Theme::text1, Theme::tip},
        {"a tip's key", Theme::text2, Theme::tip},
        {"the toast's button", Theme::text1, Theme::tipButton},
        {"the toast's button, hovered", Theme::text1, Theme::tipButtonHover},
    };
}

class ThemeTests : public ::testing::Test {
protected:
    ~ThemeTests() override { Theme::setAppearance({}); }
};

TEST_F(ThemeTests, WhatIsPaintedStandsOutFromItsGround) {
    for (const bool more : {false, true}) {
        Theme::setAppearance({.moreContrast = more});
        for (const auto& [name, text, ground] : painted()) EXPECT_GE(contrast(text, ground), 4.5) << name;
    }
}

TEST_F(ThemeTests, EachTextStandsOutFromEveryGroundThatItMayStandOn) {
    for (const bool more : {false, true}) {
        Theme::setAppearance({.moreContrast = more});
        for (const QColor& ground : {Theme::stage, Theme::track, Theme::window, Theme::panel, Theme::raised}) {
            EXPECT_GE(contrast(Theme::text1, ground), 4.5);
            EXPECT_GE(contrast(Theme::text2, ground), 4.5);
            EXPECT_GE(contrast(Theme::text3, ground), 4.5) << ground.name().toStdString();
            EXPECT_GE(contrast(Theme::danger, ground), 4.5);
            EXPECT_GE(contrast(Theme::record, ground), 4.5);
        }
        for (const QColor& ground : {Theme::control, Theme::controlHover, Theme::controlPressed}) {
            EXPECT_GE(contrast(Theme::text1, ground), 4.5);
            EXPECT_GE(contrast(Theme::text2, ground), 4.5) << ground.name().toStdString();
        }
        for (const QColor& ground : {Theme::accent, Theme::accentHover, Theme::accentPressed})
            EXPECT_GE(contrast(Theme::onAccent, ground), 4.5);
    }
}

TEST_F(ThemeTests, MoreContrastLiftsTextsAndLinesAndIsToldOf) {
    Theme theme;
    QSignalSpy changes(&theme, &Theme::appearanceChanged);
    const QColor track = Theme::track;
    const auto usual = std::array{theme.property("text2"), theme.property("text3"), theme.property("line"),
                                  theme.property("lineStrong"), theme.property("groove")};
    const double before = contrast(Theme::text3, Theme::panel);
    Theme::setAppearance({.moreContrast = true});
    EXPECT_EQ(changes.size(), 1);
    EXPECT_EQ(theme.property("text2").value<QColor>(), QColor(0xd3, 0xd6, 0xdb));
    EXPECT_EQ(theme.property("text3").value<QColor>(), QColor(0xb9, 0xbe, 0xc6));
    EXPECT_EQ(theme.property("line").value<QColor>(), themeColor(0xffffff, 0.24));
    EXPECT_EQ(theme.property("lineStrong").value<QColor>(), themeColor(0xffffff, 0.4));
    EXPECT_EQ(theme.property("groove").value<QColor>(), QColor(0x6a, 0x70, 0x79));
    EXPECT_GT(contrast(Theme::text3, Theme::panel), before);
    Theme::setAppearance({.moreContrast = true});
    EXPECT_EQ(changes.size(), 1);
    Theme::setAppearance({});
    EXPECT_EQ((std::array{theme.property("text2"), theme.property("text3"), theme.property("line"),
                          theme.property("lineStrong"), theme.property("groove")}),
              usual);
    EXPECT_EQ(Theme::track, track);
}

TEST_F(ThemeTests, ReducedMotionTakesTheMotionOutOfFills) {
    Theme theme;
    EXPECT_EQ(theme.property("fillIn"), 80);
    EXPECT_EQ(theme.property("fillOut"), 120);
    EXPECT_EQ(theme.property("toastRise"), 8.0);
    Theme::setAppearance({.reducedMotion = true});
    EXPECT_EQ(theme.property("fillIn"), 0);
    EXPECT_EQ(theme.property("fillOut"), 0);
    EXPECT_EQ(theme.property("toastRise"), 0.0);
    EXPECT_EQ(theme.property("tipFade"), 100) << "what fades in place stays";
    EXPECT_EQ(theme.property("reducedMotion"), true);
}

}  // namespace
}  // namespace kelvane::testing
