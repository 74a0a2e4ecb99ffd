#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <stop_token>
#include <vector>

#include "MediaTime.h"
#include "Support/Error.h"
#include "Support/FileURL.h"

namespace kelvane {

/// A movie whose pictures and sound are made up, to be encoded as an export is. One without pictures is sound alone. A
/// plain value; its functions are called on the encoding's thread, in order.
struct DrawnMovie {
    /// Pixels, even.
    int width = 0;
    int height = 0;
    MediaTime frameDuration{1, 30};
    std::int64_t pictureCount = 0;
    /// Picture `number` as red, green and blue bytes, rows from top to bottom without gaps; sRGB.
    std::function<std::vector<std::uint8_t>(std::int64_t number)> picture;
    /// Samples at 48 kHz; 0 for a movie without sound.
    std::int64_t soundLength = 0;
    /// Fills interleaved stereo samples from sample `first` on, full scale 1.
    std::function<void(std::int64_t first, std::span<float> samples)> sound;
    /// Told after each picture, how many there are; may be absent.
    std::function<void(std::int64_t count)> progress;
};

/// Encodes a drawn movie as a file, which must not exist, and brings it to disk. Blocks; any thread. A failure or a
/// stop may leave a part of the file.
using WriteDrawnMovie = std::function<Result<void>(const FileURL& file, const DrawnMovie& movie, std::stop_token stop)>;

}  // namespace kelvane
