#pragma once

#include <stop_token>

#include "Media/DrawnMovie.h"
#include "Media/MediaPlatform.h"
#include "Storage/TransferProgress.h"
#include "Timeline/Project.h"

namespace kelvane {

/// Draws the footage of a sample project into `folder`, which exists, and answers a short film of it: two scenes, cut,
/// with a melody below them. Progress counts pictures. Blocks, for some seconds; any thread. A failure or a stop may
/// leave files.
Result<Project> makeSampleProject(MediaPlatform& media, const WriteDrawnMovie& write, const FileURL& folder,
                                  const std::stop_token& stop, const ProgressReport& report);

}  // namespace kelvane
