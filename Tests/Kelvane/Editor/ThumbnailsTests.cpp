#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Editor/Thumbnails.h"
#include "Support/App/EditorFixture.h"
#include "Support/ClipBuilder.h"

namespace kelvane::testing {
namespace {

using Sides = std::pair<int, int>;

/// A picture whose left half is red and whose right half is blue.
StillImagePtr redAndBlue(int width, int height) {
    StillImage picture{width, height, {}};
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (const int part : {x < width / 2 ? 255 : 0, 0, x < width / 2 ? 0 : 255, 255})
                picture.pixels.push_back(static_cast<std::uint8_t>(part));
    return std::make_shared<const StillImage>(std::move(picture));
}

std::vector<int> pixel(const StillImage& picture, int x, int y) {
    const auto at = (static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) + x) * 4;
    return {picture.pixels.begin() + static_cast<std::ptrdiff_t>(at),
            picture.pixels.begin() + static_cast<std::ptrdiff_t>(at) + 4};
}

FileURL file(int number) { return FileURL::fromPath("/media/" + std::to_string(number) + ".mov"); }

TEST(Thumbnails, APictureIsReducedUntilItJustCoversWhatItIsDrawnOn) {
    const std::pair<Sides, Sides> rows[] = {
        {{1024, 576}, {540, 304}},  {{576, 1024}, {288, 512}},  {{1024, 1024}, {304, 304}},
        {{289, 1024}, {288, 1020}}, {{1024, 305}, {1021, 304}}, {{288, 304}, {288, 304}},
        {{200, 1000}, {200, 1000}}, {{1024, 200}, {1024, 200}}, {{1, 1}, {1, 1}},
    };
    for (const auto& [given, kept] : rows) {
        const auto picture = Thumbnails::reduced(redAndBlue(given.first, given.second));
        EXPECT_EQ(Sides(picture->width, picture->height), kept);
        EXPECT_EQ(picture->pixels.size(), static_cast<std::size_t>(kept.first * kept.second * 4));
    }
    EXPECT_EQ(Thumbnails::reduced(nullptr), nullptr);
}

TEST(Thumbnails, AReducedPictureShowsTheSame) {
    const auto picture = Thumbnails::reduced(redAndBlue(1024, 576));
    for (const int y : {0, 150, 303}) {
        EXPECT_EQ(pixel(*picture, 0, y), (std::vector{255, 0, 0, 255}));
        EXPECT_EQ(pixel(*picture, 268, y), (std::vector{255, 0, 0, 255}));
        EXPECT_EQ(pixel(*picture, 271, y), (std::vector{0, 0, 255, 255}));
        EXPECT_EQ(pixel(*picture, 539, y), (std::vector{0, 0, 255, 255}));
    }
}

TEST(Thumbnails, WhatFindsNoRoomPushesOutWhatHasLainLongest) {
    const auto picture = redAndBlue(10, 10);
    Thumbnails kept(1'200);
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(kept.hasRoom());
        kept.store(file(i), picture);
    }
    EXPECT_EQ(kept.bytes(), 1'200U);
    EXPECT_FALSE(kept.hasRoom());
    kept.store(file(0), picture);
    kept.store(file(3), picture);
    EXPECT_EQ(kept.bytes(), 1'200U);
    EXPECT_FALSE(kept.pictures().contains(file(1)));
    for (const int i : {0, 2, 3}) EXPECT_TRUE(kept.pictures().contains(file(i))) << i;

    kept.store(file(4), redAndBlue(20, 10));
    EXPECT_EQ(kept.bytes(), 1'200U);
    EXPECT_EQ(kept.pictures().size(), 2U);
    kept.remove(file(4));
    kept.remove(file(9));
    EXPECT_EQ(kept.bytes(), 400U);
    kept.clear();
    EXPECT_EQ(kept.bytes(), 0U);
    EXPECT_TRUE(kept.hasRoom());
}

TEST(Thumbnails, APictureOfMoreThanAllTheRoomIsNotKept) {
    Thumbnails kept(1'200);
    kept.store(file(0), redAndBlue(10, 10));
    kept.store(file(1), redAndBlue(20, 20));
    EXPECT_EQ(kept.pictures().size(), 1U);
    EXPECT_EQ(kept.bytes(), 400U);
}

/// An editor with pictures as an engine makes them.
class EditorThumbnails : public EditorFixture {
protected:
    static FakeFile withPicture(int width, int height) {
        FakeFile file = FakeFile::video(4);
        file.picture = redAndBlue(width, height);
        return file;
    }
    [[nodiscard]] Sides sides(const FileURL& url) const {
        const auto found = editor->thumbnails().find(url);
        return found == editor->thumbnails().end() ? Sides() : Sides(found->second->width, found->second->height);
    }
};

TEST_F(EditorThumbnails, AreKeptAtTheSizeThatIsDrawn) {
    const FileURL a = makeManaged("a.mov", withPicture(1024, 576));
    load({}, std::vector<Clip>{videoClip(1, a, 4)});
    context.settle();
    EXPECT_EQ(sides(a), Sides(540, 304));
    editor->importURLs({makeSource("b.mov", withPicture(576, 1024))});
    context.settle();
    EXPECT_EQ(sides(editor->assets()[1].url), Sides(288, 512));
    ASSERT_TRUE(finish(editor->importMedia({makeSource("c.mov", withPicture(1024, 1024))}, nullptr)));
    EXPECT_EQ(sides(editor->assets()[2].url), Sides(304, 304));
}

TEST_F(EditorThumbnails, ALoadEndsWhereTheRoomEndsAndAnImportStillHasItsPicture) {
    const FakeFile wide = withPicture(1024, 300);
    const std::size_t fitting = Thumbnails::defaultLimit / wide.picture->pixels.size();
    std::vector<Clip> assets;
    for (std::size_t i = 0; i < fitting + 10; ++i)
        assets.push_back(video(makeManaged("a" + std::to_string(i) + ".mov", wide), 4));
    load({}, assets);
    context.settle();
    EXPECT_FALSE(editor->isLoadingThumbnails());
    EXPECT_EQ(editor->thumbnails().size(), fitting);
    EXPECT_TRUE(editor->thumbnails().contains(assets[fitting - 1].url));
    EXPECT_EQ(media.count("openAsset"), fitting);

    editor->importURLs({makeSource("new.mov", wide)});
    context.settle();
    EXPECT_EQ(editor->thumbnails().size(), fitting);
    EXPECT_TRUE(editor->thumbnails().contains(editor->assets().back().url));
    EXPECT_FALSE(editor->thumbnails().contains(assets[0].url));
}

}  // namespace
}  // namespace kelvane::testing
