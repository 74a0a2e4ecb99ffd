#include <gtest/gtest.h>

#include "Support/ClipBuilder.h"
#include "Views/Timeline/TimelineMotion.h"

namespace kelvane::testing {
namespace {

using namespace std::chrono_literals;

TEST(SpringRest, GoesFromOneToNothingAndALittleBeyond) {
    EXPECT_EQ(springRest(-1), 1);
    EXPECT_EQ(springRest(0), 1);
    EXPECT_NEAR(springRest(0.1), 0.278, 0.001);
    EXPECT_NEAR(springRest(0.2), 0.009, 0.001);
    EXPECT_LT(springRest(0.25), 0) << "it swings";
    EXPECT_GT(springRest(0.25), -0.02);
    EXPECT_NEAR(springRest(springLength - 1e-9), 0, 0.01) << "nothing jumps when it settles";
    EXPECT_EQ(springRest(springLength), 0);
}

class TimelineMotionTests : public ::testing::Test {
protected:
    /// Where a clip is drawn at `now` that belongs to `left`.
    double shown(TimelineMotion::Time now, double left, bool travels = true) {
        motion.begin(now, travels);
        const double at = motion.shown(uuid(1), {left, 22, 50, 86}).left();
        isMoving = motion.end();
        return at;
    }

    TimelineMotion motion;
    bool isMoving = false;
};

TEST_F(TimelineMotionTests, AClipThatComesIntoSightStandsWhereItBelongs) {
    EXPECT_EQ(shown(0ms, 100), 100);
    EXPECT_FALSE(isMoving);
}

TEST_F(TimelineMotionTests, AClipThatMovesTravelsFromWhereItWasDrawn) {
    shown(0ms, 100);
    EXPECT_EQ(shown(10ms, 200), 100);
    EXPECT_TRUE(isMoving);
    EXPECT_NEAR(shown(110ms, 200), 200 - 100 * springRest(0.1), 1e-9);
    EXPECT_EQ(shown(360ms, 200), 200);
    EXPECT_FALSE(isMoving);
}

TEST_F(TimelineMotionTests, AClipThatIsMovedUnderWayGoesOnFromWhereItIs) {
    shown(0ms, 100);
    shown(0ms, 200);
    const double under = 200 - 100 * springRest(0.1);
    EXPECT_NEAR(shown(100ms, 50), under, 1e-9);
    EXPECT_NEAR(shown(200ms, 50), 50 + (under - 50) * springRest(0.1), 1e-9);
}

TEST_F(TimelineMotionTests, WithoutTravelItIsThereAtOnce) {
    shown(0ms, 100);
    EXPECT_EQ(shown(10ms, 200, false), 200);
    EXPECT_FALSE(isMoving);
    EXPECT_EQ(shown(20ms, 200), 200);
}

TEST_F(TimelineMotionTests, AClipThatAHandLetsGoOfTravelsFromThere) {
    motion.begin(0ms, true);
    EXPECT_EQ(motion.held(uuid(1), {300, 22, 50, 86}).left(), 300);
    motion.end();
    EXPECT_EQ(shown(10ms, 200), 300);
    EXPECT_TRUE(isMoving);
}

TEST_F(TimelineMotionTests, AClipThatWentOutOfSightIsForgotten) {
    shown(0ms, 100);
    motion.begin(10ms, true);
    motion.end();
    EXPECT_EQ(shown(20ms, 200), 200);
}

}  // namespace
}  // namespace kelvane::testing
