#include <gtest/gtest.h>

#include "Support/ClipBuilder.h"
#include "Views/Timeline/TimelineMarqueeLayout.h"

namespace kelvane {
namespace {

using testing::audioClip;
using testing::uuid;
using testing::videoClip;
using Chosen = std::set<UUID>;

const std::vector<Clip> clips{
    videoClip(1, "/v.mov", 2),
    audioClip(2, "/a.wav", 4).at(1),
    videoClip(3, "/v.mov", 1),
};
const TimelineMarqueeLayout layout(clips, 32);

TEST(TimelineMarquee, HoldsTheFrameOfEachClip) {
    EXPECT_EQ(layout.frames.at(uuid(1)), QRectF(3, 22, 58, 86));
    EXPECT_EQ(layout.frames.at(uuid(2)), QRectF(35, 116, 122, 86));
    EXPECT_EQ(layout.frames.at(uuid(3)), QRectF(66, 22, 28, 86));
    EXPECT_EQ(layout.frames.size(), 3u);
}

TEST(TimelineMarquee, GivesAClipOfLessThanAPointAFrameStill) {
    const std::vector<Clip> narrow{videoClip(1, "/v.mov", 0.01)};
    EXPECT_EQ(TimelineMarqueeLayout(narrow, 32).frames.at(uuid(1)), QRectF(0.0625, 22, 0.875, 86));
}

TEST(TimelineMarquee, HasNoClipOnACutOrAboveAndBelowTheRows) {
    EXPECT_TRUE(layout.containsClip({30, 60}));
    EXPECT_FALSE(layout.containsClip({64, 60}));
    EXPECT_FALSE(layout.containsClip({30, 21}));
    EXPECT_FALSE(layout.containsClip({30, 110}));
    EXPECT_TRUE(layout.containsClip({3, 22}));
    EXPECT_FALSE(layout.containsClip({61, 60}));
    EXPECT_FALSE(layout.containsClip({30, 150}));
    EXPECT_TRUE(layout.containsClip({40, 150}));
    EXPECT_FALSE(layout.containsClip({-1, 60}));
}

TEST(TimelineMarquee, SelectsWhatTheRectangleTouches) {
    EXPECT_EQ(layout.selection({0, 0, 200, 300}), (Chosen{uuid(1), uuid(2), uuid(3)}));
    EXPECT_EQ(layout.selection({60, 30, 2, 5}), (Chosen{uuid(1)}));
    EXPECT_EQ(layout.selection({62, 30, 3, 5}), Chosen{});
    EXPECT_EQ(layout.selection({60, 30, 10, 5}), (Chosen{uuid(1), uuid(3)}));
    EXPECT_EQ(layout.selection({50, 100, 1, 20}), (Chosen{uuid(1), uuid(2)}));
}

TEST(TimelineMarquee, SelectsNothingWithoutAWidthOrAHeight) {
    EXPECT_EQ(layout.selection({30, 0, 0, 300}), Chosen{});
    EXPECT_EQ(layout.selection({0, 60, 300, 0}), Chosen{});
    EXPECT_EQ(layout.selection({30, 30, -5, 10}), Chosen{});
}

}  // namespace
}  // namespace kelvane
