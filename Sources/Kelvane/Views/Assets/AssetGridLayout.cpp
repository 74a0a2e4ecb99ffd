#include "AssetGridLayout.h"

#include <algorithm>
#include <limits>

namespace kelvane {

int AssetGridLayout::columnCount() const {
    const double room = columnSpacing + std::max(width - 2 * padding, 1.0);
    const double columns = room / (columnSpacing + itemWidth);
    return std::max(static_cast<int>(std::min(columns, double{std::numeric_limits<int>::max()})), 1);
}

QRectF AssetGridLayout::frame(std::size_t index) const {
    const auto columns = static_cast<std::size_t>(columnCount());
    const auto column = static_cast<double>(index % columns);
    const auto row = static_cast<double>(index / columns);
    return {padding + (itemWidth + columnSpacing) * column, padding + (rowSpacing + itemHeight()) * row, itemWidth,
            itemHeight()};
}

double AssetGridLayout::height() const { return ids.empty() ? 2 * padding : frame(ids.size() - 1).bottom() + padding; }

std::optional<UUID> AssetGridLayout::assetAt(QPointF point) const {
    for (std::size_t index = 0; index < ids.size(); ++index)
        if (frame(index).contains(point)) return ids[index];
    return std::nullopt;
}

std::set<UUID> AssetGridLayout::selection(const QRectF& band) const {
    std::set<UUID> touched;
    if (!(band.width() > 0 && band.height() > 0)) return touched;
    for (std::size_t index = 0; index < ids.size(); ++index)
        if (frame(index).intersects(band)) touched.insert(ids[index]);
    return touched;
}

}  // namespace kelvane
