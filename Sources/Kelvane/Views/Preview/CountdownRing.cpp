#include "CountdownRing.h"

#include <QPainter>
#include <utility>

#include "Views/Theme.h"

namespace kelvane {

namespace {

constexpr double lineWidth = 5;
constexpr double trackOpacity = 0.2;
/// Of a painter's angles, which count from the right against the clock.
constexpr int turn = 360 * 16;

}  // namespace

CountdownRing::CountdownRing(QQuickItem* parent) : QQuickPaintedItem(parent) { setAntialiasing(true); }

void CountdownRing::setShare(double share) {
    if (std::exchange(share_, share) == share) return;
    update();
    Q_EMIT shareChanged();
}

void CountdownRing::paint(QPainter* painter) {
    painter->setRenderHint(QPainter::Antialiasing);
    const QRectF ring = boundingRect().adjusted(lineWidth / 2, lineWidth / 2, -lineWidth / 2, -lineWidth / 2);
    QColor track = Theme::text1;
    track.setAlphaF(trackOpacity);
    painter->setPen(QPen(track, lineWidth));
    painter->drawEllipse(ring);
    painter->setPen(QPen(Theme::record, lineWidth, Qt::SolidLine, Qt::RoundCap));
    if (share_ > 0) painter->drawArc(ring, turn / 4, -static_cast<int>(share_ * turn));
}

}  // namespace kelvane
