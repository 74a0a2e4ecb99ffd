#pragma once

#include <QRectF>

namespace kelvane {

/// Where the cards of a grid stand: in columns that are as many as fit and share the width. Pure; lengths in points,
/// rows and columns from 0.
struct ProjectGridLayout {
    /// Of a card.
    static constexpr double leastWidth = 320;
    static constexpr double height = 168;
    static constexpr double spacing = 24;
    static constexpr double rowSpacing = 28;
    /// Left and right of the cards.
    static constexpr double margin = 24;
    /// The heading above the first row.
    static constexpr double heading = 90;

    /// Of what the grid stands in.
    double width = 0;

    [[nodiscard]] int columns() const;
    [[nodiscard]] double cardWidth() const;
    /// The place of the card at `index`, from the upper end of the content on.
    [[nodiscard]] QRectF frame(int index) const;
    /// The card that a key of direction leads to from `index`, which is one of `count`; the same one where there is
    /// none: `columnStep` is -1, 0 or 1, `rowStep` any number of rows. From a row's end to its neighbour's start.
    [[nodiscard]] int neighbour(int index, int count, int columnStep, int rowStep) const;
};

}  // namespace kelvane
