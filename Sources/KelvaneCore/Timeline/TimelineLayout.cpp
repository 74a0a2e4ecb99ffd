#include "TimelineLayout.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_map>
#include <unordered_set>

#include "Support/Error.h"
#include "TimelinePlacement.h"

namespace kelvane::TimelineLayout {

namespace {

/// Widest zone at either end of a clip that trims it, points, and its widest share of the clip.
constexpr double trimZone = 6;
constexpr double trimShare = 0.25;
/// Widest gap between a clip's slot and its drawing, points, and its widest share of the slot.
constexpr double frameInset = 3;
constexpr double frameShare = 0.0625;

/// Up to this many lanes a search through the list beats a hash table.
constexpr std::size_t fewLanes = 16;

}  // namespace

double duration(std::span<const Clip> clips) {
    TimelineCursor<double> cursor;
    double audioEnd = -std::numeric_limits<double>::infinity();
    for (const Clip& clip : clips) {
        const double end = cursor.next(clip, extentInSeconds(clip)).end;
        if (clip.isAudio()) audioEnd = std::max(audioEnd, end);
    }
    return std::max(cursor.videoEnd(), audioEnd);
}

std::vector<UUID> audioTracks(std::span<const Clip> clips) {
    std::vector<UUID> tracks;
    std::unordered_set<UUID> known;
    for (const Clip& clip : clips) {
        if (!clip.isAudio()) continue;
        const UUID lane = clip.lane();
        if (known.empty()) {
            if (std::ranges::find(tracks, lane) != tracks.end()) continue;
            tracks.push_back(lane);
            if (tracks.size() > fewLanes) known.insert(tracks.begin(), tracks.end());
        } else if (known.insert(lane).second) {
            tracks.push_back(lane);
        }
    }
    return tracks;
}

std::vector<Clip> preservingAudioTrackOrder(std::vector<Clip> clips, const std::vector<UUID>& tracks) {
    std::unordered_map<UUID, std::size_t> ranks;
    for (const UUID& track : tracks)
        check(ranks.emplace(track, ranks.size()).second, "a lane order lists a lane twice");
    struct Entry {
        std::size_t rank;
        std::size_t index;
        auto operator<=>(const Entry&) const = default;
    };
    std::vector<Entry> entries;
    std::vector<std::size_t> slots;
    for (std::size_t i = 0; i < clips.size(); ++i) {
        if (!clips[i].isAudio()) continue;
        slots.push_back(i);
        entries.push_back({ranks.emplace(clips[i].lane(), ranks.size()).first->second, i});
    }
    std::ranges::sort(entries);

    std::vector<Clip> sorted;
    sorted.reserve(entries.size());
    for (const Entry& entry : entries) sorted.push_back(std::move(clips[entry.index]));
    for (std::size_t i = 0; i < slots.size(); ++i) clips[slots[i]] = std::move(sorted[i]);
    return clips;
}

std::size_t insertionIndex(double position, std::span<const Clip> clips) {
    TimelineCursor<double> cursor;
    for (std::size_t i = 0; i < clips.size(); ++i) {
        const double start = cursor.next(clips[i], extentInSeconds(clips[i])).start;
        if (!clips[i].isAudio() && start + 0.5 * clips[i].duration() > position) return i;
    }
    return clips.size();
}

std::optional<Snap> snap(double position, std::span<const double> edges, std::span<const double> targets,
                         double tolerance) {
    std::optional<Snap> result;
    double best = tolerance;
    for (const double edge : edges) {
        for (const double target : targets) {
            const double gap = std::abs(target - (edge + position));
            if (gap <= best && target - edge >= 0) {
                result = Snap{target - edge, target};
                best = gap;
            }
        }
    }
    return result;
}

std::optional<TrimEdge> trimEdge(double x, double width) {
    const double zone = std::min(trimShare * width, trimZone);
    if (x <= zone) return TrimEdge::start;
    if (width - zone <= x) return TrimEdge::end;
    return std::nullopt;
}

ClipFrame clipFrame(double width) {
    const double slot = std::max(width, 1.0);
    const double inset = std::min(frameInset, slot * frameShare);
    return {inset, slot - 2 * inset};
}

}  // namespace kelvane::TimelineLayout
