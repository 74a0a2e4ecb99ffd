#pragma once

#include <QPointF>
#include <QRectF>
#include <cstddef>
#include <optional>
#include <set>
#include <vector>

#include "Support/UUID.h"

namespace kelvane {

/// Where the pictures of assets stand in a pane of some width: in rows from the left, as many to a row as fit. Points
/// from the upper left corner of the grid. A plain value.
struct AssetGridLayout {
    /// Of the pane.
    double width = 0;
    /// Of the assets, in the order of the list.
    std::vector<UUID> ids;
    /// Left and right of the items, and above and below them.
    double padding = 6;
    double columnSpacing = 12;
    double rowSpacing = 14;
    double itemWidth = 144;

    bool operator==(const AssetGridLayout&) const = default;

    /// Pictures are 16:9.
    [[nodiscard]] double itemHeight() const { return itemWidth * 9 / 16; }
    /// At least 1, however narrow the pane is.
    [[nodiscard]] int columnCount() const;
    /// Of the item at `index`, which may lie behind the last.
    [[nodiscard]] QRectF frame(std::size_t index) const;
    /// Of all rows, with the padding; the padding alone without any.
    [[nodiscard]] double height() const;
    /// The item under `point`; none between them.
    [[nodiscard]] std::optional<UUID> assetAt(QPointF point) const;
    [[nodiscard]] bool containsAsset(QPointF point) const { return assetAt(point).has_value(); }
    /// What a rubber band touches; nothing for one without width or height.
    [[nodiscard]] std::set<UUID> selection(const QRectF& band) const;
};

}  // namespace kelvane
