#pragma once

#include <memory>

#include "Media/EditedMedia.h"
#include "Media/MediaStreams.h"

namespace kelvane {

class SoundReaderPool;

/// The sound of `media`, read with the pool's readers, sample by sample as exports hold it before they encode it. Opens
/// nothing yet.
///
/// What the limiter does to a sample depends on the 5 ms behind it and on what was loud in the `Limiter::memory`
/// samples before. So it is given both: a range that doesn't follow on costs three quarters of a second of sound that
/// nobody hears.
std::unique_ptr<SoundStream> makeFFmpegSoundStream(EditedMediaPtr media, std::shared_ptr<SoundReaderPool> readers);

}  // namespace kelvane
