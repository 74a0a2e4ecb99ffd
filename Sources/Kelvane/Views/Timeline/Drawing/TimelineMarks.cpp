#include "TimelineMarks.h"

#include <QCoreApplication>
#include <QFontMetricsF>
#include <QPainterPath>
#include <cmath>

#include "Views/Controls/IconShape.h"
#include "Views/Theme.h"
#include "Views/Timeline/TimelineMetrics.h"
#include "Views/Timeline/TimelineViewportLayout.h"

namespace kelvane::TimelineMarks {

namespace {

using namespace TimelineMetrics;

// Of a tick's label: where it begins behind the tick, and its upper end.
constexpr QPointF labelCorner{1, 5};
constexpr double labelHeight = 12;
constexpr double labelWidth = 80;
constexpr double playheadWidth = 1.5;
constexpr QSizeF playheadHead{11, 17};
/// Of the head, from the viewport's upper end.
constexpr double playheadTop = 2;
constexpr double markerWidth = 3;
constexpr double markerHead = 5;
/// The middle of the marker's head, from the viewport's upper end.
constexpr double markerMiddle = 17;
/// What the marker reaches beyond the clips.
constexpr double markerReach = 6;
constexpr double snapWidth = 2;
constexpr double snapMark = 5;
constexpr double marqueeFill = 0.12;
constexpr double emptyIcon = 20;
constexpr double emptyMargin = 19;
constexpr double emptyGap = 8;
constexpr double emptyHeight = 20;
constexpr double barWidth = 5;
constexpr double hoveredBarWidth = 8;
constexpr double barMargin = 3;
constexpr double shortestBar = 24;

/// Draws smoothly until its end.
class Smooth {
public:
    explicit Smooth(QPainter& painter) : painter_(painter) {
        painter_.save();
        painter_.setRenderHint(QPainter::Antialiasing);
    }
    ~Smooth() { painter_.restore(); }
    Smooth(const Smooth&) = delete;
    Smooth& operator=(const Smooth&) = delete;

private:
    QPainter& painter_;
};

void fillWithRim(QPainter& painter, const QRectF& rect, const QColor& color) {
    painter.fillRect(rect.adjusted(-1, 0, 1, 0), Theme::playheadRim);
    painter.fillRect(rect, color);
}

QString emptyText() { return QCoreApplication::translate("kelvane::TimelineView", "Drag assets here"); }

}  // namespace

QRectF labelPlace(double x, const QString& label) {
    const double width = QFontMetricsF(Theme::rulerFont()).horizontalAdvance(label);
    return {x + labelCorner.x(), labelCorner.y(), std::min(width, labelWidth), labelHeight};
}

QRectF playheadPlace(QSizeF viewport) {
    return {viewport.width() / 2 - playheadWidth / 2, 0, playheadWidth, viewport.height()};
}

QRectF hintPlace(QSizeF viewport) {
    const double left = viewport.width() / 2 + emptyMargin + emptyIcon + emptyGap;
    const double width = QFontMetricsF(Theme::bodyFont()).horizontalAdvance(emptyText());
    return {left, trackTop + trackHeight / 2 - emptyHeight / 2, std::min(std::ceil(width), viewport.width() - left),
            emptyHeight};
}

QRectF insertionPlace(double x, double originY) {
    return {x - 1, trackTop - originY, markerWidth, trackHeight + markerReach};
}

QRectF snapPlace(double x, double height) { return {x - snapWidth / 2, 0, snapWidth, height}; }

QRectF scrollBarZone(QSizeF viewport, double contentHeight) {
    if (contentHeight <= viewport.height()) return {};
    const double width = hoveredBarWidth + 2 * barMargin;
    return {viewport.width() - width, rulerHeight, width, viewport.height() - rulerHeight};
}

void paintRows(const TimelineDrawing& drawing, std::size_t count) {
    drawing.painter.fillRect(drawing.viewport(), Theme::track);
    const QColor color = blended(Theme::track, Theme::lane);
    for (std::size_t row = 0; row < count; ++row) {
        const double top = trackTop + trackStride * static_cast<double>(row);
        const QRectF band = drawing.placed({drawing.origin.x(), top, drawing.size.width(), trackHeight});
        if (band.intersects(drawing.viewport())) drawing.painter.fillRect(band, color);
    }
}

void paintRuler(const TimelineDrawing& drawing, double pointsPerSecond, double duration) {
    QPainter& painter = drawing.painter;
    const QRectF strip(0, 0, drawing.size.width(), rulerHeight);
    painter.fillRect(strip, blended(Theme::track, Theme::ruler));
    const double interval = TimelineViewportLayout::tickInterval(pointsPerSecond);
    const double width = TimelineViewportLayout::contentWidth(duration, pointsPerSecond);
    const double last = std::floor(width / pointsPerSecond / interval);
    const double first = std::floor((drawing.origin.x() - labelWidth) / pointsPerSecond / interval);
    const double end = (drawing.origin.x() + drawing.size.width()) / pointsPerSecond / interval;
    painter.setFont(Theme::rulerFont());
    for (double tick = std::max(first, 0.0); tick <= std::min(last, end); ++tick) {
        const double seconds = tick * interval;
        const double x = drawing.snapped(seconds * pointsPerSecond - drawing.origin.x());
        painter.fillRect(QRectF(x, 0, 1, rulerHeight), Theme::tick);
        painter.setPen(Theme::text2);
        const QRectF place(x + labelCorner.x(), labelCorner.y(), labelWidth, labelHeight);
        painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter,
                         QString::fromStdString(TimelineViewportLayout::timeDisplay(seconds)));
    }
}

