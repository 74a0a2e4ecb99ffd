#include "FrameGrid.h"

#include <algorithm>

namespace kelvane {

namespace {

constexpr std::int64_t second = 1'000'000'000;
constexpr std::chrono::nanoseconds tolerance = std::chrono::microseconds(1);
/// What the program's previews are drawn at, for media that doesn't say.
constexpr MediaTime ordinaryFrame{20};

/// `count` times `value` / `timescale` seconds in nanoseconds, rounded down; 128 bits hold any product of them.
std::chrono::nanoseconds scaled(std::int64_t count, MediaTime time) {
    const auto product = static_cast<__int128>(count) * time.value * second;
    return std::chrono::nanoseconds(static_cast<std::int64_t>(product / time.timescale));
}

}  // namespace

std::chrono::nanoseconds nanosecondsOf(MediaTime time) { return scaled(1, time); }

FrameGrid::FrameGrid(const EditedMedia& media)
    : frameDuration(media.video.frameDuration), duration(media.composition.duration()) {
    if (frameDuration.value <= 0) frameDuration = ordinaryFrame;
    for (const CompositionTrack& track : media.composition.tracks()) {
        if (track.type != MediaType::video) continue;
        for (const CompositionSegment& segment : track.segments) cuts.push_back(segment.target.start);
    }
    for (const VideoInstruction& instruction : media.video.instructions) cuts.push_back(instruction.timeRange.start);
    std::ranges::sort(cuts);
    const auto [from, to] = std::ranges::unique(cuts);
    cuts.erase(from, to);
}

std::int64_t FrameGrid::count() const {
    const auto whole = static_cast<__int128>(duration.value) * frameDuration.timescale;
    const auto part = static_cast<__int128>(frameDuration.value) * duration.timescale;
    return static_cast<std::int64_t>((whole + part - 1) / part);
}

std::int64_t FrameGrid::at(std::chrono::nanoseconds position) const {
    const auto reached = static_cast<__int128>(std::max(position + tolerance, std::chrono::nanoseconds(0)).count());
    return static_cast<std::int64_t>(reached * frameDuration.timescale /
                                     (static_cast<__int128>(frameDuration.value) * second));
}

std::chrono::nanoseconds FrameGrid::begin(std::int64_t frame) const { return scaled(frame, frameDuration); }

MediaTime FrameGrid::time(std::int64_t frame) const { return {frame * frameDuration.value, frameDuration.timescale}; }

std::chrono::nanoseconds FrameGrid::end() const { return nanosecondsOf(duration); }

const MediaTime* FrameGrid::cutBehind(MediaTime time) const {
    const auto cut = std::ranges::upper_bound(cuts, time);
    return cut == cuts.end() ? nullptr : &*cut;
}

}  // namespace kelvane
