#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "Timeline/Clip.h"

namespace kelvane {

/// An array of clips that history and state share until one of them is replaced. Never null.
using ClipArray = std::shared_ptr<const std::vector<Clip>>;

/// One step of history: a whole timeline, and the media pool when the step changed it.
struct HistoryEntry {
    ClipArray clips;
    std::optional<ClipArray> assets;
};

}  // namespace kelvane
