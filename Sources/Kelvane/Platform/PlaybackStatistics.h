#pragma once

#include <chrono>
#include <cstdint>

namespace kelvane {

/// What a player has done since its statistics were last reset.
struct PlaybackStatistics {
    /// Frames of the grid that were shown while playing.
    std::int64_t shown = 0;
    /// Those of them that came more than half a frame after their time.
    std::int64_t late = 0;
    /// Frames of the grid that were played past without being shown.
    std::int64_t dropped = 0;
    /// The latest that a shown frame came.
    std::chrono::nanoseconds greatestLateness{0};
    /// The furthest that a shown frame's time was from the sound heard as it was shown.
    std::chrono::nanoseconds greatestDistance{0};
    /// Times that the device found too little sound.
    std::int64_t underruns = 0;
    bool operator==(const PlaybackStatistics&) const = default;
};

}  // namespace kelvane
