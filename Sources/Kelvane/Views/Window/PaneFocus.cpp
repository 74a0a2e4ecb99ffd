#include "PaneFocus.h"

#include <QKeyEvent>
#include <utility>

namespace kelvane {

namespace {

bool isTextField(const QQuickItem* item) {
    return item != nullptr && (item->inherits("QQuickTextInput") || item->inherits("QQuickTextEdit")) &&
           !item->property("readOnly").toBool();
}

bool holds(const QQuickItem& pane, const QQuickItem* item) {
    return item != nullptr && (&pane == item || pane.isAncestorOf(item));
}

/// What had the keyboard in this pane last and can have it again; null where there is none.
QQuickItem* remembered(const QQuickItem& pane) {
    if (!pane.isFocusScope()) return nullptr;
    auto* item = pane.scopedFocusItem();
    while (item != nullptr && item->isFocusScope() && item->scopedFocusItem() != nullptr)
        item = item->scopedFocusItem();
    const bool canHave = item != nullptr && item->isVisible() && item->isEnabled() && item->activeFocusOnTab();
    return canHave ? item : nullptr;
}

}  // namespace

PaneFocus::PaneFocus(QQuickItem* parent) : QQuickItem(parent) {}

void PaneFocus::go(int step) {
    if (window() == nullptr || panes_.isEmpty()) return;
    const auto count = panes_.size();
    const auto* focused = window()->activeFocusItem();
    qsizetype at = step > 0 ? -1 : count;
    for (qsizetype i = 0; i < count; ++i)
        if (holds(*panes_[i], focused)) at = i;
    for (qsizetype tried = 0; tried < count; ++tried) {
        at = (at + step + count) % count;
        if (enter(panes_[at])) return;
    }
}

bool PaneFocus::enter(QQuickItem* pane) {
    if (pane == nullptr || !pane->isVisible() || !pane->isEnabled()) return false;
    auto* stop = remembered(*pane);
    if (stop == nullptr) stop = pane->activeFocusOnTab() ? pane : pane->nextItemInFocusChain(true);
    if (!holds(*pane, stop)) return false;
    stop->forceActiveFocus(Qt::TabFocusReason);
    return true;
}

void PaneFocus::itemChange(ItemChange change, const ItemChangeData& data) {
    if (change == ItemSceneChange) {
        if (window_) {
            window_->removeEventFilter(this);
            disconnect(window_, nullptr, this, nullptr);
        }
        window_ = data.window;
        if (window_) {
            window_->installEventFilter(this);
            connect(window_, &QQuickWindow::activeFocusItemChanged, this, &PaneFocus::followFocus);
        }
        followFocus();
    }
    QQuickItem::itemChange(change, data);
}

void PaneFocus::followFocus() {
    QQuickItem* item = window_ ? window_->activeFocusItem() : nullptr;
    // What is disabled leaves the keyboard to what holds it.
    const bool isKept = focused_ && item != nullptr && item->isAncestorOf(focused_) && !focused_->isEnabled();
    if (!isKept && focused_ != item) {
        disconnect(hiding_);
        focused_ = item;
        // Later, as whoever hides it may know better where the keyboard goes.
        if (item != nullptr)
            hiding_ = connect(item, &QQuickItem::visibleChanged, this, &PaneFocus::leaveHidden, Qt::QueuedConnection);
    }
    const bool typing = isTextField(item);
    if (std::exchange(typing_, typing) != typing) Q_EMIT typingChanged();
}

void PaneFocus::leaveHidden() {
    const QQuickItem* item = window_ ? window_->activeFocusItem() : nullptr;
    if (!focused_ || focused_->isVisible() || item == nullptr || !holds(*item, focused_)) return;
    const auto reason = focused_->property("visualFocus").toBool() ? Qt::TabFocusReason : Qt::OtherFocusReason;
    const auto canHave = [](const QQuickItem* wanted) {
        return wanted != nullptr && wanted->isVisible() && wanted->isEnabled();
    };
    auto* next = resting_.get();
    for (const QQuickItem* pane : std::as_const(panes_))
        if (auto* own = pane->property("resting").value<QQuickItem*>(); holds(*pane, focused_) && canHave(own))
            next = own;
    if (canHave(next)) next->forceActiveFocus(reason);
}

bool PaneFocus::eventFilter(QObject* object, QEvent* event) {
    switch (event->type()) {
        // A key that gives a command comes no further.
        case QEvent::ShortcutOverride:
        case QEvent::KeyPress:
            isAltAlone_ = static_cast<QKeyEvent*>(event)->key() == Qt::Key_Alt;
            break;
        case QEvent::KeyRelease:
            if (static_cast<QKeyEvent*>(event)->key() == Qt::Key_Alt && std::exchange(isAltAlone_, false))
                Q_EMIT altPressed();
            break;
        case QEvent::MouseButtonPress:
        case QEvent::Wheel:
        case QEvent::FocusOut:
        case QEvent::TouchBegin:
            isAltAlone_ = false;
            break;
        default:
            break;
    }
    return QQuickItem::eventFilter(object, event);
}

}  // namespace kelvane
