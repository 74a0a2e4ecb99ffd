#include "SoundTestFiles.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

#include "Media/FFmpeg/Sound/SoundRenderer.h"

namespace kelvane::testing {

namespace {

constexpr int bars = 12;

/// A file being written: streams of encoders, packets interleaved by the muxer.
class Writer {
public:
    Writer(const std::string& path, const char* muxer) {
        avformat_alloc_output_context2(&format_, nullptr, muxer, path.c_str());
        check(format_ != nullptr, "no muxer");
        check(avio_open(&format_->pb, path.c_str(), AVIO_FLAG_WRITE) >= 0, "no output");
    }
    ~Writer() {
        if (begun_) av_write_trailer(format_);
        avio_closep(&format_->pb);
        avformat_free_context(format_);
    }
    AVStream* add(const CodecContextPtr& encoder) {
        AVStream* stream = avformat_new_stream(format_, nullptr);
        avcodec_parameters_from_context(stream->codecpar, encoder.get());
        stream->time_base = encoder->time_base;
        return stream;
    }
    void begin() {
        check(avformat_write_header(format_, nullptr) >= 0, "no header");
        begun_ = true;
    }
    void encode(const CodecContextPtr& encoder, AVStream* stream, const AVFrame* frame, std::int64_t shift = 0) {
        avcodec_send_frame(encoder.get(), frame);
        PacketPtr packet(av_packet_alloc());
        while (avcodec_receive_packet(encoder.get(), packet.get()) >= 0) {
            packet->pts += shift;
            packet->dts += shift;
            av_packet_rescale_ts(packet.get(), encoder->time_base, stream->time_base);
            packet->stream_index = stream->index;
            av_interleaved_write_frame(format_, packet.get());
        }
    }
    [[nodiscard]] bool wantsHeader() const { return (format_->oformat->flags & AVFMT_GLOBALHEADER) != 0; }

private:
    AVFormatContext* format_ = nullptr;
    bool begun_ = false;
};

CodecContextPtr soundEncoder(const SoundFile& file, bool globalHeader) {
    const AVCodec* codec = avcodec_find_encoder_by_name(file.encoder.c_str());
    if (codec == nullptr) return nullptr;
    CodecContextPtr encoder(avcodec_alloc_context3(codec));
    encoder->sample_rate = file.rate;
    encoder->sample_fmt = codec->sample_fmts[0];
    av_channel_layout_default(&encoder->ch_layout, file.channels);
    encoder->time_base = {1, file.rate};
    encoder->bit_rate = 160000;
    if (globalHeader) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    return avcodec_open2(encoder.get(), codec, nullptr) >= 0 ? std::move(encoder) : nullptr;
}

/// A frame of `count` samples from `first` on in the encoder's format.
FramePtr soundFrame(const CodecContextPtr& encoder, const SoundFunction& sound, std::int64_t first, int count,
                    const ResamplerPtr& convert) {
    FramePtr frame(av_frame_alloc());
    frame->format = encoder->sample_fmt;
    frame->sample_rate = encoder->sample_rate;
    av_channel_layout_copy(&frame->ch_layout, &encoder->ch_layout);
    frame->nb_samples = count;
    av_frame_get_buffer(frame.get(), 0);
    const int channels = encoder->ch_layout.nb_channels;
    std::vector<float> samples(static_cast<std::size_t>(count * channels));
    for (int i = 0; i < count; ++i) {
        for (int c = 0; c < channels; ++c) {
            samples[static_cast<std::size_t>(i * channels + c)] =
                static_cast<float>(sound(static_cast<double>(first + i) / encoder->sample_rate, c));
        }
    }
    const auto* in = reinterpret_cast<const std::uint8_t*>(samples.data());
    swr_convert(convert.get(), frame->extended_data, count, &in, count);
    frame->pts = first;
    return frame;
}

ResamplerPtr toEncoderFormat(const CodecContextPtr& encoder) {
    SwrContext* made = nullptr;
    swr_alloc_set_opts2(&made, &encoder->ch_layout, encoder->sample_fmt, encoder->sample_rate, &encoder->ch_layout,
                        AV_SAMPLE_FMT_FLT, encoder->sample_rate, 0, nullptr);
    swr_init(made);
    return ResamplerPtr(made);
}

/// Encodes [*done, until) samples, whole frames except the last.
void encodeSound(Writer& writer, const CodecContextPtr& encoder, AVStream* stream, const ResamplerPtr& convert,
                 const SoundFile& file, std::int64_t& done, std::int64_t until, std::int64_t total) {
    const int frame = encoder->frame_size > 0 ? encoder->frame_size : 1024;
    while (done < until) {
        const auto count = static_cast<int>(std::min<std::int64_t>(frame, total - done));
        const double at = static_cast<double>(done) / file.rate;
        const double shift = file.start + (at >= file.gapAt ? file.gap : 0);
        // The gap's later sound is that of its later time.
        const auto later = std::llround((at >= file.gapAt ? file.gap : 0) * file.rate);
        auto made = soundFrame(
            encoder, [&](double t, int c) { return file.sound(t + static_cast<double>(later) / file.rate, c); }, done,
            count, convert);
        writer.encode(encoder, stream, made.get(), std::llround(shift * file.rate));
        done += count;
    }
}

FramePtr numberedFrame(const MovieFile& file, int number) {
    FramePtr frame(av_frame_alloc());
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = file.width;
    frame->height = file.height;
    av_frame_get_buffer(frame.get(), 0);
    for (int y = 0; y < file.height; ++y) {
        for (int x = 0; x < file.width; ++x) {
            const int bit = x * bars / file.width;
            // The number is told from 1 on, so that no numbered frame is black.
            const int bar = (((number + 1) >> bit) & 1) != 0 ? 235 : 16;
            frame->data[0][y * frame->linesize[0] + x] =
                static_cast<std::uint8_t>(file.luma ? file.luma(number, x, y) : bar);
        }
    }
    for (int plane = 1; plane < 3; ++plane)
        for (int y = 0; y < file.height / 2; ++y)
            std::memset(frame->data[plane] + y * frame->linesize[plane], 128, static_cast<std::size_t>(file.width / 2));
    frame->pts = number;
    return frame;
}

CodecContextPtr pictureEncoder(const MovieFile& file, bool globalHeader) {
    const AVCodec* codec = avcodec_find_encoder_by_name("libx264");
    if (codec == nullptr) return nullptr;
    CodecContextPtr encoder(avcodec_alloc_context3(codec));
    encoder->width = file.width;
    encoder->height = file.height;
    encoder->pix_fmt = AV_PIX_FMT_YUV420P;
    encoder->time_base = av_inv_q(file.frameRate);
    encoder->framerate = file.frameRate;
    encoder->gop_size = 30;
    encoder->color_primaries = AVCOL_PRI_BT709;
    encoder->color_trc = AVCOL_TRC_BT709;
    encoder->colorspace = AVCOL_SPC_BT709;
    encoder->color_range = AVCOL_RANGE_MPEG;
    if (globalHeader) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    av_opt_set(encoder->priv_data, "preset", "ultrafast", 0);
    av_opt_set(encoder->priv_data, "x264-params", "log-level=error:bframes=2", 0);
    return avcodec_open2(encoder.get(), codec, nullptr) >= 0 ? std::move(encoder) : nullptr;
}

void receivePictures(AVCodecContext* decoder, const AVPacket* packet, TakenApart& parts) {
    avcodec_send_packet(decoder, packet);
    FramePtr frame(av_frame_alloc());
    while (avcodec_receive_frame(decoder, frame.get()) >= 0)
        parts.pictures.push_back({frame->pts, shownNumber(*frame)});
}

void receiveSound(AVCodecContext* decoder, const AVPacket* packet, TakenApart& parts) {
    avcodec_send_packet(decoder, packet);
    FramePtr frame(av_frame_alloc());
    while (avcodec_receive_frame(decoder, frame.get()) >= 0) {
        if (parts.sound.empty()) parts.soundStart = frame->pts;
        const auto* left = reinterpret_cast<const float*>(frame->extended_data[0]);
        const auto* right = reinterpret_cast<const float*>(frame->extended_data[1]);
        for (int i = 0; i < frame->nb_samples; ++i) {
            parts.sound.push_back(left[i]);
            parts.sound.push_back(right[i]);
        }
    }
}

void describe(const AVFormatContext& format, TakenApart& parts) {
    parts.streams = static_cast<int>(format.nb_streams);
    for (unsigned i = 0; i < format.nb_streams; ++i) {
        const AVStream& stream = *format.streams[i];
        const AVCodecParameters& codec = *stream.codecpar;
        if (codec.codec_type == AVMEDIA_TYPE_AUDIO) {
            parts.soundRate = codec.sample_rate;
            parts.soundDuration = av_rescale_q(stream.duration, stream.time_base, {1, codec.sample_rate});
            continue;
        }
        parts.pictureBase = stream.time_base;
        parts.pictureDuration = stream.duration;
        parts.profile = codec.profile;
        parts.primaries = codec.color_primaries;
        parts.transfer = codec.color_trc;
        parts.matrix = codec.color_space;
        parts.range = codec.color_range;
        parts.width = codec.width;
        parts.height = codec.height;
    }
}

}  // namespace

double testSound(double seconds, int channel) {
    const auto tone = [&](double frequency) { return std::sin(2 * std::numbers::pi * frequency * seconds); };
    const double level = channel == 0 ? 0.12 : 0.06;
    return level * (tone(220.31) + tone(583.7) + tone(941.77) + tone(1703.9) + tone(2503.93));
}

bool writeSound(const std::string& path, const SoundFile& file) {
    Writer writer(path, file.muxer.c_str());
    const auto encoder = soundEncoder(file, writer.wantsHeader());
    if (!encoder) return false;
    AVStream* stream = writer.add(encoder);
    SoundFile shifted = file;
    if (file.muxer == "matroska") {
        // Some versions of the muxer tell the encoder's delay and others don't: none is told, and it sounds.
        shifted.start += static_cast<double>(encoder->initial_padding) / file.rate;
        stream->codecpar->initial_padding = 0;
    }
    writer.begin();
    const auto convert = toEncoderFormat(encoder);
    const auto total = std::llround(file.seconds * file.rate);
    std::int64_t done = 0;
    encodeSound(writer, encoder, stream, convert, shifted, done, total, total);
    const double shift = shifted.start + (file.seconds >= file.gapAt ? file.gap : 0);
    writer.encode(encoder, stream, nullptr, std::llround(shift * file.rate));
    return true;
}

bool writeMovie(const std::string& path, const MovieFile& file) {
    Writer writer(path, "mp4");
    const auto pictures = pictureEncoder(file, writer.wantsHeader());
    if (!pictures) return false;
    SoundFile tones{.encoder = "aac", .rate = std::max(file.soundRate, 8000), .sound = file.sound};
    const auto sound = file.soundRate > 0 ? soundEncoder(tones, writer.wantsHeader()) : nullptr;
    AVStream* pictureStream = writer.add(pictures);
    AVStream* soundStream = sound ? writer.add(sound) : nullptr;
    const auto convert = sound ? toEncoderFormat(sound) : nullptr;
    writer.begin();
    const auto total = av_rescale(file.frames, std::int64_t{file.soundRate} * file.frameRate.den, file.frameRate.num);
    std::int64_t done = 0;
    for (int n = 0; n < file.frames; ++n) {
        writer.encode(pictures, pictureStream, numberedFrame(file, n).get());
        if (sound) encodeSound(writer, sound, soundStream, convert, tones, done, total * (n + 1) / file.frames, total);
    }
    writer.encode(pictures, pictureStream, nullptr);
    if (sound) writer.encode(sound, soundStream, nullptr);
    return true;
}

int shownNumber(const AVFrame& frame) {
    int number = 0;
    for (int bit = 0; bit < bars; ++bit) {
        const int x = (2 * bit + 1) * frame.width / (2 * bars);
        const int value = frame.data[0][(frame.height / 2) * frame.linesize[0] + x];
        number |= value > 125 ? 1 << bit : 0;
    }
    return number - 1;
}

std::shared_ptr<const FFmpegTrack> trackOf(const std::string& path, MediaType type) {
    auto asset = FFmpegAsset::open(FileURL::fromPath(path), {});
    EXPECT_TRUE(asset) << (asset ? "" : asset.error().message);
    const auto tracks = asset ? (*asset)->loadTracks(type) : Result<std::vector<MediaTrackPtr>>();
    EXPECT_TRUE(tracks && !tracks->empty());
    return tracks && !tracks->empty() ? std::dynamic_pointer_cast<const FFmpegTrack>(tracks->front()) : nullptr;
}

TakenApart takeApart(const std::string& path) {
    TakenApart parts;
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, path.c_str(), nullptr, nullptr) < 0) {
        ADD_FAILURE() << path << " doesn't open";
        return parts;
    }
    FormatContextPtr format(opened);
    avformat_find_stream_info(opened, nullptr);
    describe(*opened, parts);
    std::vector<CodecContextPtr> decoders;
    for (unsigned i = 0; i < opened->nb_streams; ++i) {
        const AVCodec* codec = avcodec_find_decoder(opened->streams[i]->codecpar->codec_id);
        decoders.emplace_back(avcodec_alloc_context3(codec));
        avcodec_parameters_to_context(decoders.back().get(), opened->streams[i]->codecpar);
        decoders.back()->pkt_timebase = opened->streams[i]->time_base;
        avcodec_open2(decoders.back().get(), codec, nullptr);
    }
    const auto receive = [&](std::size_t index, const AVPacket* packet) {
        const bool isSound = decoders[index]->codec_type == AVMEDIA_TYPE_AUDIO;
        (isSound ? receiveSound : receivePictures)(decoders[index].get(), packet, parts);
    };
    PacketPtr packet(av_packet_alloc());
    while (av_read_frame(opened, packet.get()) >= 0) {
        receive(static_cast<std::size_t>(packet->stream_index), packet.get());
        av_packet_unref(packet.get());
    }
    for (std::size_t i = 0; i < decoders.size(); ++i) receive(i, nullptr);
    return parts;
}

