#pragma once

#include "TimelineDrawing.h"

namespace kelvane {

/// What shows a clip's volume over its picture, in points from the picture's upper left corner. A plain value.
struct TimelineVolumeOverlay {
    double volume = 1;
    double width = 0;
    double height = 0;
    /// Whether a hand is on the line, or near it.
    bool showValue = false;

    /// Where the line stands; above it the clip is shaded.
    [[nodiscard]] double lineY() const;
    /// What the line leaves free at either end: the zones of the edges.
    [[nodiscard]] double lineInset() const;
    [[nodiscard]] double lineOpacity() const;
    [[nodiscard]] bool hasHandle() const;
    /// Whether the handle holds the percentage.
    [[nodiscard]] bool hasValue() const;
    [[nodiscard]] bool hasMutedMark() const;
    /// The percentage, rounded: "80%".
    [[nodiscard]] QString value() const;

    /// Draws it over a clip at `frame`, what has a place in its middle within `seen`.
    void paint(const TimelineDrawing& drawing, const QRectF& frame, const QRectF& seen) const;

private:
    void paintHandle(QPainter& painter, QPointF middle) const;
};

}  // namespace kelvane
