#pragma once

#include <QPolygonF>
#include <QSizeF>
#include <span>

#include "Timeline/Clip.h"

namespace kelvane {

/// Most columns of a drawing, however long the clip and wide the surface: more than a screen has pixels.
inline constexpr int mostWaveformColumns = 4096;
/// Points of the surface's height that full scale leaves free: a clip's name stands there.
inline constexpr double waveformHeadroom = 28;
/// Points between the baseline and the lower edge of a surface that shows nothing else.
inline constexpr double baselineMargin = 6;

/// The shape of a clip's sound, in points from the surface's upper left corner. It is filled from the baseline up to
/// the points, and ends at the surface's right edge.
struct WaveformOutline {
    /// Where silence lies.
    double baseline = 0;
    /// The right edge.
    double width = 0;
    /// One for each column, at its left side, from left to right. Empty where there is nothing to draw.
    QPolygonF points;

    bool operator==(const WaveformOutline&) const = default;

    /// The points that bear on what is seen between two positions from the left, with a neighbour on either side.
    [[nodiscard]] QPolygonF pointsBetween(double left, double right) const;
    /// The closed shape over some successive points of `pointsBetween`.
    [[nodiscard]] QPolygonF shapeOver(const QPolygonF& some) const;
};

/// The shape of the stretch of a file that `clip` shows, on a surface of `size`. `peaks` are those of the file from its
/// beginning, AudioWaveform::peaksPerSecond of them, and each column is as high as the square root of the loudest of
/// its own, times the clip's volume: the root lifts quiet sound, so that speech is seen. `overlay`: over another
/// picture, to whose lower edge the shape reaches. Without peaks there is nothing to draw.
WaveformOutline waveformOutline(std::span<const float> peaks, const Clip& clip, QSizeF size, bool overlay);

}  // namespace kelvane
