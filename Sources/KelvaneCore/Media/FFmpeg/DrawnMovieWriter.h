#pragma once

#include "Media/DrawnMovie.h"

namespace kelvane {

/// A `WriteDrawnMovie` that makes MP4 files at the program's one quality.
Result<void> writeDrawnMovieFile(const FileURL& file, const DrawnMovie& movie, std::stop_token stop);

}  // namespace kelvane
