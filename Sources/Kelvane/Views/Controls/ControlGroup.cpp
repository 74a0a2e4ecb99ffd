#include "ControlGroup.h"

#include <QQuickWindow>
#include <algorithm>

namespace kelvane {

namespace {

bool canHaveKeyboard(const QQuickItem* item) { return item != nullptr && item->isVisible() && item->isEnabled(); }

}  // namespace

void ControlGroup::setRow(QQuickItem* row) {
    if (row == row_) return;
    row_ = row;
    Q_EMIT rowChanged();
}

void ControlGroup::componentComplete() {
    if (!row_) return;
    collect(*row_);
    for (const auto& control : controls_) {
        connect(control, &QQuickItem::enabledChanged, this, &ControlGroup::refresh);
        connect(control, &QQuickItem::visibleChanged, this, &ControlGroup::refresh);
        connect(control, &QQuickItem::activeFocusChanged, this, [this, control] {
            if (control->hasActiveFocus()) chosen_ = control;
            refresh();
        });
    }
    refresh();
}

void ControlGroup::collect(QQuickItem& parent) {
    for (auto* child : parent.childItems())
        if (child->activeFocusOnTab())
            controls_.emplace_back(child);
        else
            collect(*child);
}

void ControlGroup::refresh() {
    const auto usable = std::ranges::find_if(controls_, canHaveKeyboard);
    const QQuickItem* first = usable == controls_.end() ? nullptr : usable->get();
    const QQuickItem* stop = canHaveKeyboard(chosen_) ? chosen_.get() : first;
    for (const auto& control : controls_) {
        // One that has the keyboard stays a stop until it goes on.
        if (control &&
            (control == stop || control->window() == nullptr || control->window()->activeFocusItem() != control))
            control->setActiveFocusOnTab(control == stop);
    }
}

bool ControlGroup::step(int step) {
    std::vector<QQuickItem*> usable;
    for (const auto& control : controls_)
        if (canHaveKeyboard(control)) usable.push_back(control);
    const auto at = std::ranges::find_if(usable, [](const QQuickItem* item) { return item->hasActiveFocus(); });
    const auto next = at - usable.begin() + step;
    if (at == usable.end() || next < 0 || next >= std::ssize(usable)) return false;
    usable[static_cast<std::size_t>(next)]->forceActiveFocus(step > 0 ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    return true;
}

}  // namespace kelvane
