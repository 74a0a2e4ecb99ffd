#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "Support/ClipBuilder.h"
#include "Views/Rows/RowChanges.h"

namespace kelvane {

static void PrintTo(const RowChange& change, std::ostream* out) {
    static constexpr const char* names[] = {"remove", "move", "insert"};
    *out << names[static_cast<int>(change.kind)] << ' ' << change.first << '+' << change.count;
    if (change.kind == RowChange::Kind::move) *out << " to " << change.destination;
}

namespace testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Kind = RowChange::Kind;
using Rows = std::vector<UUID>;

Rows rows(std::initializer_list<int> numbers) {
    Rows found;
    for (const int number : numbers) found.push_back(uuid(number));
    return found;
}

Rows range(int first, int end) {
    Rows found;
    for (int number = first; number < end; ++number) found.push_back(uuid(number));
    return found;
}

/// What a view that follows the steps shows in the end.
Rows followed(Rows shown, const std::vector<RowChange>& changes, const Rows& after) {
    for (const RowChange& change : changes) {
        const auto first = shown.begin() + change.first;
        EXPECT_GT(change.count, 0);
        if (change.kind == Kind::remove) {
            shown.erase(first, first + change.count);
        } else if (change.kind == Kind::insert) {
            shown.insert(first, after.begin() + change.first, after.begin() + change.first + change.count);
        } else {
            EXPECT_TRUE(change.destination < change.first || change.destination > change.first + change.count)
                << "a move to its own place";
            const Rows block(first, first + change.count);
            shown.erase(first, first + change.count);
            const int place = change.destination - (change.destination > change.first ? change.count : 0);
            shown.insert(shown.begin() + place, block.begin(), block.end());
        }
    }
    return shown;
}

TEST(RowChanges, EqualRowsNeedNone) {
    EXPECT_THAT(rowChanges({}, {}), IsEmpty());
    EXPECT_THAT(rowChanges(range(0, 1000), range(0, 1000)), IsEmpty());
}

TEST(RowChanges, RowsThatLieTogetherChangeTogether) {
    EXPECT_THAT(rowChanges({}, range(0, 1000)), ElementsAre(RowChange{Kind::insert, 0, 1000, 0}));
    EXPECT_THAT(rowChanges(range(0, 1000), {}), ElementsAre(RowChange{Kind::remove, 0, 1000, 0}));
    EXPECT_THAT(rowChanges(rows({1, 2, 3, 4, 5, 6}), rows({1, 4, 6})),
                ElementsAre(RowChange{Kind::remove, 4, 1, 0}, RowChange{Kind::remove, 1, 2, 0}));
    EXPECT_THAT(rowChanges(rows({1, 4, 6}), rows({1, 2, 3, 4, 5, 6})),
                ElementsAre(RowChange{Kind::insert, 1, 2, 0}, RowChange{Kind::insert, 4, 1, 0}));
}

TEST(RowChanges, OneMoveIsOneStep) {
    Rows after = range(0, 1000);
    std::rotate(after.begin() + 10, after.begin() + 11, after.begin() + 901);
    EXPECT_THAT(rowChanges(range(0, 1000), after), ElementsAre(RowChange{Kind::move, 10, 1, 901})) << "down";
    after = range(0, 1000);
    std::rotate(after.begin() + 10, after.begin() + 900, after.begin() + 901);
    EXPECT_THAT(rowChanges(range(0, 1000), after), ElementsAre(RowChange{Kind::move, 900, 1, 10})) << "up";
    after = range(0, 1000);
    std::rotate(after.begin(), after.begin() + 600, after.end());
    EXPECT_THAT(rowChanges(range(0, 1000), after), ElementsAre(RowChange{Kind::move, 600, 400, 0}))
        << "the smaller of two blocks";
}

TEST(RowChanges, ARowThatTakesAnothersPlaceIsRemovedAndInserted) {
    EXPECT_THAT(rowChanges(rows({1, 2, 3}), rows({1, 9, 3})),
                ElementsAre(RowChange{Kind::remove, 1, 1, 0}, RowChange{Kind::insert, 1, 1, 0}));
}

TEST(RowChanges, AnIDThatStandsTwiceIsTwoRows) {
    EXPECT_THAT(rowChanges(rows({1, 1, 2}), rows({1, 2})), ElementsAre(RowChange{Kind::remove, 1, 1, 0}));
    EXPECT_THAT(rowChanges(rows({1, 2}), rows({1, 2, 1, 1})), ElementsAre(RowChange{Kind::insert, 2, 2, 0}));
    EXPECT_THAT(rowChanges(rows({2, 1, 1}), rows({1, 1, 2})), ElementsAre(RowChange{Kind::move, 0, 1, 3}));
}

TEST(RowChanges, LeadFromAnyRowsToAnyOthers) {
    std::mt19937 random(20260714);
    for (int round = 0; round < 3000; ++round) {
        // Few numbers, so that rows stay, go, come back and stand more than once.
        const auto some = [&random] {
            Rows found(random() % 12);
            for (UUID& id : found) id = uuid(static_cast<int>(random() % 14));
            return found;
        };
        const Rows before = some();
        const Rows after = some();
        const auto changes = rowChanges(before, after);
        ASSERT_EQ(followed(before, changes, after), after) << ::testing::PrintToString(changes);
    }
}

TEST(RowChanges, AShuffleMovesNoRowMoreThanOnce) {
    std::mt19937 random(7);
    Rows after = range(0, 1000);
    std::ranges::shuffle(after, random);
    const auto changes = rowChanges(range(0, 1000), after);
    EXPECT_LT(changes.size(), 1000U);
    EXPECT_EQ(followed(range(0, 1000), changes, after), after);
    Rows reversed = range(0, 1000);
    std::ranges::reverse(reversed);
    EXPECT_EQ(rowChanges(range(0, 1000), reversed).size(), 999U) << "one row stays";
}

}  // namespace
}  // namespace testing
}  // namespace kelvane
