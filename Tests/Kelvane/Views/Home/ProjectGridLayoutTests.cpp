#include <gtest/gtest.h>

#include "Views/Home/ProjectGridLayout.h"

namespace kelvane::testing {
namespace {

TEST(ProjectGridLayoutTests, ColumnsAreAsManyAsFitAndShareTheWidth) {
    struct Row {
        double width;
        int columns;
        double cardWidth;
    };
    const Row rows[] = {{1060, 3, 964.0 / 3}, {740, 2, 334},  {712, 2, 320},
                        {711, 1, 663},        {1600, 4, 370}, {100, 1, 52}};
    for (const Row& row : rows) {
        const ProjectGridLayout grid{row.width};
        EXPECT_EQ(grid.columns(), row.columns) << row.width;
        EXPECT_DOUBLE_EQ(grid.cardWidth(), row.cardWidth) << row.width;
    }
}

TEST(ProjectGridLayoutTests, CardsStandBesideAndBelowEachOther) {
    const ProjectGridLayout grid{740};
    EXPECT_EQ(grid.frame(0), QRectF(24, 90, 334, 168));
    EXPECT_EQ(grid.frame(1), QRectF(382, 90, 334, 168));
    EXPECT_EQ(grid.frame(2), QRectF(24, 286, 334, 168));
}

TEST(ProjectGridLayoutTests, KeysOfDirectionLeadToTheNeighbour) {
    // Three columns, eight cards: the last row is short of one.
    const ProjectGridLayout grid{1060};
    struct Row {
        int from, columns, rows, to;
    };
    const Row rows[] = {{0, 1, 0, 1},  {2, 1, 0, 3}, {7, 1, 0, 7}, {0, -1, 0, 0}, {3, -1, 0, 2},
                        {1, 0, 1, 4},  {5, 0, 1, 7}, {7, 0, 1, 7}, {6, 0, 1, 6},  {4, 0, -1, 1},
                        {1, 0, -1, 1}, {0, 0, 9, 6}, {2, 0, 9, 7}, {7, 0, -9, 1}, {99, 0, 0, 7}};
    for (const Row& row : rows)
        EXPECT_EQ(grid.neighbour(row.from, 8, row.columns, row.rows), row.to)
            << row.from << " by " << row.columns << ", " << row.rows;
    EXPECT_EQ(grid.neighbour(0, 0, 1, 0), -1);
}

}  // namespace
}  // namespace kelvane::testing
