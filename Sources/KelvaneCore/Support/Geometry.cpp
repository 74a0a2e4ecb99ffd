#include "Geometry.h"

#include <algorithm>

namespace kelvane {

AffineTransform AffineTransform::inverted() const {
    const double det = determinant();
    if (det == 0) return {};
    return {d / det, -b / det, -c / det, a / det, (c * ty - d * tx) / det, (b * tx - a * ty) / det};
}

Rect AffineTransform::boundingRect(const Rect& rect) const {
    const double xs[2] = {rect.x, rect.x + rect.width};
    const double ys[2] = {rect.y, rect.y + rect.height};
    double minX = 0, maxX = 0, minY = 0, maxY = 0;
    bool first = true;
    for (const double x : xs) {
        for (const double y : ys) {
            const double px = a * x + c * y + tx;
            const double py = b * x + d * y + ty;
            minX = first ? px : std::min(minX, px);
            maxX = first ? px : std::max(maxX, px);
            minY = first ? py : std::min(minY, py);
            maxY = first ? py : std::max(maxY, py);
            first = false;
        }
    }
    return {minX, minY, maxX - minX, maxY - minY};
}

}  // namespace kelvane
