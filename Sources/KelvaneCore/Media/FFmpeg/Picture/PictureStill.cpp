#include "Media/VideoPicture.h"
#include "PictureScaler.h"

namespace kelvane {

Result<StillImagePtr> PictureScaler::still(const AVFrame& canvasFrame) {
    if (canvasFrame.format != AV_PIX_FMT_YUV420P || canvasFrame.width <= 0 || canvasFrame.height <= 0)
        return fail("A picture without an image can't be shown.");
    VideoPicture picture{.width = canvasFrame.width, .height = canvasFrame.height};
    for (int i = 0; i < 3; ++i) {
        const int shift = i == 0 ? 0 : 1;
        picture.planes[i] = {canvasFrame.data[i], canvasFrame.linesize[i], (picture.width + shift) >> shift,
                             (picture.height + shift) >> shift};
    }
    return stillOf(picture);
}

}  // namespace kelvane
