#pragma once

#include <span>
#include <vector>

#include "Media/MediaTime.h"
#include "Support/Error.h"

namespace kelvane::CLIMediaInspection {

/// "Frame times must be finite timestamps within the video duration."
Error unusableTimes();
/// The times in the timescale of compositions; fails with `unusableTimes` when one is not finite.
Result<std::vector<MediaTime>> mediaTimes(std::span<const double> times);

}  // namespace kelvane::CLIMediaInspection
