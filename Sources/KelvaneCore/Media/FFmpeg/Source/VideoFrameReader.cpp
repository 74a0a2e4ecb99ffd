#include "VideoFrameReader.h"

#include <algorithm>
#include <deque>
#include <utility>

extern "C" {
#include <libavutil/mathematics.h>
}

#include "Deinterlacer.h"
#include "FrameLight.h"
#include "OwedFrames.h"
#include "PictureDecoder.h"
#include "SourceFile.h"
#include "TrackClock.h"

namespace kelvane {

namespace {

/// A track that starts later than this shows black before its first frame; an earlier one shows that frame, because
/// encoders shift a track's start by a frame or two without meaning it. Seconds.
constexpr double lateStart = 0.1;
/// Decoding errors in a row after which a stretch is given up.
constexpr int errorLimit = 500;
/// Errors that are passed over while a decoder gives back what it holds: more than it has threads.
constexpr int threadErrors = 64;
/// Packets that are passed over in search of a key frame; a stream without marks is decoded as it comes.
constexpr int keySearchLimit = 600;
/// In a file without a full index, jumps over more than this seek, seconds.
constexpr double jumpDistance = 4;
/// Packets known ahead when frames may be skipped: the longest reordering of the standards.
constexpr std::size_t skipLookahead = 16;
/// First step back, seconds, when a key frame shows later than the frame that is wanted; doubled each time.
constexpr double firstStepBack = 0.5;
/// Steps back from key frames that fail or aren't any: as far as two minutes.
constexpr int badStartLimit = 8;
/// Key frames before the first one from which a lost frame is tried again: decoders that reorder by a whole group or
/// more lose its last frames at the file's end. Elsewhere one or two tell whether it can be had.
constexpr int triesAtEnd = 3;
constexpr int triesElsewhere = 2;
/// Frames not at the end that no try has brought, one after another, after which they are taken for lost.
constexpr int vainLimit = 3;

struct TimedFrame {
    std::int64_t pts = 0;
    SharedFrame frame;
};

std::int64_t shownAt(const AVPacket& packet) { return packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts; }

}  // namespace

struct VideoFrameReader::State {
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
    /// Nothing in this track can be decoded.
    bool hopeless = false;
    /// Jumps by distance lead further back than where they started: the key frames lie too far apart.
    bool jumpsAreVain = false;
    /// The file marks frames as key frames that lean on others.
    bool keysAreFalse = false;
    /// A frame was lost or damaged in this run: what would be passed over could be the answer, or change what follows.
    bool skipsNothing = false;
    /// No step back led to a run that began well.
    bool betterStartsAreVain = false;
    int vainTries = 0;

