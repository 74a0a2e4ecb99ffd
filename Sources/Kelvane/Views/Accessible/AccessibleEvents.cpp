#include "AccessibleEvents.h"

#include <utility>

namespace kelvane::AccessibleEvents {

namespace {

std::function<void(QAccessibleEvent&)>& listener() {
    static std::function<void(QAccessibleEvent&)> listening;
    return listening;
}

}  // namespace

bool isHeard() { return listener() || QAccessible::isActive(); }

void send(QAccessibleEvent& event) {
    if (listener())
        listener()(event);
    else
        QAccessible::updateAccessibility(&event);
}

void setListener(std::function<void(QAccessibleEvent&)> listening) { listener() = std::move(listening); }

}  // namespace kelvane::AccessibleEvents
