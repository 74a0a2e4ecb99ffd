#pragma once

#include "Support/Geometry.h"

namespace kelvane {

/// A rectangle of whole pixels.
struct PixelRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool operator==(const PixelRect&) const = default;
};

/// A quarter turn and mirrors, as three commuting choices: first the axes swap when `turned`, then each axis of the
/// result is mirrored on its own.
struct PictureOrientation {
    bool turned = false;
    bool mirrorX = false;
    bool mirrorY = false;
    bool operator==(const PictureOrientation&) const = default;

    [[nodiscard]] bool isUpright() const { return !turned && !mirrorX && !mirrorY; }
    /// Where `rect` of a picture of `width` by `height` comes to lie in the turned picture.
    [[nodiscard]] Rect apply(const Rect& rect, double width, double height) const;
    [[nodiscard]] PixelRect apply(const PixelRect& rect, int width, int height) const;
};

/// How a stored picture lies on a canvas: its part `source` is scaled to `target` of the upright canvas, which
/// `orientation` then turns into the canvas. A plain value.
struct PicturePlacement {
    PictureOrientation orientation;
    /// The canvas before it is turned, pixels.
    int width = 0;
    int height = 0;
    /// Stored pixels, within the stored picture.
    Rect source;
    /// Whole pixels of the upright canvas; edges inside the canvas are even, so that halved planes share them. Empty
    /// when nothing of the picture shows.
    PixelRect target;
    bool operator==(const PicturePlacement&) const = default;

    [[nodiscard]] bool isEmpty() const { return target.width <= 0 || target.height <= 0; }
    [[nodiscard]] bool coversCanvas() const { return target == PixelRect{0, 0, width, height}; }
};

/// Works out the placement of a stored picture of `storedWidth` by `storedHeight`, which spans `naturalSize` before
/// `transform`, on a canvas. The map's larger pair of coefficients decides whether it turns; a shear is ignored. Edges
/// that come within half a pixel of the canvas's edge meet it.
PicturePlacement placePicture(int storedWidth, int storedHeight, Size naturalSize, const AffineTransform& transform,
                              int canvasWidth, int canvasHeight);

/// Where the samples of a plane lie among the picture's pixels: sample (i, j) has its centre at pixel coordinate
/// (i·stepX + firstX, j·stepY + firstY), where the picture's first pixel has its centre at 0.5.
struct SampleGrid {
    int width = 0;
    int height = 0;
    int stepX = 1;
    int stepY = 1;
    double firstX = 0.5;
    double firstY = 0.5;
    bool operator==(const SampleGrid&) const = default;

    /// The grid of the turned plane of a picture of `pictureWidth` by `pictureHeight`.
    [[nodiscard]] SampleGrid turned(const PictureOrientation& orientation, int pictureWidth, int pictureHeight) const;
};

/// The part of a target plane that `target` (pixels) covers.
PixelRect planeTarget(const PixelRect& target, const SampleGrid& grid);
/// Which part of a source plane (in its samples, fractions allowed, reaching past its edges by a sample or so) maps
/// onto `covered` of a target plane, when `source` pixels map onto `target` pixels.
Rect planeSource(const Rect& source, const PixelRect& target, const SampleGrid& from, const SampleGrid& to,
                 const PixelRect& covered);

}  // namespace kelvane
