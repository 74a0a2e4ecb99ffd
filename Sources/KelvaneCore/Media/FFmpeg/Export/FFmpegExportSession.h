#pragma once

#include <memory>

#include "Media/MediaPlatform.h"

namespace kelvane {

/// A session that encodes H.264 High and AAC (48 kHz stereo) at the program's one quality.
std::unique_ptr<ExportSession> makeFFmpegExportSession(EditedMediaPtr media);

}  // namespace kelvane
