#include "MovieEncoders.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>

#include "Media/FFmpeg/Sound/SoundLayout.h"
#include "Media/FFmpeg/Sound/SoundRenderer.h"
#include "Media/MediaError.h"

namespace kelvane {

namespace {

const AVCodec* pictureCodec() { return avcodec_find_encoder_by_name("libx264"); }
const AVCodec* soundCodec() { return avcodec_find_encoder_by_name("aac"); }

Error encodingFailed(int code) { return Error("The movie could not be encoded: " + ffmpegErrorText(code) + "."); }

/// Hands a frame, or the end, to the encoder and passes on what comes out.
Result<void> sendAndDrain(AVCodecContext& context, const AVFrame* frame, const PacketSink& sink) {
    if (const int sent = avcodec_send_frame(&context, frame); sent < 0) return fail(encodingFailed(sent));
    while (true) {
        PacketPtr packet(av_packet_alloc());
        const int received = avcodec_receive_packet(&context, packet.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return {};
        if (received < 0) return fail(encodingFailed(received));
        if (auto taken = sink(std::move(packet)); !taken) return taken;
    }
}

}  // namespace

bool hasMovieEncoders() { return pictureCodec() != nullptr && soundCodec() != nullptr; }

Result<std::unique_ptr<PictureEncoder>> PictureEncoder::open(int width, int height, MediaTime frameDuration) {
    const AVCodec* codec = pictureCodec();
    CodecContextPtr context(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
    if (!context) return fail(MediaError::exportUnavailable());
    AVRational duration{};
    av_reduce(&duration.num, &duration.den, frameDuration.value, frameDuration.timescale, 1 << 30);
    context->width = width;
    context->height = height;
    context->sample_aspect_ratio = {1, 1};
    context->pix_fmt = AV_PIX_FMT_YUV420P;
    context->time_base = duration;
    context->framerate = av_inv_q(duration);
    context->color_primaries = AVCOL_PRI_BT709;
    context->color_trc = AVCOL_TRC_BT709;
    context->colorspace = AVCOL_SPC_BT709;
    context->color_range = AVCOL_RANGE_MPEG;
    context->chroma_sample_location = AVCHROMA_LOC_LEFT;
    context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    context->thread_count = 0;
    av_opt_set(context->priv_data, "preset", ExportQuality::preset, 0);
    av_opt_set(context->priv_data, "profile", ExportQuality::profile, 0);
    av_opt_set_double(context->priv_data, "crf", ExportQuality::constantRateFactor, 0);
    // Tells about itself on standard error otherwise, past av_log's level.
    av_opt_set(context->priv_data, "x264-params", "log-level=error", 0);
    if (avcodec_open2(context.get(), codec, nullptr) < 0) return fail(MediaError::exportUnavailable());
    return std::unique_ptr<PictureEncoder>(new PictureEncoder(std::move(context)));
}

Result<void> PictureEncoder::encode(const AVFrame& picture, std::int64_t number, bool key, const PacketSink& sink) {
    if (picture.width != context_->width || picture.height != context_->height || picture.format != context_->pix_fmt)
        return fail("The movie could not be encoded: a picture is not of the movie's size and format.");
    if (const int referred = av_frame_ref(frame_.get(), &picture); referred < 0) return fail(encodingFailed(referred));
    frame_->pts = number;
    frame_->pict_type = key ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    auto sent = sendAndDrain(*context_, frame_.get(), [&](PacketPtr packet) {
        packet->duration = 1;
        return sink(std::move(packet));
    });
    av_frame_unref(frame_.get());
    return sent;
}

Result<void> PictureEncoder::finish(const PacketSink& sink) {
    return sendAndDrain(*context_, nullptr, [&](PacketPtr packet) {
        packet->duration = 1;
        return sink(std::move(packet));
    });
}

Result<std::unique_ptr<SoundEncoder>> SoundEncoder::open(int channels, std::int64_t bitRate) {
    const AVCodec* codec = soundCodec();
    CodecContextPtr context(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
    if (!context) return fail(MediaError::exportUnavailable());
    context->sample_fmt = AV_SAMPLE_FMT_FLTP;
    context->sample_rate = soundSampleRate;
    context->ch_layout = channels == 1 ? monoLayout() : stereoLayout();
    context->time_base = {1, soundSampleRate};
    context->bit_rate = bitRate;
    context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    context->thread_count = 1;
    if (avcodec_open2(context.get(), codec, nullptr) < 0) return fail(MediaError::exportUnavailable());
    return std::unique_ptr<SoundEncoder>(new SoundEncoder(std::move(context)));
}

Result<void> SoundEncoder::encode(std::span<const float> samples, const PacketSink& sink) {
    const auto whole = static_cast<std::size_t>(context_->frame_size * context_->ch_layout.nb_channels);
    if (!rest_.empty()) {
        const auto part = std::min(samples.size(), whole - rest_.size());
        rest_.insert(rest_.end(), samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(part));
        samples = samples.subspan(part);
        if (rest_.size() < whole) return {};
        if (auto encoded = encodeFrame(rest_, sink); !encoded) return encoded;
        rest_.clear();
    }
    for (; samples.size() >= whole; samples = samples.subspan(whole))
        if (auto encoded = encodeFrame(samples.first(whole), sink); !encoded) return encoded;
    rest_.assign(samples.begin(), samples.end());
    return {};
}

Result<void> SoundEncoder::finish(const PacketSink& sink) {
    if (!rest_.empty()) {
        if (auto encoded = encodeFrame(rest_, sink); !encoded) return encoded;
        rest_.clear();
    }
    return sendAndDrain(*context_, nullptr, sink);
}

Result<void> SoundEncoder::encodeFrame(std::span<const float> samples, const PacketSink& sink) {
    frame_->format = context_->sample_fmt;
    frame_->sample_rate = context_->sample_rate;
    const auto channels = static_cast<std::size_t>(context_->ch_layout.nb_channels);
    frame_->ch_layout = context_->ch_layout;
    frame_->nb_samples = static_cast<int>(samples.size() / channels);
    if (const int made = av_frame_get_buffer(frame_.get(), 0); made < 0) return fail(encodingFailed(made));
    for (std::size_t channel = 0; channel < channels; ++channel) {
        auto* plane = reinterpret_cast<float*>(frame_->data[channel]);
        for (std::size_t i = 0; i < samples.size() / channels; ++i) plane[i] = samples[i * channels + channel];
    }
    frame_->pts = position_;
    position_ += frame_->nb_samples;
    auto sent = sendAndDrain(*context_, frame_.get(), sink);
    av_frame_unref(frame_.get());
    return sent;
}

}  // namespace kelvane
