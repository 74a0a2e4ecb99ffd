#include "TimelineViewportLayout.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "Timeline/TimelineLayout.h"
#include "TimelineMetrics.h"

namespace kelvane::TimelineViewportLayout {

namespace {

using namespace TimelineMetrics;

/// Narrowest distance of two ticks, which leaves room for their labels.
constexpr double narrowestTick = 80;
constexpr std::array<double, 13> tickIntervals{0.5, 1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 1800, 3600};
/// What of the content stays above a new lane, points: the rest of a viewport of 240.
constexpr double newLaneSight = 240;

}  // namespace

std::string timeDisplay(double seconds) {
    const double whole = std::isfinite(seconds) && seconds > 0 ? std::trunc(seconds) : 0;
    return fmt::format("{:02.0f}:{:02.0f}", std::trunc(whole / 60), std::fmod(whole, 60));
}

double tickInterval(double pointsPerSecond) {
    const auto fits = [pointsPerSecond](double interval) { return interval * pointsPerSecond >= narrowestTick; };
    const auto found = std::ranges::find_if(tickIntervals, fits);
    return found == tickIntervals.end() ? tickIntervals.back() : *found;
}

double ZoomRange::clamped(double zoom) const { return std::clamp(zoom, lower, upper); }

ZoomRange zoomRange(double viewportWidth, double duration) {
    const double fitting = std::max(viewportWidth, 1.0) / (std::max(duration, 1.0) * secondWidth);
    return {std::min(fitting, 1.0), TimelineMetrics::maximumZoom};
}

double contentWidth(double duration, double pointsPerSecond) { return std::max(duration * pointsPerSecond, 1.0); }

double contentHeight(std::size_t lanes) { return trackTop + trackStride * static_cast<double>(lanes + 1); }

double viewportHeight(std::size_t lanes) { return std::min(contentHeight(lanes), maximumViewportHeight); }

double offsetOfNewLane(std::size_t lanes) { return std::max(contentHeight(lanes) - newLaneSight, 0.0); }

QPointF contentPoint(QPointF viewportPoint, QPointF visible, double viewportWidth) {
    return {visible.x() + viewportPoint.x() - viewportWidth * 0.5, visible.y() + viewportPoint.y()};
}

double rowTop(const TimelinePlacement& placement, std::size_t index) {
    const auto lane = placement.lane(index);
    return trackTop + (lane ? trackStride * static_cast<double>(*lane + 1) : 0);
}

QRectF clipFrame(const TimelinePlacement& placement, std::size_t index, double pointsPerSecond) {
    const auto& span = placement.span(index);
    const auto frame = TimelineLayout::clipFrame((span.end - span.start) * pointsPerSecond);
    return {span.start * pointsPerSecond + frame.inset, rowTop(placement, index), frame.width, trackHeight};
}

double volumeLine(double volume, double height) {
    const double room = height < volumeMargin + 1 ? 1 : height - volumeMargin;
    return (1 - volume) * room + volumeMargin / 2;
}

}  // namespace kelvane::TimelineViewportLayout
