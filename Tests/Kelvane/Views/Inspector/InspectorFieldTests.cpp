#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Support/ClipBuilder.h"
#include "Views/Inspector/InspectorField.h"

namespace kelvane::testing {
namespace {

using InspectorFields::changed;
using InspectorFields::range;
using InspectorFields::Range;
using Field = InspectorField;

constexpr double frame = 1.0 / 30;

Clip footage(double start, double end) { return videoClip(1, "/media/video.mov", 10).stretch(start, end); }

double valueOf(Field field, const Clip& clip, double wished) {
    const auto result = changed(field, clip, wished);
    return result ? InspectorFields::value(field, *result) : -100;
}

TEST(InspectorFields, RangesOfSlidersFollowTheClip) {
    const Clip clip = footage(2, 6);
    EXPECT_EQ(range(Field::start, clip, 30), (Range{0, 6 - frame}));
    EXPECT_EQ(range(Field::end, clip, 30), (Range{2 + frame, 10}));
    EXPECT_EQ(range(Field::zoom, clip, 30), (Range{1, 3}));
    EXPECT_EQ(range(Field::horizontal, clip, 30), (Range{-1, 1}));
    EXPECT_EQ(range(Field::vertical, clip, 30), (Range{-1, 1}));
    EXPECT_EQ(range(Field::position, clip, 30), (Range{0, 30}));
    EXPECT_EQ(range(Field::position, clip, 0.4), (Range{0, 1}));
    EXPECT_EQ(range(Field::volume, clip, 30), (Range{0, 1}));
}

TEST(InspectorFields, AClipOfOneFrameHasHardlyAnyRangeAndGetsNoShorter) {
    const Clip clip = footage(0, frame);
    EXPECT_EQ(range(Field::start, clip, 1), (Range{0, 0.001}));
    EXPECT_EQ(valueOf(Field::start, clip, 0.001), 0);
    EXPECT_EQ(valueOf(Field::end, clip, 0), frame);
}

TEST(InspectorFields, TheEdgesOfAClipCantMeet) {
    for (const double end : {0.1, 1.0, 2.7, 6.2, 9.99, 10.0}) {
        const Clip clip = footage(0, end);
        const auto shortest = changed(Field::start, clip, 100);
        ASSERT_TRUE(shortest) << end;
        EXPECT_TRUE(shortest->isValid());
        EXPECT_NEAR(shortest->start, end - frame, 0.000002);
    }
    for (const double start : {0.0, 1.3, 3.7, 8.1}) {
        const auto shortest = changed(Field::end, footage(start, 10), -100);
        ASSERT_TRUE(shortest) << start;
        EXPECT_TRUE(shortest->isValid());
        EXPECT_NEAR(shortest->end, start + frame, 0.000002);
    }
}

TEST(InspectorFields, ValuesAreHeldToWhatTheFieldAllows) {
    const Clip clip = footage(2, 6);
    EXPECT_EQ(valueOf(Field::start, clip, -3), 0);
    EXPECT_EQ(valueOf(Field::start, clip, 3.5), 3.5);
    EXPECT_EQ(valueOf(Field::end, clip, 40), 10);
    EXPECT_EQ(valueOf(Field::volume, clip, 1.4), 1);
    EXPECT_EQ(valueOf(Field::volume, clip, -0.2), 0);
    const Clip sound = audioClip(1, "/media/sound.wav", 10).at(3);
    EXPECT_EQ(valueOf(Field::position, sound, -1), 0);
    EXPECT_EQ(valueOf(Field::position, sound, 1000), 1000);
}

TEST(InspectorFields, WhatNoClipMayHaveIsDropped) {
    const Clip clip = footage(2, 6);
    EXPECT_FALSE(changed(Field::zoom, clip, 3.01));
    EXPECT_FALSE(changed(Field::zoom, clip, 0.9));
    EXPECT_FALSE(changed(Field::horizontal, clip, 1.01));
    EXPECT_FALSE(changed(Field::vertical, clip, -1.01));
    for (const Field field : {Field::start, Field::end, Field::zoom, Field::position, Field::volume}) {
        EXPECT_FALSE(changed(field, clip, std::numeric_limits<double>::quiet_NaN()));
        EXPECT_FALSE(changed(field, clip, std::numeric_limits<double>::infinity()));
    }
    EXPECT_FALSE(std::signbit(changed(Field::horizontal, clip, -0.0)->horizontal));
}

TEST(InspectorFields, TextsAreThoseOfTheRows) {
    Clip clip = videoClip(1, "/media/video.mov", 100).stretch(2.44, 66.2).zoom(1.44).position(0.3, -0.2).volume(0.804);
    EXPECT_EQ(InspectorFields::text(Field::start, clip), "00:02.4");
    EXPECT_EQ(InspectorFields::text(Field::end, clip), "01:06.2");
    EXPECT_EQ(InspectorFields::text(Field::zoom, clip), "1.4×");
    EXPECT_EQ(InspectorFields::text(Field::horizontal, clip), "");
    EXPECT_EQ(InspectorFields::text(Field::vertical, clip), "");
    EXPECT_EQ(InspectorFields::text(Field::volume, clip), "80%");
    EXPECT_EQ(InspectorFields::text(Field::position, clip), "00:00.0");
    clip.setAudioPosition(12.34);
    EXPECT_EQ(InspectorFields::text(Field::position, clip), "00:12.3");
}

TEST(InspectorFields, KeysStepTimesByAFrameAndTheRestByHundredths) {
    EXPECT_EQ(InspectorFields::step(Field::start), frame);
    EXPECT_EQ(InspectorFields::pageStep(Field::position), 1);
    EXPECT_EQ(InspectorFields::step(Field::volume), 0.01);
    EXPECT_EQ(InspectorFields::pageStep(Field::volume), 0.1);
    EXPECT_EQ(InspectorFields::step(Field::horizontal), 0.02);
    EXPECT_EQ(InspectorFields::pageStep(Field::zoom), 0.2);
    EXPECT_EQ(InspectorFields::standard(Field::zoom), 1.0);
    EXPECT_EQ(InspectorFields::standard(Field::vertical), 0.0);
    EXPECT_EQ(InspectorFields::standard(Field::end), std::nullopt);
}

}  // namespace
}  // namespace kelvane::testing
