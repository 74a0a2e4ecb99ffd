#include "TimelinePlacement.h"

#include <algorithm>

namespace kelvane {

namespace {

/// What `lane` says of a clip that is in none.
constexpr std::size_t noLane = static_cast<std::size_t>(-1);

}  // namespace

ClipExtent<double> extentInSeconds(const Clip& clip) { return {clip.audioPosition(), clip.duration()}; }

TimelinePlacement::TimelinePlacement(std::span<const Clip> clips)
    : spans_(clips, extentInSeconds), duration_(spans_.videoEnd()) {
    indices_.reserve(clips.size());
    laneOf_.reserve(clips.size());
    middles_.reserve(spans_.videos().size());
    std::unordered_map<UUID, std::size_t> ranks;
    for (std::size_t i = 0; i < clips.size(); ++i) {
        indices_.try_emplace(clips[i].id, i);
        if (!clips[i].isAudio()) {
            laneOf_.push_back(noLane);
            middles_.push_back(spans_[i].start + 0.5 * clips[i].duration());
            continue;
        }
        const auto [rank, isNew] = ranks.try_emplace(clips[i].lane(), lanes_.size());
        if (isNew) lanes_.push_back(clips[i].lane());
        laneOf_.push_back(rank->second);
        duration_ = std::max(duration_, spans_[i].end);
    }
}

std::optional<std::size_t> TimelinePlacement::index(const UUID& id) const {
    const auto found = indices_.find(id);
    return found == indices_.end() ? std::nullopt : std::optional(found->second);
}

double TimelinePlacement::start(const UUID& id) const {
    const auto found = index(id);
    return found ? spans_[*found].start : videoEnd();
}

std::optional<std::size_t> TimelinePlacement::lane(std::size_t index) const {
    return laneOf_[index] == noLane ? std::nullopt : std::optional(laneOf_[index]);
}

std::size_t TimelinePlacement::insertionIndex(double time) const {
    const auto behind = std::ranges::upper_bound(middles_, time);
    if (behind == middles_.end()) return size();
    return spans_.videos()[static_cast<std::size_t>(behind - middles_.begin())];
}

}  // namespace kelvane
