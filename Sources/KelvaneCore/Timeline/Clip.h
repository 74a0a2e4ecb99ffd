#pragma once

#include <optional>
#include <string>
#include <utility>

#include "Support/FileURL.h"
#include "Support/UUID.h"

namespace kelvane {

/// Which end of a clip a trim moves.
enum class TrimEdge { start, end };

/// Shortest clip, seconds: one frame at 30 frames a second.
inline constexpr double minimumClipLength = 1.0 / 30.0;
/// Distance that a trim keeps between start and end, seconds: a hair above `minimumClipLength`, so that rounding
/// can't make a trimmed clip invalid.
inline constexpr double trimMargin = 1.0 / 30.0 + 0.000001;
/// How far `end` may pass `sourceDuration`, seconds: containers round lengths to milliseconds.
inline constexpr double endTolerance = 0.001;
inline constexpr double minimumZoom = 1;
inline constexpr double maximumZoom = 3;

/// One piece of media with its trim, framing, volume and, for audio, its place on the timeline. As an asset it
/// is one imported file; as an occurrence it is one use of a file on the timeline. The two belong together by
/// `url`, never by `id`. A plain value.
struct Clip {
    /// Identity within its array.
    UUID id;
    /// File of the media.
    FileURL url;
    /// Whole length of the file, seconds.
    double sourceDuration = 0;
    /// In-point and out-point, seconds from the file's beginning; the stretch is [start, end).
    double start = 0;
    double end = 0;
    /// Magnification over the fill scale, 1 to 3.
    double zoom = 1;
    /// Framing position in the overflow, -1 (left, top edge) to 1 (right, bottom edge).
    double horizontal = 0;
    double vertical = 0;
    /// Linear gain, 0 to 1.
    double volume = 1;
    /// True for an audio clip; absent and false both mean video.
    std::optional<bool> audioOnly;
    /// Absolute timeline position of an audio clip, seconds.
    std::optional<double> timelineStart;
    /// Lane of an audio clip; absent means that the lane's identity is the clip's own `id`.
    std::optional<UUID> audioTrackID;
    /// Where the file lay before it was first copied into a project.
    std::optional<FileURL> originalURL;

    bool operator==(const Clip&) const = default;

    /// Last path component of `url` without its extension.
    [[nodiscard]] std::string name() const { return url.baseName(); }
    [[nodiscard]] bool isAudio() const { return audioOnly.value_or(false); }
    /// Seconds.
    [[nodiscard]] double duration() const { return end - start; }
    /// Timeline position, seconds; 0 when absent.
    [[nodiscard]] double audioPosition() const { return timelineStart.value_or(0); }
    void setAudioPosition(double seconds) { timelineStart = seconds; }
    /// Identity of the lane: `audioTrackID`, else `id`.
    [[nodiscard]] UUID lane() const { return audioTrackID.value_or(id); }
    /// True when every field lies in its range and is finite.
    [[nodiscard]] bool isValid() const;

    /// The clip with one edge moved by `delta` seconds, held to the source and to `trimMargin`. An audio clip's
    /// head keeps its sound where it lies on the timeline. A delta that is not finite changes nothing.
    [[nodiscard]] Clip trimmed(TrimEdge edge, double delta) const;
    /// The clip cut at `offset` seconds behind its `start`; nothing when a half would be shorter than
    /// `minimumClipLength`. The first half keeps the id, both halves of an audio clip share a lane.
    [[nodiscard]] std::optional<std::pair<Clip, Clip>> split(double offset) const;
};

}  // namespace kelvane
