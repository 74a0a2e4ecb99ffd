#pragma once

#include <span>
#include <vector>

#include "Timeline/Clip.h"

namespace kelvane {

/// The ids of those clips of `after` that `before` didn't hold, held otherwise, or held at another place: of those that
/// changed places with one another, as few as can be. In the order of `after`. Any thread.
std::vector<UUID> changedClips(std::span<const Clip> before, std::span<const Clip> after);

}  // namespace kelvane
