#include <gtest/gtest.h>

#include <vector>

#include "Views/Export/RemainingTime.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

TEST(RemainingTime, IsToldOnceEnoughHasBeenSeen) {
    RemainingTime remaining;
    EXPECT_FALSE(remaining.left());
    remaining.note(0, 0s);
    remaining.note(0.1, 1s);
    EXPECT_FALSE(remaining.left()) << "a second is too short";
    remaining.note(0.2, 2s);
    ASSERT_TRUE(remaining.left());
    EXPECT_DOUBLE_EQ(remaining.left()->count(), 8);
    remaining.note(1, 10s);
    EXPECT_FALSE(remaining.left()) << "it is done";
}

TEST(RemainingTime, SlowWorkTellsNothingBeforeItHasGoneSomeWay) {
    RemainingTime remaining;
    remaining.note(0, 0s);
    remaining.note(0.02, 60s);
    EXPECT_FALSE(remaining.left());
    remaining.note(0.04, 120s);
    EXPECT_NEAR(remaining.left()->count(), 2880, 1);
}

TEST(RemainingTime, AStretchThatIsSlowerCountsForAPart) {
    RemainingTime remaining;
    for (int second = 0; second <= 5; ++second) remaining.note(second * 0.1, std::chrono::seconds(second));
    EXPECT_NEAR(remaining.left()->count(), 5, 1e-9);
    remaining.note(0.55, 6s);
    EXPECT_NEAR(remaining.left()->count(), 0.45 / 0.09, 1e-9);
    const auto before = remaining.left()->count();
    remaining.note(0.55, 30s);
    EXPECT_EQ(remaining.left()->count(), before) << "no news";
}

TEST(RemainingTime, WorkThatBeginsAnewForgetsWhatWas) {
    RemainingTime remaining;
    remaining.note(0, 0s);
    remaining.note(0.5, 5s);
    ASSERT_TRUE(remaining.left());
    remaining.note(0, 6s);
    EXPECT_FALSE(remaining.left());
}

TEST(RemainingTime, IsWordedForAPerson) {
    const std::vector<std::pair<double, std::string>> rows = {
        {0, "Less than 5 seconds left"}, {4.9, "Less than 5 seconds left"}, {5, "About 5 seconds left"},
        {18, "About 20 seconds left"},   {27.4, "About 25 seconds left"},   {28, "About 30 seconds left"},
        {54, "About 50 seconds left"},   {55, "About 1 minute left"},       {89, "About 1 minute left"},
        {91, "About 2 minutes left"},    {3500, "About 58 minutes left"},   {3600, "About 1 hour left"},
        {7300, "About 2 hours left"},
    };
    for (const auto& [seconds, text] : rows)
        EXPECT_EQ(RemainingTime::text(std::chrono::duration<double>(seconds)), text) << seconds;
}

}  // namespace
}  // namespace kelvane::testing
