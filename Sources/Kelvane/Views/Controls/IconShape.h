#pragma once

#include <QPainter>
#include <QPainterPath>
#include <QString>
#include <optional>
#include <vector>

namespace kelvane {

/// The drawing of an icon: paths on a square of 24 points, each filled, or stroked with round caps and joins, in the
/// one colour that it is painted with. It is read from the SVG files of the folder "Icons", of which it knows what they
/// use: `path` elements with `d`, `fill`, `stroke` and `stroke-width`. A plain value.
class IconShape {
public:
    static constexpr double grid = 24;

    /// The shape of the icon of that name, "trash"; an empty one for an unknown name. Read once, and kept. The main
    /// thread.
    static const IconShape& named(const QString& name);
    /// The shape of an SVG document; nothing where it says what isn't understood. Any thread.
    static std::optional<IconShape> parsed(const QByteArray& svg);

    [[nodiscard]] bool isEmpty() const { return parts_.empty(); }
    /// Draws it to fill `square`.
    void paint(QPainter& painter, const QRectF& square, const QColor& color) const;

private:
    struct Part {
        QPainterPath path;
        /// Filled where it is 0.
        double stroke = 0;
    };
    std::vector<Part> parts_;
};

/// The path that the `d` of an SVG path describes, with the commands M, L, H, V, C, A and Z, of either kind; arcs
/// without rotation. Nothing where it says anything else. Any thread.
std::optional<QPainterPath> svgPath(QStringView description);

}  // namespace kelvane
