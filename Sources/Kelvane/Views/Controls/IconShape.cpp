#include "IconShape.h"

#include <QFile>
#include <QXmlStreamReader>
#include <map>

namespace kelvane {

const IconShape& IconShape::named(const QString& name) {
    static std::map<QString, IconShape> shapes;
    const auto known = shapes.find(name);
    if (known != shapes.end()) return known->second;
    QFile file(QStringLiteral(":/Views/Icons/%1.svg").arg(name));
    std::optional<IconShape> shape;
    if (file.open(QIODevice::ReadOnly)) shape = parsed(file.readAll());
    return shapes[name] = shape.value_or(IconShape());
}

std::optional<IconShape> IconShape::parsed(const QByteArray& svg) {
    IconShape shape;
    QXmlStreamReader reader(svg);
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement || reader.name() == u"svg") continue;
        if (reader.name() != u"path") return std::nullopt;
        const QXmlStreamAttributes attributes = reader.attributes();
        const auto path = svgPath(attributes.value("d"));
        if (!path) return std::nullopt;
        const bool isStroked = attributes.hasAttribute("stroke");
        shape.parts_.push_back({*path, isStroked ? attributes.value("stroke-width").toDouble() : 0});
    }
    if (reader.hasError()) return std::nullopt;
    return shape;
}

void IconShape::paint(QPainter& painter, const QRectF& square, const QColor& color) const {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(square.topLeft());
    painter.scale(square.width() / grid, square.height() / grid);
    for (const Part& part : parts_) {
        const bool isStroked = part.stroke > 0;
        painter.setPen(isStroked ? QPen(color, part.stroke, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin)
                                 : QPen(Qt::NoPen));
        painter.setBrush(isStroked ? QBrush(Qt::NoBrush) : QBrush(color));
        painter.drawPath(part.path);
    }
    painter.restore();
}

}  // namespace kelvane
