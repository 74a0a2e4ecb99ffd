#pragma once

#include <memory>

#include "Media/FFmpeg/Source/Handles.h"
#include "Media/StillImage.h"
#include "Support/Error.h"
#include "Support/Geometry.h"

namespace kelvane {

/// Draws source frames on a canvas: crop, turn, scale and colour in one go. Any pixel format, range, matrix and
/// transfer comes in (HLG and PQ are tone-mapped, BT.601, full range and sRGB converted), 8-bit 4:2:0 limited-range
/// Rec. 709 goes out. Keeps its tables between frames of like kind. One thread at a time.
class PictureScaler {
public:
    PictureScaler();
    ~PictureScaler();

    /// Draws `frame`, whose picture spans `naturalSize` before `transform`, on a canvas of `canvas` pixels. `transform`
    /// maps natural-size pixels to canvas pixels and may hold quarter turns, mirrors, scale and translation. What the
    /// picture doesn't cover is black.
    Result<SharedFrame> draw(const AVFrame& frame, Size naturalSize, const AffineTransform& transform, Size canvas);
    /// An all-black canvas.
    static Result<SharedFrame> black(Size canvas);
    /// A canvas picture as 8-bit sRGB.
    static Result<StillImagePtr> still(const AVFrame& canvasFrame);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace kelvane
