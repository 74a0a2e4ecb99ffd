#pragma once

#include <QColor>
#include <QImage>
#include <QPainter>
#include <array>
#include <map>
#include <vector>

namespace kelvane {

/// Rounds the corners of clips on a plain ground and draws rings along their edges: by small pictures of corners that
/// are made once, as smooth outlines of hundreds of clips would take longer than all else. One thread.
class ClipRim {
public:
    struct Ring {
        double width = 0;
        QColor color;
    };

    /// `ground` is the opaque colour that shows outside the corners. `rings` follow one another from the edge inward.
    ClipRim(QColor ground, std::vector<Ring> rings) : ground_(ground), rings_(std::move(rings)) {}

    /// Draws over what is painted in `frame`, whose edges lie on whole pixels.
    void paint(QPainter& painter, const QRectF& frame, double ratio);

private:
    using Corners = std::array<QImage, 4>;
    [[nodiscard]] Corners drawn(int radius, double ratio) const;
    void paintEdges(QPainter& painter, const QRectF& frame, double radius) const;

    QColor ground_;
    std::vector<Ring> rings_;
    /// By their radius, points, at this scale: upper left and right, lower left and right.
    std::map<int, Corners> corners_;
    double ratio_ = 0;
};

}  // namespace kelvane
