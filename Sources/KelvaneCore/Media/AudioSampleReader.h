#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <stop_token>

#include "MediaPlatform.h"

/// Reads the sound of a file as amplitudes, one for each audio frame: the largest absolute value among the frame's
/// channels, as it is in the file (linear, not held to 1). Samples that are not finite don't count; a frame without
/// another has amplitude 0. Keeps nothing, so that its memory doesn't grow with the file. Any thread but the main one.
namespace kelvane::AudioSampleReader {

/// Most frames that are handed over at once.
inline constexpr std::size_t chunkFrames = 8192;

/// Amplitudes of frames that follow each other. Good during the call that hands it over.
struct AmplitudeBlock {
    /// Frames a second, finite and above 0.
    double rate = 0;
    /// The first frame's place, counted at `rate` from the asset's time zero.
    std::int64_t position = 0;
    /// At least one and at most `chunkFrames`.
    std::span<const float> amplitudes;

    /// When a frame of the block sounds, seconds. Never falls with `index`.
    [[nodiscard]] double time(std::size_t index) const {
        return static_cast<double>(position + static_cast<std::int64_t>(index)) / rate;
    }
};
using AmplitudeConsumer = std::function<void(const AmplitudeBlock& block)>;

/// Hands over the frames of the file's first audio track whose times lie in [`start`, `end`) seconds, or from `start`
/// on, in order. True when the file has an audio track, false without any call when it has none.
///
/// `start` must be finite and at least 0, and `end` finite and greater; else, and for content that no engine should
/// yield, the failure is MediaError::invalidClip. In a file of sound alone, a `start` behind its end reads nothing. In
/// any other (a cover picture counts as a picture here) it fails so too when no `end` is given. Failures of the engine
/// are passed on as they are. Ends as cancelled soon after a stop request.
Result<bool> readBlocks(MediaPlatform& platform, const FileURL& url, double start, std::optional<double> end,
                        const AmplitudeConsumer& consume, std::stop_token stop);

/// As `readBlocks`, with a call for each frame. `consume` is part of the loop over a block, so that it costs no call
/// when it is short: an hour has 173 million frames at 48 kHz.
template <std::invocable<double, float> Consume>
Result<bool> read(MediaPlatform& platform, const FileURL& url, double start, std::optional<double> end,
                  Consume&& consume, std::stop_token stop) {
    return readBlocks(
        platform, url, start, end,
        [&consume](const AmplitudeBlock& block) {
            for (std::size_t i = 0; i < block.amplitudes.size(); ++i) consume(block.time(i), block.amplitudes[i]);
        },
        std::move(stop));
}

}  // namespace kelvane::AudioSampleReader
