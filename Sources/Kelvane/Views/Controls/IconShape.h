#pragma once

#include <QByteArray>
#include <QColor>
#include <QPainter>
#include <QString>
#include <map>
#include <memory>

class QSvgRenderer;

namespace kelvane {

/// The drawing of an icon in one colour: an SVG file of the folder "Icons", whose "currentColor" is the one that it is
/// painted with. The main thread, or one that it waits for.
class IconShape {
public:
    IconShape() = default;
    explicit IconShape(QByteArray svg) : svg_(std::move(svg)) {}

    /// The icon of that name, "trash"; an empty one for an unknown name. Read once, and kept.
    static IconShape& named(const QString& name);

    [[nodiscard]] bool isEmpty() const { return svg_.isEmpty(); }
    /// Draws it to fill `square`, at the scale of what `painter` draws on. Nothing where the file can't be read.
    void paint(QPainter& painter, const QRectF& square, const QColor& color);

private:
    QByteArray svg_;
    /// By colour, of which an icon has few.
    std::map<QRgb, std::shared_ptr<QSvgRenderer>> renderers_;
};

}  // namespace kelvane