void paintPlayhead(const TimelineDrawing& drawing, bool isRecording) {
    const QColor color = isRecording ? Theme::record : Theme::playhead;
    const double middle = drawing.size.width() / 2;
    const Smooth smooth(drawing.painter);
    fillWithRim(drawing.painter, playheadPlace(drawing.size), color);
    const double left = middle - playheadHead.width() / 2;
    const double right = middle + playheadHead.width() / 2;
    const double foot = playheadTop + playheadHead.height();
    QPainterPath head;
    head.moveTo(left, playheadTop + 2.5);
    head.quadTo(left, playheadTop, left + 2.5, playheadTop);
    head.lineTo(right - 2.5, playheadTop);
    head.quadTo(right, playheadTop, right, playheadTop + 2.5);
    head.lineTo(right, foot - 5.5);
    head.lineTo(middle, foot);
    head.lineTo(left, foot - 5.5);
    head.closeSubpath();
    drawing.painter.setPen(QPen(Theme::playheadRim, 1));
    drawing.painter.setBrush(color);
    drawing.painter.drawPath(head);
}

void paintOldPlace(const TimelineDrawing& drawing, const QRectF& frame) {
    const Smooth smooth(drawing.painter);
    QPen pen(Theme::lineStrong, 1);
    pen.setDashPattern({3, 3});
    drawing.painter.setPen(pen);
    drawing.painter.setBrush(Qt::NoBrush);
    drawing.painter.drawRoundedRect(frame.adjusted(0.5, 0.5, -0.5, -0.5), Theme::clipRadius, Theme::clipRadius);
}

void paintInsertion(const TimelineDrawing& drawing, double x) {
    const double middle = drawing.snapped(x) + markerWidth / 2 - 1;
    const QRectF line = insertionPlace(drawing.snapped(x), drawing.origin.y());
    drawing.painter.fillRect(line.adjusted(-1, 0, 1, 1), Theme::playheadRim);
    drawing.painter.fillRect(line, Theme::accent);
    const Smooth smooth(drawing.painter);
    drawing.painter.setPen(QPen(Theme::track, 1.5));
    drawing.painter.setBrush(Theme::accent);
    drawing.painter.drawEllipse(QPointF(middle, markerMiddle), markerHead + 0.75, markerHead + 0.75);
}

void paintSnap(const TimelineDrawing& drawing, double x, double rowFoot) {
    const double left = drawing.snapped(x) - snapWidth / 2;
    drawing.painter.fillRect(snapPlace(drawing.snapped(x), drawing.size.height()), Theme::snap);
    const Smooth smooth(drawing.painter);
    const QPointF middle(left + snapWidth / 2, rowFoot);
    drawing.painter.setPen(Qt::NoPen);
    drawing.painter.setBrush(Theme::snap);
    drawing.painter.drawPolygon(QPolygonF({middle + QPointF(0, -snapMark), middle + QPointF(snapMark, 0),
                                           middle + QPointF(0, snapMark), middle + QPointF(-snapMark, 0)}));
}

void paintMarquee(const TimelineDrawing& drawing, const QRectF& rect) {
    QPainter& painter = drawing.painter;
    painter.fillRect(rect, faded(Theme::accent, marqueeFill));
    painter.fillRect(QRectF(rect.left(), rect.top(), rect.width(), 1), Theme::accent);
    painter.fillRect(QRectF(rect.left(), rect.bottom() - 1, rect.width(), 1), Theme::accent);
    painter.fillRect(QRectF(rect.left(), rect.top(), 1, rect.height()), Theme::accent);
    painter.fillRect(QRectF(rect.right() - 1, rect.top(), 1, rect.height()), Theme::accent);
}

void paintEmpty(const TimelineDrawing& drawing) {
    QPainter& painter = drawing.painter;
    const double middle = trackTop + trackHeight / 2;
    const QRectF icon(drawing.size.width() / 2 + emptyMargin, middle - emptyIcon / 2, emptyIcon, emptyIcon);
    IconShape::named(QStringLiteral("add-to-track")).paint(painter, icon, Theme::text3);
    painter.setFont(Theme::bodyFont());
    painter.setPen(Theme::text3);
    const QRectF place = hintPlace(drawing.size);
    painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextDontClip, emptyText());
}

void paintScrollBar(const TimelineDrawing& drawing, double contentHeight, double shown, bool isHovered) {
    const double room = drawing.size.height() - rulerHeight;
    const double content = contentHeight - rulerHeight;
    if (shown <= 0 || content <= room) return;
    const double length = std::max(room * room / content, shortestBar);
    const double top = rulerHeight + (room - length) * drawing.origin.y() / (content - room);
    const double width = isHovered ? hoveredBarWidth : barWidth;
    const QRectF bar(drawing.size.width() - barMargin - width, top, width, length);
    const Smooth smooth(drawing.painter);
    drawing.painter.setPen(Qt::NoPen);
    drawing.painter.setBrush(faded(Theme::text3, shown * 0.7));
    drawing.painter.drawRoundedRect(bar, width / 2, width / 2);
}

void paintFocus(const TimelineDrawing& drawing) {
    QPainter& painter = drawing.painter;
    const QRectF all = drawing.viewport();
    const double width = Theme::focusRing;
    painter.fillRect(QRectF(0, 0, all.width(), width), Theme::accent);
    painter.fillRect(QRectF(0, all.height() - width, all.width(), width), Theme::accent);
    painter.fillRect(QRectF(0, 0, width, all.height()), Theme::accent);
    painter.fillRect(QRectF(all.width() - width, 0, width, all.height()), Theme::accent);
}

}  // namespace kelvane::TimelineMarks
