#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <vector>

#include "FFmpegAsset.h"
#include "Handles.h"
#include "SourceDemuxer.h"

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

    /// Goes to `seconds` of the asset, and half a second before it, so that decoders which carry state from packet to
    /// packet are settled when they get there.
    Result<void> seek(double seconds, std::stop_token stop);
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

    SoundDecoder(std::shared_ptr<const FFmpegTrack> track, std::unique_ptr<SourceDemuxer> demuxer);
    void openCodec();
    Result<void> goTo(std::int64_t timestamp, std::stop_token stop);
    Result<void> learnGrid(std::stop_token stop);
    Result<bool> decodeFrame(std::stop_token stop);
    std::optional<SoundBlock> takeFrame();
    bool prepareMixer(const Format& format);
    std::vector<float> mixed();
    void place(SoundBlock& block);
    [[nodiscard]] std::int64_t startOf(std::int64_t stamped, int rate) const;
    [[nodiscard]] std::int64_t tickSamples(int rate) const;

    std::shared_ptr<const FFmpegTrack> track_;
    std::unique_ptr<SourceDemuxer> demuxer_;
    CodecContextPtr codec_;
    FramePtr frame_;
    ResamplerPtr mixer_;
    Format mixerFormat_;
    bool draining_ = false;
    /// Packets refused in a row.
    int failures_ = 0;
    /// Where the next block begins if the source has no hole; none after a seek.
    std::optional<std::int64_t> expected_;
    int expectedRate_ = 0;
    bool atStart_ = true;
    /// Where frames can begin in a file whose time stamps are coarser than a sample: at `gridPhase_` plus whole
    /// multiples of `gridStep_` samples. Step 0: no such rule is known.
    bool gridKnown_ = false;
    std::int64_t gridStep_ = 0;
    std::int64_t gridPhase_ = 0;
    int gridRate_ = 0;
};

}  // namespace kelvane
