#include "ClipSounds.h"

#include <QCoroTask>
#include <cmath>

#include "Views/Theme.h"
#include "Views/Timeline/TimelineMetrics.h"

namespace kelvane {

namespace {
/// Points of a piece.
constexpr int pieceWidth = 256;
}  // namespace

ClipSounds::ClipSounds(std::function<void()> changed) : state_(std::make_shared<State>()) {
    state_->changed = std::move(changed);
}

void ClipSounds::begin(AudioWaveformCache* cache, double ratio) {
    ++drawing_;
    cache_ = cache;
    if (ratio != ratio_) shapes_.clear();
    ratio_ = ratio;
}

void ClipSounds::end() {
    std::erase_if(shapes_, [this](const auto& entry) { return entry.second.drawing != drawing_; });
    std::erase_if(state_->files, [this](const auto& entry) { return entry.second.drawing != drawing_; });
}

const ClipSounds::Values& ClipSounds::peaks(const FileURL& url) {
    const auto [entry, isNew] = state_->files.try_emplace(url);
    entry->second.drawing = drawing_;
    // What is kept is there at once, else the drawing is made again when it comes.
    if (isNew && cache_ != nullptr) take(state_, cache_, url);
    return state_->files[url].values;
}

QCoro::Task<void> ClipSounds::take(std::weak_ptr<State> state, AudioWaveformCache* cache, FileURL url) {
    auto asking = cache->peaks(url);
    const auto answer = co_await asking;
    const auto present = state.lock();
    if (!present || !answer) co_return;
    const auto file = present->files.find(url);
    if (file == present->files.end() || file->second.values) co_return;
    file->second.values = answer->values;
    present->changed();
}

ClipSounds::Shape& ClipSounds::shape(const Clip& clip, double width, const std::vector<float>* live) {
    const Values values = live != nullptr ? nullptr : peaks(clip.url);
    const std::size_t liveCount = live != nullptr ? live->size() : 0;
    const auto [entry, isNew] = shapes_.try_emplace(clip.id);
    Shape& shape = entry->second;
    shape.drawing = drawing_;
    // Where it lies on the timeline has no part in how it looks.
    Clip looks = clip;
    looks.timelineStart.reset();
    looks.audioTrackID.reset();
    if (!isNew && shape.clip == looks && shape.width == width && shape.values == values && shape.liveCount == liveCount)
        return shape;
    const std::span<const float> samples = live != nullptr ? std::span<const float>(*live)
                                           : values        ? std::span<const float>(*values)
                                                           : std::span<const float>();
    const QSizeF size(width, TimelineMetrics::trackHeight);
    shape = {looks, width, values, liveCount, waveformOutline(samples, looks, size, true), {}, drawing_};
    return shape;
}

QImage ClipSounds::piece(const Shape& shape, int index) const {
    const double left = double{pieceWidth} * index;
    const double width = std::min(double{pieceWidth}, shape.width - left);
    const QSizeF size(width, TimelineMetrics::trackHeight);
    QImage image((size * ratio_).toSize().expandedTo({1, 1}), QImage::Format_RGB32);
    image.fill(Theme::audioClip);
    image.setDevicePixelRatio(ratio_);
    const QPolygonF points = shape.outline.pointsBetween(left, left + width);
    if (points.isEmpty()) return image;
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(-left, 0);
    painter.setPen(Qt::NoPen);
    painter.setBrush(faded(Theme::accent, Theme::laneSoundFill));
    painter.drawPolygon(shape.outline.shapeOver(points));
    painter.setPen(QPen(faded(Theme::accent, Theme::laneSoundLine), 1, Qt::SolidLine, Qt::FlatCap, Qt::RoundJoin));
    painter.drawPolyline(points);
    return image;
}

void ClipSounds::paint(const TimelineDrawing& drawing, const Clip& clip, const QRectF& frame, const QRectF& seen,
                       const std::vector<float>* live) {
    Shape& drawn = shape(clip, frame.width(), live);
    const int first = std::max(0, static_cast<int>((seen.left() - frame.left()) / pieceWidth));
    const int last = static_cast<int>((std::min(seen.right(), frame.right()) - frame.left()) / pieceWidth);
    std::erase_if(drawn.pieces,
                  [first, last](const auto& entry) { return entry.first < first - 1 || entry.first > last + 1; });
    for (int i = first; i <= last && i * pieceWidth < frame.width(); ++i) {
        auto kept = drawn.pieces.find(i);
        if (kept == drawn.pieces.end()) kept = drawn.pieces.emplace(i, piece(drawn, i)).first;
        drawing.painter.drawImage(QPointF(frame.left() + i * pieceWidth, frame.top()), kept->second);
    }
}

}  // namespace kelvane
