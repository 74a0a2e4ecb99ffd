#include "ExportSettings.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "Support/Text.h"
#include "Timeline/Framing.h"

namespace kelvane {

namespace {

/// Highest rate that automatic gives, and the rate of a source without a usable one.
constexpr double highestAutomaticRate = 60;
constexpr double defaultRate = 30;
/// Rates with a sibling slowed by 1000/1001, as NTSC's colour carrier asks (SMPTE ST 170).
constexpr std::array fractionalSiblings{24, 30, 60};
constexpr double siblingTolerance = 0.002;
constexpr std::int32_t frameDurationTimescale = 60000;
/// A rate this near to a whole number is shown as that number.
constexpr double wholeRateTolerance = 0.01;

}  // namespace

std::string_view rawValue(ExportContainer container) { return container == ExportContainer::mp4 ? "mp4" : "mov"; }

std::string title(ExportContainer container) { return container == ExportContainer::mp4 ? "MP4" : "MOV"; }

Result<ExportContainer> exportContainerForDestination(const FileURL& destination) {
    const std::string extension = lowered(destination.extension());
    for (const ExportContainer container : allExportContainers)
        if (rawValue(container) == extension) return container;
    return fail("Export requires a .mp4 or .mov path.");
}

std::string_view rawValue(ExportResolution resolution) {
    switch (resolution) {
        case ExportResolution::automatic:
            return "automatic";
        case ExportResolution::ultraHD:
            return "ultraHD";
        case ExportResolution::quadHD:
            return "quadHD";
        case ExportResolution::fullHD:
            return "fullHD";
        case ExportResolution::hd720:
            return "hd720";
    }
    return {};
}

std::string_view title(ExportResolution resolution) {
    switch (resolution) {
        case ExportResolution::automatic:
            return "Auto";
        case ExportResolution::ultraHD:
            return "4K";
        case ExportResolution::quadHD:
            return "1440p";
        case ExportResolution::fullHD:
            return "1080p";
        case ExportResolution::hd720:
            return "720p";
    }
    return {};
}

std::string_view commandLineWord(ExportResolution resolution) {
    switch (resolution) {
        case ExportResolution::automatic:
            return "auto";
        case ExportResolution::ultraHD:
            return "4k";
        default:
            return title(resolution);
    }
}

std::optional<Size> size(ExportResolution resolution) {
    switch (resolution) {
        case ExportResolution::automatic:
            return std::nullopt;
        case ExportResolution::ultraHD:
            return Framing::ultraHDSize;
        case ExportResolution::quadHD:
            return Framing::quadHDSize;
        case ExportResolution::fullHD:
            return Framing::size;
        case ExportResolution::hd720:
            return Framing::hdSize;
    }
    return std::nullopt;
}

bool isAvailable(ExportResolution resolution, const std::optional<Size>& maximum) {
    if (resolution != ExportResolution::ultraHD && resolution != ExportResolution::quadHD) return true;
    const Size wanted = *size(resolution);
    return maximum && wanted.width <= maximum->width && wanted.height <= maximum->height;
}

Result<ExportResolution> exportResolutionFromCommandLine(std::string_view text) {
    for (const ExportResolution resolution : allExportResolutions)
        if (commandLineWord(resolution) == text) return resolution;
    return fail("--resolution must be auto, 4k, 1440p, 1080p or 720p.");
}

std::string title(ExportFrameRate rate) {
    return rate == ExportFrameRate::automatic ? "Auto" : std::to_string(static_cast<int>(rate));
}

std::string commandLineWord(ExportFrameRate rate) { return rate == ExportFrameRate::automatic ? "auto" : title(rate); }

std::optional<ExportFrameRate> exportFrameRate(int rawValue) {
    for (const ExportFrameRate rate : allExportFrameRates)
        if (static_cast<int>(rate) == rawValue) return rate;
    return std::nullopt;
}

Result<ExportFrameRate> exportFrameRateFromCommandLine(std::string_view text) {
    for (const ExportFrameRate rate : allExportFrameRates)
        if (commandLineWord(rate) == text) return rate;
    return fail("--fps must be auto, 24, 25, 30, 50 or 60.");
}

double automaticRate(std::span<const double> sourceRates) {
    if (sourceRates.empty()) return defaultRate;
    double slowest = highestAutomaticRate;
    for (const double rate : sourceRates)
        slowest = std::min(slowest, std::isfinite(rate) && rate > 0 ? rate : defaultRate);
    return slowest;
}

MediaTime frameDuration(double rate) {
    for (const int whole : fractionalSiblings)
        if (std::abs(rate - whole * 1000.0 / 1001.0) < siblingTolerance) return {1001, whole * 1000};
    return MediaTime::fromSeconds(1 / rate, frameDurationTimescale);
}

std::string rateLabel(double rate) {
    const bool isWhole = std::abs(rate - std::round(rate)) < wholeRateTolerance;
    return isWhole ? fmt::format("{:.0f}", rate) : fmt::format("{:.2f}", rate);
}

}  // namespace kelvane
