#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>

#include "SourceDemuxer.h"

namespace kelvane {

struct VideoFrameReaderOptions {
    /// Decoder threads; 0 for all cores. Fewer where the pictures that they work at would take more than `bytesAhead`.
    int threads = 0;
    /// Memory for the pictures that threads decode ahead, besides the one that is due and those that it refers to; 0
    /// for one thread. By default enough for sixteen threads at 3840 × 2160 in 8 bits.
    std::int64_t bytesAhead = 600'000'000;
    /// Skip frames that nothing refers to when they are not asked for.
    bool skipUnneeded = false;
};

/// Exact pictures of one video track by time. Keeps the decoder's position: times asked in order cost one pass, others
/// seek to the key frame before. One thread at a time.
class VideoFrameReader {
public:
    /// Opens the file of `track`; fails as `SourceDemuxer::open` does.
    static Result<std::unique_ptr<VideoFrameReader>> open(std::shared_ptr<const FFmpegTrack> track,
                                                          VideoFrameReaderOptions options = {},
                                                          std::stop_token stop = {});
    ~VideoFrameReader();

    /// The last frame whose presentation time is at most `time` (seconds of the asset), give or take less than a tick
    /// of the file's clock where that is 2 ms or finer. Behind the last frame, the last frame. Before the first frame:
    /// nullptr when the track starts more than 0.1 s late (it shows black until then), else the first frame. Damaged
    /// frames are passed over; a track of which no frame decodes gives nullptr as well, and `isUndecodable` from then
    /// on. Interlaced frames come deinterlaced. The frame is as decoded: stored size, its own pixel format and colour
    /// tags. The same pointer comes back while the frame stays the same. Fails as cancelled, or as
    /// `SourceDemuxer::next` does.
    Result<SharedFrame> frame(MediaTime time, std::stop_token stop);
    [[nodiscard]] const FFmpegTrack& track() const;
    /// Whether the decoder can't be opened, or a pass over the whole track gave no frame.
    [[nodiscard]] bool isUndecodable() const;
    /// "“<file>” has no picture that can be decoded."
    [[nodiscard]] Error undecodable() const;

    /// Where decoding starts for the frame at `time`, in ticks of the file: times of equal starts are served by one run
    /// of the decoder. Nothing when the file doesn't list all of its key frames.
    [[nodiscard]] std::optional<std::int64_t> decodingStart(MediaTime time) const;
    /// How many packets the decoder was given so far; for tests and benchmarks.
    [[nodiscard]] std::int64_t packetsDecoded() const;

private:
    struct State;
    explicit VideoFrameReader(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
};

}  // namespace kelvane