    [[nodiscard]] AVRational timeBase() const { return track->facts().timeBase; }
    [[nodiscard]] TrackClock clock() const { return TrackClock(track->facts()); }
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
    Result<void> seek(std::int64_t limit, std::int64_t before = INT64_MAX);
    [[nodiscard]] bool shouldJump(std::int64_t limit) const;
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
};

void VideoFrameReader::State::openDecoder() {
    const AVStream& stream = demuxer->stream();
    const std::int64_t bytes = track->facts().pictureBytes;
    decoder = openPictureDecoder(stream, pictureDecoderThreads(bytes, options.threads, options.bytesAhead));
    hopeless = decoder == nullptr;
    if (stream.codecpar->codec_id == AV_CODEC_ID_H264) owed.letKeysHide();
}

/// Reads ahead to `wanted` packets; false when there is none at all.
Result<bool> VideoFrameReader::State::fillPackets(std::size_t wanted) {
    while (packets.size() < wanted && !packetsEnded) {
        auto packet = demuxer->next();
        if (!packet) return fail(packet.error());
        if (!*packet) {
            packetsEnded = true;
            break;
        }
        const bool key = ((*packet)->flags & AV_PKT_FLAG_KEY) != 0;
        if (waitsForKey && !key && ++passedOver <= keySearchLimit) continue;
        waitsForKey = false;
        if (key && (*packet)->pts != AV_NOPTS_VALUE && (*packet)->dts != AV_NOPTS_VALUE)
            keyLag = std::max<std::int64_t>(0, (*packet)->pts - (*packet)->dts);
        packets.push_back(std::move(*packet));
    }
    return !packets.empty();
}

/// Whether a later frame is known to be due by `limit`, so that this one can't be the answer.
bool VideoFrameReader::State::isUnneeded(const AVPacket& packet, std::int64_t limit) const {
    if (!options.skipUnneeded || skipsNothing || deinterlacer.isActive() || packet.pts == AV_NOPTS_VALUE) return false;
    return std::any_of(packets.begin(), packets.end(), [&](const PacketPtr& other) {
        return other->pts != AV_NOPTS_VALUE && (other->flags & AV_PKT_FLAG_DISCARD) == 0 && other->pts > packet.pts &&
               other->pts <= limit && !owed.isGivenUp(other->pts);
    });
}

Result<void> VideoFrameReader::State::feed(std::int64_t limit) {
    auto filled = fillPackets(options.skipUnneeded ? skipLookahead : 1);
    if (!filled) return fail(filled.error());
    if (!*filled) {
        avcodec_send_packet(decoder.get(), nullptr);
        return {};
    }
    const PacketPtr packet = std::move(packets.front());
    packets.pop_front();
    lastFed = shownAt(*packet);
    const bool unneeded = isUnneeded(*packet, limit);
    decoder->skip_frame = unneeded ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
    owed.feed(*packet, unneeded);
    ++packetsDecoded;
    if (avcodec_send_packet(decoder.get(), packet.get()) < 0) countError();
    return {};
}

void VideoFrameReader::State::countError() {
    ++errors;
    owed.refuse();
}

/// Gives a decoded frame its time stamp and hands it on; a damaged one is dropped.
void VideoFrameReader::State::take(FramePtr frame) {
    if ((frame->flags & AV_FRAME_FLAG_CORRUPT) != 0 || frame->decode_error_flags != 0) return owed.refuse();
    errors = 0;
    owed.come(*frame);
    std::int64_t pts = frame->best_effort_timestamp;
    if (pts == AV_NOPTS_VALUE) {
        const double rate = track->facts().nominalFrameRate;
        const std::int64_t step = clock().ticks(rate > 0 ? 1 / rate : 0.04);
        pts = lastPts == AV_NOPTS_VALUE ? track->facts().zero : lastPts + step;
    }
    lastPts = pts;
    frame->pts = pts;
    addLight(*frame, demuxer->stream());
    deinterlacer.feed(std::move(frame), timeBase(), ready);
}

/// The next frame, or one without a picture at the end.
Result<TimedFrame> VideoFrameReader::State::decode(std::int64_t limit) {
    while (ready.empty() && !drained) {
        FramePtr frame(av_frame_alloc());
        const int code = avcodec_receive_frame(decoder.get(), frame.get());
        const bool gaveUp = gaveUpAt != AV_NOPTS_VALUE;
        if (code == 0) {
            take(std::move(frame));
        } else if (code == AVERROR_EOF || (gaveUp && (code == AVERROR(EAGAIN) || errors > errorLimit + threadErrors))) {
            deinterlacer.feed(nullptr, timeBase(), ready);
            drained = true;
        } else {
            if (code != AVERROR(EAGAIN)) countError();
            // Each of the decoder's threads may still tell of damage before the good frames come.
            if (gaveUp) continue;
            if (errors > errorLimit) {
                // The decoder may still hold good frames from before the damage.
                gaveUpAt = lastFed;
                avcodec_send_packet(decoder.get(), nullptr);
                continue;
            }
            if (auto fed = feed(limit); !fed) return fail(fed.error());
        }
    }
    if (ready.empty()) return TimedFrame{};
    const std::shared_ptr<AVFrame> frame = std::move(ready.front());
    ready.pop_front();
    return TimedFrame{frame->pts, frame};
}

/// Empties the decoder and what was read ahead.
void VideoFrameReader::State::forget() {
    positioned = fromBeginning = false;
    current = next = {};
    packets.clear();
    ready.clear();
    packetsEnded = drained = false;
    waitsForKey = true;
    passedOver = errors = 0;
    lastPts = gaveUpAt = lastFed = AV_NOPTS_VALUE;
    deinterlacer.reset();
    owed.restart();
    avcodec_flush_buffers(decoder.get());
}

/// Behind a stretch that was given up, decodes on from the next key frame.
void VideoFrameReader::State::goOnBehindErrors() {
    gaveUpAt = AV_NOPTS_VALUE;
    drained = false;
    passedOver = errors = 0;
    while (!packets.empty() && (packets.front()->flags & AV_PKT_FLAG_KEY) == 0) packets.pop_front();
    waitsForKey = packets.empty();
    owed.restart();
    avcodec_flush_buffers(decoder.get());
}

Result<void> VideoFrameReader::State::restart(std::int64_t timestamp) {
    forget();
    fromBeginning = timestamp == INT64_MIN;
    return demuxer->seek(timestamp);
}

/// Finds a place from which the frame of `limit` decodes, a key frame earlier than `before`: `current` becomes a frame
/// at or before `limit`, or else the first.
Result<void> VideoFrameReader::State::seek(std::int64_t limit, std::int64_t before) {
    const FFmpegTrack::Facts& facts = track->facts();
    const std::int64_t first = clock().tickAt(facts.timeRange.start, Rounding::down);
    std::int64_t target = std::min({limit, clock().tickAt(facts.timeRange.end(), Rounding::down) - 1, before - 1});
    std::int64_t step = 1;
    int badStarts = 0;
    while (true) {
        const std::int64_t place = target <= first ? INT64_MIN : target;
        if (auto restarted = restart(place); !restarted) return restarted;
        auto filled = fillPackets(1);
        if (!filled) return fail(filled.error());
        const std::int64_t key = *filled ? shownAt(*packets.front()) : AV_NOPTS_VALUE;
        const std::int64_t start = *filled ? earliestStamp(*packets.front()) : AV_NOPTS_VALUE;
        // A key frame that shows too late is known by its packet; decoding it would be for nothing.
        if (fromBeginning || key == AV_NOPTS_VALUE || (key <= limit && start < before)) {
            auto found = decode(limit);
            // What is to be shown of a track is its first frame, however late that comes.
            while (fromBeginning && found && !found->frame && gaveUpAt != AV_NOPTS_VALUE) {
                goOnBehindErrors();
                found = decode(limit);
            }
            if (!found) return fail(found.error());
            keysAreFalse = keysAreFalse || (!fromBeginning && owed.beganInBetween());
            const bool bad = !betterStartsAreVain && owed.beganBadly() && ++badStarts <= badStartLimit;
            if (fromBeginning || (found->frame && found->pts <= limit && !bad)) {
                current = std::move(*found);
                positioned = true;
                if (fromBeginning) firstPts = current.pts;
                hopeless = fromBeginning && !current.frame;
                betterStartsAreVain = betterStartsAreVain || badStarts > badStartLimit;
                return {};
            }
        }
        if (start != AV_NOPTS_VALUE) target = std::min(target, start);
        target -= step;
        step = step == 1 ? clock().ticks(firstStepBack) : step * 2;
    }
}

/// Whether `limit` is reached sooner by a seek than by decoding on.
bool VideoFrameReader::State::shouldJump(std::int64_t limit) const {
    // A key frame that is decoded before `limit` but shown after it would lead back to where the decoder stands.
    const std::int64_t key = demuxer->keyFrameBefore(limit - keyLag);
    // Behind a stretch that was given up, the next key frame is a new chance.
    if (gaveUpAt != AV_NOPTS_VALUE && !next.frame) return key != AV_NOPTS_VALUE && key > gaveUpAt;
    if (!next.frame || limit <= next.pts) return false;
    // What was fed counts as read, although the decoder may not have given it back yet.
    std::int64_t read = std::max(next.pts, lastFed);
    if (!packets.empty() && packets.back()->dts != AV_NOPTS_VALUE) read = std::max(read, packets.back()->dts);
    const bool knowsKeys = demuxer->hasFullIndex() && !keysAreFalse;
    if (!keysAreFalse && key != AV_NOPTS_VALUE && key > read) return true;
    return !knowsKeys && !jumpsAreVain && limit - next.pts > clock().ticks(jumpDistance);
}

/// Decodes on from the last key frame due by `limit` among the packets read ahead, if there is one: the frames before
/// it needn't be decoded then.
Result<void> VideoFrameReader::State::skipToKey(std::int64_t limit) {
    const auto key = std::find_if(packets.rbegin(), packets.rend(), [&](const PacketPtr& packet) {
        return (packet->flags & AV_PKT_FLAG_KEY) != 0 && (packet->flags & AV_PKT_FLAG_DISCARD) == 0 &&
               packet->pts != AV_NOPTS_VALUE && packet->pts <= limit;
    });
    if (key == packets.rend() || keysAreFalse) return {};
    packets.erase(packets.begin(), std::prev(key.base()));
    std::deque<PacketPtr> ahead = std::move(packets);
    const bool ended = packetsEnded;
    skipsNothing = false;
    forget();
    packets = std::move(ahead);
    packetsEnded = ended;
    waitsForKey = false;
    auto found = decode(limit);
    if (!found) return fail(found.error());
    positioned = found->frame && found->pts <= limit && !owed.beganBadly();
    if (!positioned) return seek(limit);
    current = std::move(*found);
    return {};
}

Result<void> VideoFrameReader::State::advance(std::int64_t limit) {
    while (current.frame) {
        if (!next.frame) {
            auto decoded = decode(limit);
            if (!decoded) return fail(decoded.error());
            if (!decoded->frame) return {};
            next = std::move(*decoded);
        }
        if (next.pts > limit) return {};
        current = std::move(next);
        next = {};
    }
    return {};
}

/// Whether all frames that are left in the file are out.
bool VideoFrameReader::State::isAtEnd() const { return drained && !next.frame && gaveUpAt == AV_NOPTS_VALUE; }

/// Whether a frame that didn't come out may do so in a run from an earlier key frame, after so many tries.
bool VideoFrameReader::State::mayStartEarlier(std::int64_t lost, int tries) const {
    if (fromBeginning || owed.start() == AV_NOPTS_VALUE) return false;
    const int keys = owed.keysBy(lost);
    if (isAtEnd()) return tries < triesAtEnd && keys <= triesAtEnd + 1;
    return tries < triesElsewhere && keys <= tries + 1 && vainTries < vainLimit;
}

Result<void> VideoFrameReader::State::goBefore(std::int64_t start, std::int64_t limit) {
    if (auto sought = seek(limit, start); !sought) return sought;
    return advance(limit);
}

/// Begins further back while the run began on a picture that isn't there.
Result<void> VideoFrameReader::State::beginBetter(std::int64_t limit) {
    std::int64_t step = 0;
    const auto isBad = [this] {
        return owed.beganBadly() && !betterStartsAreVain && !fromBeginning && owed.start() != AV_NOPTS_VALUE;
    };
    for (int tries = 0; isBad(); ++tries) {
        keysAreFalse = keysAreFalse || owed.beganInBetween();
        if (auto moved = goBefore(owed.start() - step, limit); !moved) return moved;
        step = step == 0 ? clock().ticks(firstStepBack) : step * 2;
        betterStartsAreVain = betterStartsAreVain || tries >= badStartLimit;
    }
    return {};
}

/// Decodes a damaged run again without passing over anything: what a decoder makes of damage depends on what it saw.
Result<void> VideoFrameReader::State::skipNothingInDamage(std::int64_t limit) {
    if (skipsNothing || !owed.isDamaged() || !owed.skippedAfter(INT64_MIN)) return {};
    skipsNothing = true;
    if (auto moved = goBefore(INT64_MAX, limit); !moved) return moved;
    return current.frame ? beginBetter(limit) : Result<void>();
}

/// Where a frame is due by `limit` that didn't come out, decodes again, skipping nothing and from an earlier key frame
/// where that may help; what doesn't come then either is given up.
Result<void> VideoFrameReader::State::recover(std::int64_t limit) {
    auto lost = owed.lastOwed(current.pts, limit);
    int tries = 0;
    for (bool isWorse = false; lost && !isWorse; ++tries) {
        const bool earlier = mayStartEarlier(*lost, tries);
        if (!earlier && (tries > 0 || !owed.skippedAfter(current.pts))) break;
        const std::int64_t stood = current.pts;
        skipsNothing = true;
        auto moved = goBefore(earlier ? owed.start() : INT64_MAX, limit);
        // Through a damaged stretch an earlier start may lead less far.
        isWorse = moved && (!current.frame || current.pts < stood);
        if (isWorse) moved = goBefore(INT64_MAX, limit);
        if (!moved) return moved;
        lost = owed.lastOwed(current.pts, limit);
    }
    if (tries == 0) return {};
    vainTries = lost ? vainTries + 1 : 0;
    if (lost) owed.giveUp(current.pts, isAtEnd() ? INT64_MAX : limit);
    return {};
}

Result<void> VideoFrameReader::State::reach(std::int64_t limit) {
    if (auto approached = approach(limit); !approached) return approached;
    if (!current.frame) return {};
    if (auto begun = beginBetter(limit); !begun) return begun;
    if (auto redone = skipNothingInDamage(limit); !redone || !current.frame) return redone;
    if (auto recovered = recover(limit); !recovered || !current.frame) return recovered;
    owed.settle(current.pts);
    return {};
}

/// Goes to the last frame due by `limit` that comes out.
Result<void> VideoFrameReader::State::approach(std::int64_t limit) {
    const bool isFirst = fromBeginning && current.pts == firstPts;
    if (!positioned || (current.frame && limit < current.pts && !isFirst)) {
        skipsNothing = false;
        if (auto sought = seek(limit); !sought) return sought;
    } else if (shouldJump(limit)) {
        const std::int64_t stood = next.frame ? next.pts : current.pts;
        skipsNothing = false;
        if (auto sought = seek(limit); !sought) return sought;
        jumpsAreVain = jumpsAreVain || (current.frame && current.pts <= stood);
    } else if (current.frame && limit > current.pts) {
        if (auto skipped = skipToKey(limit); !skipped) return skipped;
    }
    return advance(limit);
}

VideoFrameReader::VideoFrameReader(std::unique_ptr<State> state) : state_(std::move(state)) {}
VideoFrameReader::~VideoFrameReader() = default;

Result<std::unique_ptr<VideoFrameReader>> VideoFrameReader::open(std::shared_ptr<const FFmpegTrack> track,
                                                                 VideoFrameReaderOptions options,
                                                                 std::stop_token stop) {
    auto demuxer = SourceDemuxer::open(*track, std::move(stop));
    if (!demuxer) return fail(demuxer.error());
    auto state = std::make_unique<State>();
    state->track = std::move(track);
    state->options = options;
    state->demuxer = std::move(*demuxer);
    state->openDecoder();
    // What the header tells, until key frames are read.
    const AVStream& stream = state->demuxer->stream();
    if (stream.codecpar->video_delay > 0 && av_q2d(stream.avg_frame_rate) > 0)
        state->keyLag = state->clock().ticks(stream.codecpar->video_delay / av_q2d(stream.avg_frame_rate));
    return std::unique_ptr<VideoFrameReader>(new VideoFrameReader(std::move(state)));
}

Result<SharedFrame> VideoFrameReader::frame(MediaTime time, std::stop_token stop) {
    State& state = *state_;
    if (stop.stop_requested()) return fail(Error::cancelled());
    if (state.hopeless) return SharedFrame();
    const std::int64_t wanted = state.clock().begunBy(time);
    const MediaTime start = state.track->facts().timeRange.start;
    if (start.seconds() > lateStart && wanted < state.clock().tickAt(start, Rounding::down)) return SharedFrame();
    state.demuxer->setStop(std::move(stop));
    if (auto reached = state.reach(wanted); !reached) {
        state.positioned = false;
        return fail(reached.error());
    }
    return state.current.frame;
}

const FFmpegTrack& VideoFrameReader::track() const { return *state_->track; }
bool VideoFrameReader::isUndecodable() const { return state_->hopeless; }
Error VideoFrameReader::undecodable() const {
    return Error("“" + track().url().fileName() + "” has no picture that can be decoded.");
}

std::optional<std::int64_t> VideoFrameReader::decodingStart(MediaTime time) const {
    const State& state = *state_;
    if (!state.demuxer->hasFullIndex()) return std::nullopt;
    const std::int64_t key = state.demuxer->keyFrameBefore(state.clock().begunBy(time) - state.keyLag);
    // Before the first key frame, the run begins with the file.
    return key == AV_NOPTS_VALUE ? INT64_MIN : key;
}

std::int64_t VideoFrameReader::packetsDecoded() const { return state_->packetsDecoded; }

}  // namespace kelvane
