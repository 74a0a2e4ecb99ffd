#pragma once

#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

#include "EditedMedia.h"
#include "ExportSettings.h"
#include "MediaPlatform.h"
#include "Timeline/Clip.h"
#include "Timeline/TimelineSpans.h"

/// From clips to media. A namespace without state; the blocking operations run off the main thread, ask `stop` before
/// each clip, and end as cancelled when a stop was requested.
namespace kelvane::MediaEngine {

struct ImportedClip {
    Clip clip;
    /// Thumbnail of a video, at most 1024 × 1024 pixels; none for audio or when no picture could be had.
    StillImagePtr picture;
};

/// Opens a file, decides whether it is a video or an audio asset, measures it and takes a picture. Fails with
/// MediaError::invalidClip, named with the extension, for a file that is neither or too short, and for one of sound
/// alone of which nothing decodes. A video of which no picture decodes has none.
Result<ImportedClip> importClip(MediaPlatform& platform, const FileURL& url, std::stop_token stop);

/// What the automatic export choices resolve to.
Result<ExportCapabilities> exportCapabilities(MediaPlatform& platform, std::span<const Clip> clips,
                                              std::stop_token stop);

/// How long previews show one frame, and what a timeline is composed with to see whether it can be: 30 frames a second.
inline constexpr MediaTime previewFrame{1, 30};

/// The stretch of the source that a clip plays.
MediaTimeRange sourceRange(const Clip& clip);
/// Where the build puts each clip, on the composition's clock: a sum of rounded lengths, so that each clip starts on
/// the unit where the last ended.
TimelineSpans<MediaTime> timelineSpans(std::span<const Clip> clips);
/// The same as ranges, in array order.
std::vector<MediaTimeRange> timelineRanges(std::span<const Clip> clips);

/// Turns clips into one flat edit on a canvas of `renderSize` pixels.
Result<EditedMediaPtr> build(MediaPlatform& platform, std::span<const Clip> clips, Size renderSize,
                             MediaTime frameDuration, std::stop_token stop);

/// A configured session without output file.
Result<std::unique_ptr<ExportSession>> exporter(MediaPlatform& platform, const EditedMediaPtr& media,
                                                ExportContainer container);
/// Forecast of an export's size in bytes; absent when the engine has none.
Result<std::optional<std::int64_t>> estimatedExportBytes(MediaPlatform& platform, std::span<const Clip> clips,
                                                         Size renderSize, double fps, ExportContainer container,
                                                         std::stop_token stop);

/// The text that a person is shown for a failed export.
std::string exportFailureDescription(const Error& error);

}  // namespace kelvane::MediaEngine
