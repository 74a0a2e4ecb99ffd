#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <span>

#include "Media/FFmpeg/Sound/Limiter.h"

namespace kelvane {
namespace {

std::vector<float> limited(const std::vector<float>& in, std::size_t stretch = 1000) {
    Limiter limiter;
    std::vector<float> out;
    for (std::size_t at = 0; at < in.size(); at += stretch)
        limiter.process(std::span(in).subspan(at, std::min(stretch, in.size() - at)), out);
    limiter.finish(out);
    return out;
}

std::vector<float> tone(double level, std::size_t samples, double frequency = 997) {
    std::vector<float> sound;
    for (std::size_t i = 0; i < samples; ++i) {
        const double value = level * std::sin(2 * std::numbers::pi * frequency * static_cast<double>(i) / 48000);
        sound.push_back(static_cast<float>(value));
        sound.push_back(static_cast<float>(value * 0.5));
    }
    return sound;
}

TEST(SoundLimiter, WhatStaysWithinFullScaleComesOutBitByBit) {
    for (const std::size_t samples : {0U, 1U, 239U, 240U, 241U, 30000U}) {
        const auto sound = tone(1.0, samples);
        EXPECT_EQ(limited(sound), sound) << samples;
    }
}

TEST(SoundLimiter, NothingExceedsFullScaleAndNothingIsDelayed) {
    for (const double level : {1.001, 1.5, 4.0, 16.0}) {
        const auto sound = tone(level, 30000);
        const auto out = limited(sound);
        ASSERT_EQ(out.size(), sound.size());
        EXPECT_LE(std::ranges::max(out), 1.0F);
        EXPECT_GE(std::ranges::min(out), -1.0F);
        // Signs agree sample by sample: the wave is where it was.
        for (std::size_t i = 0; i < out.size(); ++i) ASSERT_GE(out[i] * sound[i], 0) << i;
        EXPECT_GT(std::ranges::max(out), 0.9F) << "turned down further than needed at " << level;
    }
}

TEST(SoundLimiter, TheGainMovesSmoothlyAndReturnsToOne) {
    std::vector<float> sound(2 * 96000, 0.5F);
    for (std::size_t i = 20000; i < 20010; ++i) sound[i * 2] = 2.0F;
    const auto out = limited(sound);
    // The right side shows the gain: it was constant before.
    for (std::size_t i = 1; i < 96000; ++i) ASSERT_LT(std::fabs(out[i * 2 + 1] - out[i * 2 - 1]), 0.0015F) << i;
    EXPECT_EQ(out[(20000 - Limiter::lookAhead - 1) * 2 + 1], 0.5F);
    EXPECT_NEAR(out[20005 * 2 + 1], 0.25F, 1e-3F);
    EXPECT_NEAR(out[(20010 + 3840) * 2 + 1], 0.5F * (1 - 0.5F / std::numbers::e_v<float>), 0.02F);
    EXPECT_EQ(out[80000 * 2 + 1], 0.5F);
}

TEST(SoundLimiter, AShortStretchOrALongOneMakesNoDifference) {
    const auto sound = tone(2.5, 5000);
    EXPECT_EQ(limited(sound, 2), limited(sound, 10000));
}

TEST(SoundLimiter, APeakInTheFirstAndInTheLastSampleIsHeld) {
    std::vector<float> sound(2 * 1000, 0.1F);
    sound.front() = 3.0F;
    sound.back() = -3.0F;
    const auto out = limited(sound);
    EXPECT_FLOAT_EQ(out.front(), 1.0F);
    EXPECT_FLOAT_EQ(out.back(), -1.0F);
}

}  // namespace
}  // namespace kelvane
