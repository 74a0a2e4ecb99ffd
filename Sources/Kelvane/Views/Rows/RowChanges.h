#pragma once

#include <span>
#include <vector>

#include "Support/UUID.h"

namespace kelvane {

/// One step from a list of rows to another, as an item model tells it: rows [first, first + count) are removed, come in
/// at that place, or move, as a block, to before row `destination`, counted as the rows stand before the move.
struct RowChange {
    enum class Kind { remove, move, insert };
    Kind kind = Kind::remove;
    int first = 0;
    int count = 0;
    int destination = 0;
    bool operator==(const RowChange&) const = default;
};

/// The steps that turn rows with the ids `before` into rows with the ids `after`: first what goes, from the end on,
/// then what moves, then what comes, from the start on, so that an inserted row stands at its place in `after` at once.
/// Rows that lie together change together, and as many rows as possible stay where they are. Where an id stands more
/// than once, its first row counts as the first, and so on. Time grows as n log n, plus n for each step. Any thread.
std::vector<RowChange> rowChanges(std::span<const UUID> before, std::span<const UUID> after);

}  // namespace kelvane
