#pragma once

#include <QQuickPaintedItem>

namespace kelvane {

/// A ring that runs out: its lit part goes clockwise from the top. The main thread; painted while that one waits.
class CountdownRing : public QQuickPaintedItem {
    Q_OBJECT
    /// How much of it is lit, from 0 to 1.
    Q_PROPERTY(double share READ share WRITE setShare NOTIFY shareChanged)

public:
    explicit CountdownRing(QQuickItem* parent = nullptr);

    [[nodiscard]] double share() const { return share_; }
    void setShare(double share);
    void paint(QPainter* painter) override;

Q_SIGNALS:
    void shareChanged();

private:
    double share_ = 1;
};

}  // namespace kelvane
