#pragma once

#include <optional>
#include <string>

#include "Media/StillImage.h"

namespace kelvane {

/// A picture as JPEG bytes; nothing when the platform can't encode it. Any thread.
std::optional<std::string> jpegData(const StillImage& image);

}  // namespace kelvane
