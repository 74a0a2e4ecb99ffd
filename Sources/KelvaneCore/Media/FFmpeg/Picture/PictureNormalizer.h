#pragma once

#include "PictureColor.h"
#include "PictureGeometry.h"
#include "PicturePlane.h"
#include "Support/Error.h"

struct SwsContext;

namespace kelvane {

/// A picture as three planes, luma and two colour differences, over black where it was transparent.
struct PlanarPicture {
    int width = 0;
    int height = 0;
    PlaneView planes[3];
    SampleGrid grids[3];
    PictureColor color;
};

/// Brings any pixel format to three planes of 8 to 16 bits. Planar formats are taken as they are; packed, interleaved,
/// palette and RGB ones are repacked. Keeps its buffers between frames. One thread at a time.
class PictureNormalizer {
public:
    /// The result refers to `frame` or to this object's memory, and holds until the next call.
    Result<PlanarPicture> normalize(const AVFrame& frame);

private:
    struct RepackerDeleter {
        void operator()(SwsContext* context) const;
    };
    /// A palette picture as the colours that it means.
    Result<FramePtr> withoutPalette(const AVFrame& frame);
    Result<const AVFrame*> repacked(const AVFrame& frame, PictureColor& color);
    void layOverBlack(PlanarPicture& picture, const PlaneView& alpha);

    std::unique_ptr<SwsContext, RepackerDeleter> repacker_;
    FramePtr repacked_;
    AlignedBuffer composited_[3];
    AlignedBuffer neutral_;
};

}  // namespace kelvane
