#include "ClipDrawing.h"

#include <QFontMetricsF>
#include <QPainterPath>
#include <cmath>

#include "Timeline/TimeLabel.h"
#include "TimelineVolumeOverlay.h"
#include "Views/Controls/IconShape.h"
#include "Views/Theme.h"
#include "Views/Timeline/TimelineMetrics.h"

namespace kelvane {

namespace {

/// Points of a clip that is drawn besides what the viewport shows of it, so that what sticks out comes into sight in
/// time.
constexpr double overhang = 8;
constexpr double nameMargin = 8;
/// From the clip's top to the name's middle.
constexpr double nameMiddle = 22;
constexpr double narrowestName = 28;
constexpr double warningSize = 16;
constexpr QSizeF grip{3, 22};
constexpr double gripMargin = 3.5;
/// Clips that are narrower have no room for two of them.
constexpr double narrowestGrips = 18;
constexpr double badgeHeight = 22;
constexpr double badgePadding = 7;
constexpr double badgeMargin = 10;
constexpr double badgeFoot = 6;
/// What a length grows from as it comes up.
constexpr double badgeBegin = 0.92;
constexpr double markSize = 6;
constexpr double markMargin = 6;
constexpr std::size_t mostNames = 512;

/// The shadow of what is lifted: how far each sheet of it is dropped and grown, and how dark it is.
struct Sheet {
    double drop;
    double growth;
    double opacity;
};
constexpr Sheet shadow[]{{2, 1, 0.22}, {3, 3, 0.12}, {6, 6, 0.06}};
constexpr double shadowRim = 0.55;

QPainterPath rounded(const QRectF& frame, double radius) {
    QPainterPath path;
    path.addRoundedRect(frame, radius, radius);
    return path;
}

double radiusOf(const QRectF& frame) { return std::min(Theme::clipRadius, frame.width() / 2); }

}  // namespace

ClipDrawing::ClipDrawing(std::function<void()> changed)
    : sounds_(std::move(changed)),
      rim_(blended(Theme::track, Theme::lane), {{1, Theme::edge}}),
      selectedRim_(blended(Theme::track, Theme::lane), {{2, Theme::accent}, {1, Theme::selectionInset}}) {}

void ClipDrawing::begin(const Editor* editor, const TimelineTiles* tiles, AudioWaveformCache* cache,
                        double pointsPerSecond, double ratio, std::optional<std::chrono::nanoseconds> now) {
    // Another scale shows other pictures everywhere, as soon as it can.
    stills_.begin(editor, tiles, ratio, pointsPerSecond == pointsPerSecond_ ? now : std::nullopt);
    sounds_.begin(cache, ratio);
    pointsPerSecond_ = pointsPerSecond;
    ratio_ = ratio;
    if (names_.size() > mostNames) names_.clear();
}

std::vector<TileRequest> ClipDrawing::end() {
    sounds_.end();
    return stills_.end();
}

void ClipDrawing::paint(const TimelineDrawing& drawing, const Clip& clip, const QRectF& frame, const ClipLook& look) {
    const QRectF seen = frame.intersected(drawing.viewport().adjusted(-overhang, -overhang, overhang, overhang));
    if (seen.isEmpty()) return;
    if (look.arrived < 1) drawing.painter.setOpacity(look.arrived);
    paintBody(drawing, clip, frame, seen, look);
    TimelineVolumeOverlay{clip.volume, frame.width(), frame.height(), look.showsVolume}.paint(
        drawing, frame, frame.intersected(drawing.viewport()));
    (look.isSelected ? selectedRim_ : rim_).paint(drawing.painter, frame, ratio_);
    if (look.arrived < 1) drawing.painter.setOpacity(1);
    paintOver(drawing, clip, frame, frame.intersected(drawing.viewport()), look);
}

void ClipDrawing::paintBody(const TimelineDrawing& drawing, const Clip& clip, const QRectF& frame, const QRectF& seen,
                            const ClipLook& look) {
    if (!clip.isAudio())
        paintTiles(drawing, clip, frame, seen, look);
    else
        sounds_.paint(drawing, clip, frame, seen, look.take);
}

void ClipDrawing::paintTiles(const TimelineDrawing& drawing, const Clip& clip, const QRectF& frame, const QRectF& seen,
                             const ClipLook& look) {
    using TimelineMetrics::tileWidth;
    const double width = std::max(clip.duration() * pointsPerSecond_, 1.0);
    const double middle = drawing.size.width() / 2;
    bool isMissing = false;
    for (double left = std::max(0.0, std::floor((seen.left() - frame.left()) / tileWidth)) * tileWidth;
         left < std::min(frame.width(), width) && frame.left() + left < seen.right(); left += tileWidth) {
        const QRectF place(frame.left() + left, frame.top(), std::min(tileWidth, frame.width() - left), frame.height());
        const auto tile = stills_.tile(clip, left, pointsPerSecond_, std::abs(place.center().x() - middle));
        const auto draw = [&](const QImage& image) {
            if (image.isNull())
                drawing.painter.fillRect(place, Theme::control);
            else
                drawing.painter.drawImage(place, image, QRectF(QPointF(), place.size() * ratio_));
        };
        isMissing = isMissing || tile.image.isNull();
        if (tile.shown < 1) {
            draw(tile.former);
            drawing.painter.setOpacity(tile.shown * look.arrived);
            draw(tile.image);
            drawing.painter.setOpacity(look.arrived);
        } else {
            draw(tile.image);
        }
    }
    if (isMissing) paintMissing(drawing, clip, seen, look);
}

void ClipDrawing::paintMissing(const TimelineDrawing& drawing, const Clip& clip, const QRectF& seen,
                               const ClipLook& look) {
    // A file that shows nothing has no picture at all; others wait for theirs.
    if (look.isLoading || !stills_.hasFailed(clip.url) || seen.width() < narrowestName) return;
    const QRectF mark(seen.left() + nameMargin, seen.center().y() - warningSize / 2, warningSize, warningSize);
    IconShape::named(QStringLiteral("warning")).paint(drawing.painter, mark, Theme::snap);
    const QRectF place(mark.right() + nameMargin, mark.top(), seen.right() - mark.right() - 2 * nameMargin,
                       mark.height());
    paintName(drawing.painter, QString::fromStdString(clip.name()), place, Theme::text2);
}

void ClipDrawing::paintName(QPainter& painter, const QString& name, const QRectF& place, const QColor& color) {
    if (place.width() < nameMargin) return;
    const QFont font = Theme::smallMediumFont();
    QString& cut = names_[{name, static_cast<int>(place.width())}];
    if (cut.isNull()) cut = QFontMetricsF(font).elidedText(name, Qt::ElideRight, place.width());
    painter.setFont(font);
    painter.setPen(color);
    painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter, cut);
}

