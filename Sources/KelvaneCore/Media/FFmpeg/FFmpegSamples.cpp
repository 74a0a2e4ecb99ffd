#include <algorithm>
#include <cmath>
#include <cstdint>
#include <span>
#include <vector>

#include "FFmpegPlatform.h"
#include "Media/FFmpeg/Sound/SoundFrames.h"
#include "Media/MediaError.h"
#include "Support/Text.h"

namespace kelvane {

namespace {

/// A start this far behind the track's end asks for nothing, seconds; nearer, the end may have been measured short.
constexpr double endSlack = 2;
/// Frames between two looks at whether the path still leads to the file; some 3 s of compressed sound.
constexpr int identityInterval = 128;

/// A decoded sample as a float of full scale 1. Whole numbers are scaled by a power of two, so that nothing but the
/// bits that a float has no room for gets lost.
float toFloat(std::uint8_t sample) { return static_cast<float>(sample - 128) / 128.0F; }
float toFloat(std::int16_t sample) { return static_cast<float>(sample) / 32768.0F; }
float toFloat(std::int32_t sample) { return static_cast<float>(sample) / 2147483648.0F; }
float toFloat(std::int64_t sample) { return static_cast<float>(sample) / 9223372036854775808.0F; }
float toFloat(float sample) { return sample; }
float toFloat(double sample) { return static_cast<float>(sample); }

template <class Sample>
void convert(const AVFrame& frame, std::vector<float>& out) {
    const auto channels = static_cast<std::size_t>(frame.ch_layout.nb_channels);
    const auto count = static_cast<std::size_t>(frame.nb_samples);
    out.resize(count * channels);
    const auto plane = [&](std::size_t index) { return reinterpret_cast<const Sample*>(frame.extended_data[index]); };
    if (av_sample_fmt_is_planar(static_cast<AVSampleFormat>(frame.format)) == 0) {
        const Sample* in = plane(0);
        for (std::size_t i = 0; i < out.size(); ++i) out[i] = toFloat(in[i]);
    } else if (channels == 2) {
        // The common case by itself, as the compiler makes it many times faster.
        const Sample* left = plane(0);
        const Sample* right = plane(1);
        for (std::size_t i = 0; i < count; ++i) {
            out[2 * i] = toFloat(left[i]);
            out[2 * i + 1] = toFloat(right[i]);
        }
    } else {
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const Sample* in = plane(channel);
            for (std::size_t i = 0; i < count; ++i) out[i * channels + channel] = toFloat(in[i]);
        }
    }
}

/// The frame's samples, interleaved; `buffer` holds them where the frame itself doesn't. None in a form that no
/// decoder gives.
std::span<const float> interleaved(const AVFrame& frame, std::vector<float>& buffer) {
    switch (av_get_packed_sample_fmt(static_cast<AVSampleFormat>(frame.format))) {
        case AV_SAMPLE_FMT_U8:
            convert<std::uint8_t>(frame, buffer);
            return buffer;
        case AV_SAMPLE_FMT_S16:
            convert<std::int16_t>(frame, buffer);
            return buffer;
        case AV_SAMPLE_FMT_S32:
            convert<std::int32_t>(frame, buffer);
            return buffer;
        case AV_SAMPLE_FMT_S64:
            convert<std::int64_t>(frame, buffer);
            return buffer;
        case AV_SAMPLE_FMT_DBL:
            convert<double>(frame, buffer);
            return buffer;
        case AV_SAMPLE_FMT_FLT:
            if (frame.format != AV_SAMPLE_FMT_FLT) {
                convert<float>(frame, buffer);
                return buffer;
            }
            return {reinterpret_cast<const float*>(frame.extended_data[0]),
                    static_cast<std::size_t>(frame.nb_samples) * static_cast<std::size_t>(frame.ch_layout.nb_channels)};
        default:
            return {};
    }
}

/// Hands one frame over, less what earlier ones covered and what has no place.
void handOver(const PlacedSound& sound, std::vector<float>& buffer, const SampleConsumer& consume) {
    const AVFrame& frame = *sound.frame;
    std::span<const float> samples = interleaved(frame, buffer);
    const auto channels = static_cast<std::size_t>(frame.ch_layout.nb_channels);
    const auto last = static_cast<std::size_t>(std::min<std::int64_t>(sound.length, frame.nb_samples)) * channels;
    const auto first = static_cast<std::size_t>(sound.skip) * channels;
    if (samples.size() < last || first >= last) return;
    consume({static_cast<double>(sound.rate), frame.ch_layout.nb_channels, sound.position,
             samples.subspan(first, last - first)});
}

/// The track as this engine's own.
std::shared_ptr<const FFmpegTrack> soundTrack(const MediaTrackPtr& track) {
    auto source = std::dynamic_pointer_cast<const FFmpegTrack>(track);
    check(source && source->type() == MediaType::audio, "sound is read from a sound track of this engine");
    return source;
}

/// Whether the path still leads to the file that was probed.
bool isInPlace(const FFmpegTrack::Facts& facts) {
    const auto identity = FileIdentity::of(facts.url);
    return identity && *identity == facts.identity;
}

}  // namespace

Result<void> FFmpegPlatform::readSamples(const MediaTrackPtr& track, const std::string& name, double start,
                                         std::optional<double> end, const SampleConsumer& consume,
                                         std::stop_token stop) {
    const auto source = soundTrack(track);
    const FFmpegTrack::Facts& facts = source->facts();
    auto frames = SoundFrames::open(source, name, stop);
    if (!frames) return fail(frames.error());
    if (start > facts.timeRange.end().seconds() + endSlack) return {};
    if (start > 0) {
        if (auto moved = (*frames)->seek(start, stop); !moved) return moved;
    }
    std::vector<float> buffer;
    for (int count = 1;; ++count) {
        auto sound = (*frames)->next(stop);
        if (!sound) return fail(sound.error());
        if (!*sound || count % identityInterval == 0) {
            if (!isInPlace(facts)) return fail(MediaError::invalidClip(name));
        }
        if (!*sound) break;
        // One frame more than asked for, so that no rounding of the product leaves one out.
        if (end && static_cast<double>((*sound)->position) > *end * (*sound)->rate + 1) break;
        handOver(**sound, buffer, consume);
    }
    if ((*frames)->isUndecodable())
        return fail(quotedName(facts.url.fileName()) + " has no sound that can be decoded.");
    return {};
}

Result<bool> FFmpegPlatform::yieldsSound(const MediaTrackPtr& track, const std::string& name, std::stop_token stop) {
    auto frames = SoundFrames::open(soundTrack(track), name, stop);
    if (!frames) return fail(frames.error());
    const auto first = (*frames)->next(std::move(stop));
    if (!first) return fail(first.error());
    return first->has_value();
}

}  // namespace kelvane
