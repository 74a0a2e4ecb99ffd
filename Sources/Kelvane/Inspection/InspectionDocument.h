#pragma once

#include <span>
#include <string>
#include <vector>

#include "Media/MediaTime.h"
#include "Support/Error.h"
#include "Support/JSON.h"

namespace kelvane::CLIMediaInspection {

/// A JSON array of numbers.
std::string arrayText(std::span<const double> numbers);
/// A JSON array of objects.
std::string arrayText(std::span<const JSONObject> objects);

/// "Frame times must be finite timestamps within the video duration."
Error unusableTimes();
/// The times in the timescale of compositions; fails with `unusableTimes` when one is not finite.
Result<std::vector<MediaTime>> mediaTimes(std::span<const double> times);

}  // namespace kelvane::CLIMediaInspection
