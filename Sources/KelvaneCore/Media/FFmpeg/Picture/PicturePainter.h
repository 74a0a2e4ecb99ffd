#pragma once

#include <memory>
#include <optional>

#include "Media/FFmpeg/Source/FFmpegAsset.h"
#include "Media/FFmpeg/Source/Handles.h"
#include "Media/MediaTime.h"
#include "PictureScaler.h"

namespace kelvane {

/// What a timeline shows at some moment.
struct PictureOrigin {
    std::shared_ptr<const FFmpegTrack> track;
    /// Seconds of the source.
    MediaTime time;
    /// Natural-size pixels to pixels of the render size.
    AffineTransform transform;
    /// Where this stretch of the source begins, on the timeline and in the source.
    MediaTime targetStart;
    MediaTime sourceStart;
};

/// The picture painted last of one source.
struct PaintedFrame {
    SharedFrame frame;
    AffineTransform transform;
    SharedFrame picture;
};

/// Makes pictures of a timeline out of what its sources show: the one way from the one to the other. 8-bit 4:2:0
/// limited-range Rec. 709. One thread at a time.
class PicturePainter {
public:
    /// Draws a timeline of `renderSize` on `canvas` pixels, scaled to fit.
    PicturePainter(Size renderSize, Size canvas) : renderSize_(renderSize), canvas_(canvas) {}

    [[nodiscard]] Size canvas() const { return canvas_; }
    /// What was painted before is of the old size: forget it.
    void setCanvas(Size canvas) {
        canvas_ = canvas;
        black_.reset();
    }
    /// The same pointer each time.
    Result<SharedFrame> black();
    /// `frame` as `shot` lies on the canvas; black without one. The same pointer comes back while nothing changed since
    /// `last`, which is kept up to date. A frame in a form that nothing here can draw leaves `last` as it is, and shows
    /// its picture, or black.
    Result<SharedFrame> paint(const PictureOrigin& shot, const SharedFrame& frame, PaintedFrame& last);

private:
    Size renderSize_;
    Size canvas_;
    PictureScaler scaler_;
    SharedFrame black_;
};

}  // namespace kelvane
