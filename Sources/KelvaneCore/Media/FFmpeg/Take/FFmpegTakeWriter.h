#pragma once

#include <memory>

#include "Media/MediaStreams.h"
#include "Support/FileURL.h"

namespace kelvane {

/// Creates `file`, which must not exist, for a take. Half a second at most waits for its fragment, and each fragment is
/// brought to disk. Failures name the file and what the system said: "“take.m4a” could not be written: No space left on
/// device." After a failure the file ends with its last whole fragment, and every further call fails alike.
Result<std::unique_ptr<TakeWriter>> makeFFmpegTakeWriter(const FileURL& file);

}  // namespace kelvane
