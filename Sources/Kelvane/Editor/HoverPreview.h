#pragma once

#include <optional>

#include "Support/UUID.h"

namespace kelvane {

/// What the hover player shows.
struct HoverPreview {
    /// The asset; none means the timeline.
    std::optional<UUID> assetID;
    /// Seconds, of the asset's trim or of the timeline.
    double time = 0;
    bool operator==(const HoverPreview&) const = default;
};

}  // namespace kelvane
