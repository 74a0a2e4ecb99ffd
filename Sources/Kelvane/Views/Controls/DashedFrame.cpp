#include "DashedFrame.h"

#include <QPainter>
#include <utility>

namespace kelvane {

namespace {
/// Of a dash and of the gap behind it, points.
constexpr double dash = 3;
}  // namespace

void DashedFrame::setColor(const QColor& color) {
    if (std::exchange(color_, color) == color) return;
    Q_EMIT colorChanged();
    update();
}

void DashedFrame::setRadius(double radius) {
    if (std::exchange(radius_, radius) == radius) return;
    Q_EMIT radiusChanged();
    update();
}

void DashedFrame::paint(QPainter* painter) {
    QPen pen(color_, 1);
    pen.setDashPattern({dash, dash});
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(pen);
    painter->setBrush(Qt::NoBrush);
    // On the middle of its points.
    painter->drawRoundedRect(boundingRect().adjusted(0.5, 0.5, -0.5, -0.5), radius_, radius_);
}

}  // namespace kelvane
