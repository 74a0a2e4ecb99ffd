#include "WaveformOutline.h"

#include <algorithm>
#include <cmath>

#include "Media/AudioWaveform.h"

namespace kelvane {

QPolygonF WaveformOutline::pointsBetween(double left, double right) const {
    const auto isBefore = [](const QPointF& point, double x) { return point.x() < x; };
    auto first = std::lower_bound(points.begin(), points.end(), left, isBefore);
    auto last = std::lower_bound(first, points.end(), right, isBefore);
    if (first != points.begin()) --first;
    if (last != points.end()) ++last;
    return {QList<QPointF>(first, last)};
}

QPolygonF WaveformOutline::shapeOver(const QPolygonF& some) const {
    if (some.isEmpty()) return {};
    QPolygonF shape;
    shape.reserve(some.size() + 2);
    shape << QPointF(some.first().x(), baseline);
    shape += some;
    // The last column goes on to the edge.
    shape << QPointF(some.last() == points.last() ? width : some.last().x(), baseline);
    return shape;
}

WaveformOutline waveformOutline(std::span<const float> peaks, const Clip& clip, QSizeF size, bool overlay) {
    WaveformOutline outline{
        .baseline = overlay ? size.height() : size.height() - baselineMargin, .width = size.width(), .points = {}};
    if (peaks.empty()) return outline;
    const double columns = std::max(1.0, std::min(std::ceil(size.width()), double{mostWaveformColumns}));
    const double maxHeight = std::max(0.0, size.height() - waveformHeadroom);
    const double duration = clip.duration();
    outline.points.reserve(static_cast<qsizetype>(columns));
    for (double i = 0; i < columns; ++i) {
        const double from = clip.start + duration * i / columns;
        const double to = clip.start + duration * (i + 1) / columns;
        const double peak = AudioWaveform::peak(peaks, from, to);
        const double height = std::sqrt(peak) * clip.volume * maxHeight;
        outline.points << QPointF(i / columns * size.width(), outline.baseline - height);
    }
    return outline;
}

}  // namespace kelvane
