#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "ExportQuality.h"
#include "Media/FFmpeg/Source/Handles.h"
#include "Media/MediaTime.h"
#include "Support/Error.h"

namespace kelvane {

/// Called with each finished packet, in decoding order. A failure ends the encoding and is passed on.
using PacketSink = std::function<Result<void>(PacketPtr)>;

/// Whether this build of the libraries has both encoders.
bool hasMovieEncoders();

/// H.264 High by the program's one quality, at a constant frame rate: picture n is shown at n frame durations. One
/// thread at a time; the encoder's own threads work beside it.
class PictureEncoder {
public:
    /// `width` and `height` in pixels, even. Fails with MediaError::exportUnavailable.
    static Result<std::unique_ptr<PictureEncoder>> open(int width, int height, MediaTime frameDuration);

    /// Takes the picture `number`; the frame is read, not copied or kept beyond need. `key`: make it a key frame.
    Result<void> encode(const AVFrame& picture, std::int64_t number, bool key, const PacketSink& sink);
    /// Gives out what the encoder still holds.
    Result<void> finish(const PacketSink& sink);
    [[nodiscard]] const AVCodecContext& context() const { return *context_; }

private:
    explicit PictureEncoder(CodecContextPtr context) : context_(std::move(context)), frame_(av_frame_alloc()) {}
    CodecContextPtr context_;
    FramePtr frame_;
};

/// AAC at 48 kHz. One thread at a time.
class SoundEncoder {
public:
    /// `channels`: 2, or 1. `bitRate`: bits a second of all channels. Fails with MediaError::exportUnavailable.
    static Result<std::unique_ptr<SoundEncoder>> open(int channels = 2,
                                                      std::int64_t bitRate = ExportQuality::soundBitRate);

    /// Takes interleaved samples in -1…1, any number of frames.
    Result<void> encode(std::span<const float> samples, const PacketSink& sink);
    Result<void> finish(const PacketSink& sink);
    [[nodiscard]] const AVCodecContext& context() const { return *context_; }

private:
    explicit SoundEncoder(CodecContextPtr context) : context_(std::move(context)), frame_(av_frame_alloc()) {}
    Result<void> encodeFrame(std::span<const float> samples, const PacketSink& sink);

    CodecContextPtr context_;
    FramePtr frame_;
    /// Samples short of a whole frame.
    std::vector<float> rest_;
    std::int64_t position_ = 0;
};

}  // namespace kelvane
