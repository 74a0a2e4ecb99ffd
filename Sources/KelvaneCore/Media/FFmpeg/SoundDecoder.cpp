#include "SoundDecoder.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/mathematics.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "SoundLayout.h"

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
/// Sources with a rate outside of these bounds are damaged.
constexpr int lowestRate = 1000;
constexpr int highestRate = 1'000'000;
/// Time stamps beyond this are damaged, seconds.
constexpr std::int64_t farthest = 10'000'000;
/// Blocks looked at to learn how long the frames of a file are.
constexpr int gridSamples = 4;
/// Refused packets in a row after which the decoder is opened anew; the first one counts.
constexpr int reopenAfter = 16;
/// The time stamp that stands for a file's beginning in a seek.
constexpr std::int64_t fromBeginning = std::numeric_limits<std::int64_t>::min();

/// Repeats or drops samples evenly so that a block lasts `count` samples; used for corrections of a sample or two.
void stretch(std::vector<float>& samples, std::int64_t count) {
    const auto have = static_cast<std::int64_t>(samples.size() / 2);
    if (have < 2 || count < 2 || have == count) {
        return;
    }
    std::vector<float> result(static_cast<std::size_t>(count) * 2);
    const double step = static_cast<double>(have - 1) / static_cast<double>(count - 1);
    for (std::int64_t i = 0; i < count; ++i) {
        const double at = static_cast<double>(i) * step;
        const auto left = std::min(static_cast<std::int64_t>(at), have - 2);
        const auto part = static_cast<float>(at - static_cast<double>(left));
        for (int channel = 0; channel < 2; ++channel) {
            const float a = samples[static_cast<std::size_t>(left * 2 + channel)];
            const float b = samples[static_cast<std::size_t>(left * 2 + 2 + channel)];
            result[static_cast<std::size_t>(i * 2 + channel)] = a + (b - a) * part;
        }
    }
    samples = std::move(result);
}

/// Gains from `channels` inputs to left and right, left's first. Mono goes to both sides at its own level; more
/// channels than two come down so that full scale on all of them stays full scale.
std::vector<double> stereoMatrix(const AVChannelLayout& layout) {
    const auto channels = static_cast<std::size_t>(layout.nb_channels);
    std::vector<double> matrix(channels * 2, 0.0);
    if (channels == 1) {
        return {1.0, 1.0};
    }
    // The library fills a square of all the channels that it knows, whatever the layouts are.
    constexpr std::size_t square = 64;
    std::vector<double> known(square * square, 0.0);
    AVChannelLayout stereo = stereoLayout();
    if (channels > 2 && channels <= square &&
        swr_build_matrix2(&layout, &stereo, M_SQRT1_2, M_SQRT1_2, 0.0, 1.0, 1.0, known.data(), square,
                          AV_MATRIX_ENCODING_NONE, nullptr) >= 0) {
        std::copy_n(known.begin(), channels, matrix.begin());
        std::copy_n(known.begin() + std::ptrdiff_t{square}, channels,
                    matrix.begin() + static_cast<std::ptrdiff_t>(channels));
    } else {
        matrix[0] = 1.0;
        matrix[channels + 1] = 1.0;
    }
    return matrix;
}

}  // namespace

SoundDecoder::SoundDecoder(std::shared_ptr<const FFmpegTrack> track, std::unique_ptr<SourceDemuxer> demuxer)
    : track_(std::move(track)), demuxer_(std::move(demuxer)), frame_(av_frame_alloc()) {}

Result<std::unique_ptr<SoundDecoder>> SoundDecoder::open(std::shared_ptr<const FFmpegTrack> track,
                                                         std::stop_token stop) {
    auto demuxer = SourceDemuxer::open(*track, std::move(stop));
    if (!demuxer) {
        return fail(demuxer.error());
    }
    std::unique_ptr<SoundDecoder> decoder(new SoundDecoder(std::move(track), std::move(*demuxer)));
    decoder->openCodec();
    return decoder;
}

void SoundDecoder::openCodec() {
    const AVStream& stream = demuxer_->stream();
    const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (codec == nullptr || stream.codecpar->codec_type != AVMEDIA_TYPE_AUDIO) {
        return;
    }
    CodecContextPtr context(avcodec_alloc_context3(codec));
    if (!context || avcodec_parameters_to_context(context.get(), stream.codecpar) < 0) {
        return;
    }
    context->pkt_timebase = stream.time_base;
    context->thread_count = 1;
    if (avcodec_open2(context.get(), codec, nullptr) < 0) {
        return;
    }
    codec_ = std::move(context);
}

std::int64_t SoundDecoder::tickSamples(int rate) const {
    const AVRational base = track_->facts().timeBase;
    return av_rescale_rnd(std::int64_t{base.num} * rate, 1, std::max(base.den, 1), AV_ROUND_UP);
}

