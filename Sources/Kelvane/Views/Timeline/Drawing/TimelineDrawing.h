#pragma once

#include <QPainter>
#include <QRectF>
#include <algorithm>
#include <cmath>

namespace kelvane {

/// One drawing of the timeline: where it goes and which part of the content it shows. Lengths are points, and the
/// painter counts in them; edges lie on whole pixels of the device.
struct TimelineDrawing {
    QPainter& painter;
    /// Of the viewport.
    QSizeF size;
    /// Pixels of the device to a point.
    double ratio = 1;
    /// The content at the viewport's upper left corner.
    QPointF origin;

    /// The nearest place between two pixels.
    [[nodiscard]] double snapped(double length) const { return std::round(length * ratio) / ratio; }
    /// Where a frame of the content lies in the viewport, at least a pixel wide.
    [[nodiscard]] QRectF placed(const QRectF& frame) const {
        const double left = snapped(frame.left() - origin.x());
        const double right = std::max(snapped(frame.right() - origin.x()), left + 1 / ratio);
        const double top = snapped(frame.top() - origin.y());
        return {left, top, right - left, snapped(frame.bottom() - origin.y()) - top};
    }
    [[nodiscard]] QRectF viewport() const { return {QPointF(), size}; }
};

/// `color` that lets that much less through.
inline QColor faded(QColor color, double opacity) {
    color.setAlphaF(static_cast<float>(color.alphaF() * opacity));
    return color;
}

/// What `over` makes of a surface that is `under` all over.
inline QColor blended(const QColor& under, const QColor& over) {
    const float share = over.alphaF();
    const auto mix = [share](float a, float b) { return a + (b - a) * share; };
    return QColor::fromRgbF(mix(under.redF(), over.redF()), mix(under.greenF(), over.greenF()),
                            mix(under.blueF(), over.blueF()));
}

}  // namespace kelvane
