#pragma once

#include <string_view>

/// The texts of the managed section in an assistant's instruction file. They teach the commands of the client, so each
/// of them changes with `KelvaneCLI`. Any thread.
namespace kelvane::AssistantInstructions {

/// The lines that delimit the section; what lies outside them is the user's.
inline constexpr std::string_view beginMarker = "<!-- Kelvane CLI: begin -->";
inline constexpr std::string_view endMarker = "<!-- Kelvane CLI: end -->";

/// From the end of the begin marker's line to the line of the client's command, 387 bytes.
extern const std::string_view beforeCommand;
/// From directly behind the client's command, on its line, to the line of the open command, 3,637 bytes.
extern const std::string_view behindCommand;
/// From the end of the open command's line to the line of the end marker, 321 bytes.
extern const std::string_view behindOpenCommand;

}  // namespace kelvane::AssistantInstructions
