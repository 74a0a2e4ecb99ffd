#include "SoundDecoder.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <array>
#include <cmath>

#include "SoundLayout.h"

namespace kelvane {

namespace {

/// Repeats or drops samples evenly so that a block lasts `count` samples; used for corrections of a sample or two.
void stretch(std::vector<float>& samples, std::int64_t count) {
    const auto have = static_cast<std::int64_t>(samples.size() / 2);
    if (have < 2 || have == count) return;
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
    if (channels == 1) return {1.0, 1.0};
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

Result<std::unique_ptr<SoundDecoder>> SoundDecoder::open(std::shared_ptr<const FFmpegTrack> track,
                                                         std::stop_token stop) {
    const std::string name = track->url().baseName();
    auto frames = SoundFrames::open(std::move(track), name, std::move(stop));
    if (!frames) return fail(frames.error());
    return std::unique_ptr<SoundDecoder>(new SoundDecoder(std::move(*frames)));
}

Result<std::optional<SoundBlock>> SoundDecoder::next(std::stop_token stop) {
    while (true) {
        auto placed = frames_->next(stop);
        if (!placed) return fail(placed.error());
        if (!*placed) return std::nullopt;
        if (auto block = mixedBlock(**placed)) return block;
    }
}

std::optional<SoundBlock> SoundDecoder::mixedBlock(const PlacedSound& sound) {
    const AVFrame& frame = *sound.frame;
    const Format format{frame.sample_rate, frame.format,
                        frame.ch_layout.order == AV_CHANNEL_ORDER_NATIVE ? frame.ch_layout.u.mask : 0,
                        frame.ch_layout.nb_channels};
    if (format != mixerFormat_ && !prepareMixer(format)) return std::nullopt;
    SoundBlock block{sound.rate, sound.position, mixed(frame)};
    stretch(block.samples, sound.length);
    const auto skipped = std::min(static_cast<std::size_t>(sound.skip) * 2, block.samples.size());
    block.samples.erase(block.samples.begin(), block.samples.begin() + static_cast<std::ptrdiff_t>(skipped));
    return block.samples.empty() ? std::nullopt : std::optional(std::move(block));
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
    if (in.nb_channels != format.channels) return false;
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
        if (swr_set_matrix(made, matrix.data(), format.channels) < 0) return false;
    }
    if (swr_init(made) < 0) return false;
    mixerFormat_ = format;
    return true;
}

std::vector<float> SoundDecoder::mixed(const AVFrame& frame) {
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

}  // namespace kelvane
