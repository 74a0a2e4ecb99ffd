#include "ExportEstimate.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "ExportPumps.h"
#include "Media/FFmpeg/Sound/Limiter.h"
#include "Media/FFmpeg/Sound/SoundRenderer.h"
#include "MovieEncoders.h"
#include "MovieWriter.h"

namespace kelvane {

namespace {

/// Timelines up to this length are encoded whole, seconds.
constexpr double wholeLength = 6;
/// Pictures at the head of a stretch that are encoded and not counted: the key frame that only the stretch begins with,
/// and the first ones behind it, which lean on its quality.
constexpr std::int64_t settling = 3;
/// Pictures that count in a stretch.
constexpr std::int64_t counted = 12;
/// Pictures at the tail that only give the encoder something to look ahead at.
constexpr std::int64_t trailing = 9;
/// Work spent on one forecast in pixels: eight stretches at 1080 × 1920, some 200 pictures.
constexpr double pixelBudget = 8.0 * (settling + counted + trailing) * 1080 * 1920;
constexpr std::int64_t fewestStretches = 4;
constexpr std::int64_t mostStretches = 20;
/// Pictures from one key frame to the next where nothing changes; the encoder's default.
constexpr std::int64_t keyInterval = 250;

/// Samples of one stretch of sound, at most how many stretches, and how many packets of each settle.
constexpr std::int64_t soundStretch = soundSampleRate;
constexpr std::int64_t mostSoundStretches = 16;
constexpr std::int64_t soundSettling = 3;

/// Bytes of a movie beside its packets and its index: the two boxes in front of them.
constexpr std::int64_t frameworkBytes = 64;

struct PicturePlan {
    std::vector<PictureStretch> stretches;
    bool whole = false;
};

/// Numbers of the pictures that a new instruction begins at, without the first.
std::vector<std::int64_t> cuts(const ExportPlan& plan) {
    std::vector<std::int64_t> result;
    for (const auto& instruction : plan.media->video.instructions) {
        const double at = (instruction.timeRange.start.seconds() - plan.start.seconds()) / plan.frameDuration.seconds();
        const auto number = static_cast<std::int64_t>(std::ceil(at - 1e-6));
        if (number > 0 && number < plan.pictureCount) result.push_back(number);
    }
    return result;
}

/// A place for a stretch near `middle` that holds no cut, if there is one in [low, high).
std::int64_t placed(std::int64_t middle, std::int64_t low, std::int64_t high, std::int64_t length,
                    const std::vector<std::int64_t>& cuts) {
    std::int64_t first = std::clamp(middle - length / 2, low, std::max(low, high - length));
    const auto next = std::ranges::upper_bound(cuts, first);
    if (next == cuts.end() || *next >= first + length) return first;
    const std::int64_t after = *next;
    const std::int64_t before = after - length;
    const auto next2 = std::next(next);
    if (after + length <= high && (next2 == cuts.end() || *next2 >= after + length)) return after;
    return before >= low && (next == cuts.begin() || *std::prev(next) <= before) ? before : first;
}

PicturePlan planPictures(const ExportPlan& plan, const std::vector<std::int64_t>& cuts) {
    const double seconds = static_cast<double>(plan.pictureCount) * plan.frameDuration.seconds();
    constexpr std::int64_t length = settling + counted + trailing;
    const double pixels = static_cast<double>(plan.width) * plan.height;
    const auto affordable = static_cast<std::int64_t>(pixelBudget / pixels / length);
    const std::int64_t wanted = std::clamp(affordable, fewestStretches, mostStretches);
    if (seconds <= wholeLength || plan.pictureCount <= wanted * length)
        return {{PictureStretch{0, plan.pictureCount}}, true};
    PicturePlan result;
    for (std::int64_t i = 0; i < wanted; ++i) {
        const std::int64_t low = plan.pictureCount * i / wanted;
        const std::int64_t high = plan.pictureCount * (i + 1) / wanted;
        result.stretches.push_back({placed((low + high) / 2, low, high, length, cuts), length});
    }
    return result;
}

/// The bytes of the pictures that came out, by their place in their stretch.
struct PictureTally {
    std::int64_t all = 0;
    std::int64_t keys = 0;
    std::int64_t keyBytes = 0;
    std::int64_t steady = 0;
    std::int64_t steadyBytes = 0;
};

Result<PictureTally> encodeStretches(const ExportPlan& plan, const std::vector<PictureStretch>& stretches,
                                     ExportRun& run) {
    auto encoder = PictureEncoder::open(plan.width, plan.height, plan.frameDuration);
    if (!encoder) return fail(encoder.error());
    PictureTally tally;
    const PacketSink sink = [&](PacketPtr packet) -> Result<void> {
        if (run.token().stop_requested()) return fail(Error::cancelled());
        tally.all += packet->size;
        const std::int64_t place = packet->pts % stretches.front().count;
        if (place == 0) {
            ++tally.keys;
            tally.keyBytes += packet->size;
        } else if (place >= settling && place < settling + counted) {
            ++tally.steady;
            tally.steadyBytes += packet->size;
        }
        return {};
    };
    PicturePump pump(plan, stretches, run);
    Result<void> encoded;
    for (std::int64_t number = 0; encoded; ++number) {
        auto picture = pump.next();
        if (!picture) break;
        encoded = (*encoder)->encode(**picture, number, number % stretches.front().count == 0, sink);
    }
    if (encoded && !run.token().stop_requested()) encoded = (*encoder)->finish(sink);
    if (!encoded) run.fail(encoded.error());
    if (auto failure = run.failure()) return fail(*failure);
    return tally;
}

Result<double> estimatePictures(const ExportPlan& plan, ExportRun& run) {
    const auto cutNumbers = cuts(plan);
    const PicturePlan pictures = planPictures(plan, cutNumbers);
    auto tally = encodeStretches(plan, pictures.stretches, run);
    if (!tally) return fail(tally.error());
    if (pictures.whole || tally->steady == 0) return static_cast<double>(tally->all);
    const double perPicture = static_cast<double>(tally->steadyBytes) / static_cast<double>(tally->steady);
    const double perKey =
        static_cast<double>(tally->keyBytes) / static_cast<double>(std::max<std::int64_t>(tally->keys, 1));
    const auto keys = 1 + static_cast<std::int64_t>(cutNumbers.size()) + plan.pictureCount / keyInterval;
    return perPicture * static_cast<double>(plan.pictureCount) +
           std::max(0.0, perKey - perPicture) * static_cast<double>(std::min(keys, plan.pictureCount));
}

/// Bytes and packets of one stretch of sound behind its first `skipped` packets.
struct SoundTally {
    std::int64_t bytes = 0;
    std::int64_t packets = 0;
};

Result<void> encodeSound(SoundRenderer& renderer, std::int64_t first, std::int64_t length, std::int64_t skipped,
                         SoundTally& tally, const std::stop_token& stop) {
    auto encoder = SoundEncoder::open();
    if (!encoder) return fail(encoder.error());
    std::int64_t number = 0;
    const PacketSink sink = [&](PacketPtr packet) -> Result<void> {
        if (stop.stop_requested()) return fail(Error::cancelled());
        if (number++ >= skipped) {
            tally.bytes += packet->size;
            ++tally.packets;
        }
        return {};
    };
    Limiter limiter;
    std::vector<float> mix;
    std::vector<float> limited;
    for (std::int64_t done = 0; done < length; done += soundStretch / 8) {
        mix.resize(static_cast<std::size_t>(std::min(soundStretch / 8, length - done)) * 2);
        if (auto rendered = renderer.render(first + done, mix, stop); !rendered) return rendered;
        limited.clear();
        limiter.process(mix, limited);
        if (auto encoded = (*encoder)->encode(limited, sink); !encoded) return encoded;
    }
    return (*encoder)->finish(sink);
}

Result<double> estimateSound(const ExportPlan& plan, ExportRun& run) {
    SoundRenderer renderer(plan.media);
    SoundTally tally;
    if (plan.soundLength <= soundStretch * mostSoundStretches) {
        if (auto encoded = encodeSound(renderer, plan.soundFirst, plan.soundLength, 0, tally, run.token()); !encoded)
            return fail(encoded.error());
        return static_cast<double>(tally.bytes);
    }
    for (std::int64_t i = 0; i < mostSoundStretches; ++i) {
        const std::int64_t middle = plan.soundLength * (2 * i + 1) / (2 * mostSoundStretches);
        if (auto encoded = encodeSound(renderer, plan.soundFirst + middle - soundStretch / 2, soundStretch,
                                       soundSettling, tally, run.token());
            !encoded) {
            return fail(encoded.error());
        }
    }
    const double packets = static_cast<double>(plan.soundLength) / 1024 + 1;
    return static_cast<double>(tally.bytes) / static_cast<double>(std::max<std::int64_t>(tally.packets, 1)) * packets;
}

/// Bytes of the index: what is left free for it at the head of the file, or about half as much behind the packets.
std::int64_t indexBytes(const ExportPlan& plan, ExportContainer container, bool indexAtHead) {
    // Only whether the movie has a track counts, not by which encoder.
    const AVCodecContext some{};
    const std::int64_t limit = movieIndexLimit({.container = container,
                                                .picture = plan.hasPicture ? &some : nullptr,
                                                .sound = plan.hasSound ? &some : nullptr,
                                                .pictureCount = plan.pictureCount,
                                                .soundLength = plan.soundLength});
    return indexAtHead ? limit : limit / 2;
}

}  // namespace

Result<std::int64_t> estimateExport(const ExportPlan& plan, ExportContainer container, bool indexAtHead,
                                    ExportRun& run) {
    double bytes = static_cast<double>(frameworkBytes + indexBytes(plan, container, indexAtHead));
    if (plan.hasSound) {
        auto sound = estimateSound(plan, run);
        if (!sound) return fail(sound.error());
        bytes += *sound;
    }
    if (plan.hasPicture) {
        auto pictures = estimatePictures(plan, run);
        if (!pictures) return fail(pictures.error());
        bytes += *pictures;
    }
    if (auto failure = run.failure()) return fail(*failure);
    return static_cast<std::int64_t>(bytes);
}

}  // namespace kelvane
