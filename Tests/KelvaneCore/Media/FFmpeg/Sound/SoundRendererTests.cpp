#include <gtest/gtest.h>

#include <cmath>

#include "Media/FFmpeg/Sound/SoundRenderer.h"
#include "Media/MediaError.h"
#include "SoundTestFiles.h"
#include "Support/TempFolder.h"

namespace kelvane {
namespace {

using namespace testing;

/// A source whose left sample says its own position: a ramp that starts again after each second, in float.
double ramp(double seconds, int) { return (std::llround(seconds * 48000) % 48000) / 48000.0; }

class SoundRendererTest : public ::testing::Test {
protected:
    std::shared_ptr<const FFmpegTrack> source(const std::string& name, double seconds, SoundFunction sound = ramp) {
        SoundFile file{name, "wav", "pcm_f32le", 48000, 2, seconds};
        file.sound = std::move(sound);
        EXPECT_TRUE(writeSound(folder_.path(name), file));
        return trackOf(folder_.path(name));
    }
    TempFolder folder_;
};

TEST_F(SoundRendererTest, GainsStepExactlyAtTheCut) {
    const auto one = source("one.wav", 2, [](double, int) { return 0.5; });
    EditedMedia media;
    addSound(media,
             {{0, one, 0, 0.5, 1}, {0.5, one, 0.25, 0.5, 0.25F}, {1, one, 0, 0.5, 0.0F}, {1.5, one, 0, 0.25, 1}});
    const auto sound = render(media, 2);
    for (std::size_t i = 0; i < 96000; ++i) {
        const double expected = i < 24000 ? 0.5 : i < 48000 ? 0.125 : i < 72000 ? 0.0 : i < 84000 ? 0.5 : 0.0;
        ASSERT_EQ(sound[i * 2], static_cast<float>(expected)) << i;
    }
}

TEST_F(SoundRendererTest, EachSegmentPlaysItsOwnStretchToTheSample) {
    const auto a = source("a.wav", 3);
    const auto b = source("b.wav", 3, [](double t, int c) { return -ramp(t, c); });
    EditedMedia media;
    const double unit = 1.0 / 600;
    addSound(media, {{0, a, 0.25, 7 * unit, 1}, {7 * unit, b, 1 + unit, 0.5, 1}, {1, a, 0, 0.3, 1}});
    const auto sound = render(media, 1.5);
    for (std::size_t i = 0; i < 72000; ++i) {
        double expected = 0;
        if (i < 560)
            expected = ramp(0.25 + static_cast<double>(i) / 48000, 0);
        else if (i < 560 + 24000)
            expected = -ramp(1 + static_cast<double>(80 + i - 560) / 48000, 0);
        else if (i >= 48000 && i < 48000 + 14400)
            expected = ramp(static_cast<double>(i - 48000) / 48000, 0);
        ASSERT_NEAR(sound[i * 2], expected, 1e-6) << i;
    }
}

TEST_F(SoundRendererTest, OverlaysAndClipSoundAddUpBeyondFullScale) {
    const auto loud = source("loud.wav", 2, [](double, int) { return 0.75; });
    EditedMedia media;
    addSound(media, {{0, loud, 0, 1, 1}});
    addSound(media, {{0.5, loud, 0, 1, 0.5F}});
    addSound(media, {{0.75, loud, 0.1, 0.5, 1}});
    const auto sound = render(media, 2);
    for (std::size_t i = 0; i < 96000; ++i) {
        const double expected =
            (i < 48000 ? 0.75 : 0) + (i >= 24000 && i < 72000 ? 0.375 : 0) + (i >= 36000 && i < 60000 ? 0.75 : 0);
        ASSERT_EQ(sound[i * 2], static_cast<float>(expected)) << i;
    }
}

TEST_F(SoundRendererTest, OneFileInManyLanesAtOnceIsReadForEachLane) {
    const auto file = source("file.wav", 4);
    EditedMedia media;
    constexpr int lanes = 70;
    for (int lane = 0; lane < lanes; ++lane) addSound(media, {{0, file, lane * 0.05, 0.4, 1.0F / lanes}});
    const auto sound = render(media, 0.4);
    for (std::size_t i = 0; i < 19200; i += 97) {
        double expected = 0;
        for (int lane = 0; lane < lanes; ++lane)
            expected += ramp(lane * 0.05 + static_cast<double>(i) / 48000, 0) / lanes;
        ASSERT_NEAR(sound[i * 2], expected, 1e-5) << i;
    }
}

TEST_F(SoundRendererTest, StretchesAskedOutOfOrderAreTheSame) {
    const auto file = source("file.wav", 4, testSound);
    EditedMedia media;
    addSound(media, {{0, file, 0.5, 1, 1}, {1, file, 0, 1, 0.5F}});
    const auto whole = render(media, 2);
    SoundRenderer renderer(std::make_shared<const EditedMedia>(media));
    for (const std::size_t first : {70000U, 20000U, 47990U, 0U, 95000U}) {
        std::vector<float> part(2000);
        ASSERT_TRUE(renderer.render(static_cast<std::int64_t>(first), part, {}));
        const auto from = whole.begin() + static_cast<std::ptrdiff_t>(first * 2);
        EXPECT_TRUE(std::equal(part.begin(), part.end(), from)) << first;
    }
}

TEST_F(SoundRendererTest, ASourceThatHasGoneFailsWithItsBaseName) {
    const auto file = source("Take 1.wav", 2);
    EditedMedia media;
    addSound(media, {{0, file, 0, 1, 1}});
    ASSERT_EQ(unlink(folder_.path("Take 1.wav").c_str()), 0);
    SoundRenderer renderer(std::make_shared<const EditedMedia>(media));
    std::vector<float> part(2000);
    EXPECT_EQ(renderer.render(0, part, {}), std::unexpected(MediaError::invalidClip("Take 1")));
}

TEST_F(SoundRendererTest, ASilentOverlayOpensNothing) {
    const auto file = source("file.wav", 2);
    EditedMedia media;
    addSound(media, {{0, file, 0, 1, 0}});
    ASSERT_EQ(unlink(folder_.path("file.wav").c_str()), 0);
    const auto sound = render(media, 1);
    EXPECT_EQ(std::ranges::count(sound, 0.0F), std::ssize(sound));
}

}  // namespace
}  // namespace kelvane
