#include <QGuiApplication>
#include <QLineF>
#include <QNativeGestureEvent>
#include <QQuickWindow>
#include <QTouchEvent>
#include <cmath>
#include <utility>

#include "TimelineMetrics.h"
#include "TimelineSurface.h"

namespace kelvane {

namespace {

/// The modifier that a key is; none for the others.
Qt::KeyboardModifiers modifierOf(int key) {
    switch (key) {
        case Qt::Key_Alt:
            return Qt::AltModifier;
        case Qt::Key_Control:
            return Qt::ControlModifier;
        case Qt::Key_Shift:
            return Qt::ShiftModifier;
        default:
            return {};
    }
}

/// What a wheel turns by a notch, eighths of a degree, and the points that fingers come along for as much.
constexpr int wholeNotch = 120;
constexpr double notchDistance = 80;

/// Whether fingers scroll, and not the notches of a wheel. Where the platform tells no phases it tells the movements of
/// both as pixels and as turns; but a wheel turns by whole notches.
bool isByFingers(const QWheelEvent& event) {
    if (event.phase() != Qt::NoScrollPhase || event.deviceType() == QInputDevice::DeviceType::TouchPad) return true;
    const QPoint angle = event.angleDelta();
    return angle.x() % wholeNotch != 0 || angle.y() % wholeNotch != 0;
}

bool isByKeyboard(Qt::FocusReason reason) {
    return reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason || reason == Qt::ShortcutFocusReason;
}

}  // namespace

void TimelineSurface::mousePressEvent(QMouseEvent* event) {
    if (!view_) return event->ignore();
    setWorksByKeyboard(false);
    if (event->button() == Qt::RightButton) {
        view_->cancelGesture();
        if (const auto clip = view_->clipIDAt(event->position())) openMenu(*clip, event->position());
        return;
    }
    if (!hasActiveFocus()) forceActiveFocus(Qt::MouseFocusReason);
    view_->press(event->position(), event->modifiers());
}

void TimelineSurface::mouseMoveEvent(QMouseEvent* event) {
    if (view_) view_->drag(event->position(), event->modifiers());
}

void TimelineSurface::mouseReleaseEvent(QMouseEvent* event) {
    if (!view_ || event->button() != Qt::LeftButton) return;
    view_->release(event->position(), event->modifiers());
    view_->hover(event->position());
}

void TimelineSurface::mouseDoubleClickEvent(QMouseEvent* event) {
    if (view_ && event->button() == Qt::LeftButton) view_->doubleClick(event->position(), event->modifiers());
}

void TimelineSurface::mouseUngrabEvent() {
    if (view_) view_->cancelGesture();
}

void TimelineSurface::hoverEnterEvent(QHoverEvent* event) { hoverMoveEvent(event); }

void TimelineSurface::hoverMoveEvent(QHoverEvent* event) {
    if (view_) view_->hover(event->position());
    hoverBar(event->position());
}

void TimelineSurface::hoverLeaveEvent(QHoverEvent*) {
    if (view_) view_->leave();
    hoverBar(std::nullopt);
}

void TimelineSurface::wheelEvent(QWheelEvent* event) {
    if (!view_) return event->ignore();
    event->accept();
    if (event->phase() == Qt::ScrollBegin) (void)view_->catchScrolling();
    const bool byFingers = isByFingers(*event);
    const QPointF angle(event->angleDelta());
    const bool hasPoints = !event->pixelDelta().isNull() && (event->phase() != Qt::NoScrollPhase || angle.isNull());
    const QPointF points = hasPoints ? QPointF(event->pixelDelta()) : angle / wholeNotch * notchDistance;
    if (!points.isNull())
        view_->wheel(byFingers || hasPoints ? points : angle, byFingers || hasPoints, event->modifiers());
    if (event->phase() == Qt::ScrollEnd) view_->releaseScrolling();
}

void TimelineSurface::dragEnterEvent(QDragEnterEvent* event) {
    if (!view_) return event->ignore();
    drop_->enter(*event);
}

void TimelineSurface::dragMoveEvent(QDragMoveEvent* event) {
    if (!view_) return event->ignore();
    drop_->move(*event);
}

void TimelineSurface::dragLeaveEvent(QDragLeaveEvent*) {
    if (view_) drop_->leave();
}

void TimelineSurface::dropEvent(QDropEvent* event) {
    if (!view_) return event->ignore();
    drop_->drop(*event);
}

bool TimelineSurface::event(QEvent* event) {
    if (event->type() == QEvent::NativeGesture && view_) {
        const bool isKnown = nativeGesture(static_cast<const QNativeGestureEvent&>(*event));
        event->setAccepted(isKnown);
        return true;
    }
    return QQuickItem::event(event);
}

bool TimelineSurface::nativeGesture(const QNativeGestureEvent& event) {
    switch (event.gestureType()) {
        case Qt::BeginNativeGesture:
            pinched_ = 1;
            view_->beginPinch();
            return true;
        case Qt::ZoomNativeGesture:
            // Each tells how much has come to what was there.
            pinched_ *= 1 + event.value();
            view_->pinch(pinched_);
            return true;
        case Qt::EndNativeGesture:
            view_->endPinch();
            return true;
        default:
            return false;
    }
}

bool TimelineSurface::grabsFinger(QPointF point) const {
    if (point.y() < TimelineMetrics::rulerHeight) return true;
    const auto clip = view_->clipIDAt(point);
    return clip && view_->editor()->selectedClipIDs().contains(*clip);
}

void TimelineSurface::touchEvent(QTouchEvent* event) {
    if (!view_) return event->ignore();
    event->accept();
    setWorksByKeyboard(false);
    if (event->isBeginEvent()) {
        touch_ = Touch::none;
        setKeepTouchGrab(true);
    }
    if (event->type() == QEvent::TouchCancel) return endTouch({}, true);
    if (event->isEndEvent()) return endTouch(event->points().first().position(), false);
    if (event->pointCount() == 1)
        touchOne(*event);
    else
        touchTwo(*event);
}

void TimelineSurface::touchOne(const QTouchEvent& event) {
    const QPointF point = event.points().first().position();
    switch (touch_) {
        case Touch::none:
            // What is chosen is moved by a finger, and everything else goes with it.
            hasCaught_ = view_->catchScrolling();
            touch_ = !hasCaught_ && grabsFinger(point) ? Touch::gesture : Touch::scroll;
            touchBegin_ = touchLast_ = point;
            if (touch_ == Touch::gesture) view_->press(point, event.modifiers());
            // When it came down counts for the speed at which it lets go.
            if (touch_ == Touch::scroll) view_->scrollBy({});
            break;
        case Touch::gesture:
            view_->drag(point, event.modifiers());
            break;
        case Touch::scroll:
            if (touchLast_ == touchBegin_ && QLineF(touchBegin_, point).length() < TimelineMetrics::dragDistance) break;
            view_->scrollBy(touchLast_ - point);
            touchLast_ = point;
            break;
        default:
            break;
    }
}

void TimelineSurface::touchTwo(const QTouchEvent& event) {
    if (event.pointCount() != 2 || touch_ == Touch::over) return;
    const QPointF first = event.points()[0].position();
    const QPointF second = event.points()[1].position();
    const double span = std::max(QLineF(first, second).length(), 1.0);
    if (touch_ != Touch::pinch) {
        if (touch_ == Touch::gesture) view_->cancelGesture();
        if (touch_ == Touch::scroll) view_->endScrolling();
        touch_ = Touch::pinch;
        touchSpan_ = span;
        view_->beginPinch();
    }
    view_->pinch(span / touchSpan_);
    const bool isOneGone = event.touchPointStates().testFlag(QEventPoint::State::Released);
    if (!isOneGone) return;
    view_->endPinch();
    // The finger that stays would be a jump.
    touch_ = Touch::over;
}

void TimelineSurface::endTouch(QPointF point, bool isCancelled) {
    const Touch ended = std::exchange(touch_, Touch::none);
    setKeepTouchGrab(false);
    if (ended == Touch::pinch) view_->endPinch();
    if (ended == Touch::gesture) {
        if (isCancelled)
            view_->cancelGesture();
        else
            view_->release(point, {});
    }
    if (ended != Touch::scroll) return;
    if (isCancelled)
        view_->endScrolling();
    else
        view_->releaseScrolling();
    // A finger that stopped the track meant no more by it.
    if (isCancelled || hasCaught_ || touchLast_ != touchBegin_) return;
    view_->press(touchBegin_, {});
    view_->release(touchBegin_, {});
}

void TimelineSurface::touchUngrabEvent() {
    if (view_ && touch_ != Touch::none) endTouch({}, true);
}

void TimelineSurface::keyPressEvent(QKeyEvent* event) {
    if (!view_) return event->ignore();
    if (const auto modifier = modifierOf(event->key())) {
        view_->changeModifiers(event->modifiers() | modifier);
        return event->ignore();
    }
    const bool isMenu =
        event->key() == Qt::Key_Menu || (event->key() == Qt::Key_F10 && event->modifiers().testFlag(Qt::ShiftModifier));
    const auto editor = view_->editor();
    if (isMenu && editor && editor->selection()) {
        const auto index = view_->displayedPlacement().index(*editor->selection());
        if (!index) return event->ignore();
        const QPointF place = view_->drawnFrame(*index).center() - view_->visibleOrigin();
        const double x = std::clamp(place.x() + width() / 2, 0.0, width());
        return openMenu(*editor->selection(), {x, std::clamp(place.y(), 0.0, height())});
    }
    const bool isDone = view_->pressKey(event->key(), event->modifiers(), event->isAutoRepeat());
    event->setAccepted(isDone);
    if (isDone) setWorksByKeyboard(true);
}

void TimelineSurface::keyReleaseEvent(QKeyEvent* event) {
    if (const auto modifier = modifierOf(event->key()); modifier && view_)
        view_->changeModifiers(event->modifiers() & ~modifier);
    event->ignore();
}

void TimelineSurface::openMenu(const UUID& clip, QPointF point) {
    const auto editor = view_->editor();
    if (!editor || editor->busy()) return;
    menuClip_ = clip;
    Q_EMIT menuClipChanged();
    Q_EMIT menuWanted(point);
}

void TimelineSurface::setWorksByKeyboard(bool works) {
    if (worksByKeyboard_ == works) return;
    const bool had = hasKeyboard();
    worksByKeyboard_ = works;
    if (hasKeyboard() == had) return;
    repaint();
    Q_EMIT hasKeyboardChanged();
}

void TimelineSurface::takeFocus() {
    if (hasActiveFocus()) return;
    // The ring goes along from a button that the keyboard has pressed.
    const auto* former = window() != nullptr ? window()->activeFocusItem() : nullptr;
    const bool byKeyboard = former != nullptr && former->property("visualFocus").toBool();
    forceActiveFocus(byKeyboard ? Qt::TabFocusReason : Qt::OtherFocusReason);
}

void TimelineSurface::focusInEvent(QFocusEvent* event) {
    QQuickItem::focusInEvent(event);
    if (isByKeyboard(event->reason())) worksByKeyboard_ = true;
    if (event->reason() == Qt::MouseFocusReason) worksByKeyboard_ = false;
    repaint();
    Q_EMIT hasKeyboardChanged();
}

void TimelineSurface::focusOutEvent(QFocusEvent* event) {
    QQuickItem::focusOutEvent(event);
    repaint();
    Q_EMIT hasKeyboardChanged();
}

}  // namespace kelvane
