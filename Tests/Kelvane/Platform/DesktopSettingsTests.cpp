#include <gtest/gtest.h>

#include "Platform/DesktopSettings.h"

namespace kelvane::testing {
namespace {

const QString appearance = "org.freedesktop.appearance";
const QString gnome = "org.gnome.desktop.interface";
const QString kde = "org.kde.kdeglobals.KDE";

TEST(MotionSettings, NothingIsReducedWhereNothingIsSaid) {
    EXPECT_FALSE(MotionSettings().isReduced());
    EXPECT_FALSE((MotionSettings{.reducedMotion = 0U}).isReduced());
    EXPECT_FALSE((MotionSettings{.enableAnimations = true}).isReduced());
    EXPECT_FALSE((MotionSettings{.durationFactor = 0.5}).isReduced());
}

TEST(MotionSettings, WhatAllDesktopsSayCountsFirstThenEachOnesOwnWord) {
    EXPECT_TRUE((MotionSettings{.reducedMotion = 1U, .enableAnimations = true, .durationFactor = 1.0}).isReduced());
    EXPECT_FALSE((MotionSettings{.reducedMotion = 0U, .enableAnimations = false, .durationFactor = 0.0}).isReduced());
    EXPECT_TRUE((MotionSettings{.enableAnimations = false, .durationFactor = 1.0}).isReduced());
    EXPECT_FALSE((MotionSettings{.enableAnimations = true, .durationFactor = 0.0}).isReduced());
    EXPECT_TRUE((MotionSettings{.durationFactor = 0.0}).isReduced());
}

TEST(MotionSettings, OnlyItsKeysAndValuesThatTheyCanHaveAreTaken) {
    MotionSettings settings;
    EXPECT_TRUE(settings.take(appearance, "reduced-motion", 1U));
    EXPECT_TRUE(settings.take(gnome, "enable-animations", false));
    EXPECT_TRUE(settings.take(kde, "AnimationDurationFactor", QString("0.25")));
    EXPECT_EQ(settings, (MotionSettings{.reducedMotion = 1U, .enableAnimations = false, .durationFactor = 0.25}));
    EXPECT_FALSE(settings.take(appearance, "color-scheme", 1U));
    EXPECT_FALSE(settings.take(gnome, "reduced-motion", 0U));
    EXPECT_FALSE(settings.take(appearance, "reduced-motion", QString("no")));
    EXPECT_FALSE(settings.take(gnome, "enable-animations", QString("true")));
    EXPECT_FALSE(settings.take(kde, "AnimationDurationFactor", QString()));
    EXPECT_EQ(settings, (MotionSettings{.reducedMotion = 1U, .enableAnimations = false, .durationFactor = 0.25}));
}

}  // namespace
}  // namespace kelvane::testing
