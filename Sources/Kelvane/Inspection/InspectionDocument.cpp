#include "InspectionDocument.h"

#include <algorithm>
#include <cmath>

namespace kelvane::CLIMediaInspection {

Error unusableTimes() { return Error("Frame times must be finite timestamps within the video duration."); }

Result<std::vector<MediaTime>> mediaTimes(std::span<const double> times) {
    std::vector<MediaTime> exact;
    exact.reserve(times.size());
    for (const double time : times) {
        if (!std::isfinite(time)) return fail(unusableTimes());
        exact.push_back(MediaTime::fromSeconds(time));
    }
    return exact;
}

}  // namespace kelvane::CLIMediaInspection
