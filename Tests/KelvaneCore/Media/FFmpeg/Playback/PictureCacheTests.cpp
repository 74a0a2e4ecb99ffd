#include <gtest/gtest.h>

#include "Media/FFmpeg/Playback/PictureCache.h"

namespace kelvane {
namespace {

/// A picture of 64 × 64 pixels.
VideoPicturePtr smallPicture() {
    auto picture = std::make_shared<VideoPicture>();
    picture->width = picture->height = 64;
    return picture;
}

PictureKey keyOf(const std::string& path) {
    PictureKey key;
    key.source.path = path;
    key.canvas = {64, 64};
    return key;
}

TEST(DrawnPictures, AreFoundByTheStampsThatShowThem) {
    PictureCache cache(1'000'000);
    const auto first = smallPicture();
    const auto second = smallPicture();
    cache.keep(keyOf("a"), INT64_MIN, 10, first);
    cache.keep(keyOf("a"), 10, 20, second);
    EXPECT_EQ(cache.find(keyOf("a"), -5), first);
    EXPECT_EQ(cache.find(keyOf("a"), 9), first);
    EXPECT_EQ(cache.find(keyOf("a"), 10), second);
    EXPECT_EQ(cache.find(keyOf("a"), 19), second);
    EXPECT_EQ(cache.find(keyOf("a"), 20), nullptr);
    EXPECT_EQ(cache.find(keyOf("b"), 10), nullptr);
    PictureKey turned = keyOf("a");
    turned.transform.a = -1;
    EXPECT_EQ(cache.find(turned, 10), nullptr);
}

TEST(DrawnPictures, TakeAtMostTheirBytesAndTheOnesUsedLongestAgoGo) {
    const std::int64_t each = PictureCache::bytesOf(64, 64);
    PictureCache cache(3 * each);
    for (int i = 0; i < 3; ++i) cache.keep(keyOf("a"), i, i + 1, smallPicture());
    EXPECT_EQ(cache.bytes(), 3 * each);
    ASSERT_TRUE(cache.find(keyOf("a"), 0));
    cache.keep(keyOf("b"), 0, 1, smallPicture());
    EXPECT_EQ(cache.bytes(), 3 * each);
    EXPECT_TRUE(cache.find(keyOf("a"), 0));
    EXPECT_EQ(cache.find(keyOf("a"), 1), nullptr);
    EXPECT_TRUE(cache.find(keyOf("b"), 0));
    cache.forget({64, 64});
    EXPECT_EQ(cache.bytes(), 0);
    EXPECT_EQ(cache.find(keyOf("b"), 0), nullptr);
}

TEST(DrawnPictures, ThatAreTooLargeAreNotKept) {
    PictureCache cache(100);
    cache.keep(keyOf("a"), 0, 1, smallPicture());
    EXPECT_EQ(cache.bytes(), 0);
    EXPECT_EQ(cache.find(keyOf("a"), 0), nullptr);
}

}  // namespace
}  // namespace kelvane
