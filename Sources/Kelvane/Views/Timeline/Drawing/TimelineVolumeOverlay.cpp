#include "TimelineVolumeOverlay.h"

#include <cmath>

#include "Views/Controls/IconShape.h"
#include "Views/Theme.h"
#include "Views/Timeline/TimelineViewportLayout.h"

namespace kelvane {

namespace {

// Of the clip's width, points.
constexpr double narrowestHandle = 22;
constexpr double narrowestValue = 54;
/// An edge can be taken hold of in a quarter of the clip, and no more than this.
constexpr double widestEdge = 6;

constexpr double handleSize = 10;
constexpr double capsuleHeight = 18;
constexpr double capsuleMargin = 7;
constexpr double mutedMark = 10;
constexpr double mutedMarkMargin = 6;

}  // namespace

double TimelineVolumeOverlay::lineY() const { return TimelineViewportLayout::volumeLine(volume, height); }
double TimelineVolumeOverlay::lineInset() const { return std::min(widestEdge, width * 0.25); }

double TimelineVolumeOverlay::lineOpacity() const { return volume == 0 ? Theme::mutedVolumeLine : Theme::volumeLine; }

bool TimelineVolumeOverlay::hasHandle() const { return showValue && width >= narrowestHandle; }
bool TimelineVolumeOverlay::hasValue() const { return showValue && width >= narrowestValue; }
bool TimelineVolumeOverlay::hasMutedMark() const { return !showValue && volume == 0 && width >= narrowestHandle; }

QString TimelineVolumeOverlay::value() const { return QStringLiteral("%1%").arg(std::lround(volume * 100)); }

void TimelineVolumeOverlay::paint(const TimelineDrawing& drawing, const QRectF& frame, const QRectF& seen) const {
    QPainter& painter = drawing.painter;
    const double y = drawing.snapped(frame.top() + lineY());
    painter.fillRect(QRectF(frame.topLeft(), QPointF(frame.right(), y)), faded(Qt::black, Theme::volumeShade));
    const double from = frame.left() + lineInset();
    const QRectF line(from, y, frame.right() - lineInset() - from, 1);
    painter.fillRect(line, faded(Qt::white, lineOpacity()));
    if (hasMutedMark()) {
        const double left = std::max(frame.left(), seen.left()) + mutedMarkMargin;
        const QRectF mark(left, y - mutedMarkMargin - mutedMark, mutedMark, mutedMark);
        IconShape::named(QStringLiteral("speaker-slash")).paint(painter, mark, Theme::text1);
    }
    if (hasHandle()) paintHandle(painter, {frame.intersected(seen).center().x(), y + 0.5});
}

void TimelineVolumeOverlay::paintHandle(QPainter& painter, QPointF middle) const {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Theme::playheadRim, 1));
    painter.setBrush(Theme::playhead);
    if (!hasValue()) {
        painter.drawEllipse(middle, handleSize / 2, handleSize / 2);
        painter.restore();
        return;
    }
    const QFont font = Theme::smallTitleFont();
    const double across = QFontMetricsF(font).horizontalAdvance(value()) + 2 * capsuleMargin;
    const QRectF capsule(middle.x() - across / 2, middle.y() - capsuleHeight / 2, across, capsuleHeight);
    painter.drawRoundedRect(capsule, capsuleHeight / 2, capsuleHeight / 2);
    painter.setFont(font);
    painter.setPen(Theme::window);
    painter.drawText(capsule, Qt::AlignCenter, value());
    painter.restore();
}

}  // namespace kelvane
