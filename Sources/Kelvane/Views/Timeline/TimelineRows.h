#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "Timeline/TimelinePlacement.h"

namespace kelvane {

/// The clips of an array row by row, to be found by time: what is in sight costs, however long the timeline is. Row 0
/// is the video track, and the lanes follow. Worked out once for a placement. A plain value. Any thread.
class TimelineRows {
public:
    TimelineRows() = default;
    explicit TimelineRows(const TimelinePlacement& placement);

    [[nodiscard]] std::size_t count() const { return rows_.size(); }
    /// How many clips stand in `row`.
    [[nodiscard]] std::size_t size(std::size_t row) const { return rows_[row].size(); }
    /// The indices in the array of those clips of `row` that a time from `from` to `to` belongs to, both included,
    /// seconds, in the order in which they begin; clips of a lane may overlap.
    [[nodiscard]] std::vector<std::size_t> between(std::size_t row, double from, double to) const;

private:
    struct Entry {
        double start = 0;
        double end = 0;
        std::size_t index = 0;
        /// The latest end of this clip and those before it in the row.
        double reach = 0;
    };
    std::vector<std::vector<Entry>> rows_;
};

}  // namespace kelvane
