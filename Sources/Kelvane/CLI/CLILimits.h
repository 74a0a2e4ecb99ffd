#pragma once

#include <cstddef>

/// What the command interface takes at the most. Its documents name these numbers, and both of its ends hold them.
namespace kelvane::CLILimits {

/// Longest message in either direction without its line feed, and longest text of one option, bytes.
inline constexpr std::size_t messageBytes = 1'048'576;
/// Occurrences on a timeline.
inline constexpr std::size_t clips = 1'000;
/// Length of a timeline, seconds.
inline constexpr double durationSeconds = 86'400;
/// Assets that one call inspects, or files that one imports.
inline constexpr std::size_t batchAssets = 64;

}  // namespace kelvane::CLILimits
