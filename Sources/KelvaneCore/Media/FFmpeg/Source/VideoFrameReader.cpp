#include "VideoFrameReader.h"

#include <algorithm>
#include <utility>

extern "C" {
#include <libavutil/mathematics.h>
}

#include "Support/Text.h"
#include "VideoFrameReaderState.h"

namespace kelvane {

namespace {

/// A track that starts later than this shows black before its first frame; an earlier one shows that frame, because
/// encoders shift a track's start by a frame or two without meaning it. Seconds.
constexpr double lateStart = 0.1;
/// In a file without a full index, jumps over more than this seek, seconds.
constexpr double jumpDistance = 4;
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

}  // namespace

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
    return Error(quotedName(track().url().fileName()) + " has no picture that can be decoded.");
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
