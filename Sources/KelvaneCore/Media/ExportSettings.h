#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "MediaTime.h"
#include "Support/Error.h"
#include "Support/FileURL.h"
#include "Support/Geometry.h"

namespace kelvane {

/// File format of an export.
enum class ExportContainer { mp4, mov };
/// Output size. Portrait: width is the shorter side.
enum class ExportResolution { automatic, ultraHD, quadHD, fullHD, hd720 };
/// Output frame rate; the value is the rate in frames a second, 0 for automatic.
enum class ExportFrameRate : int { automatic = 0, fps24 = 24, fps25 = 25, fps30 = 30, fps50 = 50, fps60 = 60 };

inline constexpr std::array allExportContainers{ExportContainer::mp4, ExportContainer::mov};
inline constexpr std::array allExportResolutions{ExportResolution::automatic, ExportResolution::ultraHD,
                                                 ExportResolution::quadHD, ExportResolution::fullHD,
                                                 ExportResolution::hd720};
inline constexpr std::array allExportFrameRates{ExportFrameRate::automatic, ExportFrameRate::fps24,
                                                ExportFrameRate::fps25,     ExportFrameRate::fps30,
                                                ExportFrameRate::fps50,     ExportFrameRate::fps60};

/// "mp4", "mov": also the file extension.
std::string_view rawValue(ExportContainer container);
/// "MP4", "MOV".
std::string title(ExportContainer container);
/// By the lower-cased extension; another fails with "Export requires a .mp4 or .mov path."
Result<ExportContainer> exportContainerForDestination(const FileURL& destination);

/// "automatic", "ultraHD", "quadHD", "fullHD", "hd720".
std::string_view rawValue(ExportResolution resolution);
/// "Auto", "4K", "1440p", "1080p", "720p".
std::string_view title(ExportResolution resolution);
/// "auto", "4k", "1440p", "1080p", "720p".
std::string_view commandLineWord(ExportResolution resolution);
/// Pixels; `automatic` has none.
std::optional<Size> size(ExportResolution resolution);
/// Whether a timeline whose largest output is `maximum` (absent: not known yet) allows this choice.
bool isAvailable(ExportResolution resolution, const std::optional<Size>& maximum);
/// Reads a command-line word exactly; else "--resolution must be auto, 4k, 1440p, 1080p or 720p."
Result<ExportResolution> exportResolutionFromCommandLine(std::string_view text);

/// "Auto", "24", …
std::string title(ExportFrameRate rate);
/// "auto", "24", …
std::string commandLineWord(ExportFrameRate rate);
std::optional<ExportFrameRate> exportFrameRate(int rawValue);
/// Reads a command-line word exactly; else "--fps must be auto, 24, 25, 30, 50 or 60."
Result<ExportFrameRate> exportFrameRateFromCommandLine(std::string_view text);
/// The rate that `automatic` stands for: the slowest source's, at most 60; 30 for a source without a usable rate and
/// for no source at all. Frames a second.
double automaticRate(std::span<const double> sourceRates);
/// One frame's duration at `rate`: 1001/(n·1000) near the fractional siblings of 24, 30 and 60, else at timescale
/// 60000.
MediaTime frameDuration(double rate);
/// "30", "29.97".
std::string rateLabel(double rate);

/// What `automatic` resolves to for one timeline.
struct ExportCapabilities {
    /// Largest output size that every video clip can fill, pixels.
    Size maximumSize;
    /// Frames a second, not rounded.
    double frameRate = 30;
    bool operator==(const ExportCapabilities&) const = default;
};

}  // namespace kelvane
