#pragma once

#include <QColor>
#include <QQuickPaintedItem>
#include <QString>

namespace kelvane {

/// An icon in one colour, drawn at the device's scale. The main thread; painted while that one waits.
class Icon : public QQuickPaintedItem {
    Q_OBJECT
    /// Of its file, "trash".
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)
    /// Width and height, points.
    Q_PROPERTY(double size READ size WRITE setSize NOTIFY sizeChanged)

public:
    explicit Icon(QQuickItem* parent = nullptr);

    [[nodiscard]] const QString& name() const { return name_; }
    void setName(const QString& name);
    [[nodiscard]] const QColor& color() const { return color_; }
    void setColor(const QColor& color);
    [[nodiscard]] double size() const { return size_; }
    void setSize(double size);
    void paint(QPainter* painter) override;

Q_SIGNALS:
    void nameChanged();
    void colorChanged();
    void sizeChanged();

private:
    QString name_;
    QColor color_;
    double size_ = 0;
};

}  // namespace kelvane
