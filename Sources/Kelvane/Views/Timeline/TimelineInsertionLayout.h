#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <unordered_map>

#include "Timeline/Clip.h"

namespace kelvane {

/// How the video track shows where a clip that is dragged over it would land: a marker, and the clips on both sides of
/// it parted. A plain value, which changes nothing. Any thread.
struct TimelineInsertionLayout {
    /// How far clips part to either side, points; the same at every zoom.
    static constexpr double parting = 10;

    /// Of the marker, points from the beginning of the track, which is the one drawn: the moving clip still has its
    /// old place in it.
    double markerX = 0;
    /// How far each video clip but the moving one is shifted, points.
    std::unordered_map<UUID, double> offsets;

    bool operator==(const TimelineInsertionLayout&) const = default;

    /// For a clip that would be inserted at `index` of `clips`, counted without the moving clip and held to its ends.
    /// `movingClipID` is none where what is dragged comes from elsewhere. Nothing where the drop would leave the clip
    /// where it is, for a moving clip that is audio, and for one that isn't among `clips`.
    static std::optional<TimelineInsertionLayout> make(std::span<const Clip> clips, std::ptrdiff_t index,
                                                       double pointsPerSecond,
                                                       const std::optional<UUID>& movingClipID = std::nullopt);
};

}  // namespace kelvane
