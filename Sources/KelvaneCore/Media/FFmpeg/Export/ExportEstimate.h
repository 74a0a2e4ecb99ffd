#pragma once

#include <cstdint>

#include "ExportPlan.h"
#include "ExportRun.h"
#include "Media/ExportSettings.h"

namespace kelvane {

/// Forecast of a finished movie's length in bytes: short stretches spread over the plan go through the encoders of a
/// real run, and the rest is taken to be like them. A plan of up to six seconds is encoded whole. Nothing is written.
/// Blocks for the time of encoding some hundred pictures.
Result<std::int64_t> estimateExport(const ExportPlan& plan, ExportContainer container, bool indexAtHead,
                                    ExportRun& run);

}  // namespace kelvane
