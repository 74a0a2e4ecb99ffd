#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kelvane {

/// `text` (UTF-8) without the white space and line breaks at both its ends: the space separators, line and paragraph
/// separators of Unicode, tab, the control characters from line feed to carriage return, and next line.
std::string_view trimmedText(std::string_view text);

/// `text` with the capital letters A to Z made small, whatever the locale; all other bytes stay.
std::string lowered(std::string_view text);

/// `text` in the quotation marks in which sentences set names: “Holiday”.
std::string quotedName(std::string_view text);
/// The last component of a path in quotation marks, as sentences name a file: “a.mov”.
std::string quotedFileName(std::string_view path);

/// Reads a decimal number ("12", "+0.5", "1e-3") that fills all of `text`, whatever the locale; nothing for other text,
/// white space included, and for what no double holds finitely. A number too small for a double is 0.
std::optional<double> finiteNumber(std::string_view text);

}  // namespace kelvane
