#include "AssetThumbnail.h"

#include <QPainter>
#include <QQuickWindow>
#include <utility>

#include "Views/ImageNode.h"

namespace kelvane {

namespace {

/// The middle of `picture` that has the shape of `size`, scaled to it and with round corners.
QImage filling(const StillImage& picture, QSizeF size, double ratio, double radius) {
    // Its own pixels, which it must outlive.
    const QImage whole(picture.pixels.data(), picture.width, picture.height, 4 * picture.width,
                       QImage::Format_RGBX8888);
    const QSize pixels = (size * ratio).toSize();
    const QSize part = pixels.scaled(whole.size(), Qt::KeepAspectRatio).expandedTo({1, 1});
    const QPoint corner((whole.width() - part.width()) / 2, (whole.height() - part.height()) / 2);
    const QImage scaled =
        whole.copy(QRect(corner, part)).scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    QImage rounded(pixels, QImage::Format_ARGB32_Premultiplied);
    rounded.fill(Qt::transparent);
    QPainter painter(&rounded);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QBrush(scaled));
    painter.drawRoundedRect(QRectF(QPointF(), QSizeF(pixels)), radius * ratio, radius * ratio);
    painter.end();
    rounded.setDevicePixelRatio(ratio);
    return rounded;
}

}  // namespace

AssetThumbnail::AssetThumbnail(QQuickItem* parent) : QQuickItem(parent) { setFlag(ItemHasContents); }

void AssetThumbnail::setView(AssetsView* view) {
    if (view == view_) return;
    view_ = view;
    Q_EMIT viewChanged();
    polish();
}

void AssetThumbnail::setAssetID(const QString& id) {
    if (std::exchange(assetID_, id) != id) Q_EMIT assetIDChanged();
}

void AssetThumbnail::setPicture(const StillImagePtr& picture) {
    if (std::exchange(picture_, picture) == picture) return;
    Q_EMIT pictureChanged();
    polish();
}

void AssetThumbnail::geometryChange(const QRectF& now, const QRectF& before) {
    QQuickItem::geometryChange(now, before);
    if (now.size() != before.size()) polish();
}

void AssetThumbnail::itemChange(ItemChange change, const ItemChangeData& data) {
    if (change == ItemDevicePixelRatioHasChanged || change == ItemSceneChange) polish();
    QQuickItem::itemChange(change, data);
}

void AssetThumbnail::updatePolish() {
    const auto editor = view_ ? view_->editor() : nullptr;
    if (!editor || window() == nullptr || width() < 1 || height() < 1) return;
    const Order order{picture_, size(), window()->effectiveDevicePixelRatio(), radius_};
    if (std::exchange(order_, order) == order) return;
    if (!picture_) return take(order, {});
    drawInBackground(this, editor->services().context, order);
}

AssetThumbnail::Drawn AssetThumbnail::draw(const Order& order) {
    return {filling(*order.picture, order.size, order.ratio, order.radius),
            filling(*order.picture, carriedSize, order.ratio, carriedRadius)};
}

QCoro::Task<void> AssetThumbnail::drawInBackground(QPointer<AssetThumbnail> item, MainContext* context, Order order) {
    auto work = [order] { return draw(order); };
    auto background = inBackground(*context, std::move(work), Lane::shortWork);
    Drawn drawn = co_await background;
    if (item) item->take(order, std::move(drawn));
}

void AssetThumbnail::take(const Order& order, Drawn drawn) {
    if (order != order_) return;
    const bool wasFilled = filled();
    drawn_ = std::move(drawn);
    isNew_ = true;
    if (filled() != wasFilled) Q_EMIT filledChanged();
    update();
}

QSGNode* AssetThumbnail::updatePaintNode(QSGNode* old, UpdatePaintNodeData*) {
    return imageNode(*window(), old, drawn_.image, boundingRect(), std::exchange(isNew_, false),
                     QQuickWindow::TextureHasAlphaChannel);
}

}  // namespace kelvane
