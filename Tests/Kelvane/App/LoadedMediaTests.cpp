#include <gmock/gmock.h>

#include "App/LoadedMedia.h"
#include "Support/TempFolder.h"

namespace kelvane::testing {
namespace {

TEST(LoadedMediaTests, TheEngineIsThatOfItsLibrary) {
    const TempFolder folder;
    LoadedMedia media;
    const auto none = media.openAsset(folder.url("None.mov"), {});
    ASSERT_FALSE(none.has_value());
    EXPECT_THAT(none.error().message, ::testing::HasSubstr("None")) << "the engine's own words";
    const FileURL file = folder.url("Drawn.mp4");
    const DrawnMovie movie{.width = 64, .height = 64, .pictureCount = 15, .picture = [](std::int64_t) {
                               return std::vector<std::uint8_t>(64 * 64 * 3, 128);
                           }};
    ASSERT_TRUE(media.writeDrawnMovie(file, movie, {}).has_value());
    const auto asset = media.openAsset(file, {});
    ASSERT_TRUE(asset.has_value()) << asset.error().message;
    EXPECT_TRUE(media.image(*asset, {0, 1}, {64, 64}, {}).has_value());
}

TEST(LoadedMediaTests, WithoutItsLibraryEachCallFailsInWords) {
    const TempFolder folder;
    const FileURL file = folder.url("None.mov");
    const std::string words =
        "Kelvane cannot work with media: its library libkelvane-none.so is missing; reinstall it.";
    LoadedMedia media("libkelvane-none.so");
    media.load();
    const auto told = [](const auto& result) { return result.has_value() ? std::string() : result.error().message; };
    const auto consume = [](std::size_t, const TimedStill&) -> Result<void> { return {}; };
    EXPECT_EQ(told(media.openAsset(file, {})), words);
    EXPECT_EQ(told(media.image(nullptr, {}, {}, {})), words);
    EXPECT_EQ(told(media.sourceStills(file, {}, {}, consume, {})), words);
    EXPECT_EQ(told(media.timelineStills(nullptr, {}, {}, consume, {})), words);
    EXPECT_EQ(told(media.readSamples(nullptr, "None", 0, {}, [](const SampleBlock&) {}, {})), words);
    EXPECT_EQ(told(media.yieldsSound(nullptr, "None", {})), words);
    EXPECT_EQ(told(media.makeTakeWriter(file)), words);
    EXPECT_EQ(told(media.writeDrawnMovie(file, {}, {})), words);
    EXPECT_EQ(media.makeExportSession(nullptr), nullptr);
    EXPECT_EQ(media.makePictureStream(nullptr, {}), nullptr);
    EXPECT_EQ(media.makeSoundStream(nullptr), nullptr);
}

}  // namespace
}  // namespace kelvane::testing
