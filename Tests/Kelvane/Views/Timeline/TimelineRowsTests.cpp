#include <gmock/gmock.h>

#include <random>

#include "Support/ClipBuilder.h"
#include "Views/Timeline/TimelineRows.h"

namespace kelvane::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TimelineRows rowsOf(const std::vector<Clip>& clips) { return TimelineRows(TimelinePlacement(clips)); }

TEST(TimelineRows, FindsWhatATimeBelongsTo) {
    const auto rows = rowsOf({audioClip(1, "/a.wav", 4).at(2), videoClip(2, "/b.mov", 3), videoClip(3, "/c.mov", 2)});
    ASSERT_EQ(rows.count(), 2U);
    EXPECT_EQ(rows.size(0), 2U);
    EXPECT_THAT(rows.between(0, 0.5, 1), ElementsAre(1));
    EXPECT_THAT(rows.between(0, 3, 3), ElementsAre(1, 2)) << "a cut belongs to both";
    EXPECT_THAT(rows.between(0, 5.1, 9), IsEmpty());
    EXPECT_THAT(rows.between(1, 0, 1.9), IsEmpty());
    EXPECT_THAT(rows.between(1, 5, 5), ElementsAre(0));
    EXPECT_EQ(rowsOf({}).count(), 1U) << "the video's row is always there";
}

TEST(TimelineRows, FindsWhatReachesFarAmongClipsThatOverlap) {
    const UUID lane = uuid(9);
    const auto rows = rowsOf({audioClip(1, "/a.wav", 1).at(5).lane(lane), audioClip(2, "/a.wav", 10).at(0).lane(lane),
                              audioClip(3, "/a.wav", 1).at(2).lane(lane)});
    EXPECT_THAT(rows.between(1, 7, 8), ElementsAre(1));
    EXPECT_THAT(rows.between(1, 2.5, 5.5), ElementsAre(1, 2, 0));
}

TEST(TimelineRows, FindsTheSameAsALookAtEachClip) {
    std::mt19937 random(7);
    const auto number = [&random](double most) { return std::uniform_real_distribution(0.0, most)(random); };
    std::vector<Clip> clips;
    for (std::uint64_t i = 0; i < 200; ++i) {
        Clip clip =
            i % 3 == 0 ? videoClip(i + 1).clip() : audioClip(i + 1).at(number(60)).lane(uuid(900 + i % 4)).clip();
        clip.end = clip.start + 0.1 + number(5);
        clips.push_back(clip);
    }
    const TimelinePlacement placement(clips);
    const TimelineRows rows(placement);
    for (int round = 0; round < 300; ++round) {
        const double from = number(80) - 5;
        const double to = from + number(20);
        std::size_t found = 0;
        for (std::size_t row = 0; row < rows.count(); ++row) found += rows.between(row, from, to).size();
        std::size_t expected = 0;
        for (std::size_t i = 0; i < clips.size(); ++i)
            if (placement.span(i).end >= from && placement.span(i).start <= to) ++expected;
        ASSERT_EQ(found, expected) << from << " to " << to;
    }
}

}  // namespace
}  // namespace kelvane::testing
