#pragma once

#include "TimelineDrawing.h"

namespace kelvane {

/// What is drawn of the timeline beside its clips. Places are of the viewport, points.
namespace TimelineMarks {

/// Where the label of a tick at `x` of the viewport stands.
QRectF labelPlace(double x, const QString& label);
/// Where what is drawn below stands, in a viewport of that size or for the same arguments.
QRectF playheadPlace(QSizeF viewport);
QRectF hintPlace(QSizeF viewport);
/// `originY` is how far the rows are scrolled.
QRectF insertionPlace(double x, double originY);
QRectF snapPlace(double x, double height);
/// Where the pointer brings up the bar beside the rows; empty where all of them fit.
QRectF scrollBarZone(QSizeF viewport, double contentHeight);

/// The rows' ground, for so many of them.
void paintRows(const TimelineDrawing& drawing, std::size_t count);
/// The ruler, over what is scrolled below it.
void paintRuler(const TimelineDrawing& drawing, double pointsPerSecond, double duration);
/// The line at the viewport's middle, with its head in the ruler.
void paintPlayhead(const TimelineDrawing& drawing, bool isRecording);
/// The dashed outline of where a dragged clip came from.
void paintOldPlace(const TimelineDrawing& drawing, const QRectF& frame);
/// Where a clip would land: a line over the video track.
void paintInsertion(const TimelineDrawing& drawing, double x);
/// The line of a snap, with a diamond at the foot of the row whose clip has snapped.
void paintSnap(const TimelineDrawing& drawing, double x, double rowFoot);
void paintMarquee(const TimelineDrawing& drawing, const QRectF& rect);
/// What stands on a track without clips.
void paintEmpty(const TimelineDrawing& drawing);
/// How far the rows are scrolled, where there are more than fit; `shown` is how far it has come up, 0 to 1.
void paintScrollBar(const TimelineDrawing& drawing, double contentHeight, double shown, bool isHovered);
/// The ring of the keyboard's focus, where no clip has it.
void paintFocus(const TimelineDrawing& drawing);

}  // namespace TimelineMarks

}  // namespace kelvane
