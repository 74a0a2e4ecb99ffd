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

/// Finished pictures that wait for the encoder, bytes: half a second of 1080 × 1920 and more, so that the encoder has
/// work while the next clip is decoded from its key frame. Three pictures wait however large they are.
inline constexpr std::int64_t pictureBytesAhead = std::int64_t{64} << 20;
inline constexpr std::int64_t leastPicturesAhead = 3;

}  // namespace kelvane::ExportQuality
