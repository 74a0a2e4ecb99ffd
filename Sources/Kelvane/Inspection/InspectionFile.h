#pragma once

#include <string>

#include "Media/StillImage.h"
#include "Support/Error.h"

namespace kelvane {

/// Writes a picture as a new JPEG file at quality 0.9. Fails with "Could not write an inspection image." when there can
/// be no such file, as where one is already, and with "Could not finish an inspection image." when the picture can't be
/// encoded or the disk is full. A failed call leaves no file of its own. Blocks; any thread.
Result<void> writeInspectionImage(const std::string& path, const StillImage& image);

}  // namespace kelvane
