#include "TimelineSurface.h"

#include <QQuickWindow>
#include <QSGImageNode>
#include <QSGTexture>
#include <cmath>
#include <utility>

#include "TimelineChanges.h"
#include "Views/Timeline/Drawing/TimelineMarks.h"
#include "Views/Waveform/AudioWaveformView.h"

namespace kelvane {

TimelineSurface::TimelineSurface(QQuickItem* parent) : QQuickItem(parent), painter_([this] { repaint(); }) {
    setFlag(ItemHasContents);
    setAcceptedMouseButtons(Qt::LeftButton | Qt::RightButton);
    setAcceptHoverEvents(true);
    setAcceptTouchEvents(true);
    setActiveFocusOnTab(true);
    setFlag(ItemAcceptsDrops);
    clock_.start();
    connect(&tiles_, &TimelineTiles::changed, this, &TimelineSurface::repaint);
    connect(&theme_, &Theme::appearanceChanged, this, &TimelineSurface::repaint);
    barTimer_.setSingleShot(true);
    connect(&barTimer_, &QTimer::timeout, this, &TimelineSurface::repaint);
}

void TimelineSurface::setView(TimelineView* view) {
    if (view == view_) return;
    if (view_) disconnect(view_, nullptr, this, nullptr);
    view_ = view;
    drop_ = view_ ? std::make_unique<TimelineAssetDropArea>(*view_) : nullptr;
    if (view_) {
        connect(view_, &TimelineView::contentChanged, this, &TimelineSurface::followContent);
        for (const auto signal : {&TimelineView::selectionChanged, &TimelineView::scaleChanged, &TimelineView::scrolled,
                                  &TimelineView::gestureChanged, &TimelineView::enablingChanged})
            connect(view_, signal, this, &TimelineSurface::repaint);
        connect(view_, &TimelineView::scrolled, this, &TimelineSurface::followScrolling);
        connect(view_, &TimelineView::cursorChanged, this, [this] { setCursor(view_->cursor()); });
        connect(view_, &TimelineView::focusWanted, this, &TimelineSurface::takeFocus);
        view_->setViewportWidth(width());
    }
    Q_EMIT viewChanged();
    followContent();
}

void TimelineSurface::followContent() {
    const auto editor = view_ ? view_->editor() : nullptr;
    if (editor != shown_.lock()) {
        if (const auto former = shown_.lock()) disconnect(former.get(), nullptr, this, nullptr);
        shown_ = editor;
        painter_.projectChanged();
        tiles_.setEditor(editor);
        if (editor) connect(editor.get(), &Editor::assistantEdited, this, &TimelineSurface::highlight);
    }
    painter_.contentChanged();
    if (menuClip_) Q_EMIT menuClipChanged();
    repaint();
}

void TimelineSurface::highlight(const ClipArray& before) {
    const auto editor = shown_.lock();
    if (!editor || !before) return;
    painter_.highlight(clipChanges(*before, editor->clips()), now());
    repaint();
}

void TimelineSurface::followScrolling() {
    const double top = view_->visibleOrigin().y();
    if (std::exchange(scrolledTo_, top) != top) bar_.scrolled(now());
}

void TimelineSurface::hoverBar(std::optional<QPointF> point) {
    const bool isThere =
        point && view_ && TimelineMarks::scrollBarZone(size(), view_->contentHeight()).contains(*point);
    if (isThere == bar_.isHovered()) return;
    bar_.setHovered(isThere, now());
    repaint();
}

std::chrono::nanoseconds TimelineSurface::now() const { return std::chrono::nanoseconds(clock_.nsecsElapsed()); }

void TimelineSurface::repaint() { polish(); }

double TimelineSurface::ratio() const { return window() != nullptr ? window()->effectiveDevicePixelRatio() : 1; }

void TimelineSurface::updatePolish() {
    const QSize pixels(static_cast<int>(std::round(width() * ratio())),
                       static_cast<int>(std::round(height() * ratio())));
    if (!view_ || !isVisible() || pixels.isEmpty()) return;
    // Its pixels are still the texture's: another one takes less time than to give these a copy.
    image_ = QImage(pixels, QImage::Format_RGB32);
    tiles_.setDevicePixelRatio(ratio());
    const TimelinePainter::Surroundings around{
        .tiles = &tiles_,
        .waveforms = sharedWaveforms(*this),
        .size = QSizeF(pixels) / ratio(),
        .ratio = ratio(),
        .now = now(),
        .reducedMotion = view_->reducedMotion(),
        .hasKeyboard = hasKeyboard(),
        .scrollBar = bar_.shown(now(), view_->reducedMotion()),
        .isScrollBarHovered = bar_.isHovered(),
    };
    isMoving_ = painter_.paint(image_, *view_, around);
    if (const auto wait = bar_.untilChange(around.now); wait && *wait > std::chrono::nanoseconds(0))
        barTimer_.start(std::chrono::duration_cast<std::chrono::milliseconds>(*wait) + std::chrono::milliseconds(1));
    else
        isMoving_ = isMoving_ || wait.has_value();
    tiles_.want(painter_.tilesInSight());
    isTextureOld_ = true;
    update();
}

QSGNode* TimelineSurface::updatePaintNode(QSGNode* old, UpdatePaintNodeData*) {
    auto* node = static_cast<QSGImageNode*>(old);
    if (image_.isNull()) {
        delete node;
        return nullptr;
    }
    const bool isFirst = node == nullptr;
    if (isFirst) {
        node = window()->createImageNode();
        node->setOwnsTexture(true);
        node->setFiltering(QSGTexture::Nearest);
    }
    if (std::exchange(isTextureOld_, false) || isFirst)
        node->setTexture(window()->createTextureFromImage(image_, QQuickWindow::TextureIsOpaque));
    // Pixel by pixel on those of the device, wherever among them the item lies.
    const QPointF place = mapToScene({}) * ratio();
    const QPointF shift(std::round(place.x()) - place.x(), std::round(place.y()) - place.y());
    node->setRect({shift / ratio(), QSizeF(image_.size()) / ratio()});
    return node;
}

void TimelineSurface::geometryChange(const QRectF& now, const QRectF& before) {
    QQuickItem::geometryChange(now, before);
    if (view_ && now.width() != before.width()) view_->setViewportWidth(now.width());
    repaint();
}

void TimelineSurface::itemChange(ItemChange change, const ItemChangeData& data) {
    if (change == ItemSceneChange) {
        disconnect(frames_);
        if (data.window != nullptr)
            frames_ = connect(data.window, &QQuickWindow::frameSwapped, this, [this] {
                if (isMoving_) repaint();
            });
    }
    if (change == ItemVisibleHasChanged && !data.boolValue && view_) view_->resetGesture();
    if (change == ItemSceneChange || change == ItemDevicePixelRatioHasChanged || change == ItemVisibleHasChanged)
        repaint();
    QQuickItem::itemChange(change, data);
}

bool TimelineSurface::isMenuClipMuted() const {
    const auto index = menuClip_ && view_ ? view_->displayedPlacement().index(*menuClip_) : std::nullopt;
    return index && view_->displayedClips()[*index].volume == 0;
}

void TimelineSurface::toggleMenuClipMute() {
    if (menuClip_ && view_) view_->setVolume(*menuClip_, isMenuClipMuted() ? 1 : 0);
}

void TimelineSurface::resetMenuClipVolume() {
    if (menuClip_ && view_) view_->setVolume(*menuClip_, 1);
}

}  // namespace kelvane
