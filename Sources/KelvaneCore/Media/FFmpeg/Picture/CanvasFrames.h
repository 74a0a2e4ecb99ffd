#pragma once

#include "Media/FFmpeg/Source/Handles.h"
#include "PicturePlane.h"
#include "Support/Error.h"

struct AVBufferPool;

namespace kelvane {

/// Frames of one canvas size that are used again when their last holder lets go. Rows are aligned and have spare bytes
/// behind the last one, because encoders and scalers touch whole registers.
class CanvasFrames {
public:
    /// A frame of unknown content, tagged 8-bit 4:2:0 limited-range Rec. 709, square pixels.
    Result<FramePtr> take(int width, int height);
    /// A new frame of the same kind that shows another frame's memory.
    static Result<FramePtr> sharing(const AVFrame& frame);

private:
    struct PoolDeleter {
        void operator()(AVBufferPool* pool) const;
    };
    std::unique_ptr<AVBufferPool, PoolDeleter> pool_;
    int width_ = 0;
    int height_ = 0;
};

/// The planes of a 4:2:0 frame that its only holder may write.
PlaneSpan canvasPlane(const AVFrame& frame, int plane);
void fillBlack(const AVFrame& frame);

}  // namespace kelvane
