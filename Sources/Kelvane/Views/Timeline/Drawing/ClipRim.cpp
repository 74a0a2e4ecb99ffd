#include "ClipRim.h"

#include <QPainterPath>
#include <cmath>

#include "Views/Theme.h"

namespace kelvane {

namespace {

QPainterPath rounded(const QRectF& frame, double radius) {
    QPainterPath path;
    path.addRoundedRect(frame, std::max(radius, 0.0), std::max(radius, 0.0));
    return path;
}

}  // namespace

ClipRim::Corners ClipRim::drawn(int radius, double ratio) const {
    // A clip that is nothing but corners, cut into four.
    const int pixels = static_cast<int>(std::ceil(radius * ratio));
    QImage whole(2 * pixels, 2 * pixels, QImage::Format_ARGB32_Premultiplied);
    whole.fill(ground_);
    const QRectF frame(0, 0, 2 * pixels, 2 * pixels);
    QPainter painter(&whole);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setCompositionMode(QPainter::CompositionMode_DestinationOut);
    painter.fillPath(rounded(frame, pixels), Qt::black);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    double inset = 0;
    for (const Ring& ring : rings_) {
        const double outer = inset * ratio;
        inset += ring.width;
        const double inner = inset * ratio;
        const QPainterPath outside = rounded(frame.adjusted(outer, outer, -outer, -outer), pixels - outer);
        const QPainterPath inside = rounded(frame.adjusted(inner, inner, -inner, -inner), pixels - inner);
        painter.fillPath(outside.subtracted(inside), ring.color);
    }
    painter.end();
    Corners corners;
    for (int i = 0; i < 4; ++i) {
        QImage& corner = corners[static_cast<std::size_t>(i)];
        corner = whole.copy(i % 2 * pixels, i / 2 * pixels, pixels, pixels);
        corner.setDevicePixelRatio(ratio);
    }
    return corners;
}

void ClipRim::paintEdges(QPainter& painter, const QRectF& frame, double radius) const {
    double inset = 0;
    for (const auto& [width, color] : rings_) {
        const double across = frame.width() - 2 * radius;
        const double along = frame.height() - 2 * radius;
        if (across > 0) {
            painter.fillRect(QRectF(frame.left() + radius, frame.top() + inset, across, width), color);
            painter.fillRect(QRectF(frame.left() + radius, frame.bottom() - inset - width, across, width), color);
        }
        if (frame.width() >= 2 * (inset + width)) {
            painter.fillRect(QRectF(frame.left() + inset, frame.top() + radius, width, along), color);
            painter.fillRect(QRectF(frame.right() - inset - width, frame.top() + radius, width, along), color);
        }
        inset += width;
    }
}

void ClipRim::paint(QPainter& painter, const QRectF& frame, double ratio) {
    if (ratio != ratio_) corners_.clear();
    ratio_ = ratio;
    const int radius = static_cast<int>(std::min(Theme::clipRadius, std::floor(frame.width() / 2)));
    if (radius < 1) return;
    auto found = corners_.find(radius);
    if (found == corners_.end()) found = corners_.emplace(radius, drawn(radius, ratio)).first;
    const double extent = std::ceil(radius * ratio) / ratio;
    paintEdges(painter, frame, extent);
    const Corners& corners = found->second;
    painter.drawImage(frame.topLeft(), corners[0]);
    painter.drawImage(QPointF(frame.right() - extent, frame.top()), corners[1]);
    painter.drawImage(QPointF(frame.left(), frame.bottom() - extent), corners[2]);
    painter.drawImage(QPointF(frame.right() - extent, frame.bottom() - extent), corners[3]);
}

}  // namespace kelvane
