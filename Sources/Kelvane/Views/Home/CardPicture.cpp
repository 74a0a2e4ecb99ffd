#include "CardPicture.h"

#include <QQuickWindow>
#include <cmath>
#include <utility>

#include "CardPictures.h"
#include "Views/ImageNode.h"

namespace kelvane {

CardPicture::CardPicture(QQuickItem* parent) : QQuickItem(parent) { setFlag(ItemHasContents); }

CardPicture::~CardPicture() { stop_.request_stop(); }

void CardPicture::setView(ProjectsHomeView* view) {
    if (view == view_) return;
    view_ = view;
    Q_EMIT requestChanged();
    ask();
}

void CardPicture::setProjectID(const QString& id) {
    if (id == projectID_) return;
    projectID_ = id;
    // Another project's picture is none of this one.
    show(QImage());
    isMade_ = false;
    Q_EMIT requestChanged();
    ask();
}

void CardPicture::setStamp(double stamp) {
    if (stamp == stamp_) return;
    stamp_ = stamp;
    Q_EMIT requestChanged();
    ask();
}

void CardPicture::ask() {
    stop_.request_stop();
    // Once, when all that has changed in this turn is known.
    polish();
}

void CardPicture::geometryChange(const QRectF& now, const QRectF& before) {
    QQuickItem::geometryChange(now, before);
    if (now.size() != before.size()) ask();
}

void CardPicture::itemChange(ItemChange change, const ItemChangeData& data) {
    if (change == ItemDevicePixelRatioHasChanged || change == ItemSceneChange || change == ItemVisibleHasChanged) ask();
    QQuickItem::itemChange(change, data);
}

void CardPicture::updatePolish() {
    const auto project = UUID::parseUpper(projectID_.toStdString());
    // What nobody sees is read when it is seen.
    if (!view_ || !project || !window() || !isVisible()) return;
    const double scale = window()->effectiveDevicePixelRatio();
    const QSize pixels(static_cast<int>(std::lround(width() * scale)), static_cast<int>(std::lround(height() * scale)));
    if (pixels.isEmpty()) return;
    stop_.request_stop();
    stop_ = std::stop_source();
    // Once the frame is drawn, which reading would only hold up.
    auto begin = [this, id = *project, pixels, scale, stop = stop_.get_token()] {
        if (view_ && !stop.stop_requested()) load(id, pixels, scale, stop);
    };
    QMetaObject::invokeMethod(this, std::move(begin), Qt::QueuedConnection);
}

QCoro::Task<void> CardPicture::load(UUID project, QSize pixels, double scale, std::stop_token stop) {
    const QPointer<CardPicture> self(this);
    const QPointer<ProjectWindows> windows(&view_->windows());
    const ProjectStore store = windows->library().store();
    auto read = [=] { return stop.stop_requested() ? QImage() : CardPictures::stored(store, project, pixels, scale); };
    auto reading = inBackground(windows->context(), std::move(read), Lane::shortWork);
    const QImage kept = co_await reading;
    if (stop.stop_requested() || self.isNull() || windows.isNull()) co_return;
    if (!kept.isNull()) {
        isMade_ = false;
        show(kept);
        co_return;
    }
    // What was made once and could not be stored isn't made again and again.
    if (isMade_) co_return;
    auto make = [=, media = &windows->media()] {
        return CardPictures::made(store, *media, project, pixels, scale, stop);
    };
    auto making = inBackground(windows->context(), std::move(make));
    const std::optional<CardPictures::Made> made = co_await making;
    if (stop.stop_requested() || self.isNull() || windows.isNull()) co_return;
    show(made ? made->image : QImage());
    if (!made) co_return;
    isMade_ = true;
    if (!made->jpeg.empty()) windows->storeCardPicture(project, made->jpeg);
}

void CardPicture::show(const QImage& image) {
    const bool wasFilled = filled();
    image_ = image;
    isNew_ = true;
    if (filled() != wasFilled) Q_EMIT filledChanged();
    update();
}

QSGNode* CardPicture::updatePaintNode(QSGNode* old, UpdatePaintNodeData*) {
    return imageNode(*window(), old, image_, boundingRect(), std::exchange(isNew_, false),
                     QQuickWindow::TextureHasAlphaChannel);
}

}  // namespace kelvane
