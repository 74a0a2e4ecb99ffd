#pragma once

namespace kelvane {

/// A width and a height, in pixels or points as the user of the value says.
struct Size {
    double width = 0;
    double height = 0;
    bool operator==(const Size&) const = default;
};

/// An axis-aligned rectangle by its smallest corner and its size; y grows downward.
struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool operator==(const Rect&) const = default;
};

/// A plane affine map: x' = a·x + c·y + tx, y' = b·x + d·y + ty.
struct AffineTransform {
    double a = 1;
    double b = 0;
    double c = 0;
    double d = 1;
    double tx = 0;
    double ty = 0;

    static AffineTransform translation(double x, double y) { return {1, 0, 0, 1, x, y}; }
    static AffineTransform scaling(double x, double y) { return {x, 0, 0, y, 0, 0}; }

    /// This map followed by `next`.
    [[nodiscard]] AffineTransform then(const AffineTransform& next) const {
        return {a * next.a + b * next.c,
                a * next.b + b * next.d,
                c * next.a + d * next.c,
                c * next.b + d * next.d,
                tx * next.a + ty * next.c + next.tx,
                tx * next.b + ty * next.d + next.ty};
    }
    [[nodiscard]] double determinant() const { return a * d - b * c; }
    /// The inverse map; the identity when the map is singular.
    [[nodiscard]] AffineTransform inverted() const;
    /// The smallest rectangle that holds the image of `rect`.
    [[nodiscard]] Rect boundingRect(const Rect& rect) const;

    bool operator==(const AffineTransform&) const = default;
};

}  // namespace kelvane
