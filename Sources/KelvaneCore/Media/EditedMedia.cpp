#include "EditedMedia.h"

#include <algorithm>

namespace kelvane {

namespace {

/// Half a unit of the composition: what one rounding may add or take.
constexpr std::int32_t roundingTimescale = 2 * compositionTimescale;
constexpr MediaTime lastInstant{1, compositionTimescale};

using Instructions = std::vector<VideoInstruction>;

bool showsPicture(const VideoInstruction& instruction) { return !instruction.layers.empty(); }

/// The stretch without picture that `time` lies in, from the end of the picture before it to the next picture or the
/// composition's end; of duration zero where there is a picture, none before, or nothing at all.
MediaTimeRange emptyStretch(const EditedMedia& media, MediaTime time) {
    const Instructions& all = media.video.instructions;
    const auto behind =
        std::ranges::upper_bound(all, time, {}, [](const VideoInstruction& one) { return one.timeRange.start; });
    auto before = behind;
    while (before != all.begin() && !showsPicture(*std::prev(before))) --before;
    if (before == all.begin()) return {};
    const MediaTime from = std::prev(before)->timeRange.end();
    const auto next = std::find_if(behind, all.end(), showsPicture);
    const MediaTime until =
        next != all.end() ? next->timeRange.start : std::max(media.composition.duration(), all.back().timeRange.end());
    if (time < from || time >= until) return {};
    return {from, until - from};
}

bool sounds(const EditedMedia& media, const MediaTimeRange& stretch) {
    return std::ranges::any_of(media.composition.tracks(), [&](const CompositionTrack& track) {
        if (track.type != MediaType::audio || track.end() <= stretch.start) return false;
        return std::any_of(track.segments.rbegin(), track.segments.rend(), [&](const CompositionSegment& segment) {
            return !segment.isEmpty() && segment.target.intersection(stretch).duration > MediaTime{};
        });
    });
}

bool isSliver(const EditedMedia& media, const MediaTimeRange& stretch) {
    if (stretch.duration < media.video.frameDuration) return true;
    // The length of each clip is rounded, and so is their sum.
    const auto roundings = static_cast<std::int64_t>(media.video.instructions.size()) + 1;
    return stretch.duration <= MediaTime{roundings, roundingTimescale} && !sounds(media, stretch);
}

/// The last moment before `end` that a movie of this frame rate shows, or the last one of the composition's clock when
/// that is later.
MediaTime lastShown(MediaTime end, MediaTime frame) {
    const MediaTime instant = end - lastInstant;
    if (frame <= MediaTime{} || end <= MediaTime{}) return instant;
    const auto count =
        (static_cast<__int128>(end.value) * frame.timescale - 1) / (static_cast<__int128>(end.timescale) * frame.value);
    return std::max(instant, MediaTime{static_cast<std::int64_t>(count) * frame.value, frame.timescale});
}

}  // namespace

MediaTime picturedTime(const EditedMedia& media, MediaTime time) {
    const VideoInstruction* instruction = media.video.instructionAt(time);
    if (instruction != nullptr && showsPicture(*instruction)) return time;
    const MediaTimeRange stretch = emptyStretch(media, time);
    if (stretch.duration <= MediaTime{} || !isSliver(media, stretch)) return time;
    return lastShown(stretch.start, media.video.frameDuration);
}

}  // namespace kelvane
