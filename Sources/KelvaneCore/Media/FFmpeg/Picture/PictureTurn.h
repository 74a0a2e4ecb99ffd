#pragma once

#include "PictureGeometry.h"
#include "PicturePlane.h"

namespace kelvane {

/// Copies a plane, turned and mirrored. `to` has the turned plane's size and samples of the same width.
void turnPlane(const PlaneView& from, const PlaneSpan& to, const PictureOrientation& orientation);

}  // namespace kelvane
