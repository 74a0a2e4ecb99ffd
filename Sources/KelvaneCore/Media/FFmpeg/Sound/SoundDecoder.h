#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <utility>
#include <vector>

#include "Media/FFmpeg/Source/FFmpegAsset.h"
#include "Media/FFmpeg/Source/Handles.h"
#include "SoundFrames.h"

namespace kelvane {

/// A stretch of decoded sound: interleaved stereo in float at the source's own rate.
struct SoundBlock {
    /// Samples a second.
    int rate = 0;
    /// Where the block begins, in samples at `rate` from the asset's time zero.
    std::int64_t position = 0;
    std::vector<float> samples;

    [[nodiscard]] std::int64_t count() const { return static_cast<std::int64_t>(samples.size() / 2); }
    [[nodiscard]] std::int64_t end() const { return position + count(); }
};

/// The sound of one track as its decoder gives it, brought to stereo and placed by its time stamps. Blocks come in
/// order and never overlap; holes between them are silence. One thread at a time.
class SoundDecoder {
public:
    /// Opens the file of `track`. A file that was replaced or has gone fails with MediaError::invalidClip; a track
    /// whose codec can't be opened gives a decoder that is at its end from the start.
    static Result<std::unique_ptr<SoundDecoder>> open(std::shared_ptr<const FFmpegTrack> track,
                                                      std::stop_token stop = {});

    /// As SoundFrames::seek.
    Result<void> seek(double seconds, std::stop_token stop) { return frames_->seek(seconds, std::move(stop)); }
    /// The next block, or none at the end. Stretches that don't decode are passed over.
    Result<std::optional<SoundBlock>> next(std::stop_token stop);

private:
    struct Format {
        int rate = 0;
        int sampleFormat = -1;
        std::uint64_t mask = 0;
        int channels = 0;
        bool operator==(const Format&) const = default;
    };

    explicit SoundDecoder(std::unique_ptr<SoundFrames> frames) : frames_(std::move(frames)) {}
    std::optional<SoundBlock> mixedBlock(const PlacedSound& sound);
    bool prepareMixer(const Format& format);
    std::vector<float> mixed(const AVFrame& frame);

    std::unique_ptr<SoundFrames> frames_;
    ResamplerPtr mixer_;
    Format mixerFormat_;
};

}  // namespace kelvane
