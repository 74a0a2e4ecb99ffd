#include "AudioSampleReader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "MediaError.h"

namespace kelvane::AudioSampleReader {

namespace {

/// Beyond every position of any sound.
constexpr double farthest = 9e15;

/// A sample's part in its frame's amplitude: NaN and infinity fail the comparison.
float magnitude(float sample) {
    const float size = std::fabs(sample);
    return size <= std::numeric_limits<float>::max() ? size : 0.0F;
}

/// The largest magnitude among `Channels` interleaved samples, for each frame.
template <std::size_t Channels>
void fold(std::span<const float> samples, std::span<float> amplitudes) {
    for (std::size_t i = 0; i < amplitudes.size(); ++i) {
        float largest = 0;
        for (std::size_t channel = 0; channel < Channels; ++channel)
            largest = std::max(largest, magnitude(samples[i * Channels + channel]));
        amplitudes[i] = largest;
    }
}

void fold(std::span<const float> samples, std::size_t channels, std::span<float> amplitudes) {
    // Loops of a known width are vectorized.
    if (channels == 1) return fold<1>(samples, amplitudes);
    if (channels == 2) return fold<2>(samples, amplitudes);
    for (std::size_t i = 0; i < amplitudes.size(); ++i) {
        float largest = 0;
        for (const float sample : samples.subspan(i * channels, channels))
            largest = std::max(largest, magnitude(sample));
        amplitudes[i] = largest;
    }
}

/// Cuts the engine's blocks to the range that was asked for and folds their channels.
class Folder {
public:
    Folder(double start, std::optional<double> end, bool soundOnly, const AmplitudeConsumer& consume)
        : start_(start), end_(end), soundOnly_(soundOnly), consume_(consume) {}

    void take(const SampleBlock& block) {
        const auto channels = static_cast<std::size_t>(std::max(block.channels, 0));
        const bool whole = channels > 0 && block.samples.size() % channels == 0;
        broken_ = broken_ || !std::isfinite(block.rate) || block.rate <= 0 || !whole;
        if (broken_ || block.samples.empty()) return;
        findBounds(block.rate);
        const std::int64_t end = block.position + static_cast<std::int64_t>(block.samples.size() / channels);
        const std::int64_t last = std::min(end, last_);
        for (std::int64_t at = std::max(block.position, first_); at < last;) {
            const auto count = std::min(static_cast<std::size_t>(last - at), chunkFrames);
            const auto skipped = static_cast<std::size_t>(at - block.position);
            const std::span<float> amplitudes = std::span(amplitudes_).first(count);
            fold(block.samples.subspan(skipped * channels, count * channels), channels, amplitudes);
            consume_({block.rate, at, amplitudes});
            at += static_cast<std::int64_t>(count);
        }
    }
    /// Whether a block came that is no sound.
    [[nodiscard]] bool isBroken() const { return broken_; }

private:
    void findBounds(double rate) {
        if (rate == rate_) return;
        rate_ = rate;
        first_ = firstAtOrBehind(start_);
        last_ = end_ ? firstAtOrBehind(*end_) : std::numeric_limits<std::int64_t>::max();
    }

    /// The first frame that lies at `seconds` or behind: by the count of frames in a file of sound, whose frames are
    /// counted from its beginning, by their times in a movie. The two differ where the product is rounded.
    [[nodiscard]] std::int64_t firstAtOrBehind(double seconds) const {
        auto frame = static_cast<std::int64_t>(std::ceil(std::min(seconds * rate_, farthest)));
        if (soundOnly_) return frame;
        const auto timeOf = [&](std::int64_t index) { return static_cast<double>(index) / rate_; };
        while (frame > 0 && timeOf(frame - 1) >= seconds) --frame;
        while (timeOf(frame) < seconds && static_cast<double>(frame) < farthest) ++frame;
        return frame;
    }

    double start_;
    std::optional<double> end_;
    bool soundOnly_;
    const AmplitudeConsumer& consume_;
    double rate_ = 0;
    std::int64_t first_ = 0;
    std::int64_t last_ = 0;
    bool broken_ = false;
    std::array<float, chunkFrames> amplitudes_{};
};

}  // namespace

Result<bool> readBlocks(MediaPlatform& platform, const FileURL& url, double start, std::optional<double> end,
                        const AmplitudeConsumer& consume, std::stop_token stop) {
    if (stop.stop_requested()) return fail(Error::cancelled());
    const auto invalid = [&] { return fail(MediaError::invalidClip(url.fileName())); };
    if (!std::isfinite(start) || start < 0) return invalid();
    if (end && (!std::isfinite(*end) || *end <= start)) return invalid();

    const auto asset = platform.openAsset(url, stop);
    if (!asset) return fail(asset.error());
    const auto sounds = (*asset)->loadTracks(MediaType::audio);
    if (!sounds) return fail(sounds.error());
    if (sounds->empty()) return false;
    const auto pictures = (*asset)->loadTracks(MediaType::video);
    if (!pictures) return fail(pictures.error());

    const bool soundOnly = pictures->empty() && !(*asset)->hasCoverPicture();
    if (!soundOnly && !end) {
        const auto duration = (*asset)->loadDuration();
        if (!duration) return fail(duration.error());
        if (!std::isfinite(*duration) || *duration <= start) return invalid();
        end = *duration;
    }
    Folder folder(start, end, soundOnly, consume);
    const auto take = [&folder](const SampleBlock& block) { folder.take(block); };
    const std::string name = url.fileName();
    const auto done = platform.readSamples(sounds->front(), name, start, end, take, std::move(stop));
    if (!done) return fail(done.error());
    if (folder.isBroken()) return invalid();
    return true;
}

}  // namespace kelvane::AudioSampleReader
