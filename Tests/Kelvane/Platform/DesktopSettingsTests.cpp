#include <gtest/gtest.h>

#include "Platform/DesktopSettings.h"

namespace kelvane::testing {
namespace {

const QString appearance = "org.freedesktop.appearance";
const QString gnome = "org.gnome.desktop.interface";
const QString kde = "org.kde.kdeglobals.KDE";

TEST(AppearanceSettings, NothingIsReducedWhereNothingIsSaid) {
    EXPECT_FALSE(AppearanceSettings().isMotionReduced());
    EXPECT_FALSE((AppearanceSettings{.reducedMotion = 0U}).isMotionReduced());
    EXPECT_FALSE((AppearanceSettings{.enableAnimations = true}).isMotionReduced());
    EXPECT_FALSE((AppearanceSettings{.durationFactor = 0.5}).isMotionReduced());
}

TEST(AppearanceSettings, WhatAllDesktopsSayCountsFirstThenEachOnesOwnWord) {
    EXPECT_TRUE(
        (AppearanceSettings{.reducedMotion = 1U, .enableAnimations = true, .durationFactor = 1.0}).isMotionReduced());
    EXPECT_FALSE(
        (AppearanceSettings{.reducedMotion = 0U, .enableAnimations = false, .durationFactor = 0.0}).isMotionReduced());
    EXPECT_TRUE((AppearanceSettings{.enableAnimations = false, .durationFactor = 1.0}).isMotionReduced());
    EXPECT_FALSE((AppearanceSettings{.enableAnimations = true, .durationFactor = 0.0}).isMotionReduced());
    EXPECT_TRUE((AppearanceSettings{.durationFactor = 0.0}).isMotionReduced());
}

TEST(AppearanceSettings, MoreContrastIsWantedWhereTheDesktopSaysSo) {
    AppearanceSettings settings;
    EXPECT_FALSE(settings.wantsMoreContrast());
    EXPECT_TRUE(settings.take(appearance, "contrast", 1U));
    EXPECT_TRUE(settings.wantsMoreContrast());
    EXPECT_FALSE(settings.isMotionReduced());
    EXPECT_FALSE(settings.take(appearance, "contrast", QString("more")));
    EXPECT_FALSE(settings.take(gnome, "contrast", 0U));
    EXPECT_TRUE(settings.wantsMoreContrast());
    // Values that are still to be named mean no more than the usual.
    EXPECT_TRUE(settings.take(appearance, "contrast", 2U));
    EXPECT_FALSE(settings.wantsMoreContrast());
}

TEST(AppearanceSettings, OnlyItsKeysAndValuesThatTheyCanHaveAreTaken) {
    AppearanceSettings settings;
    EXPECT_TRUE(settings.take(appearance, "reduced-motion", 1U));
    EXPECT_TRUE(settings.take(gnome, "enable-animations", false));
    EXPECT_TRUE(settings.take(kde, "AnimationDurationFactor", QString("0.25")));
    EXPECT_EQ(settings, (AppearanceSettings{.reducedMotion = 1U, .enableAnimations = false, .durationFactor = 0.25}));
    EXPECT_FALSE(settings.take(appearance, "color-scheme", 1U));
    EXPECT_FALSE(settings.take(gnome, "reduced-motion", 0U));
    EXPECT_FALSE(settings.take(appearance, "reduced-motion", QString("no")));
    EXPECT_FALSE(settings.take(gnome, "enable-animations", QString("true")));
    EXPECT_FALSE(settings.take(kde, "AnimationDurationFactor", QString()));
    EXPECT_EQ(settings, (AppearanceSettings{.reducedMotion = 1U, .enableAnimations = false, .durationFactor = 0.25}));
}

}  // namespace
}  // namespace kelvane::testing