Result<void> SoundDecoder::goTo(std::int64_t timestamp, std::stop_token stop) {
    demuxer_->setStop(stop);
    if (auto moved = demuxer_->seek(timestamp); !moved) {
        return moved;
    }
    avcodec_flush_buffers(codec_.get());
    draining_ = false;
    expected_.reset();
    return {};
}

Result<void> SoundDecoder::seek(double seconds, std::stop_token stop) {
    if (!codec_) {
        return {};
    }
    const AVRational base = track_->facts().timeBase;
    const double goal = seconds - decoderRunUp;
    const bool coarse = tickSamples(std::max(track_->facts().sampleRate, 8000)) > 1;
    if (coarse && !gridKnown_) {
        if (auto learned = learnGrid(stop); !learned) {
            return fail(learned.error());
        }
    }
    const auto offset = static_cast<std::int64_t>(std::floor(goal * base.den / std::max(base.num, 1)));
    atStart_ = goal <= 0;
    return goTo(atStart_ ? fromBeginning : track_->facts().zero + offset, stop);
}

Result<void> SoundDecoder::learnGrid(std::stop_token stop) {
    // Only a file just opened tells its encoder's delay to the sample, so this comes before the first seek.
    gridKnown_ = true;
    atStart_ = true;
    std::vector<SoundBlock> blocks;
    while (blocks.size() < gridSamples) {
        auto block = next(stop);
        if (!block) {
            return fail(block.error());
        }
        if (!*block) {
            return {};
        }
        blocks.push_back(std::move(**block));
    }
    // The first block may be short by the encoder's delay.
    const std::int64_t step = blocks[1].count();
    const bool regular = std::ranges::all_of(blocks.begin() + 1, blocks.end(), [&](const SoundBlock& block) {
        return block.count() == step && block.rate == blocks[0].rate;
    });
    if (regular && step > 4 * tickSamples(blocks[1].rate)) {
        gridStep_ = step;
        gridPhase_ = blocks[1].position % step;
        gridRate_ = blocks[1].rate;
    }
    return {};
}

Result<bool> SoundDecoder::decodeFrame(std::stop_token stop) {
    demuxer_->setStop(stop);
    while (true) {
        const int received = avcodec_receive_frame(codec_.get(), frame_.get());
        if (received >= 0) {
            return true;
        }
        if (received == AVERROR_EOF || draining_) {
            return false;
        }
        if (stop.stop_requested()) {
            return fail(Error::cancelled());
        }
        auto packet = demuxer_->next();
        if (!packet) {
            return fail(packet.error());
        }
        draining_ = *packet == nullptr;
        // A packet that is refused leaves a hole, which the next time stamp shows. A decoder that took damage for a new
        // configuration is of no use any more.
        const int sent = avcodec_send_packet(codec_.get(), packet->get());
        failures_ = sent < 0 ? failures_ + 1 : 0;
        if (!draining_ && failures_ % reopenAfter == 1) {
            openCodec();
        }
        if (draining_ && sent < 0) {
            return false;
        }
    }
}

Result<std::optional<SoundBlock>> SoundDecoder::next(std::stop_token stop) {
    while (codec_) {
        auto decoded = decodeFrame(stop);
        if (!decoded) {
            return fail(decoded.error());
        }
        if (!*decoded) {
            break;
        }
        auto block = takeFrame();
        av_frame_unref(frame_.get());
        if (block && block->count() > 0) {
            return block;
        }
    }
    return std::nullopt;
}

std::optional<SoundBlock> SoundDecoder::takeFrame() {
    const AVFrame& frame = *frame_;
    const bool usable = frame.sample_rate >= lowestRate && frame.sample_rate <= highestRate && frame.nb_samples > 0 &&
                        frame.ch_layout.nb_channels > 0;
    if (!usable) {
        return std::nullopt;
    }
    const Format format{frame.sample_rate, frame.format,
                        frame.ch_layout.order == AV_CHANNEL_ORDER_NATIVE ? frame.ch_layout.u.mask : 0,
                        frame.ch_layout.nb_channels};
    if (format != mixerFormat_ && !prepareMixer(format)) {
        return std::nullopt;
    }
    SoundBlock block;
    block.rate = frame.sample_rate;
    block.samples = mixed();
    place(block);
    return block;
}

