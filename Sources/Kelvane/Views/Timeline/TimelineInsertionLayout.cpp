#include "TimelineInsertionLayout.h"

#include <algorithm>

namespace kelvane {

namespace {

std::ptrdiff_t videosIn(std::span<const Clip> clips) {
    return std::ranges::count_if(clips, [](const Clip& clip) { return !clip.isAudio(); });
}

}  // namespace

std::optional<TimelineInsertionLayout> TimelineInsertionLayout::make(std::span<const Clip> clips, std::ptrdiff_t index,
                                                                     double pointsPerSecond,
                                                                     const std::optional<UUID>& movingClipID) {
    std::size_t moving = clips.size();
    if (movingClipID) {
        const auto found = std::ranges::find(clips, *movingClipID, &Clip::id);
        if (found == clips.end() || found->isAudio()) return std::nullopt;
        moving = static_cast<std::size_t>(found - clips.begin());
    }
    const auto remaining = static_cast<std::ptrdiff_t>(clips.size() - (movingClipID ? 1 : 0));
    auto place = static_cast<std::size_t>(std::clamp(index, std::ptrdiff_t{0}, remaining));
    // From here on the place counts in the whole array.
    if (place >= moving) ++place;
    if (movingClipID) {
        const auto before = videosIn(clips.first(place)) - (place > moving ? 1 : 0);
        if (before == videosIn(clips.first(moving))) return std::nullopt;
    }
    while (place < clips.size() && (clips[place].isAudio() || place == moving)) ++place;

    TimelineInsertionLayout layout;
    double seconds = 0;
    for (std::size_t i = 0; i < clips.size(); ++i) {
        if (clips[i].isAudio()) continue;
        if (i < place) seconds += clips[i].duration();
        if (i != moving) layout.offsets.emplace(clips[i].id, i < place ? -parting : parting);
    }
    layout.markerX = seconds * pointsPerSecond;
    return layout;
}

}  // namespace kelvane
