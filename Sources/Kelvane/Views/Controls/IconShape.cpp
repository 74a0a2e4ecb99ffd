#include "IconShape.h"

#include <QFile>
#include <QSvgRenderer>

namespace kelvane {

IconShape& IconShape::named(const QString& name) {
    static std::map<QString, IconShape> shapes;
    const auto known = shapes.find(name);
    if (known != shapes.end()) return known->second;
    QFile file(QStringLiteral(":/Views/Icons/%1.svg").arg(name));
    return shapes[name] = file.open(QIODevice::ReadOnly) ? IconShape(file.readAll()) : IconShape();
}

void IconShape::paint(QPainter& painter, const QRectF& square, const QColor& color) {
    if (isEmpty()) return;
    auto& renderer = renderers_[color.rgb()];
    if (!renderer) {
        QByteArray colored = svg_;
        colored.replace("currentColor", color.name().toLatin1());
        renderer = std::make_shared<QSvgRenderer>(colored);
    }
    painter.save();
    painter.setOpacity(painter.opacity() * color.alphaF());
    painter.setRenderHint(QPainter::Antialiasing);
    renderer->render(&painter, square);
    painter.restore();
}

}  // namespace kelvane
