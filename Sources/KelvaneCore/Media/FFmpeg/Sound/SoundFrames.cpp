#include "SoundFrames.h"

extern "C" {
#include <libavutil/mathematics.h>
}

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

namespace kelvane {

namespace {

/// Seconds decoded ahead of a seek's goal: MP3 frames lean on up to 511 bytes of earlier frames, Opus asks for 80 ms,
/// spectral band replication waits for its next header.
constexpr double decoderRunUp = 0.5;
/// A time stamp that disagrees with the count of samples by more than this part of a second is a hole or an overlap; by
/// less, a clock that runs a little fast or slow.
constexpr int holeFraction = 100;
/// Disagreement that is left alone, as part of a second, beyond one tick of the time base.
constexpr int jitterFraction = 1000;
/// Vorbis blocks of two lengths follow each other, and the demuxer guesses at the time of a page's first one: off by a
/// quarter of their difference, 448 samples for the usual 2048 and 256.
constexpr int vorbisJitter = 512;
/// Sources with a rate outside of these bounds are damaged.
constexpr int lowestRate = 1000;
constexpr int highestRate = 1'000'000;
/// Time stamps beyond this are damaged, seconds.
constexpr std::int64_t farthest = 10'000'000;
/// Frames looked at to learn how long the frames of a file are.
constexpr int gridSamples = 4;
/// Refused packets in a row after which the decoder is opened anew; the first one counts.
constexpr int reopenAfter = 16;
/// The time stamp that stands for a file's beginning in a seek.
constexpr std::int64_t fromBeginning = std::numeric_limits<std::int64_t>::min();

bool isUsable(const AVFrame& frame) {
    return frame.sample_rate >= lowestRate && frame.sample_rate <= highestRate && frame.nb_samples > 0 &&
           frame.ch_layout.nb_channels > 0;
}

}  // namespace

SoundFrames::SoundFrames(std::shared_ptr<const FFmpegTrack> track, std::unique_ptr<SourceDemuxer> demuxer)
    : track_(std::move(track)), demuxer_(std::move(demuxer)), frame_(av_frame_alloc()) {}

Result<std::unique_ptr<SoundFrames>> SoundFrames::open(std::shared_ptr<const FFmpegTrack> track, std::string name,
                                                       std::stop_token stop) {
    auto demuxer = SourceDemuxer::open(*track, std::move(name), std::move(stop));
    if (!demuxer) return fail(demuxer.error());
    std::unique_ptr<SoundFrames> frames(new SoundFrames(std::move(track), std::move(*demuxer)));
    frames->openCodec();
    return frames;
}

void SoundFrames::openCodec() {
    const AVStream& stream = demuxer_->stream();
    const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (codec == nullptr || stream.codecpar->codec_type != AVMEDIA_TYPE_AUDIO) return;
    CodecContextPtr context(avcodec_alloc_context3(codec));
    if (!context || avcodec_parameters_to_context(context.get(), stream.codecpar) < 0) return;
    context->pkt_timebase = stream.time_base;
    context->thread_count = 1;
    if (avcodec_open2(context.get(), codec, nullptr) < 0) return;
    codec_ = std::move(context);
}

std::int64_t SoundFrames::tickSamples(int rate) const {
    const AVRational base = track_->facts().timeBase;
    return av_rescale_rnd(std::int64_t{base.num} * rate, 1, std::max(base.den, 1), AV_ROUND_UP);
}

Result<void> SoundFrames::goTo(std::int64_t timestamp, std::stop_token stop) {
    demuxer_->setStop(std::move(stop));
    if (auto moved = demuxer_->seek(timestamp); !moved) return moved;
    avcodec_flush_buffers(codec_.get());
    draining_ = false;
    expected_.reset();
    passedOver_ = fromBeginning;
    return {};
}

Result<void> SoundFrames::seek(double seconds, std::stop_token stop) {
    if (!codec_) return {};
    const AVRational base = track_->facts().timeBase;
    const double goal = std::min(seconds, static_cast<double>(farthest)) - decoderRunUp;
    const bool coarse = tickSamples(std::max(track_->facts().sampleRate, 8000)) > 1;
    if (coarse && !gridKnown_) {
        if (auto learned = learnGrid(stop); !learned) return fail(learned.error());
    }
    atStart_ = goal <= 0;
    if (atStart_) return goTo(fromBeginning, std::move(stop));
    const auto offset = static_cast<std::int64_t>(std::floor(goal * base.den / std::max(base.num, 1)));
    const std::int64_t timestamp = track_->facts().zero + offset;
    if (demuxer_->keepsTimeInSeeks()) return goTo(timestamp, std::move(stop));
    auto moved = goTo(fromBeginning, std::move(stop));
    passedOver_ = timestamp;
    return moved;
}

Result<void> SoundFrames::learnGrid(std::stop_token stop) {
    // Only a file just opened tells its encoder's delay to the sample, so this comes before the first seek.
    gridKnown_ = true;
    atStart_ = true;
    std::vector<PlacedSound> seen;
    while (seen.size() < gridSamples) {
        auto frame = next(stop);
        if (!frame) return fail(frame.error());
        if (!*frame) return {};
        seen.push_back(**frame);
    }
    // The first frame may be short by the encoder's delay.
    const std::int64_t step = seen[1].count();
    const bool regular = std::ranges::all_of(seen.begin() + 1, seen.end(), [&](const PlacedSound& sound) {
        return sound.count() == step && sound.rate == seen[0].rate;
    });
    if (regular && step > 4 * tickSamples(seen[1].rate)) {
        gridStep_ = step;
        gridPhase_ = seen[1].position % step;
        gridRate_ = seen[1].rate;
    }
    return {};
}

Result<bool> SoundFrames::decodeFrame(std::stop_token stop) {
    demuxer_->setStop(stop);
    while (true) {
        const int received = avcodec_receive_frame(codec_.get(), frame_.get());
        if (received >= 0) {
            yielded_ = true;
            return true;
        }
        refused_ = refused_ || (received != AVERROR_EOF && received != AVERROR(EAGAIN));
        if (received == AVERROR_EOF || draining_) return false;
        if (stop.stop_requested()) return fail(Error::cancelled());
        if (auto fed = feedDecoder(); !fed) return fail(fed.error());
    }
}

/// Gives the decoder the next packet, or tells it that there is none.
Result<void> SoundFrames::feedDecoder() {
    auto packet = demuxer_->next();
    if (!packet) return fail(packet.error());
    if (*packet && isPassedOver(**packet)) return {};
    draining_ = *packet == nullptr;
    // A packet that is refused leaves a hole, which the next time stamp shows. A decoder that took damage for a new
    // configuration is of no use any more.
    const bool taken = avcodec_send_packet(codec_.get(), packet->get()) >= 0;
    failures_ = taken ? 0 : failures_ + 1;
    refused_ = refused_ || (!taken && !draining_);
    if (!draining_ && failures_ % reopenAfter == 1) openCodec();
    return {};
}

bool SoundFrames::isPassedOver(const AVPacket& packet) const {
    return packet.pts != AV_NOPTS_VALUE && packet.pts + packet.duration <= passedOver_;
}

Result<std::optional<PlacedSound>> SoundFrames::next(std::stop_token stop) {
    while (codec_) {
        av_frame_unref(frame_.get());
        auto decoded = decodeFrame(stop);
        if (!decoded) return fail(decoded.error());
        if (!*decoded) break;
        if (!isUsable(*frame_)) continue;
        if (auto placed = place()) return placed;
    }
    return std::nullopt;
}

std::int64_t SoundFrames::startOf(std::int64_t stamped, int rate) const {
    const std::int64_t tick = tickSamples(rate);
    if (tick <= 1) return stamped;
    if (atStart_) {
        // How much the encoder put before the sound is told to the sample; its stamp is rounded to a tick.
        const AVCodecParameters& told = *demuxer_->stream().codecpar;
        const std::int64_t padding =
            told.sample_rate > 0 ? av_rescale(told.initial_padding, rate, told.sample_rate) : std::int64_t{0};
        for (const std::int64_t start : {std::int64_t{0}, -padding})
            if (std::abs(stamped - start) <= tick) return start;
    }
    if (gridStep_ > 0 && gridRate_ == rate) {
        const double steps = std::round(static_cast<double>(stamped - gridPhase_) / static_cast<double>(gridStep_));
        const std::int64_t near = gridPhase_ + static_cast<std::int64_t>(steps) * gridStep_;
        return std::abs(near - stamped) <= tick ? near : stamped;
    }
    return stamped;
}

/// The frame's time stamp in samples from the asset's time zero; none when it is missing or damaged.
std::optional<std::int64_t> SoundFrames::stampOf(const AVFrame& frame) const {
    const AVRational base = track_->facts().timeBase;
    const std::int64_t pts = frame.pts != AV_NOPTS_VALUE ? frame.pts : frame.best_effort_timestamp;
    if (pts == AV_NOPTS_VALUE || base.den <= 0) return std::nullopt;
    const auto at = av_rescale_rnd(pts - track_->facts().zero, std::int64_t{base.num} * frame.sample_rate, base.den,
                                   AV_ROUND_NEAR_INF);
    const std::int64_t limit = farthest * frame.sample_rate;
    return at >= -limit && at <= limit ? std::optional(at) : std::nullopt;
}

/// How far a time stamp may lie from the count of samples without meaning anything.
std::int64_t SoundFrames::jitter(int rate) const {
    return tickSamples(rate) + rate / jitterFraction + (codec_->codec_id == AV_CODEC_ID_VORBIS ? vorbisJitter : 0);
}

/// The frame just decoded in its place; none when earlier frames cover it whole.
std::optional<PlacedSound> SoundFrames::place() {
    PlacedSound sound{frame_.get(), frame_->sample_rate, 0, frame_->nb_samples, 0};
    const auto stamped = stampOf(*frame_);
    const bool goesOn = expected_ && expectedRate_ == sound.rate;
    if (!goesOn) {
        const std::int64_t counted = expected_ ? av_rescale(*expected_, sound.rate, expectedRate_) : std::int64_t{0};
        sound.position = stamped ? startOf(*stamped, sound.rate) : counted;
        covered_ = sound.position;
    } else {
        sound.position = *expected_;
        // Stamps that jump far back are of a second numbering; its sound goes on where the first one's ended.
        const bool believable = stamped && *stamped - *expected_ > -sound.rate;
        const std::int64_t error = believable ? *stamped - *expected_ : 0;
        const std::int64_t allowed = jitter(sound.rate);
        if (std::abs(error) > sound.rate / holeFraction && std::abs(error) > 2 * allowed) {
            sound.position = *stamped;
        } else if (std::abs(error) > allowed && sound.length > 2) {
            // One sample in a frame makes good for a clock that is off by up to a few thousandths, unheard.
            sound.length += error > 0 ? 1 : -1;
        }
    }
    expected_ = sound.position + sound.length;
    expectedRate_ = sound.rate;
    sound.skip = std::clamp<std::int64_t>(covered_ - sound.position, 0, sound.length);
    sound.position += sound.skip;
    covered_ = std::max(covered_, sound.end());
    return sound.count() > 0 ? std::optional(sound) : std::nullopt;
}

}  // namespace kelvane
