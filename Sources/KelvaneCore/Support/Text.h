#pragma once

#include <optional>
#include <string_view>

namespace kelvane {

/// `text` (UTF-8) without the white space and line breaks at both its ends: the space separators, line and paragraph
/// separators of Unicode, tab, the control characters from line feed to carriage return, and next line.
std::string_view trimmedText(std::string_view text);

/// Reads a decimal number ("12", "+0.5", "1e-3") that fills all of `text`, whatever the locale; nothing for other text,
/// white space included, and for what no double holds finitely. A number too small for a double is 0.
std::optional<double> finiteNumber(std::string_view text);

}  // namespace kelvane
