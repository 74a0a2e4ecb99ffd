#pragma once

#include <cstdint>
#include <functional>
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

/// A frame and the moments that show it.
struct ShownFrame {
    /// None before a late start, of a track of which nothing decodes, and where a call was overtaken before its first.
    SharedFrame frame;
    /// The stamps, ticks of the file's clock as of `VideoFrameReader::stampAt`, that are known to show it:
    /// [`from`, `until`).
    std::int64_t from = 0;
    std::int64_t until = 0;
    /// Whether it is the frame of the time that was asked for.
    bool isExact = true;
};

/// How a call of `VideoFrameReader::frame` goes about its way.
struct FrameCall {
    /// Asked before each packet that would be decoded: with true the call ends there. By itself, never.
    std::function<bool()> isOvertaken;
    /// Frames from here on, seconds of the asset, are not skipped, and `passed` gets those that the call goes by. None
    /// that a damaged stretch may have changed.
    std::optional<MediaTime> keepFrom;
    std::function<void(const ShownFrame&)> passed;
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
    /// The same, of a call that may be overtaken. Such a call gives the last frame before `time` that it came to, if
    /// any, and leaves the decoder where it is: the next call goes on from there where that leads to its frame sooner
    /// than a seek. Whatever was overtaken before, what is exact is what a new reader shows.
    Result<ShownFrame> frame(MediaTime time, const FrameCall& call, std::stop_token stop);
    /// The stamp that `time` counts as, of which ShownFrame speaks; nothing before a late start, which shows black.
    static std::optional<std::int64_t> stampAt(const FFmpegTrack& track, MediaTime time);
    [[nodiscard]] const FFmpegTrack& track() const;
    /// Whether the decoder can't be opened, or a pass over the whole track gave no frame.
    [[nodiscard]] bool isUndecodable() const;
    /// "“<file>” has no picture that can be decoded."
    [[nodiscard]] Error undecodable() const;

    /// Where decoding starts for the frame at `time`, in ticks of the file: times of equal starts are served by one run
    /// of the decoder. Nothing when the file doesn't list all of its key frames.
    [[nodiscard]] std::optional<std::int64_t> decodingStart(MediaTime time) const;
    /// The stamp of the frame at which the decoder stands, or of the key frame from which it has begun to decode;
    /// nothing before the first call and after a failed one.
    [[nodiscard]] std::optional<std::int64_t> position() const;
    /// How many packets the decoder was given so far; for tests and benchmarks.
    [[nodiscard]] std::int64_t packetsDecoded() const;

private:
    struct State;
    explicit VideoFrameReader(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
};

}  // namespace kelvane