void ClipDrawing::paintOver(const TimelineDrawing& drawing, const Clip& clip, const QRectF& frame, const QRectF& seen,
                            const ClipLook& look) {
    QPainter& painter = drawing.painter;
    if (look.take != nullptr) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::record);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.drawEllipse(QRectF(seen.left() + markMargin, seen.top() + markMargin, markSize, markSize));
        painter.setRenderHint(QPainter::Antialiasing, false);
    } else if (clip.isAudio() && seen.width() >= narrowestName) {
        const QRectF place(seen.left() + nameMargin, seen.top() + nameMiddle - 10, seen.width() - 2 * nameMargin, 20);
        paintName(painter, QString::fromStdString(clip.name()), place, Theme::audioName);
    }
    if (look.highlight > 0) {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setBrush(faded(Theme::highlight, look.highlight));
        painter.setPen(QPen(faded(Theme::highlightRim, look.highlight), 2));
        painter.drawRoundedRect(frame.adjusted(1, 1, -1, -1), radiusOf(frame) - 1, radiusOf(frame) - 1);
        painter.setRenderHint(QPainter::Antialiasing, false);
    }
    if (look.hasGrips && frame.width() >= narrowestGrips) {
        const double top = drawing.snapped(frame.center().y() - grip.height() / 2);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::playhead);
        for (const double left : {frame.left() + gripMargin, frame.right() - gripMargin - grip.width()})
            painter.drawRoundedRect(QRectF(QPointF(left, top), grip), 1, 1);
        painter.setRenderHint(QPainter::Antialiasing, false);
    }
    if (look.length > 0) paintLength(painter, clip, seen, look);
    if (look.isFocused) {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(Qt::white, Theme::focusRing));
        painter.drawRoundedRect(frame.adjusted(-1, -1, 1, 1), radiusOf(frame) + 1, radiusOf(frame) + 1);
        painter.setRenderHint(QPainter::Antialiasing, false);
    }
}

