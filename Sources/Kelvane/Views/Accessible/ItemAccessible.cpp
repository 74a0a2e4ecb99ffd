#include "ItemAccessible.h"

#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickWindow>

#include "AccessibleEvents.h"
#include "AccessibleItems.h"
#include "ProjectGridAccessible.h"
#include "TextTeller.h"
#include "TimelineAccessible.h"

namespace kelvane {

namespace {

/// The uppermost of these under a point of the screen, or what of it is there.
QAccessibleInterface* uppermostAt(const QList<QQuickItem*>& items, int x, int y) {
    for (auto at = items.rbegin(); at != items.rend(); ++at) {
        auto* found = QAccessible::queryAccessibleInterface(*at);
        if (!found || !found->isValid()) continue;
        if (auto* below = found->childAt(x, y)) return below;
        if (found->rect().contains(x, y)) return found;
    }
    return nullptr;
}

QAccessibleInterface* interfaceAt(const QList<QQuickItem*>& items, int index) {
    return index >= 0 && index < items.size() ? QAccessible::queryAccessibleInterface(items[index]) : nullptr;
}

int indexIn(const QList<QQuickItem*>& items, const QAccessibleInterface* child) {
    return child ? static_cast<int>(items.indexOf(qobject_cast<QQuickItem*>(child->object()))) : -1;
}

void tell(QQuickItem& item, QAccessible::Event event) {
    if (!AccessibleEvents::isHeard()) return;
    QAccessibleEvent happened(&item, event);
    AccessibleEvents::send(happened);
}

/// Qt tells of showing, hiding, enabling and of the words of a plain text only in part: who keeps the tree must learn
/// that it is another.
void followChanges(QQuickItem& item) {
    if (AccessibleItems::isShownText(item)) new TextTeller(item);
    QObject::connect(&item, &QQuickItem::visibleChanged, &item, [&item] {
        tell(item, item.isVisible() ? QAccessible::ObjectCreated : QAccessible::ObjectDestroyed);
        if (item.isVisible() && AccessibleItems::roleOf(item) == QAccessible::AlertMessage)
            tell(item, QAccessible::Alert);
    });
    QObject::connect(&item, &QQuickItem::enabledChanged, &item, [&item] {
        if (!AccessibleEvents::isHeard()) return;
        QAccessible::State changed;
        changed.disabled = true;
        QAccessibleStateChangeEvent happened(&item, changed);
        AccessibleEvents::send(happened);
    });
}

QAccessibleInterface* makeInterface(const QString& /*className*/, QObject* object) {
    if (auto* window = qobject_cast<QQuickWindow*>(object)) return new WindowAccessible(*window);
    if (auto* surface = qobject_cast<TimelineSurface*>(object)) return new TimelineAccessible(*surface);
    if (auto* grid = qobject_cast<ProjectGrid*>(object)) return new ProjectGridAccessible(*grid);
    auto* item = qobject_cast<QQuickItem*>(object);
    if (!item) return nullptr;
    // By type as well: Qt asks for an interface before an item has its properties, and from 6.8 on also for that of a
    // popup which has none yet.
    if (!AccessibleItems::attachedTo(*item) && !AccessibleItems::isNode(*item) && !item->inherits("QQuickPopupItem"))
        return nullptr;
    return new ItemAccessible(*item);
}

}  // namespace

ItemAccessible::ItemAccessible(QQuickItem& item) : QAccessibleObject(&item), actions_(item), value_(item), text_(item) {
    followChanges(item);
}

QWindow* ItemAccessible::window() const { return item().window(); }

QAccessibleInterface* ItemAccessible::parent() const {
    if (auto* above = AccessibleItems::parentNode(item())) return QAccessible::queryAccessibleInterface(above);
    return item().window() ? QAccessible::queryAccessibleInterface(item().window()) : nullptr;
}

QAccessibleInterface* ItemAccessible::child(int index) const {
    return interfaceAt(AccessibleItems::childNodes(item(), &item()), index);
}

int ItemAccessible::childCount() const { return static_cast<int>(AccessibleItems::childNodes(item(), &item()).size()); }

int ItemAccessible::indexOfChild(const QAccessibleInterface* child) const {
    return indexIn(AccessibleItems::childNodes(item(), &item()), child);
}

QAccessibleInterface* ItemAccessible::childAt(int x, int y) const {
    if (item().clip() && !rect().contains(x, y)) return nullptr;
    return uppermostAt(AccessibleItems::childNodes(item(), &item()), x, y);
}

QString ItemAccessible::text(QAccessible::Text kind) const {
    switch (kind) {
        case QAccessible::Name:
            return AccessibleItems::nameOf(item());
        case QAccessible::Description:
        case QAccessible::Help:
            return AccessibleItems::descriptionOf(item());
        case QAccessible::Accelerator:
            return AccessibleItems::keyOf(item());
        case QAccessible::Value:
            return AccessibleItems::isTextField(item()) ? text_.whole() : QString();
        default:
            return {};
    }
}

QRect ItemAccessible::rect() const { return AccessibleItems::extentsOf(item()); }

QAccessible::Role ItemAccessible::role() const { return AccessibleItems::roleOf(item()); }

QAccessible::State ItemAccessible::state() const {
    auto state = AccessibleItems::stateOf(item());
    // Then the part says so, and it alone.
    if (focusChild()) state.focused = false;
    return state;
}

void* ItemAccessible::interface_cast(QAccessible::InterfaceType type) {
    const auto isField = [this] { return AccessibleItems::isTextField(item()); };
    switch (type) {
        case QAccessible::ActionInterface:
            return static_cast<QAccessibleActionInterface*>(&actions_);
        case QAccessible::ValueInterface:
            return AccessibleItems::hasValue(item()) ? static_cast<QAccessibleValueInterface*>(&value_) : nullptr;
        case QAccessible::TextInterface:
            return isField() || role() == QAccessible::StaticText ? static_cast<QAccessibleTextInterface*>(&text_)
                                                                  : nullptr;
        case QAccessible::EditableTextInterface:
            return isField() && !item().property("readOnly").toBool()
                       ? static_cast<QAccessibleEditableTextInterface*>(&text_)
                       : nullptr;
        default:
            return QAccessibleObject::interface_cast(type);
    }
}

WindowAccessible::WindowAccessible(QQuickWindow& window) : QAccessibleObject(&window) {}

QQuickWindow& WindowAccessible::quickWindow() const { return *static_cast<QQuickWindow*>(object()); }

QList<QQuickItem*> WindowAccessible::children() const {
    const auto* content = quickWindow().contentItem();
    return content && quickWindow().isVisible() ? AccessibleItems::childNodes(*content, nullptr) : QList<QQuickItem*>();
}

QWindow* WindowAccessible::window() const { return &quickWindow(); }

QAccessibleInterface* WindowAccessible::parent() const { return QAccessible::queryAccessibleInterface(qApp); }

QAccessibleInterface* WindowAccessible::child(int index) const { return interfaceAt(children(), index); }

int WindowAccessible::childCount() const { return static_cast<int>(children().size()); }

int WindowAccessible::indexOfChild(const QAccessibleInterface* child) const { return indexIn(children(), child); }

QAccessibleInterface* WindowAccessible::childAt(int x, int y) const { return uppermostAt(children(), x, y); }

QAccessibleInterface* WindowAccessible::focusChild() const {
    auto* focused = quickWindow().activeFocusItem();
    auto* found = focused ? QAccessible::queryAccessibleInterface(focused) : nullptr;
    if (!found || !found->isValid()) return nullptr;
    auto* within = found->focusChild();
    return within ? within : found;
}

QString WindowAccessible::text(QAccessible::Text kind) const {
    return kind == QAccessible::Name ? quickWindow().title() : QString();
}

QRect WindowAccessible::rect() const { return {quickWindow().mapToGlobal(QPoint()), quickWindow().size()}; }

QAccessible::Role WindowAccessible::role() const { return QAccessible::Window; }

QAccessible::State WindowAccessible::state() const {
    QAccessible::State state;
    state.active = quickWindow().isActive();
    state.invisible = !quickWindow().isVisible();
    return state;
}

void installAccessibleInterfaces() { QAccessible::installFactory(&makeInterface); }

}  // namespace kelvane
