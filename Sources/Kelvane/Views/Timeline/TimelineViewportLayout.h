#pragma once

#include <QPointF>
#include <QRectF>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "Timeline/TimelinePlacement.h"

namespace kelvane {

/// How time becomes places on the timeline: pure functions. Content coordinates count in points from time 0 and from
/// the top of the ruler. `pointsPerSecond` is the zoom times TimelineMetrics::secondWidth. Any thread.
namespace TimelineViewportLayout {

/// Minutes, which go on past 59, and whole seconds, as in "61:01"; what is not finite or negative counts as 0.
std::string timeDisplay(double seconds);

/// From one tick of the ruler to the next, seconds: the first round number of which ticks stand 80 points apart at
/// least, up to an hour.
double tickInterval(double pointsPerSecond);

/// The zooms that may be set.
struct ZoomRange {
    double lower = 1;
    double upper = 1;
    bool operator==(const ZoomRange&) const = default;
    [[nodiscard]] double clamped(double zoom) const;
};
/// A timeline of `duration` seconds may be zoomed out until it fits a viewport of `viewportWidth` points, and one that
/// fits at zoom 1 no further than that.
ZoomRange zoomRange(double viewportWidth, double duration);

/// Width of the content, from time 0 to its end.
double contentWidth(double duration, double pointsPerSecond);
/// Height of the content: the ruler and a row for the video and for each lane.
double contentHeight(std::size_t lanes);
/// Height of the viewport that shows so many lanes.
double viewportHeight(std::size_t lanes);
/// How far the content is scrolled down so that a new lane at the bottom is in sight.
double offsetOfNewLane(std::size_t lanes);

/// The point of the content under a point of the viewport, whose visible part begins at `visible`; time 0 can stand in
/// the viewport's middle, half a viewport from the content's beginning.
QPointF contentPoint(QPointF viewportPoint, QPointF visible, double viewportWidth);

/// y of the clip at `index`, in the row of its lane; video is the uppermost row.
double rowTop(const TimelinePlacement& placement, std::size_t index);
/// Where the clip at `index` is drawn: its place less a gap at both ends.
QRectF clipFrame(const TimelinePlacement& placement, std::size_t index, double pointsPerSecond);

/// y of the volume line in a clip of that height, from the clip's top.
double volumeLine(double volume, double height);

}  // namespace TimelineViewportLayout

}  // namespace kelvane
