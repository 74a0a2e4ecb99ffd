#pragma once

/// The measures of the timeline, in points: device-independent pixels.
namespace kelvane::TimelineMetrics {

/// y of the video track in the content.
inline constexpr double trackTop = 22;
/// Height of a clip.
inline constexpr double trackHeight = 86;
/// From one row to the next, which leaves a gap of 8.
inline constexpr double trackStride = 94;
inline constexpr double rulerHeight = 22;
/// How near an edge comes to a target before it snaps.
inline constexpr double snapDistance = 8;
/// Width of a second at zoom 1.
inline constexpr double secondWidth = 32;
/// Longest that the viewport grows with the lanes; beyond that it scrolls.
inline constexpr double maximumViewportHeight = 348;
inline constexpr double maximumZoom = 6;
/// Width of one picture in a clip's drawing.
inline constexpr double tileWidth = 72;
/// Width around the playhead in which it can be taken hold of.
inline constexpr double playheadGrab = 24;
/// What a press moves before it is a drag.
inline constexpr double dragDistance = 3;
/// How near to the volume line a press takes hold of it, above and below.
inline constexpr double volumeReach = 7;
/// What of a clip's height the volume line doesn't use, half of it at the top.
inline constexpr double volumeMargin = 24;

}  // namespace kelvane::TimelineMetrics
