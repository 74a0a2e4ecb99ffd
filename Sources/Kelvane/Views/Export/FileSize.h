#pragma once

#include <cstdint>
#include <string>

namespace kelvane {

/// A file's size as file managers write it: units of a thousand, none behind the point for KB, one at most for MB and
/// two for what is larger, no zeros at the end: "Zero KB", "1 byte", "999 bytes", "12 KB", "48.2 MB", "1.25 GB". Less
/// than nothing counts as nothing. Pure.
std::string fileSizeText(std::int64_t bytes);

}  // namespace kelvane
