#pragma once

#include <optional>
#include <string>

#include "Media/StillImage.h"

namespace kelvane {

/// Quality of a project card's picture, 0 to 1: at it a card shows no blocks at two pixels a point.
inline constexpr double thumbnailQuality = 0.85;

/// A picture as JPEG bytes, at a quality from 0 to 1; nothing when the platform can't encode it. Any thread.
std::optional<std::string> jpegData(const StillImage& image, double quality = thumbnailQuality);
/// A picture as PNG bytes, without alpha; nothing when the platform can't encode it. Any thread.
std::optional<std::string> pngData(const StillImage& image);

}  // namespace kelvane
