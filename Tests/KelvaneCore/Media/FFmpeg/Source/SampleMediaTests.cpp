#include <gtest/gtest.h>

#include <cmath>

#include "Support/SampleMedia.h"

namespace kelvane::testing {
namespace {

TEST(SampleMedia, ReadsBackEveryNumber) {
    for (int number = 0; number < sampleNumbers; number += 7) {
        const auto picture = samplePicture(40, 24, number);
        EXPECT_EQ(readSampleNumber(picture.data(), 40, 40, 24), number);
    }
    EXPECT_EQ(readSampleNumber([](double, double) { return 16; }), std::nullopt);
    EXPECT_EQ(readSampleNumber([](double, double) { return 128; }), std::nullopt);
    EXPECT_EQ(readSampleNumber([](double, double) { return 235; }), std::nullopt);
}

TEST(SampleMedia, FindsTheBurstsOfTimedSound) {
    const auto sound = sampleSound(7, 48000);
    const auto bursts = findSampleBursts(sound, 48000);
    ASSERT_EQ(bursts.size(), 70U);
    for (std::size_t i = 0; i < bursts.size(); ++i) {
        EXPECT_EQ(bursts[i].number, static_cast<int>(i % 64));
        EXPECT_NEAR(bursts[i].at, static_cast<double>(i) * 0.1, 0.002);
    }
    EXPECT_TRUE(findSampleBursts(std::vector<float>(48000, 0), 48000).empty());
}

}  // namespace
}  // namespace kelvane::testing