bool SoundDecoder::prepareMixer(const Format& format) {
    mixerFormat_ = {};
    AVChannelLayout in{};
    if (format.mask != 0) {
        av_channel_layout_from_mask(&in, format.mask);
    } else {
        av_channel_layout_default(&in, format.channels);
        if (in.order == AV_CHANNEL_ORDER_UNSPEC) {
            // The mixer wants names for its inputs; which ones doesn't matter, as only the first two are heard.
            const auto mask = format.channels < 63 ? (std::uint64_t{1} << format.channels) - 1 : ~std::uint64_t{0};
            av_channel_layout_from_mask(&in, mask);
        }
    }
    if (in.nb_channels != format.channels) {
        return false;
    }
    AVChannelLayout out = stereoLayout();
    SwrContext* made = nullptr;
    if (swr_alloc_set_opts2(&made, &out, AV_SAMPLE_FMT_FLT, format.rate, &in,
                            static_cast<AVSampleFormat>(format.sampleFormat), format.rate, 0, nullptr) < 0) {
        return false;
    }
    mixer_.reset(made);
    av_opt_set_sample_fmt(made, "internal_sample_fmt", AV_SAMPLE_FMT_FLTP, 0);
    if (format.channels != 2) {
        const auto matrix = stereoMatrix(in);
        if (swr_set_matrix(made, matrix.data(), format.channels) < 0) {
            return false;
        }
    }
    if (swr_init(made) < 0) {
        return false;
    }
    mixerFormat_ = format;
    return true;
}

std::vector<float> SoundDecoder::mixed() {
    const AVFrame& frame = *frame_;
    std::vector<float> samples(static_cast<std::size_t>(frame.nb_samples) * 2);
    std::array<std::uint8_t*, 1> out{reinterpret_cast<std::uint8_t*>(samples.data())};
    const int made = swr_convert(mixer_.get(), out.data(), frame.nb_samples,
                                 const_cast<const std::uint8_t**>(frame.extended_data), frame.nb_samples);
    samples.resize(static_cast<std::size_t>(std::max(made, 0)) * 2);
    for (float& sample : samples) {
        // Float sources may hold anything; 24 dB above full scale is as loud as sound gets.
        sample = std::isfinite(sample) ? std::clamp(sample, -16.0F, 16.0F) : 0.0F;
    }
    return samples;
}

std::int64_t SoundDecoder::startOf(std::int64_t stamped, int rate) const {
    const std::int64_t tick = tickSamples(rate);
    if (tick <= 1) {
        return stamped;
    }
    if (atStart_ && std::abs(stamped) <= tick) {
        return 0;
    }
    if (gridStep_ > 0 && gridRate_ == rate) {
        const double steps = std::round(static_cast<double>(stamped - gridPhase_) / static_cast<double>(gridStep_));
        const std::int64_t near = gridPhase_ + static_cast<std::int64_t>(steps) * gridStep_;
        return std::abs(near - stamped) <= tick ? near : stamped;
    }
    return stamped;
}

void SoundDecoder::place(SoundBlock& block) {
    const AVRational base = track_->facts().timeBase;
    const std::int64_t pts = frame_->pts != AV_NOPTS_VALUE ? frame_->pts : frame_->best_effort_timestamp;
    std::optional<std::int64_t> stamped;
    if (pts != AV_NOPTS_VALUE && base.den > 0) {
        const auto at = av_rescale_rnd(pts - track_->facts().zero, std::int64_t{base.num} * block.rate, base.den,
                                       AV_ROUND_NEAR_INF);
        if (std::abs(at) <= farthest * block.rate) {
            stamped = at;
        }
    }
    if (!expected_ || expectedRate_ != block.rate) {
        const std::int64_t counted = expected_ ? av_rescale(*expected_, block.rate, expectedRate_) : std::int64_t{0};
        block.position = stamped ? startOf(*stamped, block.rate) : counted;
    } else {
        block.position = *expected_;
        // Stamps that jump far back are of a second numbering; its sound goes on where the first one's ended.
        const bool believable = stamped && *stamped - *expected_ > -block.rate;
        const std::int64_t error = believable ? *stamped - *expected_ : 0;
        const std::int64_t jitter = tickSamples(block.rate) + block.rate / jitterFraction;
        if (std::abs(error) > block.rate / holeFraction && std::abs(error) > 2 * jitter) {
            block.position = *stamped;
        } else if (std::abs(error) > jitter) {
            // One sample in a block makes good for a clock that is off by up to a few thousandths, unheard.
            stretch(block.samples, block.count() + (error > 0 ? 1 : -1));
        }
    }
    if (expected_ && expectedRate_ == block.rate && block.position < *expected_) {
        const auto late = std::min(*expected_ - block.position, block.count());
        block.samples.erase(block.samples.begin(), block.samples.begin() + static_cast<std::ptrdiff_t>(late * 2));
        block.position += late;
        if (block.samples.empty()) {
            return;
        }
    }
    expected_ = block.end();
    expectedRate_ = block.rate;
}

}  // namespace kelvane
