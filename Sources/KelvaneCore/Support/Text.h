#pragma once

#include <string_view>

namespace kelvane {

/// `text` (UTF-8) without the white space and line breaks at both its ends: the space separators, line and paragraph
/// separators of Unicode, tab, the control characters from line feed to carriage return, and next line.
std::string_view trimmedText(std::string_view text);

}  // namespace kelvane
