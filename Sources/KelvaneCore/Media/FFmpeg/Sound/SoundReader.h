#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <stop_token>
#include <vector>

#include "Media/FFmpeg/Source/Handles.h"
#include "SoundDecoder.h"

namespace kelvane {

/// The sound of one source track by position, at 48 kHz in stereo. Samples lie on one grid for the whole asset (sample
/// k at k / 48000 s), and a sample's value doesn't depend on where reading began: the resampler starts on a position
/// that its filter's phase repeats at, some hundredths of a second early. One thread at a time.
class SoundReader {
public:
    static Result<std::unique_ptr<SoundReader>> open(std::shared_ptr<const FFmpegTrack> track,
                                                     std::stop_token stop = {});

    /// Fills `out`, interleaved stereo, with the samples from `first` on, counted from the asset's time zero; silence
    /// where the track has no sound. Positions read in order cost one pass. Fails with MediaError::invalidClip when the
    /// file was replaced or has gone.
    Result<void> read(std::int64_t first, std::span<float> out, std::stop_token stop);

private:
    /// A stretch of the source at one rate and without long holes, on its way through the resampler.
    struct Run {
        int rate = 0;
        /// Null where the source has the output's rate.
        ResamplerPtr resampler;
        /// Next sample to feed, in samples at `rate`, and the next one that comes out at 48 kHz.
        std::int64_t in = 0;
        std::int64_t out = 0;
    };

    explicit SoundReader(std::unique_ptr<SoundDecoder> decoder) : decoder_(std::move(decoder)) {}
    Result<void> restart(std::int64_t first, std::stop_token stop);
    /// Works off one block; false when the next one begins behind `wantedEnd`, so that all before it is silence.
    Result<bool> advance(std::int64_t wantedEnd, std::stop_token stop);
    bool startRun(const SoundBlock& block);
    void endRun(std::int64_t limit);
    void feed(std::span<const float> samples, std::int64_t limit);
    void feedSilence(std::int64_t count, std::int64_t limit);
    void append(std::int64_t at, std::span<const float> samples);
    void dropBefore(std::int64_t position);
    [[nodiscard]] std::int64_t readyEnd() const;

    std::unique_ptr<SoundDecoder> decoder_;
    std::unique_ptr<Run> run_;
    /// Finished samples from `readyFirst_` on; those before `readyOffset_` were handed out.
    std::vector<float> ready_;
    std::size_t readyOffset_ = 0;
    std::int64_t readyFirst_ = 0;
    std::vector<float> scratch_;
    /// The first block after a seek, when it was looked at already.
    std::optional<SoundBlock> pending_;
    bool started_ = false;
    bool ended_ = false;
};

}  // namespace kelvane
