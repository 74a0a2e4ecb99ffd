#pragma once

#include <string_view>

#include "Support/Error.h"

/// The failures of the media engine, in their words.
namespace kelvane::MediaError {

/// "“<name>” has an invalid trim range or could not be read."
Error invalidClip(std::string_view name);
/// "“<name>” does not contain a supported video track."
Error noVideo(std::string_view name);
/// "This device could not create an export session for the selected format."
Error exportUnavailable();

}  // namespace kelvane::MediaError
