#include <gmock/gmock.h>

#include "Support/ClipBuilder.h"
#include "Views/Assets/AssetGridLayout.h"

namespace kelvane::testing {
namespace {

using ::testing::UnorderedElementsAre;

AssetGridLayout grid(double width, std::size_t count) {
    AssetGridLayout layout;
    layout.width = width;
    for (std::size_t id = 1; id <= count; ++id) layout.ids.push_back(uuid(id));
    return layout;
}

TEST(AssetGridLayout, HasAsManyColumnsAsFitAndAtLeastOne) {
    struct Row {
        double width;
        int columns;
    };
    // An item is 144 wide, with 12 between two and 6 at either side.
    for (const Row& row : {Row{-20, 1}, Row{0, 1}, Row{60, 1}, Row{156, 1}, Row{300, 1}, Row{311.9, 1}, Row{312, 2},
                           Row{467, 2}, Row{468, 3}, Row{1060, 6}})
        EXPECT_EQ(grid(row.width, 3).columnCount(), row.columns) << row.width;
}

TEST(AssetGridLayout, ItemsStandInRowsFromTheLeft) {
    const AssetGridLayout layout = grid(312, 3);
    EXPECT_EQ(layout.frame(0), QRectF(6, 6, 144, 81));
    EXPECT_EQ(layout.frame(1), QRectF(162, 6, 144, 81));
    EXPECT_EQ(layout.frame(2), QRectF(6, 101, 144, 81));
    EXPECT_EQ(layout.height(), 188);
    EXPECT_EQ(grid(312, 0).height(), 12);
    EXPECT_EQ(grid(100, 3).frame(2), QRectF(6, 196, 144, 81));
}

TEST(AssetGridLayout, APointIsOnTheItemUnderItAndOnNoneBetweenThem) {
    const AssetGridLayout layout = grid(312, 3);
    EXPECT_EQ(layout.assetAt({7, 7}), uuid(1));
    EXPECT_EQ(layout.assetAt({170, 80}), uuid(2));
    EXPECT_EQ(layout.assetAt({70, 180}), uuid(3));
    for (const QPointF point : {QPointF(2, 40), QPointF(156, 40), QPointF(40, 94), QPointF(200, 120), QPointF(40, 300)})
        EXPECT_FALSE(layout.containsAsset(point)) << point.x() << ", " << point.y();
}

TEST(AssetGridLayout, ABandSelectsWhatItTouchesAndNothingWithoutAnArea) {
    const AssetGridLayout layout = grid(312, 5);
    EXPECT_THAT(layout.selection({0, 0, 10, 10}), UnorderedElementsAre(uuid(1)));
    EXPECT_THAT(layout.selection({140, 80, 30, 30}), UnorderedElementsAre(uuid(1), uuid(2), uuid(3), uuid(4)));
    EXPECT_THAT(layout.selection({151, 0, 10, 500}), UnorderedElementsAre());
    EXPECT_THAT(layout.selection({20, 20, 0, 200}), UnorderedElementsAre());
    EXPECT_THAT(layout.selection({20, 20, 200, 0}), UnorderedElementsAre());
    EXPECT_THAT(layout.selection({20, 20, -10, 20}), UnorderedElementsAre());
}

}  // namespace
}  // namespace kelvane::testing