std::optional<QRectF> ClipDrawing::lengthPlace(const Clip& clip, const QRectF& seen, bool isAtEnd) {
    const QString text = QString::fromStdString(timeLabel(clip.duration()));
    const double width = QFontMetricsF(Theme::smallMediumFont()).horizontalAdvance(text) + 2 * badgePadding;
    if (width + 2 * badgeFoot > seen.width()) return std::nullopt;
    const double left = isAtEnd ? seen.right() - badgeMargin - width : seen.left() + badgeMargin;
    return QRectF(left, seen.bottom() - badgeFoot - badgeHeight, width, badgeHeight);
}

void ClipDrawing::paintLength(QPainter& painter, const Clip& clip, const QRectF& seen, const ClipLook& look) const {
    const auto place = lengthPlace(clip, seen, look.hasLengthAtEnd);
    if (!place) return;
    const QRectF& pill = *place;
    const QFont font = Theme::smallMediumFont();
    const QString text = QString::fromStdString(timeLabel(clip.duration()));
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setOpacity(look.length);
    const double grown = badgeBegin + (1 - badgeBegin) * look.length;
    painter.translate(pill.center());
    painter.scale(grown, grown);
    painter.translate(-pill.center());
    painter.fillPath(rounded(pill, badgeHeight / 2), Theme::badge);
    painter.setFont(font);
    painter.setPen(Theme::text1);
    painter.drawText(pill, Qt::AlignCenter, text);
    painter.restore();
}

QImage ClipDrawing::cutOut(const TimelineDrawing& drawing, const Clip& clip, const QRectF& frame, const QRectF& seen,
                           const ClipLook& look) {
    QImage image((seen.size() * ratio_).toSize().expandedTo({1, 1}), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio_);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.translate(-seen.topLeft());
    const TimelineDrawing inner{painter, drawing.size, ratio_, drawing.origin};
    paintBody(inner, clip, frame, seen, look);
    TimelineVolumeOverlay{clip.volume, frame.width(), frame.height(), look.showsVolume}.paint(inner, frame, seen);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
    QImage mask(image.size(), QImage::Format_ARGB32_Premultiplied);
    mask.setDevicePixelRatio(ratio_);
    mask.fill(Qt::transparent);
    QPainter shaping(&mask);
    shaping.setRenderHint(QPainter::Antialiasing);
    shaping.translate(-seen.topLeft());
    shaping.fillPath(rounded(frame, radiusOf(frame)), Qt::black);
    shaping.end();
    painter.drawImage(seen.topLeft(), mask);
    return image;
}

void ClipDrawing::paintLifted(const TimelineDrawing& drawing, const Clip& clip, const QRectF& frame,
                              const ClipLook& look) {
    const QRectF seen = frame.intersected(drawing.viewport().adjusted(-overhang, -overhang, overhang, overhang));
    if (seen.isEmpty()) return;
    QPainter& painter = drawing.painter;
    const double radius = radiusOf(frame);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    for (const auto& [drop, growth, opacity] : shadow)
        painter.fillPath(rounded(frame.adjusted(-growth, drop - growth, growth, drop + growth), radius + growth),
                         faded(Qt::black, opacity));
    painter.fillPath(rounded(frame.adjusted(-1, -1, 1, 1), radius + 1), faded(Qt::black, shadowRim));
    painter.drawImage(seen.topLeft(), cutOut(drawing, clip, frame, seen, look));
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(Theme::accent, 2));
    painter.drawRoundedRect(frame.adjusted(1, 1, -1, -1), radius - 1, radius - 1);
    painter.setPen(QPen(Theme::selectionInset, 1));
    painter.drawRoundedRect(frame.adjusted(2.5, 2.5, -2.5, -2.5), radius - 2.5, radius - 2.5);
    painter.restore();
    paintOver(drawing, clip, frame, frame.intersected(drawing.viewport()), look);
}

void ClipDrawing::paintGhost(const TimelineDrawing& drawing, const Clip& clip, const QRectF& frame) {
    const QRectF seen = frame.intersected(drawing.viewport().adjusted(-overhang, -overhang, overhang, overhang));
    if (seen.isEmpty()) return;
    const QImage image = cutOut(drawing, clip, frame, seen, {});
    drawing.painter.save();
    drawing.painter.setOpacity(Theme::ghostOpacity);
    drawing.painter.drawImage(seen.topLeft(), image);
    drawing.painter.restore();
}

}  // namespace kelvane
