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

/// Decodes the first frame of a run that was begun; false, standing nowhere, where it isn't one to go on from.
Result<bool> VideoFrameReader::State::beginRun(std::int64_t limit, int& badStarts) {
    begins = true;
    auto found = decode(limit);
    // What is to be shown of a track is its first frame, however late that comes.
    while (fromBeginning && found && !found->frame && gaveUpAt != AV_NOPTS_VALUE) {
        goOnBehindErrors();
        found = decode(limit);
    }
    if (!found) return fail(found.error());
    begins = false;
    keysAreFalse = keysAreFalse || (!fromBeginning && owed.beganInBetween());
    const bool bad = !betterStartsAreVain && owed.beganBadly() && ++badStarts <= badStartLimit;
    if (!fromBeginning && (!found->frame || found->pts > limit || bad)) return false;
    current = std::move(*found);
    positioned = true;
    if (fromBeginning) firstPts = current.pts;
    hopeless = fromBeginning && !current.frame;
    betterStartsAreVain = betterStartsAreVain || badStarts > badStartLimit;
    return true;
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
            beginsAt = key;
            const auto stands = beginRun(limit, badStarts);
            if (!stands) return fail(stands.error());
            if (*stands) return {};
        }
        if (start != AV_NOPTS_VALUE) target = std::min(target, start);
        target -= step;
        step = step == 1 ? clock().ticks(firstStepBack) : step * 2;
    }
}

/// Whether `limit` is reached sooner by a seek than by decoding on from the stamp at which the decoder stands.
bool VideoFrameReader::State::isSoonerSought(std::int64_t limit, std::int64_t stands) const {
    // A key frame that is decoded before `limit` but shown after it would lead back to where the decoder stands.
    const std::int64_t key = demuxer->keyFrameBefore(limit - keyLag);
    // What was fed counts as read, although the decoder may not have given it back yet.
    std::int64_t read = std::max(stands, lastFed);
    if (!packets.empty() && packets.back()->dts != AV_NOPTS_VALUE) read = std::max(read, packets.back()->dts);
    const bool knowsKeys = demuxer->hasFullIndex() && !keysAreFalse;
    if (!keysAreFalse && key != AV_NOPTS_VALUE && key > read) return true;
    return !knowsKeys && !jumpsAreVain && limit - stands > clock().ticks(jumpDistance);
}

bool VideoFrameReader::State::shouldJump(std::int64_t limit) const {
    // Behind a stretch that was given up, the next key frame is a new chance.
    if (gaveUpAt != AV_NOPTS_VALUE && !next.frame) {
        const std::int64_t key = demuxer->keyFrameBefore(limit - keyLag);
        return key != AV_NOPTS_VALUE && key > gaveUpAt;
    }
    // Only a call that was overtaken leaves no next frame before the end.
    if (!next.frame && drained) return false;
    const std::int64_t stands = next.frame ? next.pts : current.pts;
    return limit > stands && isSoonerSought(limit, stands);
}

/// Takes up a run that an overtaken call began, where that leads to `limit`.
Result<void> VideoFrameReader::State::goOnBeginning(std::int64_t limit) {
    const bool leads = fromBeginning || (beginsAt != AV_NOPTS_VALUE && beginsAt <= limit);
    if (leads && !isSoonerSought(limit, beginsAt)) {
        int badStarts = 0;
        const auto stands = beginRun(limit, badStarts);
        if (!stands) return fail(stands.error());
        if (*stands) return {};
    }
    skipsNothing = false;
    return seek(limit);
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
    beginsAt = packets.front()->pts;
    int badStarts = 0;
    const auto stands = beginRun(limit, badStarts);
    if (!stands) return fail(stands.error());
    return *stands ? Result<void>() : seek(limit);
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
        pass();
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

/// Hands out the current frame, which the call goes by, where that is kept and known to be whole.
void VideoFrameReader::State::pass() const {
    if (call == nullptr || !call->passed || owed.beganBadly() || owed.isDamaged()) return;
    const std::int64_t until = std::min(next.pts, owed.firstMissing(current.pts).value_or(next.pts));
    if (until > keepFrom && until > current.pts) call->passed({current.frame, current.pts, until});
}

ShownFrame VideoFrameReader::State::shown(std::int64_t limit) const {
    if (!current.frame) return {};
    const bool isFirst = fromBeginning && current.pts == firstPts;
    std::int64_t until = next.frame ? next.pts : isAtEnd() ? INT64_MAX : limit;
    until = std::min(until, owed.firstMissing(current.pts).value_or(until));
    return {current.frame, isFirst ? INT64_MIN : current.pts, std::max(until, limit + 1)};
}

/// What an overtaken call came to.
ShownFrame VideoFrameReader::State::nearest(std::int64_t limit) const {
    const bool isWhole = positioned && current.frame && !owed.beganBadly() && !owed.isDamaged();
    if (!isWhole || current.pts > limit) return {.isExact = false};
    return {current.frame, current.pts, current.pts + 1, false};
}

Result<void> VideoFrameReader::State::reach(std::int64_t limit) {
    hasApproached = false;
    if (auto approached = approach(limit); !approached) return approached;
    hasApproached = true;
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
    if (!positioned && begins) {
        if (auto begun = goOnBeginning(limit); !begun) return begun;
    } else if (!positioned || (current.frame && limit < current.pts && !isFirst)) {
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
    if (auto advanced = advance(limit); !advanced || !current.frame) return advanced;
    // An overtaken call may have skipped for a later time what this one is about.
    const bool isSkipped = skippedFor > limit && owed.isSkippedBetween(current.pts, limit);
    if (!isSkipped || owed.lastOwed(current.pts, limit)) return {};
    skipsNothing = false;
    return goBefore(INT64_MAX, limit);
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
    auto shown = frame(time, FrameCall(), std::move(stop));
    if (!shown) return fail(shown.error());
    return std::move(shown->frame);
}

Result<ShownFrame> VideoFrameReader::frame(MediaTime time, const FrameCall& call, std::stop_token stop) {
    State& state = *state_;
    if (stop.stop_requested()) return fail(Error::cancelled());
    if (state.hopeless) return ShownFrame();
    const auto wanted = stampAt(track(), time);
    if (!wanted) return ShownFrame();
    state.demuxer->setStop(std::move(stop));
    state.call = &call;
    state.isOvertaken = false;
    state.keepFrom = call.keepFrom ? state.clock().begunBy(*call.keepFrom) : INT64_MAX;
    const auto reached = state.reach(*wanted);
    state.call = nullptr;
    if (reached) return state.shown(*wanted);
    // Amid damage, or where reading failed, the next call begins anew.
    if (!state.isOvertaken || state.hasApproached) state.positioned = state.begins = false;
    if (!state.isOvertaken) return fail(reached.error());
    return state.nearest(*wanted);
}

std::optional<std::int64_t> VideoFrameReader::stampAt(const FFmpegTrack& track, MediaTime time) {
    const TrackClock clock(track.facts());
    const std::int64_t stamp = clock.begunBy(time);
    const MediaTime start = track.facts().timeRange.start;
    if (start.seconds() > lateStart && stamp < clock.tickAt(start, Rounding::down)) return std::nullopt;
    return stamp;
}

std::optional<std::int64_t> VideoFrameReader::position() const {
    if (state_->begins && state_->beginsAt != AV_NOPTS_VALUE) return state_->beginsAt;
    if (!state_->positioned || !state_->current.frame) return std::nullopt;
    return state_->current.pts;
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
