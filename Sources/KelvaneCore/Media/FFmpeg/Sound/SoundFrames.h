#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>

#include "Media/FFmpeg/Source/FFmpegAsset.h"
#include "Media/FFmpeg/Source/Handles.h"
#include "Media/FFmpeg/Source/SourceDemuxer.h"

namespace kelvane {

/// A decoded frame and its place. Good until the next call of the SoundFrames that it comes from.
struct PlacedSound {
    const AVFrame* frame = nullptr;
    /// Samples a second.
    int rate = 0;
    /// Where the frame's sound begins, in samples at `rate` from the asset's time zero, `skip` left out already.
    std::int64_t position = 0;
    /// How many samples the frame is to last: as many as it has, or one more or less where the file's clock is a
    /// little off.
    std::int64_t length = 0;
    /// Samples at its head that earlier frames covered; less than `length`.
    std::int64_t skip = 0;

    [[nodiscard]] std::int64_t count() const { return length - skip; }
    [[nodiscard]] std::int64_t end() const { return position + count(); }
};

/// The sound of one track as its decoder gives it, placed by its time stamps. Frames come in order and never overlap;
/// holes between them are silence. One thread at a time.
class SoundFrames {
public:
    /// Opens the file of `track`. A file that was replaced, changes or has gone fails with MediaError::invalidClip of
    /// `name`; a track whose codec can't be opened gives a decoder that is at its end from the start.
    static Result<std::unique_ptr<SoundFrames>> open(std::shared_ptr<const FFmpegTrack> track, std::string name,
                                                     std::stop_token stop = {});

    /// Goes to `seconds` of the asset, and half a second before it, so that decoders which carry state from packet to
    /// packet are settled when they get there.
    Result<void> seek(double seconds, std::stop_token stop);
    /// The next frame, or none at the end. Stretches that don't decode are passed over.
    Result<std::optional<PlacedSound>> next(std::stop_token stop);
    /// Whether the decoder couldn't be opened, or refused what it was given without ever yielding a frame.
    [[nodiscard]] bool isUndecodable() const { return !codec_ || (refused_ && !yielded_); }

private:
    SoundFrames(std::shared_ptr<const FFmpegTrack> track, std::unique_ptr<SourceDemuxer> demuxer);
    void openCodec();
    Result<void> goTo(std::int64_t timestamp, std::stop_token stop);
    Result<void> learnGrid(std::stop_token stop);
    Result<bool> decodeFrame(std::stop_token stop);
    Result<void> feedDecoder();
    [[nodiscard]] bool isPassedOver(const AVPacket& packet) const;
    std::optional<PlacedSound> place();
    [[nodiscard]] std::optional<std::int64_t> stampOf(const AVFrame& frame) const;
    [[nodiscard]] std::int64_t startOf(std::int64_t stamped, int rate) const;
    [[nodiscard]] std::int64_t jitter(int rate) const;
    [[nodiscard]] std::int64_t tickSamples(int rate) const;

    std::shared_ptr<const FFmpegTrack> track_;
    std::unique_ptr<SourceDemuxer> demuxer_;
    CodecContextPtr codec_;
    FramePtr frame_;
    bool draining_ = false;
    /// Packets refused in a row.
    int failures_ = 0;
    bool refused_ = false;
    bool yielded_ = false;
    /// Where the next frame begins if the source has no hole; none after a seek.
    std::optional<std::int64_t> expected_;
    int expectedRate_ = 0;
    /// Where the frames handed over so far end, at `expectedRate_`; behind `expected_` while stamps go back.
    std::int64_t covered_ = 0;
    bool atStart_ = true;
    /// Packets that end by then are read and not decoded, in the track's time base.
    std::int64_t passedOver_ = std::numeric_limits<std::int64_t>::min();
    /// Where frames can begin in a file whose time stamps are coarser than a sample: at `gridPhase_` plus whole
    /// multiples of `gridStep_` samples. Step 0: no such rule is known.
    bool gridKnown_ = false;
    std::int64_t gridStep_ = 0;
    std::int64_t gridPhase_ = 0;
    int gridRate_ = 0;
};

}  // namespace kelvane
