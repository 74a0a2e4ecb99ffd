#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "Media/MediaPlatform.h"
#include "Support/FileURL.h"
#include "Support/JSON.h"
#include "Timeline/Clip.h"

/// Pictures that stand in for watching: stills of a source in its own aspect ratio, and stills of the timeline as its
/// viewer will see it. A namespace without state. The functions that take a stop token block and run off the main
/// thread; they end as cancelled when a stop was requested, pass on the words of the platform, and need a
/// QGuiApplication for their text. Paths in documents are absolute, times are seconds.
namespace kelvane::CLIMediaInspection {

/// Times from a comma-separated text, in its order, duplicates kept; without a text the middles of `defaultCount` equal
/// slices of `duration`, so that neither the first frame, often black, nor the last is among them. Fails with "There is
/// no video to inspect." when the duration is not finite and above 0, with "Request <limit> frames at a time." and with
/// "Frame times must be finite timestamps within the video duration." when a piece is no number from 0 to below the
/// duration. Any thread.
Result<std::vector<double>> times(const std::optional<std::string>& text, double duration, int defaultCount, int limit);

/// What a stop does with files that were written before it.
enum class WhenStopped { removes, keeps };

/// Writes one still for each time into `folder`, which is made where it doesn't exist, as <asset's id>-<UUID>.jpg, at
/// most 1280 pixels a side. Answers a document for each, in order: "timestamp" (of the frame shown) and "path". A
/// failed call leaves none of its files, but for one that is stopped and `keeps` what it has written. Also fails with
/// "Could not write an inspection image." and "Could not finish an inspection image."
Result<std::vector<JSONObject>> frames(MediaPlatform& platform, const Clip& asset, const std::vector<double>& times,
                                       const FileURL& folder, std::stop_token stop,
                                       WhenStopped whenStopped = WhenStopped::removes);

/// Draws stills of a source, at most 24, on one sheet, written as source-<asset's id>-<UUID>.jpg. Document: "assetID",
/// "path" and, `compact`, "timestamps" of the frames shown; else "context" and "frames", each with "index" from 1,
/// "timestamp" and "requestedTime". Also fails as Sheet does; then no file is left.
Result<JSONObject> contactSheet(MediaPlatform& platform, const Clip& asset, const std::vector<double>& times,
                                const FileURL& folder, bool compact, std::stop_token stop);

/// Renders one asset's document; called from two threads at once.
using RenderAsset = std::function<Result<JSONObject>(const Clip& asset)>;
/// Renders several assets, two at a time, since each keeps a decoder busy. Document: "sheets", the documents in the
/// order of `assets`; "errors", each with "assetID" and "error", for those that failed; and "complete", whether none
/// did. An asset that a stop kept from being rendered has the error "Inspection was interrupted."
JSONObject contactSheets(const std::vector<Clip>& assets, const RenderAsset& render, std::stop_token stop = {});

/// Where to look at a timeline, seconds, ascending, at most 24: its first and last frame, the middles of up to 8 clips,
/// both sides of up to 7 cuts, and the black behind the last picture. Empty without video. Any thread.
std::vector<double> previewTimes(std::span<const Clip> clips);

/// Which picture shows at a time.
struct TimelinePosition {
    /// Of the clip in the array.
    std::size_t index = 0;
    /// Within the source file, seconds.
    double sourceTime = 0;
    bool operator==(const TimelinePosition&) const = default;
};
/// The video clip that shows at `time`, seconds; none outside the video sequence and for a time that is not finite. Any
/// thread.
std::optional<TimelinePosition> timelinePosition(double time, std::span<const Clip> clips);

/// Draws stills of the timeline, at most 24, as export renders it at 1080 × 1920, on one sheet, written as
/// timeline-<UUID>.jpg; times behind the picture are black tiles. `name` is the project's title; `preparedMedia` is the
/// build of `clips`, made here when it is null. Document: "path", "duration" and, `compact`, "timestamps" of the frames
/// shown; else "context" and "frames", each with "index" from 1, "timestamp", "requestedTime" and either "clipIndex"
/// from 1, "clipID" and "sourceTime" or "kind", "black". Also fails as the build and Sheet do, with "Could not render
/// black frame." and with "Preview frame is outside the video sequence."; then no file is left.
Result<JSONObject> preview(MediaPlatform& platform, const std::vector<Clip>& clips, std::string_view name,
                           const std::vector<double>& times, const FileURL& folder, bool compact,
                           const EditedMediaPtr& preparedMedia, std::stop_token stop);

}  // namespace kelvane::CLIMediaInspection
