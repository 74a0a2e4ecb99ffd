#pragma once

#include <cstdint>

/// The program's one quality; measured in docs/EXPORT_QUALITY.md.
namespace kelvane::ExportQuality {

/// libx264's preset and constant rate factor.
inline constexpr const char* preset = "veryfast";
inline constexpr int constantRateFactor = 17;
/// H.264 profile.
inline constexpr const char* profile = "high";
/// AAC, bits a second for both channels.
inline constexpr std::int64_t soundBitRate = 192'000;

/// Finished pictures that wait for the encoder. More than covers the unevenness of decoding costs memory only.
inline constexpr int picturesAhead = 3;

}  // namespace kelvane::ExportQuality
