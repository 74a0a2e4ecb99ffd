#include <algorithm>
#include <utility>

#include "FrameLight.h"
#include "PictureDecoder.h"
#include "VideoFrameReaderState.h"

namespace kelvane {

namespace {

/// Decoding errors in a row after which a stretch is given up.
constexpr int errorLimit = 500;
/// Errors that are passed over while a decoder gives back what it holds: more than it has threads.
constexpr int threadErrors = 64;
/// Packets that are passed over in search of a key frame; a stream without marks is decoded as it comes.
constexpr int keySearchLimit = 600;
/// Packets known ahead when frames may be skipped: the longest reordering of the standards.
constexpr std::size_t skipLookahead = 16;

}  // namespace

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
    if (packet.pts >= keepFrom) return false;
    return std::any_of(packets.begin(), packets.end(), [&](const PacketPtr& other) {
        return other->pts != AV_NOPTS_VALUE && (other->flags & AV_PKT_FLAG_DISCARD) == 0 && other->pts > packet.pts &&
               other->pts <= limit && !owed.isGivenUp(other->pts);
    });
}

Result<void> VideoFrameReader::State::feed(std::int64_t limit) {
    if (call != nullptr && call->isOvertaken && call->isOvertaken()) {
        isOvertaken = true;
        return fail(Error::cancelled());
    }
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
    if (unneeded) skippedFor = std::max(skippedFor, limit);
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
Result<VideoFrameReader::State::TimedFrame> VideoFrameReader::State::decode(std::int64_t limit) {
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
    positioned = fromBeginning = begins = false;
    current = next = {};
    packets.clear();
    ready.clear();
    packetsEnded = drained = false;
    waitsForKey = true;
    passedOver = errors = 0;
    skippedFor = INT64_MIN;
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

}  // namespace kelvane
