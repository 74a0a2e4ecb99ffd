#pragma once

#include <QColor>
#include <QQuickPaintedItem>

namespace kelvane {

/// A dashed line round a place with round corners, drawn at the device's scale. The main thread; painted while that one
/// waits.
class DashedFrame : public QQuickPaintedItem {
    Q_OBJECT
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)
    /// Of the corners, points.
    Q_PROPERTY(double radius READ radius WRITE setRadius NOTIFY radiusChanged)

public:
    explicit DashedFrame(QQuickItem* parent = nullptr) : QQuickPaintedItem(parent) { setAntialiasing(true); }

    [[nodiscard]] const QColor& color() const { return color_; }
    void setColor(const QColor& color);
    [[nodiscard]] double radius() const { return radius_; }
    void setRadius(double radius);
    void paint(QPainter* painter) override;

Q_SIGNALS:
    void colorChanged();
    void radiusChanged();

private:
    QColor color_;
    double radius_ = 0;
};

}  // namespace kelvane