int bestShift(const std::vector<float>& sound, std::size_t first, std::size_t count,
              const std::function<double(std::int64_t)>& expected, int reach) {
    int best = -reach - 1;
    double bestScore = -1e300;
    std::vector<double> wanted;
    for (std::size_t i = 0; i < count; ++i) wanted.push_back(expected(static_cast<std::int64_t>(first + i)));
    for (int shift = -reach; shift <= reach; ++shift) {
        double score = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const auto at = static_cast<std::int64_t>(first + i) + shift;
            if (at < 0 || at * 2 >= static_cast<std::int64_t>(sound.size())) continue;
            score += wanted[i] * sound[static_cast<std::size_t>(at) * 2];
        }
        if (score > bestScore) {
            bestScore = score;
            best = shift;
        }
    }
    return best;
}

double deviation(const std::vector<float>& sound, std::size_t first, std::size_t count,
                 const std::function<double(std::int64_t)>& expected) {
    double sum = 0;
    for (std::size_t i = first; i < first + count; ++i) {
        const double difference = sound[i * 2] - expected(static_cast<std::int64_t>(i));
        sum += difference * difference;
    }
    return std::sqrt(sum / static_cast<double>(count));
}

void addSound(EditedMedia& media, const std::vector<SoundSegment>& segments) {
    const auto id = media.composition.addTrack(MediaType::audio);
    TrackGains mix{id, {}};
    for (const auto& segment : segments) {
        const auto at = MediaTime::fromSeconds(segment.at);
        const MediaTimeRange range{MediaTime::fromSeconds(segment.from), MediaTime::fromSeconds(segment.length)};
        const auto inserted = media.composition.insert(id, segment.source, range, at);
        EXPECT_TRUE(inserted) << (inserted ? "" : inserted.error().message);
        mix.points.push_back({at, segment.volume});
    }
    media.audio.tracks.push_back(std::move(mix));
}

std::vector<float> render(const EditedMedia& media, double seconds) {
    SoundRenderer renderer(std::make_shared<const EditedMedia>(media));
    std::vector<float> sound(static_cast<std::size_t>(std::llround(seconds * soundSampleRate)) * 2);
    // Uneven stretches, so that nothing leans on a block's length.
    constexpr std::size_t stretch = 2 * 5003;
    for (std::size_t at = 0; at < sound.size(); at += stretch) {
        const auto part = std::span(sound).subspan(at, std::min(stretch, sound.size() - at));
        const auto rendered = renderer.render(static_cast<std::int64_t>(at / 2), part, {});
        EXPECT_TRUE(rendered) << (rendered ? "" : rendered.error().message);
    }
    return sound;
}

}  // namespace kelvane::testing
