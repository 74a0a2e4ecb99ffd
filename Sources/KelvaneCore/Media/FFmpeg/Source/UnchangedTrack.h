#pragma once

#include "FFmpegAsset.h"

namespace kelvane {

/// Whether the track's file is still the one that was probed, and in its place. Asks the disk.
bool isUnchanged(const FFmpegTrack& track);

}  // namespace kelvane
