#pragma once

#include "Handles.h"

namespace kelvane {

/// Gives an HDR frame what the container alone tells about the stream's light.
void addLight(AVFrame& frame, const AVStream& stream);

}  // namespace kelvane
