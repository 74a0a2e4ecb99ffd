#include "TimelineRows.h"

#include <algorithm>

namespace kelvane {

TimelineRows::TimelineRows(const TimelinePlacement& placement) : rows_(placement.lanes().size() + 1) {
    for (std::size_t i = 0; i < placement.size(); ++i) {
        const auto lane = placement.lane(i);
        const auto& span = placement.span(i);
        rows_[lane ? *lane + 1 : 0].push_back({span.start, span.end, i, span.end});
    }
    for (auto& row : rows_) {
        if (!std::ranges::is_sorted(row, {}, &Entry::start)) std::ranges::stable_sort(row, {}, &Entry::start);
        for (std::size_t i = 1; i < row.size(); ++i) row[i].reach = std::max(row[i - 1].reach, row[i].end);
    }
}

std::vector<std::size_t> TimelineRows::between(std::size_t row, double from, double to) const {
    const auto& entries = rows_[row];
    std::vector<std::size_t> found;
    auto entry = std::ranges::partition_point(entries, [from](const Entry& e) { return e.reach < from; });
    for (; entry != entries.end() && entry->start <= to; ++entry)
        if (entry->end >= from) found.push_back(entry->index);
    return found;
}

}  // namespace kelvane
