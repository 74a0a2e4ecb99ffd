#include "VideoFrameReader.h"

#include <algorithm>
#include <array>
#include <deque>
#include <utility>

extern "C" {
#include <libavutil/cpu.h>
#include <libavutil/mathematics.h>
}

#include "Deinterlacer.h"
#include "FFmpegVersions.h"
#include "SourceFile.h"

namespace kelvane {

namespace {

/// A track that starts later than this shows black before its first frame; an earlier one shows that frame, because
/// encoders shift a track's start by a frame or two without meaning it. Seconds.
constexpr double lateStart = 0.1;
/// Decoding errors in a row after which a stretch is given up.
constexpr int errorLimit = 500;
/// Packets that are passed over in search of a key frame; a stream without marks is decoded as it comes.
constexpr int keySearchLimit = 600;
/// In a file without a full index, jumps over more than this seek, seconds.
constexpr double jumpDistance = 4;
/// Packets known ahead when frames may be skipped: the longest reordering of the standards.
constexpr std::size_t skipLookahead = 16;
/// First step back, seconds, when a key frame shows later than the frame that is wanted; doubled each time.
constexpr double firstStepBack = 0.5;

/// Ticks up to this long, seconds, are finer than any frame; longer ones (AVI counts in frames) are taken by their
/// word.
constexpr double fineTick = 0.002;

/// Pixels of all the pictures that a decoder's threads work at: sixteen of 3840 × 2160, three of the largest ones.
constexpr std::int64_t pixelsInWork = std::int64_t{16} * 3840 * 2160;

enum class Rounding { down, up };

struct TimedFrame {
    std::int64_t pts = 0;
    SharedFrame frame;
};

/// Threads for pictures of this size: each one keeps a picture of its own in memory.
int decoderThreads(const AVCodecParameters& stream, int wanted) {
    const std::int64_t pixels = std::max<std::int64_t>(std::int64_t{stream.width} * stream.height, 1);
    const auto most = static_cast<int>(std::clamp<std::int64_t>(pixelsInWork / pixels, 2, 16));
    return std::min(wanted > 0 ? wanted : av_cpu_count(), most);
}

/// Gives an HDR frame what the container alone tells about the stream's light.
void addLight(AVFrame& frame, const AVStream& stream) {
    if (frame.color_trc != AVCOL_TRC_SMPTE2084) return;
    constexpr std::array kinds{
        std::pair{AV_PKT_DATA_CONTENT_LIGHT_LEVEL, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL},
        std::pair{AV_PKT_DATA_MASTERING_DISPLAY_METADATA, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA}};
    for (const auto& [inStream, inFrame] : kinds) {
        std::size_t size = 0;
        const std::uint8_t* data = streamSideData(stream, inStream, size);
        if (data == nullptr || av_frame_get_side_data(&frame, inFrame) != nullptr) continue;
        AVFrameSideData* added = av_frame_new_side_data(&frame, inFrame, size);
        if (added != nullptr) std::copy_n(data, size, added->data);
    }
}

std::int64_t shownAt(const AVPacket& packet) { return packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts; }

}  // namespace

struct VideoFrameReader::State {
    std::shared_ptr<const FFmpegTrack> track;
    VideoFrameReaderOptions options;
    std::unique_ptr<SourceDemuxer> demuxer;
    CodecContextPtr decoder;
    Deinterlacer deinterlacer;

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

