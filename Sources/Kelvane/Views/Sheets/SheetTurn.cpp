#include "SheetTurn.h"

#include <algorithm>
#include <utility>

namespace kelvane {

namespace {

/// Whether the item belongs to a sheet, a menu or another popup.
bool isInPopup(const QQuickItem& item) {
    for (const QQuickItem* above = &item; above != nullptr; above = above->parentItem())
        if (above->inherits("QQuickPopupItem")) return true;
    return false;
}

bool contains(const std::vector<SheetTurn*>& turns, const SheetTurn* turn) {
    return std::ranges::find(turns, turn) != turns.end();
}

}  // namespace

void KeptFocus::follow(QQuickItem& next) {
    // What comes back to it keeps how it was there before.
    if (item != &next) *this = {&next};
}

void KeptFocus::keepReason() {
    if (item.isNull()) return;
    const QVariant present = item->property("focusReason");
    reason = present.isValid() ? static_cast<Qt::FocusReason>(present.toInt()) : Qt::OtherFocusReason;
}

bool KeptFocus::giveBack() const {
    // What is hidden would keep the keys from everything else.
    if (!item->isVisible()) item->setFocus(false);
    if (!item->isVisible() || !item->isEnabled()) return false;
    // As it came, so that the ring of the keyboard's focus is there where it was, and only there.
    item->forceActiveFocus(reason);
    // Qt may have been here before, with a reason of its own.
    if (item->property("focusReason").isValid()) item->setProperty("focusReason", reason);
    return true;
}

SheetOrder::SheetOrder(QQuickWindow& window) : QObject(&window), window_(window) {
    connect(&window_, &QQuickWindow::activeFocusItemChanged, this, &SheetOrder::followFocus);
    followFocus();
}

SheetOrder& SheetOrder::of(QQuickWindow& window) {
    if (auto* present = window.findChild<SheetOrder*>(QString(), Qt::FindDirectChildrenOnly)) return *present;
    return *new SheetOrder(window);
}

void SheetOrder::followFocus() {
    QQuickItem* item = window_.activeFocusItem();
    // On its way from one control to the next the focus rests on what holds them all.
    if (item == nullptr || item == window_.contentItem()) return;
    for (SheetTurn* turn : open_) turn->followFocus(*item);
    if (open_.empty() && !isInPopup(*item)) focused_.follow(*item);
}

void SheetOrder::add(SheetTurn& turn) {
    if (!contains(turns_, &turn)) turns_.push_back(&turn);
}

void SheetOrder::remove(SheetTurn& turn) {
    std::erase(turns_, &turn);
    const bool wasOpen = std::erase(open_, &turn) > 0;
    grant();
    // Later: what ends may be amid its own signals.
    if (wasOpen) QMetaObject::invokeMethod(this, &SheetOrder::returnFocus, Qt::QueuedConnection);
}

bool SheetOrder::isAnyAlone() const {
    return std::ranges::any_of(open_, [](const SheetTurn* turn) { return turn->alone(); }) ||
           std::ranges::any_of(turns_, [](const SheetTurn* turn) { return turn->alone() && turn->granted(); });
}

void SheetOrder::grant() {
    // What is granted may change the list.
    const std::vector<SheetTurn*> present = turns_;
    for (SheetTurn* turn : present)
        if (contains(turns_, turn) && turn->wanted() && !turn->granted() && !(turn->alone() && isAnyAlone()))
            turn->setGranted(true);
}

void SheetOrder::opened(SheetTurn& turn) {
    if (contains(open_, &turn)) return;
    if (open_.empty())
        focused_.keepReason();
    else
        open_.back()->keepReason();
    open_.push_back(&turn);
}

void SheetOrder::closed(SheetTurn& turn) {
    if (std::erase(open_, &turn) == 0) return;
    grant();
    returnFocus();
}

void SheetOrder::returnFocus() {
    if (!open_.empty()) return open_.back()->returnFocus();
    if (!focused_.item.isNull() && focused_.item->window() == &window_) focused_.giveBack();
}

SheetTurn::~SheetTurn() {
    if (order_) order_->remove(*this);
}

void SheetTurn::setPlace(QQuickItem* place) {
    if (place_ == place) return;
    disconnect(placement_);
    place_ = place;
    if (place != nullptr) placement_ = connect(place, &QQuickItem::windowChanged, this, &SheetTurn::join);
    join();
    Q_EMIT placeChanged();
}

void SheetTurn::setContent(QQuickItem* content) {
    if (content_ == content) return;
    content_ = content;
    Q_EMIT contentChanged();
}

void SheetTurn::followFocus(QQuickItem& item) {
    if (content_ && content_ != &item && content_->isAncestorOf(&item)) focused_.follow(item);
}

void SheetTurn::returnFocus() {
    if (!content_ || content_->window() == nullptr) return;
    const auto* present = content_->window()->activeFocusItem();
    const bool isElsewhere = present == content_ || !content_->isAncestorOf(present);
    // Another control of the sheet has it by somebody's will.
    if (!isElsewhere && present != focused_.item) return;
    if (focused_.item.isNull() || !focused_.giveBack()) content_->forceActiveFocus(Qt::PopupFocusReason);
}

void SheetTurn::join() {
    SheetOrder* order = place_ && place_->window() != nullptr ? &SheetOrder::of(*place_->window()) : nullptr;
    if (order_ == order) return;
    if (order_) order_->remove(*this);
    order_ = order;
    setGranted(false);
    if (order != nullptr && wanted_) {
        order->add(*this);
        order->grant();
    }
}

void SheetTurn::setWanted(bool wanted) {
    if (std::exchange(wanted_, wanted) == wanted) return;
    Q_EMIT wantedChanged();
    if (!wanted) setGranted(false);
    if (!order_) return;
    if (wanted) order_->add(*this);
    order_->grant();
}

void SheetTurn::setAlone(bool alone) {
    if (std::exchange(alone_, alone) != alone) Q_EMIT aloneChanged();
}

void SheetTurn::setGranted(bool granted) {
    if (std::exchange(granted_, granted) != granted) Q_EMIT grantedChanged();
}

void SheetTurn::enter() {
    if (order_) order_->opened(*this);
}

void SheetTurn::leave() {
    if (order_) order_->closed(*this);
}

}  // namespace kelvane
