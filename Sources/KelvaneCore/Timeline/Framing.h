#pragma once

#include "Support/Geometry.h"

/// How a source picture is scaled into the vertical canvas. Pure functions, any thread. Sizes in pixels; the canvas
/// has its origin at top left with y growing downward.
namespace kelvane::Framing {

inline constexpr Size hdSize{720, 1280};
/// The canvas of previews, and what an export falls back to.
inline constexpr Size size{1080, 1920};
inline constexpr Size quadHDSize{1440, 2560};
inline constexpr Size ultraHDSize{2160, 3840};

/// True when a source has the pixels to fill `canvas` at `zoom`, with 0.001 of slack on each side.
bool supports(Size canvas, Size source, const AffineTransform& orientation, double zoom);
/// The map from source pixels to canvas pixels: orientation, aspect fill times `zoom`, and the position of the crop
/// in the overflow.
AffineTransform transform(Size size, const AffineTransform& orientation, double zoom, double horizontal,
                          double vertical, Size canvas);

}  // namespace kelvane::Framing
