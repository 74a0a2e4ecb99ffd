#include "PictureGeometry.h"

#include <algorithm>
#include <cmath>

namespace kelvane {

namespace {

/// One axis of the map from stored pixels to the upright canvas: canvas = scale · stored + offset.
struct AxisMap {
    double scale = 0;
    double offset = 0;
};

struct AxisPlacement {
    double source = 0;
    double sourceLength = 0;
    int target = 0;
    int targetLength = 0;
};

/// Rounds away what sums of products leave behind, so that a crop on whole pixels is one.
double cleaned(double value) {
    const double whole = std::round(value);
    return std::abs(value - whole) < 1e-6 ? whole : value;
}

int snappedEdge(double edge, int canvas) {
    if (edge <= 0.5) return 0;
    if (edge >= canvas - 0.5) return canvas;
    return std::clamp(2 * static_cast<int>(std::lround(edge / 2)), 0, canvas);
}

AxisPlacement placeAxis(AxisMap map, int stored, int canvas) {
    AxisPlacement placed;
    if (!(map.scale > 0) || !std::isfinite(map.scale) || !std::isfinite(map.offset)) return placed;
    const int low = snappedEdge(map.offset, canvas);
    const int high = snappedEdge(map.offset + map.scale * stored, canvas);
    if (high <= low) return placed;
    const double first = std::clamp(cleaned((low - map.offset) / map.scale), 0.0, static_cast<double>(stored));
    const double last = std::clamp(cleaned((high - map.offset) / map.scale), first, static_cast<double>(stored));
    if (!(last - first > 1e-9)) return placed;
    return {first, last - first, low, high - low};
}

/// Undoes a mirror along the canvas: a falling map becomes the rising one of the mirrored canvas.
AxisMap rising(double scale, double offset, int canvas, bool& mirrored) {
    mirrored = scale < 0;
    return mirrored ? AxisMap{-scale, canvas - offset} : AxisMap{scale, offset};
}

template <class AnyRect, class Length>
AnyRect oriented(const PictureOrientation& orientation, const AnyRect& rect, Length width, Length height) {
    AnyRect out = orientation.turned ? AnyRect{rect.y, rect.x, rect.height, rect.width} : rect;
    if (orientation.turned) std::swap(width, height);
    if (orientation.mirrorX) out.x = width - out.x - out.width;
    if (orientation.mirrorY) out.y = height - out.y - out.height;
    return out;
}

}  // namespace

Rect PictureOrientation::apply(const Rect& rect, double width, double height) const {
    return oriented(*this, rect, width, height);
}

PixelRect PictureOrientation::apply(const PixelRect& rect, int width, int height) const {
    return oriented(*this, rect, width, height);
}

PicturePlacement placePicture(int storedWidth, int storedHeight, Size naturalSize, const AffineTransform& transform,
                              int canvasWidth, int canvasHeight) {
    // Stored pixels to natural-size pixels: the pixel aspect, and a frame that differs from its track in size.
    const double stretchX = naturalSize.width / storedWidth;
    const double stretchY = naturalSize.height / storedHeight;
    const AffineTransform& t = transform;

    PicturePlacement placement;
    PictureOrientation& orientation = placement.orientation;
    orientation.turned = std::abs(t.b) + std::abs(t.c) > std::abs(t.a) + std::abs(t.d);
    AxisMap x;
    AxisMap y;
    if (orientation.turned) {
        placement.width = canvasHeight;
        placement.height = canvasWidth;
        x = rising(t.b * stretchX, t.ty, canvasHeight, orientation.mirrorY);
        y = rising(t.c * stretchY, t.tx, canvasWidth, orientation.mirrorX);
    } else {
        placement.width = canvasWidth;
        placement.height = canvasHeight;
        x = rising(t.a * stretchX, t.tx, canvasWidth, orientation.mirrorX);
        y = rising(t.d * stretchY, t.ty, canvasHeight, orientation.mirrorY);
    }
    const AxisPlacement across = placeAxis(x, storedWidth, placement.width);
    const AxisPlacement down = placeAxis(y, storedHeight, placement.height);
    if (across.targetLength == 0 || down.targetLength == 0) return placement;
    placement.source = {across.source, down.source, across.sourceLength, down.sourceLength};
    placement.target = {across.target, down.target, across.targetLength, down.targetLength};
    return placement;
}

SampleGrid SampleGrid::turned(const PictureOrientation& orientation, int pictureWidth, int pictureHeight) const {
    SampleGrid out = orientation.turned ? SampleGrid{height, width, stepY, stepX, firstY, firstX} : *this;
    if (orientation.turned) std::swap(pictureWidth, pictureHeight);
    // Behind the mirror the last sample comes first.
    if (orientation.mirrorX) out.firstX = pictureWidth - ((out.width - 1) * out.stepX + out.firstX);
    if (orientation.mirrorY) out.firstY = pictureHeight - ((out.height - 1) * out.stepY + out.firstY);
    return out;
}

PixelRect planeTarget(const PixelRect& target, const SampleGrid& grid) {
    const int left = target.x / grid.stepX;
    const int top = target.y / grid.stepY;
    const int right = std::min(grid.width, (target.x + target.width + grid.stepX - 1) / grid.stepX);
    const int bottom = std::min(grid.height, (target.y + target.height + grid.stepY - 1) / grid.stepY);
    return {left, top, right - left, bottom - top};
}

Rect planeSource(const Rect& source, const PixelRect& target, const SampleGrid& from, const SampleGrid& to,
                 const PixelRect& covered) {
    const double scaleX = source.width / target.width;
    const double scaleY = source.height / target.height;
    const auto along = [](double position, int toStep, double toFirst, int targetStart, double scale,
                          double sourceStart, int fromStep, double fromFirst) {
        const double pixel = toStep * (position - 0.5) + toFirst;
        return cleaned((sourceStart + (pixel - targetStart) * scale - fromFirst) / fromStep + 0.5);
    };
    Rect out;
    out.x = along(covered.x, to.stepX, to.firstX, target.x, scaleX, source.x, from.stepX, from.firstX);
    out.y = along(covered.y, to.stepY, to.firstY, target.y, scaleY, source.y, from.stepY, from.firstY);
    out.width = cleaned(covered.width * scaleX * to.stepX / from.stepX);
    out.height = cleaned(covered.height * scaleY * to.stepY / from.stepY);
    return out;
}

}  // namespace kelvane
