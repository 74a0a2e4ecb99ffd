#pragma once

#include <optional>
#include <string>

#include "Media/StillImage.h"
#include "Support/Error.h"

namespace kelvane {

/// Writes an encoded picture as a new file. `what` names it in sentences: "Could not write <what>." when there can be
/// no such file, as where one is already, and "Could not finish <what>." when `data` is absent, as the picture couldn't
/// be encoded, or the disk is full. A failed call leaves no file of its own. Blocks; any thread.
Result<void> writeNewPicture(const std::string& path, const std::optional<std::string>& data, const std::string& what);

/// Writes a picture as a new JPEG file at quality 0.9, which sentences call "an inspection image". As
/// `writeNewPicture`.
Result<void> writeInspectionImage(const std::string& path, const StillImage& image);

}  // namespace kelvane
