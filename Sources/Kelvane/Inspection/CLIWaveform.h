#pragma once

#include <optional>
#include <stop_token>

#include "Media/MediaPlatform.h"
#include "Support/JSON.h"
#include "Timeline/Clip.h"

/// A stretch of sound as numbers and as a picture: the loudest moment of each of a number of equal bins of time.
namespace kelvane::CLIWaveform {

/// Most bins that a stretch is cut into; the picture has little more than a column of pixels for each.
inline constexpr int maximumBins = 1000;

/// Reads the sound of `asset` from `start` to `end`, source seconds, in `count` bins, writes the picture into `folder`
/// and describes both. With a `clipID` the document tells of that use of the asset on the timeline, heard at `gain`,
/// else of the source. The picture is a PNG of 1280 × 240 pixels, in which a bar of 200 pixels is full scale; its name
/// is new at each call.
///
/// Document: "assetID", "path", "start", "end", "binSeconds", "peaks" (linear, after the gain, `count` of them), "peak"
/// (the largest), "context" (what the numbers mean) and "scope" ("source" or "clip"); with a `clipID` also "clipID",
/// "volume", "volumePercent" and "muted". At a gain of 0 nothing is read: all is silence.
///
/// Fails with "Require 0 <= start < end <= source duration and count 1...1000." unless that holds, all numbers are
/// finite and `gain` is from 0 to 1; with "Asset has no audio track.", "Could not draw waveform.", "Could not write
/// waveform." or "Could not finish waveform."; and with the words of the reader and of the folder's making. A failed
/// call leaves no picture, and neither does one that was stopped, which ends as cancelled. Blocks; any thread but the
/// main one.
Result<JSONObject> inspect(MediaPlatform& platform, const Clip& asset, double start, double end, int count,
                           const FileURL& folder, double gain, std::optional<UUID> clipID, std::stop_token stop);

}  // namespace kelvane::CLIWaveform
