#pragma once

#include <memory>

#include "Media/EditedMedia.h"
#include "Media/MediaStreams.h"
#include "PictureCache.h"
#include "ReaderPool.h"

namespace kelvane {

/// The pictures of `media` on `canvas` pixels, drawn with the pool's readers and kept in the cache. Opens nothing yet.
///
/// Frames that nothing refers to are skipped on the way to the one that is asked for; asked in order, none is. A step
/// back that isn't in the cache keeps what it passes on the way from the key frame, as far as the cache reaches, so
/// that the next ones are.
std::unique_ptr<PictureStream> makeFFmpegPictureStream(EditedMediaPtr media, Size canvas,
                                                       std::shared_ptr<ReaderPool> readers,
                                                       std::shared_ptr<PictureCache> cache);

}  // namespace kelvane
