#include "PicturePainter.h"

namespace kelvane {

Result<SharedFrame> PicturePainter::black() {
    if (!black_) {
        auto made = PictureScaler::black(canvas_);
        if (!made) return made;
        black_ = std::move(*made);
    }
    return black_;
}

Result<SharedFrame> PicturePainter::paint(const PictureOrigin& shot, const SharedFrame& frame, PaintedFrame& last) {
    if (!frame) return black();
    const bool isAlike = last.picture && shot.transform == last.transform;
    if (isAlike && frame == last.frame) return last.picture;
    AffineTransform transform = shot.transform;
    if (canvas_ != renderSize_) {
        transform = transform.then(
            AffineTransform::scaling(canvas_.width / renderSize_.width, canvas_.height / renderSize_.height));
    }
    const auto natural = shot.track->loadNaturalSize();
    auto drawn =
        natural ? scaler_.draw(*frame, *natural, transform, canvas_) : Result<SharedFrame>(fail(natural.error()));
    if (!drawn) return isAlike ? Result<SharedFrame>(last.picture) : black();
    last = {frame, shot.transform, std::move(*drawn)};
    return last.picture;
}

}  // namespace kelvane
