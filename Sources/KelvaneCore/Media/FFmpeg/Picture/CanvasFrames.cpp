#include "CanvasFrames.h"

extern "C" {
#include <libavutil/buffer.h>
}

namespace kelvane {

namespace {

Result<FramePtr> taggedFrame(int width, int height) {
    FramePtr frame(av_frame_alloc());
    if (!frame) return fail("There is not enough memory for a picture.");
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = width;
    frame->height = height;
    frame->sample_aspect_ratio = {1, 1};
    frame->color_range = AVCOL_RANGE_MPEG;
    frame->color_primaries = AVCOL_PRI_BT709;
    frame->color_trc = AVCOL_TRC_BT709;
    frame->colorspace = AVCOL_SPC_BT709;
    frame->chroma_location = AVCHROMA_LOC_LEFT;
    return frame;
}

}  // namespace

void CanvasFrames::PoolDeleter::operator()(AVBufferPool* pool) const { av_buffer_pool_uninit(&pool); }

Result<FramePtr> CanvasFrames::take(int width, int height) {
    const std::ptrdiff_t lumaStride = alignedStride(width, 1);
    const std::ptrdiff_t chromaStride = alignedStride((width + 1) / 2, 1);
    const std::ptrdiff_t lumaBytes = lumaStride * height + planeAlignment;
    const std::ptrdiff_t chromaBytes = chromaStride * ((height + 1) / 2) + planeAlignment;
    if (!pool_ || width != width_ || height != height_) {
        // One alignment more: the allocator promises less than the widest registers ask for.
        pool_.reset(
            av_buffer_pool_init(static_cast<std::size_t>(lumaBytes + 2 * chromaBytes + planeAlignment), nullptr));
        width_ = width;
        height_ = height;
    }
    auto frame = taggedFrame(width, height);
    if (!frame) return frame;
    AVFrame& out = **frame;
    out.buf[0] = pool_ ? av_buffer_pool_get(pool_.get()) : nullptr;
    if (out.buf[0] == nullptr) return fail("There is not enough memory for a picture.");
    const auto address = reinterpret_cast<std::uintptr_t>(out.buf[0]->data);
    out.data[0] = out.buf[0]->data + (planeAlignment - address % planeAlignment) % planeAlignment;
    out.data[1] = out.data[0] + lumaBytes;
    out.data[2] = out.data[1] + chromaBytes;
    out.linesize[0] = static_cast<int>(lumaStride);
    out.linesize[1] = out.linesize[2] = static_cast<int>(chromaStride);
    return frame;
}

Result<FramePtr> CanvasFrames::sharing(const AVFrame& frame) {
    auto shared = taggedFrame(frame.width, frame.height);
    if (!shared) return shared;
    AVFrame& out = **shared;
    for (int i = 0; i < AV_NUM_DATA_POINTERS && frame.buf[i] != nullptr; ++i) {
        out.buf[i] = av_buffer_ref(frame.buf[i]);
        if (out.buf[i] == nullptr) return fail("There is not enough memory for a picture.");
    }
    for (int i = 0; i < 3; ++i) {
        out.data[i] = frame.data[i];
        out.linesize[i] = frame.linesize[i];
    }
    return shared;
}

PlaneSpan canvasPlane(const AVFrame& frame, int plane) {
    const int width = plane == 0 ? frame.width : (frame.width + 1) / 2;
    const int height = plane == 0 ? frame.height : (frame.height + 1) / 2;
    return {frame.data[plane], frame.linesize[plane], width, height, 1};
}

void fillBlack(const AVFrame& frame) {
    for (int i = 0; i < 3; ++i) {
        const PlaneSpan plane = canvasPlane(frame, i);
        for (int y = 0; y < plane.height; ++y)
            std::memset(plane.row(y), i == 0 ? 16 : 128, static_cast<std::size_t>(plane.width));
    }
}

}  // namespace kelvane