    [[nodiscard]] AVRational timeBase() const { return track->facts().timeBase; }
    [[nodiscard]] std::int64_t ticks(double seconds) const;
    [[nodiscard]] std::int64_t tickAt(MediaTime time, Rounding rounding) const;
    [[nodiscard]] std::int64_t wantedTick(MediaTime time) const;
    void openDecoder();
    Result<bool> fillPackets(std::size_t wanted);
    Result<void> feed(std::int64_t limit);
    [[nodiscard]] bool isUnneeded(const AVPacket& packet, std::int64_t limit) const;
    void take(FramePtr frame);
    Result<TimedFrame> decode(std::int64_t limit);
    void forget();
    Result<void> restart(std::int64_t timestamp);
    Result<void> seek(std::int64_t limit);
    [[nodiscard]] bool shouldJump(std::int64_t limit) const;
    Result<void> skipToKey(std::int64_t limit);
    Result<void> advance(std::int64_t limit);
    Result<void> reach(std::int64_t limit);
};

std::int64_t VideoFrameReader::State::ticks(double seconds) const {
    return std::max<std::int64_t>(1, static_cast<std::int64_t>(seconds / av_q2d(timeBase())));
}

/// The largest time stamp whose moment is at most `time`, or with `Rounding::up` the smallest one at or after it. A
/// `time` that is a whole number of ticks gives that tick either way.
std::int64_t VideoFrameReader::State::tickAt(MediaTime time, Rounding rounding) const {
    const auto up = static_cast<__int128>(time.value) * timeBase().den;
    const auto down = static_cast<__int128>(time.timescale) * timeBase().num;
    __int128 tick = up / down;
    if (up % down < 0) --tick;
    if (rounding == Rounding::up && up % down != 0) ++tick;
    tick += track->facts().zero;
    constexpr __int128 bound = INT64_MAX / 4;
    return static_cast<std::int64_t>(std::clamp(tick, -bound, bound));
}

/// The last time stamp that counts as begun at `time`. Writers round a frame's time to the nearest tick, so on a fine
/// clock the frame meant for `time` can be stamped up to a tick after it.
std::int64_t VideoFrameReader::State::wantedTick(MediaTime time) const {
    return tickAt(time, av_q2d(timeBase()) <= fineTick ? Rounding::up : Rounding::down);
}

void VideoFrameReader::State::openDecoder() {
    hopeless = true;
    const AVStream& stream = demuxer->stream();
    const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (codec == nullptr) return;
    decoder.reset(avcodec_alloc_context3(codec));
    if (!decoder || avcodec_parameters_to_context(decoder.get(), stream.codecpar) < 0) return;
    decoder->pkt_timebase = stream.time_base;
    decoder->framerate = stream.avg_frame_rate;
    decoder->max_pixels = maximumPixels;
    // Unless told to follow the standard, H.264's decoder guesses at how far a stream that doesn't say so reorders its
    // frames, and drops the first ones when it guessed too low.
    if (codec->id == AV_CODEC_ID_H264) decoder->strict_std_compliance = FF_COMPLIANCE_STRICT;
    decoder->thread_count = decoderThreads(*stream.codecpar, options.threads);
    decoder->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
    hopeless = avcodec_open2(decoder.get(), codec, nullptr) < 0;
}

/// Reads ahead to `wanted` packets; false when there is none at all.
Result<bool> VideoFrameReader::State::fillPackets(std::size_t wanted) {
    while (packets.size() < wanted && !packetsEnded) {
        auto packet = demuxer->next();
        if (!packet) return std::unexpected(packet.error());
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
    if (!options.skipUnneeded || deinterlacer.isActive() || packet.pts == AV_NOPTS_VALUE) return false;
    return std::any_of(packets.begin(), packets.end(), [&](const PacketPtr& other) {
        return other->pts != AV_NOPTS_VALUE && (other->flags & AV_PKT_FLAG_DISCARD) == 0 && other->pts > packet.pts &&
               other->pts <= limit;
    });
}

Result<void> VideoFrameReader::State::feed(std::int64_t limit) {
    auto filled = fillPackets(options.skipUnneeded ? skipLookahead : 1);
    if (!filled) return std::unexpected(filled.error());
    if (!*filled) {
        avcodec_send_packet(decoder.get(), nullptr);
        return {};
    }
    const PacketPtr packet = std::move(packets.front());
    packets.pop_front();
    lastFed = shownAt(*packet);
    decoder->skip_frame = isUnneeded(*packet, limit) ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
    ++packetsDecoded;
    if (avcodec_send_packet(decoder.get(), packet.get()) < 0) ++errors;
    return {};
}

/// Gives a decoded frame its time stamp and hands it on; a damaged one is dropped.
void VideoFrameReader::State::take(FramePtr frame) {
    if ((frame->flags & AV_FRAME_FLAG_CORRUPT) != 0 || frame->decode_error_flags != 0) return;
    errors = 0;
    std::int64_t pts = frame->best_effort_timestamp;
    if (pts == AV_NOPTS_VALUE) {
        const double rate = track->facts().nominalFrameRate;
        const std::int64_t step = ticks(rate > 0 ? 1 / rate : 0.04);
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
        if (code == 0) {
            take(std::move(frame));
        } else if (code == AVERROR_EOF || gaveUpAt != AV_NOPTS_VALUE) {
            deinterlacer.feed(nullptr, timeBase(), ready);
            drained = true;
        } else {
            if (code != AVERROR(EAGAIN)) ++errors;
            if (errors > errorLimit) {
                // The decoder may still hold good frames from before the damage.
                gaveUpAt = lastFed;
                avcodec_send_packet(decoder.get(), nullptr);
                continue;
            }
            if (auto fed = feed(limit); !fed) return std::unexpected(fed.error());
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
    avcodec_flush_buffers(decoder.get());
}

Result<void> VideoFrameReader::State::restart(std::int64_t timestamp) {
    forget();
    fromBeginning = timestamp == INT64_MIN;
    return demuxer->seek(timestamp);
}

/// Finds a place from which the frame of `limit` decodes: `current` becomes a frame at or before it, or else the first.
Result<void> VideoFrameReader::State::seek(std::int64_t limit) {
    const FFmpegTrack::Facts& facts = track->facts();
    const std::int64_t first = tickAt(facts.timeRange.start, Rounding::down);
    std::int64_t target = std::min(limit, tickAt(facts.timeRange.end(), Rounding::down) - 1);
    std::int64_t step = 1;
    while (true) {
        const std::int64_t place = target <= first ? INT64_MIN : target;
        if (auto restarted = restart(place); !restarted) return restarted;
        auto filled = fillPackets(1);
        if (!filled) return std::unexpected(filled.error());
        const std::int64_t key = *filled ? shownAt(*packets.front()) : AV_NOPTS_VALUE;
        // A key frame that shows too late is known by its packet; decoding it would be for nothing.
        if (fromBeginning || key == AV_NOPTS_VALUE || key <= limit) {
            auto found = decode(limit);
            if (!found) return std::unexpected(found.error());
            if (fromBeginning || (found->frame && found->pts <= limit)) {
                current = std::move(*found);
                positioned = true;
                if (fromBeginning) firstPts = current.pts;
                hopeless = fromBeginning && !current.frame;
                return {};
            }
        }
        const std::int64_t decoded = *filled && !packets.empty() ? packets.front()->dts : AV_NOPTS_VALUE;
        for (const std::int64_t time : {key, decoded})
            if (time != AV_NOPTS_VALUE) target = std::min(target, time);
        target -= step;
        step = step == 1 ? ticks(firstStepBack) : step * 2;
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
    if (key != AV_NOPTS_VALUE && key > read) return true;
    return !demuxer->hasFullIndex() && !jumpsAreVain && limit - next.pts > ticks(jumpDistance);
}

/// Decodes on from the last key frame due by `limit` among the packets read ahead, if there is one: the frames before
/// it needn't be decoded then.
Result<void> VideoFrameReader::State::skipToKey(std::int64_t limit) {
    const auto key = std::find_if(packets.rbegin(), packets.rend(), [&](const PacketPtr& packet) {
        return (packet->flags & AV_PKT_FLAG_KEY) != 0 && (packet->flags & AV_PKT_FLAG_DISCARD) == 0 &&
               packet->pts != AV_NOPTS_VALUE && packet->pts <= limit;
    });
    if (key == packets.rend()) return {};
    packets.erase(packets.begin(), std::prev(key.base()));
    std::deque<PacketPtr> ahead = std::move(packets);
    const bool ended = packetsEnded;
    forget();
    packets = std::move(ahead);
    packetsEnded = ended;
    waitsForKey = false;
    auto found = decode(limit);
    if (!found) return std::unexpected(found.error());
    positioned = found->frame && found->pts <= limit;
    if (!positioned) return seek(limit);
    current = std::move(*found);
    return {};
}

Result<void> VideoFrameReader::State::advance(std::int64_t limit) {
    while (current.frame) {
        if (!next.frame) {
            auto decoded = decode(limit);
            if (!decoded) return std::unexpected(decoded.error());
            if (!decoded->frame) return {};
            next = std::move(*decoded);
        }
        if (next.pts > limit) return {};
        current = std::move(next);
        next = {};
    }
    return {};
}

Result<void> VideoFrameReader::State::reach(std::int64_t limit) {
    const bool isFirst = fromBeginning && current.pts == firstPts;
    if (!positioned || (current.frame && limit < current.pts && !isFirst)) {
        if (auto sought = seek(limit); !sought) return sought;
    } else if (shouldJump(limit)) {
        const std::int64_t stood = next.frame ? next.pts : current.pts;
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
    if (!demuxer) return std::unexpected(demuxer.error());
    auto state = std::make_unique<State>();
    state->track = std::move(track);
    state->options = options;
    state->demuxer = std::move(*demuxer);
    state->openDecoder();
    // What the header tells, until key frames are read.
    const AVStream& stream = state->demuxer->stream();
    if (stream.codecpar->video_delay > 0 && av_q2d(stream.avg_frame_rate) > 0)
        state->keyLag = state->ticks(stream.codecpar->video_delay / av_q2d(stream.avg_frame_rate));
    return std::unique_ptr<VideoFrameReader>(new VideoFrameReader(std::move(state)));
}

Result<SharedFrame> VideoFrameReader::frame(MediaTime time, std::stop_token stop) {
    State& state = *state_;
    if (stop.stop_requested()) return fail(Error::cancelled());
    if (state.hopeless) return SharedFrame();
    const std::int64_t wanted = state.wantedTick(time);
    const MediaTime start = state.track->facts().timeRange.start;
    if (start.seconds() > lateStart && wanted < state.tickAt(start, Rounding::down)) return SharedFrame();
    state.demuxer->setStop(std::move(stop));
    if (auto reached = state.reach(wanted); !reached) {
        state.positioned = false;
        return std::unexpected(reached.error());
    }
    return state.current.frame;
}

const FFmpegTrack& VideoFrameReader::track() const { return *state_->track; }

std::optional<std::int64_t> VideoFrameReader::decodingStart(MediaTime time) const {
    const State& state = *state_;
    if (!state.demuxer->hasFullIndex()) return std::nullopt;
    const std::int64_t key = state.demuxer->keyFrameBefore(state.wantedTick(time) - state.keyLag);
    // Before the first key frame, the run begins with the file.
    return key == AV_NOPTS_VALUE ? INT64_MIN : key;
}

std::int64_t VideoFrameReader::packetsDecoded() const { return state_->packetsDecoded; }

}  // namespace kelvane
