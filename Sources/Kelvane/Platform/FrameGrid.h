#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "Media/EditedMedia.h"

namespace kelvane {

/// The frames of one item: frame n shows from n times the frame duration until the next one, the last until the item's
/// end. A plain value. Positions are nanoseconds of the item.
struct FrameGrid {
    MediaTime frameDuration{20};
    MediaTime duration;
    /// Where what shows may change from one source to another, in order.
    std::vector<MediaTime> cuts;

    FrameGrid() = default;
    explicit FrameGrid(const EditedMedia& media);

    /// Frames that begin before the item's end.
    [[nodiscard]] std::int64_t count() const;
    /// The frame that shows at `position`, at least 0; may lie behind the last one. A position counts as reached a
    /// microsecond early, as seconds in floating point fall short of it.
    [[nodiscard]] std::int64_t at(std::chrono::nanoseconds position) const;
    /// When frame n begins; `at` of it is n.
    [[nodiscard]] std::chrono::nanoseconds begin(std::int64_t frame) const;
    [[nodiscard]] MediaTime time(std::int64_t frame) const;
    [[nodiscard]] std::chrono::nanoseconds length() const { return begin(1); }
    [[nodiscard]] std::chrono::nanoseconds end() const;
    /// The first cut behind `time`, or nullptr.
    [[nodiscard]] const MediaTime* cutBehind(MediaTime time) const;
};

/// Whole nanoseconds of a time, rounded down.
[[nodiscard]] std::chrono::nanoseconds nanosecondsOf(MediaTime time);

}  // namespace kelvane
