#include "AssetsSurface.h"

#include <QAccessible>
#include <QDrag>
#include <QMimeData>
#include <QPainter>
#include <QQuickWindow>
#include <algorithm>
#include <cmath>
#include <utility>

#include "AssetThumbnail.h"
#include "Views/Theme.h"

namespace kelvane {

namespace {

/// Of a notch of the wheel, points, as on the timeline.
constexpr double notchWay = 80;
constexpr double eighthsPerNotch = 120;
/// How far a finger goes before it scrolls, points.
constexpr double touchSlop = 8;
/// Of what a pointer carries: how many pictures at most, and how far each stands out behind the one before, points.
constexpr int mostCarried = 3;
constexpr double carriedStep = 4;
constexpr double countSize = 20;

bool isByKeyboard(Qt::FocusReason reason) {
    return reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason || reason == Qt::ShortcutFocusReason;
}

/// The first item below `root` that `isIt`; null without one. What a list makes hangs in the scene alone.
template <class Predicate>
QQuickItem* findItem(const QQuickItem& root, const Predicate& isIt) {
    for (QQuickItem* child : root.childItems()) {
        if (isIt(*child)) return child;
        if (QQuickItem* below = findItem(*child, isIt)) return below;
    }
    return nullptr;
}

void paintCount(QPainter& painter, QPointF centre, qsizetype count) {
    const QRectF place(centre - QPointF(countSize, countSize) / 2, QSizeF(countSize, countSize));
    painter.setPen(Qt::NoPen);
    painter.setBrush(Theme::playhead);
    painter.drawEllipse(place);
    painter.setPen(Theme::onAccent);
    painter.setFont(Theme::smallTitleFont());
    painter.drawText(place, Qt::AlignCenter, QString::number(count));
}

}  // namespace

AssetsSurface::AssetsSurface(QQuickItem* parent) : QQuickItem(parent) {
    setAcceptedMouseButtons(Qt::LeftButton | Qt::RightButton);
    setAcceptHoverEvents(true);
    setAcceptTouchEvents(true);
    setActiveFocusOnTab(true);
    setClip(true);
}

void AssetsSurface::setView(AssetsView* view) {
    if (view == view_) return;
    if (view_) disconnect(view_, nullptr, this, nullptr);
    view_ = view;
    if (view_) {
        connect(view_, &AssetsView::focusWanted, this, [this] { forceActiveFocus(Qt::MouseFocusReason); });
        connect(view_, &AssetsView::currentChanged, this, &AssetsSurface::tellFocus);
        connect(view_, &AssetsView::dragWanted, this, &AssetsSurface::carry);
    }
    Q_EMIT viewChanged();
    tellSize();
    tellKeyboard();
}

void AssetsSurface::geometryChange(const QRectF& now, const QRectF& before) {
    QQuickItem::geometryChange(now, before);
    tellSize();
}

void AssetsSurface::tellSize() {
    if (!view_) return;
    view_->setWidth(width());
    view_->setHeight(height());
}

void AssetsSurface::mousePressEvent(QMouseEvent* event) {
    if (!view_) return event->ignore();
    setWorksByKeyboard(false);
    if (event->button() != Qt::RightButton) return view_->press(event->position(), event->modifiers());
    forceActiveFocus(Qt::MouseFocusReason);
    if (view_->openMenu(event->position())) Q_EMIT menuWanted(event->position());
}

void AssetsSurface::mouseMoveEvent(QMouseEvent* event) {
    if (view_) view_->drag(event->position());
}

void AssetsSurface::mouseReleaseEvent(QMouseEvent* event) {
    if (!view_ || event->button() != Qt::LeftButton) return;
    view_->release(event->position(), event->modifiers());
}

void AssetsSurface::mouseDoubleClickEvent(QMouseEvent* event) {
    if (view_ && event->button() == Qt::LeftButton) view_->doubleClick(event->position());
}

void AssetsSurface::mouseUngrabEvent() {
    if (view_) view_->cancelGesture();
}

void AssetsSurface::hoverEnterEvent(QHoverEvent* event) { hoverMoveEvent(event); }

void AssetsSurface::hoverMoveEvent(QHoverEvent* event) {
    // What comes again because the picture has changed under a pointer at rest moves nothing.
    if (view_ && event->position() != event->oldPosF()) view_->hover(event->position());
}

void AssetsSurface::hoverLeaveEvent(QHoverEvent*) {
    if (view_) view_->leave();
}

void AssetsSurface::wheelEvent(QWheelEvent* event) {
    const bool isPixels = !event->pixelDelta().isNull();
    const double way = isPixels ? event->pixelDelta().y() : event->angleDelta().y() * notchWay / eighthsPerNotch;
    if (view_) view_->scrollBy(-way);
    event->setAccepted(view_ != nullptr);
}

void AssetsSurface::touchEvent(QTouchEvent* event) {
    if (!view_) return event->ignore();
    event->accept();
    setWorksByKeyboard(false);
    const QPointF point = event->points().first().position();
    if (event->type() == QEvent::TouchCancel) return touchUngrabEvent();
    if (event->isBeginEvent()) {
        touch_ = Touch::undecided;
        touchBegin_ = touchLast_ = point;
        setKeepTouchGrab(true);
        return;
    }
    if (event->isEndEvent()) {
        setKeepTouchGrab(false);
        if (std::exchange(touch_, Touch::none) != Touch::undecided) return;
        view_->press(touchBegin_, {});
        view_->release(touchBegin_, {});
        return;
    }
    if (touch_ == Touch::undecided && std::abs(point.y() - touchBegin_.y()) >= touchSlop) touch_ = Touch::scroll;
    if (touch_ == Touch::scroll) view_->scrollBy(touchLast_.y() - point.y());
    touchLast_ = point;
}

void AssetsSurface::touchUngrabEvent() {
    touch_ = Touch::none;
    setKeepTouchGrab(false);
}

void AssetsSurface::keyPressEvent(QKeyEvent* event) {
    if (!view_) return event->ignore();
    const bool isMenu =
        event->key() == Qt::Key_Menu || (event->key() == Qt::Key_F10 && event->modifiers().testFlag(Qt::ShiftModifier));
    if (isMenu) {
        const auto place = view_->openMenuAtCurrent();
        event->setAccepted(place.has_value());
        if (place) Q_EMIT menuWanted(*place);
        return;
    }
    const bool isDone = view_->pressKey(event->key(), event->modifiers());
    event->setAccepted(isDone);
    if (isDone) setWorksByKeyboard(true);
}

void AssetsSurface::setWorksByKeyboard(bool works) {
    if (std::exchange(worksByKeyboard_, works) != works) tellKeyboard();
}

void AssetsSurface::tellKeyboard() {
    if (view_) view_->setHasKeyboard(hasKeyboard());
    Q_EMIT hasKeyboardChanged();
}

void AssetsSurface::focusInEvent(QFocusEvent* event) {
    QQuickItem::focusInEvent(event);
    if (isByKeyboard(event->reason())) worksByKeyboard_ = true;
    if (event->reason() == Qt::MouseFocusReason) worksByKeyboard_ = false;
    tellKeyboard();
    tellFocus();
}

void AssetsSurface::focusOutEvent(QFocusEvent* event) {
    QQuickItem::focusOutEvent(event);
    tellKeyboard();
}

void AssetsSurface::tellFocus() {
    if (!QAccessible::isActive() || !hasActiveFocus()) return;
    const auto isFocused = [](const QQuickItem& item) { return item.property("readsFocused").toBool(); };
    QQuickItem* item = findItem(*this, isFocused);
    if (item == nullptr) return;
    QAccessibleEvent focused(item, QAccessible::Focus);
    QAccessible::updateAccessibility(&focused);
}

void AssetsSurface::carry(const UUID& assetID) {
    auto* data = new QMimeData;
    data->setText(QString::fromStdString(view_->dragPayload(assetID)));
    auto* drag = new QDrag(this);
    drag->setMimeData(data);
    const QPixmap picture = pictureOf(view_->dragged(assetID));
    drag->setPixmap(picture);
    drag->setHotSpot(QRectF(QPointF(), picture.deviceIndependentSize()).center().toPoint());
    // The platform takes the release, and whoever is below the pointer then knows nothing of the press.
    ungrabMouse();
    drag->exec(Qt::CopyAction);
}

QPixmap AssetsSurface::pictureOf(const std::vector<UUID>& assetIDs) const {
    const double ratio = window() != nullptr ? window()->effectiveDevicePixelRatio() : 1;
    const int shown = static_cast<int>(std::min<std::size_t>(assetIDs.size(), mostCarried));
    const QSizeF one = AssetThumbnail::carriedSize;
    const double spread = carriedStep * (shown - 1);
    const double margin = countSize / 2;
    const QSizeF whole(one.width() + spread + margin, one.height() + spread + margin);
    QPixmap picture((whole * ratio).toSize());
    picture.setDevicePixelRatio(ratio);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    for (int index = shown - 1; index >= 0; --index) {
        const QRectF place(QPointF(carriedStep * index, margin + carriedStep * index), one);
        const auto id = QString::fromStdString(assetIDs[static_cast<std::size_t>(index)].upper());
        const auto isIt = [&id](const QQuickItem& item) {
            const auto* thumbnail = qobject_cast<const AssetThumbnail*>(&item);
            return thumbnail != nullptr && thumbnail->assetID() == id;
        };
        const auto* found = static_cast<const AssetThumbnail*>(findItem(*this, isIt));
        painter.setPen(QPen(Theme::edge, 1));
        painter.setBrush(Theme::audioClip);
        painter.drawRoundedRect(place, AssetThumbnail::carriedRadius, AssetThumbnail::carriedRadius);
        if (found != nullptr && !found->carried().isNull()) painter.drawImage(place.topLeft(), found->carried());
    }
    if (assetIDs.size() > 1)
        paintCount(painter, {one.width() + spread - margin / 2, margin}, static_cast<qsizetype>(assetIDs.size()));
    return picture;
}

}  // namespace kelvane
