#include "Icon.h"

#include "IconShape.h"
#include "Views/Theme.h"

namespace kelvane {

namespace {
/// Points of an icon in a tool button.
constexpr double usualSize = 18;
}  // namespace

Icon::Icon(QQuickItem* parent) : QQuickPaintedItem(parent), color_(Theme::text1) { setSize(usualSize); }

void Icon::setName(const QString& name) {
    if (name == name_) return;
    name_ = name;
    update();
    Q_EMIT nameChanged();
}

void Icon::setColor(const QColor& color) {
    if (color == color_) return;
    color_ = color;
    update();
    Q_EMIT colorChanged();
}

void Icon::setSize(double size) {
    if (size == size_) return;
    size_ = size;
    setImplicitSize(size, size);
    Q_EMIT sizeChanged();
}

void Icon::paint(QPainter* painter) {
    const QRectF square((width() - size_) / 2, (height() - size_) / 2, size_, size_);
    IconShape::named(name_).paint(*painter, square, color_);
}

}  // namespace kelvane
