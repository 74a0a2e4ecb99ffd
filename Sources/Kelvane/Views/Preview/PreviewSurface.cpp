#include "PreviewSurface.h"

#include <QQuickWindow>
#include <cmath>
#include <utility>

#include "Platform/PictureFeed.h"
#include "Timeline/Framing.h"
#include "Views/ImageNode.h"

namespace kelvane {

namespace {

/// The image of a picture, which keeps its pixels.
QImage imageOf(const VideoPicture& picture) {
    auto* still = new StillImagePtr(stillOf(picture));
    return {(*still)->pixels.data(),
            (*still)->width,
            (*still)->height,
            4 * (*still)->width,
            QImage::Format_RGBX8888,
            [](void* kept) { delete static_cast<StillImagePtr*>(kept); },
            still};
}

}  // namespace

PreviewSurface::PreviewSurface(QQuickItem* parent) : QQuickItem(parent) { setFlag(ItemHasContents); }

void PreviewSurface::setView(PreviewView* view) {
    if (view == view_) return;
    if (view_) disconnect(view_, nullptr, this, nullptr);
    view_ = view;
    if (view_) connect(view_, &PreviewView::feedChanged, this, &PreviewSurface::takePicture);
    Q_EMIT viewChanged();
    takePicture();
}

void PreviewSurface::takePicture() {
    PictureFeed* feed = view_ ? view_->feed() : nullptr;
    tellSize();
    const VideoPicturePtr picture = feed != nullptr ? feed->picture() : nullptr;
    if (picture == picture_) return;
    const bool wasFilled = filled();
    picture_ = picture;
    image_ = picture ? imageOf(*picture) : QImage();
    isNew_ = true;
    if (filled() != wasFilled) Q_EMIT filledChanged();
    update();
}

QRectF PreviewSurface::pictureRect() const {
    const double scale = std::min(width() / Framing::size.width, height() / Framing::size.height);
    // On whole points, so that its edges are sharp.
    const QSize size = (QSizeF(Framing::size.width, Framing::size.height) * std::max(scale, 0.0)).toSize();
    const QPointF corner = QPointF(width() - size.width(), height() - size.height()) / 2;
    return {corner.toPoint(), size};
}

void PreviewSurface::tellSize() {
    if (!view_ || window() == nullptr) return;
    const QSizeF pixels = pictureRect().size() * window()->effectiveDevicePixelRatio();
    view_->setSurfaceSize({std::round(pixels.width()), std::round(pixels.height())});
}

void PreviewSurface::geometryChange(const QRectF& now, const QRectF& before) {
    QQuickItem::geometryChange(now, before);
    tellSize();
    Q_EMIT pictureRectChanged();
    update();
}

void PreviewSurface::itemChange(ItemChange change, const ItemChangeData& data) {
    if (change == ItemDevicePixelRatioHasChanged || change == ItemSceneChange) tellSize();
    QQuickItem::itemChange(change, data);
}

QSGNode* PreviewSurface::updatePaintNode(QSGNode* old, UpdatePaintNodeData*) {
    return imageNode(*window(), old, image_, pictureRect(), std::exchange(isNew_, false),
                     QQuickWindow::TextureIsOpaque);
}

}  // namespace kelvane
