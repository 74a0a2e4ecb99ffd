#include "AudioWaveformView.h"

#include <QPainter>
#include <QQmlEngine>
#include <utility>

#include "Views/ImageNode.h"
#include "Views/Theme.h"

namespace kelvane {

namespace {

constexpr const char* sharedCache = "audioWaveformCache";

/// Points of the mark of a recording, across and from the upper left corner.
constexpr double markSize = 6;
constexpr double markMargin = 6;
/// Points painted beyond what is seen, so that not each step of a scroll paints.
constexpr int imageMargin = 256;

QColor accent(double opacity) {
    QColor color = Theme::accent;
    color.setAlphaF(static_cast<float>(opacity));
    return color;
}

}  // namespace

void shareWaveforms(QQmlEngine& engine, AudioWaveformCache& cache) {
    engine.setProperty(sharedCache, QVariant::fromValue(&cache));
}

AudioWaveformCache* sharedWaveforms(const QObject& madeByEngine) {
    const QQmlEngine* engine = qmlEngine(&madeByEngine);
    return engine != nullptr ? engine->property(sharedCache).value<AudioWaveformCache*>() : nullptr;
}

AudioWaveformView::AudioWaveformView(QQuickItem* parent) : QQuickItem(parent) {
    setFlag(ItemHasContents);
    // Asks for its peaks once a window is about to show it.
    polish();
}

void AudioWaveformView::setClip(const Clip& clip) {
    if (clip == clip_) return;
    mustLoad_ = mustLoad_ || clip.url != clip_.url;
    clip_ = clip;
    redraw();
    Q_EMIT clipChanged();
}

void AudioWaveformView::setLivePeaks(const QList<float>& peaks) {
    if (livePeaks_ == peaks) return;
    livePeaks_ = peaks;
    redraw();
    Q_EMIT livePeaksChanged();
}

void AudioWaveformView::resetLivePeaks() {
    if (!livePeaks_) return;
    livePeaks_.reset();
    // The file wasn't read while they were there.
    mustLoad_ = mustLoad_ || isHeldBack_;
    redraw();
    Q_EMIT livePeaksChanged();
}

void AudioWaveformView::setIsRecording(bool isRecording) {
    if (isRecording == isRecording_) return;
    isRecording_ = isRecording;
    redraw();
    Q_EMIT isRecordingChanged();
}

void AudioWaveformView::setOverlay(bool overlay) {
    if (overlay == overlay_) return;
    overlay_ = overlay;
    redraw();
    Q_EMIT overlayChanged();
}

std::span<const float> AudioWaveformView::peaks() const {
    return peaks_ ? std::span<const float>(*peaks_->values) : std::span<const float>();
}

void AudioWaveformView::load() {
    mustLoad_ = false;
    ++load_;
    peaks_.reset();
    isHeldBack_ = livePeaks_.has_value();
    if (isHeldBack_ || clip_.url.empty()) return;
    AudioWaveformCache* cache = sharedWaveforms(*this);
    if (cache != nullptr) take(this, cache, clip_.url, load_);
}

QCoro::Task<void> AudioWaveformView::take(QPointer<AudioWaveformView> view, AudioWaveformCache* cache, FileURL url,
                                          int load) {
    auto asking = cache->peaks(std::move(url));
    const auto answer = co_await asking;
    if (!view || view->load_ != load || !answer) co_return;
    view->peaks_ = *answer;
    view->redraw();
}

void AudioWaveformView::redraw() {
    isOutlineOld_ = isImageOld_ = true;
    polish();
}

void AudioWaveformView::updatePolish() {
    if (mustLoad_) load();
    if (!std::exchange(isOutlineOld_, false)) return;
    const std::span<const float> live = livePeaks_ ? std::span<const float>(*livePeaks_) : std::span<const float>();
    outline_ = waveformOutline(livePeaks_ ? live : peaks(), clip_, size(), overlay_);
}

void AudioWaveformView::followWindow() {
    const QRectF seen = mapRectFromScene(QRectF(QPointF(), window()->size())).intersected(boundingRect());
    if (!isVisible() || seen.isEmpty()) return;
    const QRect part = seen.toAlignedRect();
    if (!isImageOld_ && part_.contains(part)) return;
    isImageOld_ = false;
    const QRect margined = part.adjusted(-imageMargin, -imageMargin, imageMargin, imageMargin);
    part_ = margined.intersected(boundingRect().toAlignedRect());
    const bool isEmpty = overlay_ && !isRecording_ && outline_.points.isEmpty();
    image_ = isEmpty ? QImage() : painted(part_);
    isTextureOld_ = true;
    update();
}

QImage AudioWaveformView::painted(const QRect& part) const {
    const double ratio = window()->effectiveDevicePixelRatio();
    QImage image((QSizeF(part.size()) * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
    if (image.isNull()) return {};
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(image.width() / static_cast<double>(part.width()),
                  image.height() / static_cast<double>(part.height()));
    painter.translate(-part.topLeft());
    painter.setClipRect(boundingRect());
    if (!overlay_) painter.fillRect(boundingRect(), accent(Theme::soundBackground));
    paintSound(painter, part);
    if (isRecording_) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::record);
        painter.drawEllipse(QRectF(markMargin, markMargin, markSize, markSize));
    }
    return image;
}

void AudioWaveformView::paintSound(QPainter& painter, const QRect& part) const {
    const QPolygonF points = outline_.pointsBetween(part.left(), part.right() + 1);
    if (points.isEmpty()) return;
    painter.setPen(Qt::NoPen);
    painter.setBrush(accent(overlay_ ? Theme::laneSoundFill : Theme::soundFill));
    painter.drawPolygon(outline_.shapeOver(points));
    if (!overlay_) return;
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(accent(Theme::laneSoundLine), 1, Qt::SolidLine, Qt::FlatCap, Qt::RoundJoin));
    painter.drawPolyline(points);
}

QSGNode* AudioWaveformView::updatePaintNode(QSGNode* old, UpdatePaintNodeData*) {
    return imageNode(*window(), old, image_, part_, std::exchange(isTextureOld_, false),
                     QQuickWindow::TextureHasAlphaChannel);
}

void AudioWaveformView::geometryChange(const QRectF& now, const QRectF& before) {
    QQuickItem::geometryChange(now, before);
    if (now.size() != before.size()) redraw();
}

void AudioWaveformView::itemChange(ItemChange change, const ItemChangeData& data) {
    if (change == ItemSceneChange) {
        disconnect(frames_);
        if (data.window != nullptr)
            frames_ = connect(data.window, &QQuickWindow::afterAnimating, this, &AudioWaveformView::followWindow);
    }
    if (change == ItemVisibleHasChanged && data.boolValue && !peaks_) {
        mustLoad_ = true;
        polish();
    }
    if (change == ItemSceneChange || change == ItemDevicePixelRatioHasChanged) redraw();
    QQuickItem::itemChange(change, data);
}

}  // namespace kelvane
