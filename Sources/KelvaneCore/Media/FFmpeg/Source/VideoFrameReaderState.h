#pragma once

#include <cstdint>
#include <deque>
#include <memory>

#include "Deinterlacer.h"
#include "OwedFrames.h"
#include "TrackClock.h"
#include "VideoFrameReader.h"

namespace kelvane {

/// The stamp at which the packet's frame is shown, or the one at which it is decoded where the file tells no other.
inline std::int64_t shownAt(const AVPacket& packet) { return packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts; }

/// Where a reader stands in its track, and how it got there. VideoFrameReaderDecoding.cpp makes frames of packets in
/// the order in which they come; VideoFrameReader.cpp chooses where that begins for a given time.
struct VideoFrameReader::State {
    struct TimedFrame {
        std::int64_t pts = 0;
        SharedFrame frame;
    };

    std::shared_ptr<const FFmpegTrack> track;
    VideoFrameReaderOptions options;
    std::unique_ptr<SourceDemuxer> demuxer;
    CodecContextPtr decoder;
    Deinterlacer deinterlacer;
    OwedFrames owed;

    /// Packets read and not decoded yet.
    std::deque<PacketPtr> packets;
    bool packetsEnded = false;
    /// Frames decoded and not asked for yet.
    std::deque<FramePtr> ready;
    bool drained = false;
    /// No key frame has come since the seek.
    bool waitsForKey = true;
    int passedOver = 0;
    int errors = 0;
    std::int64_t lastPts = AV_NOPTS_VALUE;
    /// Where a stretch was given up for its errors.
    std::int64_t gaveUpAt = AV_NOPTS_VALUE;
    std::int64_t lastFed = AV_NOPTS_VALUE;
    std::int64_t packetsDecoded = 0;
    /// How much later than its place in the index, which is in decoding order, the last key frame read is shown.
    std::int64_t keyLag = 0;

    /// The decoder stands somewhere: `current` and `next` are frames that follow one another.
    bool positioned = false;
    /// The run began with the file, and its first frame was this one.
    bool fromBeginning = false;
    std::int64_t firstPts = AV_NOPTS_VALUE;
    TimedFrame current;
    TimedFrame next;
    /// A run was begun whose first frame hasn't come yet; its first packet is shown at `beginsAt`.
    bool begins = false;
    std::int64_t beginsAt = AV_NOPTS_VALUE;
    /// Nothing in this track can be decoded.
    bool hopeless = false;
    /// Jumps by distance lead further back than where they started: the key frames lie too far apart.
    bool jumpsAreVain = false;
    /// The file marks frames as key frames that lean on others.
    bool keysAreFalse = false;
    /// A frame was lost or damaged in this run: what would be passed over could be the answer, or change what follows.
    bool skipsNothing = false;
    /// The latest stamp for which frames were skipped in this run.
    std::int64_t skippedFor = INT64_MIN;
    /// No step back led to a run that began well.
    bool betterStartsAreVain = false;
    int vainTries = 0;

    // Of the call under way.
    const FrameCall* call = nullptr;
    /// From this stamp on, frames are kept.
    std::int64_t keepFrom = INT64_MAX;
    /// It ended before a packet, as it was overtaken.
    bool isOvertaken = false;
    /// It came to the frame at which a healthy track is done.
    bool hasApproached = false;

    [[nodiscard]] AVRational timeBase() const { return track->facts().timeBase; }
    [[nodiscard]] TrackClock clock() const { return TrackClock(track->facts()); }

    // VideoFrameReaderDecoding.cpp
    void openDecoder();
    Result<bool> fillPackets(std::size_t wanted);
    Result<void> feed(std::int64_t limit);
    [[nodiscard]] bool isUnneeded(const AVPacket& packet, std::int64_t limit) const;
    void countError();
    void take(FramePtr frame);
    Result<TimedFrame> decode(std::int64_t limit);
    void forget();
    void goOnBehindErrors();
    Result<void> restart(std::int64_t timestamp);

    // VideoFrameReader.cpp
    Result<bool> beginRun(std::int64_t limit, int& badStarts);
    Result<void> seek(std::int64_t limit, std::int64_t before = INT64_MAX);
    [[nodiscard]] bool isSoonerSought(std::int64_t limit, std::int64_t stands) const;
    [[nodiscard]] bool shouldJump(std::int64_t limit) const;
    Result<void> goOnBeginning(std::int64_t limit);
    Result<void> skipToKey(std::int64_t limit);
    Result<void> advance(std::int64_t limit);
    [[nodiscard]] bool isAtEnd() const;
    [[nodiscard]] bool mayStartEarlier(std::int64_t lost, int tries) const;
    Result<void> goBefore(std::int64_t start, std::int64_t limit);
    Result<void> beginBetter(std::int64_t limit);
    Result<void> skipNothingInDamage(std::int64_t limit);
    Result<void> recover(std::int64_t limit);
    Result<void> approach(std::int64_t limit);
    Result<void> reach(std::int64_t limit);
    void pass() const;
    [[nodiscard]] ShownFrame shown(std::int64_t limit) const;
    [[nodiscard]] ShownFrame nearest(std::int64_t limit) const;
};

}  // namespace kelvane
