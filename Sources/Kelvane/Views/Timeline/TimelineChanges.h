#pragma once

#include <span>
#include <vector>

#include "Timeline/Clip.h"

namespace kelvane {

/// What an edit did to clips, by their ids.
struct ClipChanges {
    /// In the order of the later array.
    std::vector<UUID> added;
    /// As `changedClips` tells, those that were added left out.
    std::vector<UUID> changed;
    /// In the order of the former array.
    std::vector<UUID> removed;
    bool operator==(const ClipChanges&) const = default;
};

/// Any thread.
ClipChanges clipChanges(std::span<const Clip> before, std::span<const Clip> after);

/// The ids of those clips of `after` that `before` didn't hold, held otherwise, or held at another place: of those that
/// changed places with one another, as few as can be. In the order of `after`. Any thread.
std::vector<UUID> changedClips(std::span<const Clip> before, std::span<const Clip> after);

}  // namespace kelvane
