#include "RowChanges.h"

#include <algorithm>
#include <numeric>
#include <ranges>
#include <utility>

namespace kelvane {

namespace {

constexpr int none = -1;

/// The rows in the order of their ids; equal ids in the order of their rows.
std::vector<int> rowsByID(std::span<const UUID> ids) {
    std::vector<int> rows(ids.size());
    std::iota(rows.begin(), rows.end(), 0);
    std::ranges::sort(rows, {}, [ids](int row) { return std::pair(ids[static_cast<std::size_t>(row)], row); });
    return rows;
}

/// For each row of `after` the row of `before` that it was; `none` for a new one.
std::vector<int> origins(std::span<const UUID> before, std::span<const UUID> after) {
    const auto idIn = [](std::span<const UUID> ids, int row) { return ids[static_cast<std::size_t>(row)]; };
    const std::vector<int> old = rowsByID(before);
    std::vector<int> found(after.size(), none);
    auto candidate = old.begin();
    for (const int row : rowsByID(after)) {
        const UUID id = idIn(after, row);
        while (candidate != old.end() && idIn(before, *candidate) < id) ++candidate;
        if (candidate != old.end() && idIn(before, *candidate) == id)
            found[static_cast<std::size_t>(row)] = *candidate++;
    }
    return found;
}

/// Calls `act(first, count)` for each run of places in [0, size) where `holds`, from the start on.
template <class Holds, class Act>
void forEachRun(int size, const Holds& holds, const Act& act) {
    for (int first = 0; first < size; ++first) {
        if (!holds(first)) continue;
        int end = first + 1;
        while (end < size && holds(end)) ++end;
        act(first, end - first);
        first = end;
    }
}

/// Which values of a permutation belong to its longest rising subsequence, by value.
std::vector<bool> longestRise(const std::vector<int>& permutation) {
    // The last value of the best rise of each length so far, and for each value the one before it.
    std::vector<int> ends;
    std::vector<int> previous(permutation.size(), none);
    for (const int value : permutation) {
        const auto at = std::ranges::lower_bound(ends, value);
        if (at != ends.begin()) previous[static_cast<std::size_t>(value)] = *(at - 1);
        if (at == ends.end())
            ends.push_back(value);
        else
            *at = value;
    }
    std::vector<bool> belongs(permutation.size());
    for (int value = ends.empty() ? none : ends.back(); value != none;
         value = previous[static_cast<std::size_t>(value)])
        belongs[static_cast<std::size_t>(value)] = true;
    return belongs;
}

/// The moves that turn 0, 1, 2, … into `target`, a permutation of it. Rows of its longest rise stay; each other block
/// is brought behind the row that it follows.
void appendMoves(const std::vector<int>& target, std::vector<RowChange>& changes) {
    const std::vector<bool> stays = longestRise(target);
    const auto isMoved = [&](int at) { return !stays[static_cast<std::size_t>(target[static_cast<std::size_t>(at)])]; };
    const int size = static_cast<int>(target.size());
    std::vector<int> rows(target.size());
    std::iota(rows.begin(), rows.end(), 0);
    // Where the last row that has found its place stands; rows that wait for their move may lie before it.
    int settled = -1;
    for (int at = 0; at < size; ++at) {
        const int wanted = target[static_cast<std::size_t>(at)];
        const auto first = std::find(rows.begin() + (isMoved(at) ? 0 : settled + 1), rows.end(), wanted);
        if (!isMoved(at)) {
            settled = static_cast<int>(first - rows.begin());
            continue;
        }
        auto last = first + 1;
        while (last != rows.end() && at + 1 < size && isMoved(at + 1) &&
               *last == target[static_cast<std::size_t>(at + 1)]) {
            ++last;
            ++at;
        }
        const auto place = rows.begin() + settled + 1;
        const int count = static_cast<int>(last - first);
        if (first != place)
            changes.push_back({RowChange::Kind::move, static_cast<int>(first - rows.begin()), count, settled + 1});
        if (first < place) {
            std::rotate(first, last, place);
        } else {
            std::rotate(place, first, last);
            settled += count;
        }
    }
}

}  // namespace

std::vector<RowChange> rowChanges(std::span<const UUID> before, std::span<const UUID> after) {
    std::vector<RowChange> changes;
    if (std::ranges::equal(before, after)) return changes;
    const std::vector<int> origin = origins(before, after);
    const int size = static_cast<int>(after.size());
    std::vector<bool> remains(before.size());
    for (const int row : origin)
        if (row != none) remains[static_cast<std::size_t>(row)] = true;
    forEachRun(
        static_cast<int>(before.size()), [&](int row) { return !remains[static_cast<std::size_t>(row)]; },
        [&](int first, int count) { changes.push_back({RowChange::Kind::remove, first, count, 0}); });
    std::ranges::reverse(changes);
    // The rows that are left, by their number among themselves.
    std::vector<int> number(before.size());
    for (int next = 0; std::size_t row : std::views::iota(std::size_t{0}, before.size()))
        if (remains[row]) number[row] = next++;
    std::vector<int> target;
    for (const int row : origin)
        if (row != none) target.push_back(number[static_cast<std::size_t>(row)]);
    appendMoves(target, changes);
    forEachRun(
        size, [&](int row) { return origin[static_cast<std::size_t>(row)] == none; },
        [&](int first, int count) { changes.push_back({RowChange::Kind::insert, first, count, 0}); });
    return changes;
}

}  // namespace kelvane
