#include "ItemActions.h"

#include <QMetaMethod>

#include "AccessibleItems.h"
#include "ItemValue.h"

namespace kelvane {

namespace {

/// Opens what QObject keeps for itself: whether somebody listens to a signal.
struct Listened : QObject {
    using QObject::isSignalConnected;
};

bool hasMethod(const QObject& object, const char* signature) {
    return object.metaObject()->indexOfMethod(signature) >= 0;
}

/// The signal of the item's "Accessible" properties that stands for this action, if somebody listens to it.
QMetaMethod signalFor(const QObject* attached, const QString& action) {
    if (!attached || action.isEmpty()) return {};
    const auto signature = action.left(1).toLower() + action.mid(1) + QLatin1String("Action()");
    const auto found = attached->metaObject()->method(attached->metaObject()->indexOfSignal(signature.toLatin1()));
    constexpr auto isConnected = &Listened::isSignalConnected;
    return found.isValid() && (attached->*isConnected)(found) ? found : QMetaMethod();
}

/// Stays behind as it is where it is the one chosen of several.
bool staysDown(const QObject& button) {
    const bool isChoice = button.property("autoExclusive").toBool() || button.inherits("QQuickRadioButton");
    return isChoice && button.property("checked").toBool();
}

/// As a click does it. From 6.8 on a button has a function for that; before, only what follows a click can be done.
void click(QObject& button) {
    if (hasMethod(button, "click()")) {
        QMetaObject::invokeMethod(&button, "click");
        return;
    }
    if (auto* action = button.property("action").value<QObject*>()) {
        QMetaObject::invokeMethod(action, "trigger", Q_ARG(QObject*, &button));
        return;
    }
    const QPointer guard(&button);
    if (button.property("checkable").toBool() && !staysDown(button)) {
        QMetaObject::invokeMethod(&button, "toggle");
        if (guard) QMetaObject::invokeMethod(&button, "toggled");
    }
    if (guard) QMetaObject::invokeMethod(&button, "clicked");
}

void toggleList(const QObject& box) {
    auto* popup = box.property("popup").value<QObject*>();
    if (popup) QMetaObject::invokeMethod(popup, popup->property("visible").toBool() ? "close" : "open");
}

/// Those that an item offers only if it says so.
QStringList furtherActions() {
    using Actions = QAccessibleActionInterface;
    return {Actions::toggleAction(),       Actions::showMenuAction(),   Actions::scrollUpAction(),
            Actions::scrollDownAction(),   Actions::scrollLeftAction(), Actions::scrollRightAction(),
            Actions::previousPageAction(), Actions::nextPageAction()};
}

}  // namespace

bool ItemActions::canPress() const {
    return item_.inherits("QQuickAbstractButton") || item_.inherits("QQuickComboBox") ||
           hasMethod(item_, "accessiblePressAction()") ||
           signalFor(AccessibleItems::attachedTo(item_), pressAction()).isValid();
}

QStringList ItemActions::actionNames() const {
    QStringList names;
    const auto* attached = AccessibleItems::attachedTo(item_);
    if (canPress()) names << pressAction();
    const bool steps = AccessibleItems::hasValue(item_) && !isReading(item_);
    for (const auto& step : {increaseAction(), decreaseAction()})
        if (steps || signalFor(attached, step).isValid()) names << step;
    for (const auto& further : furtherActions())
        if (signalFor(attached, further).isValid()) names << further;
    if (AccessibleItems::stateOf(item_).focusable) names << setFocusAction();
    return names;
}

void ItemActions::doAction(const QString& name) {
    if (!item_.isEnabled()) return;
    if (name == setFocusAction()) {
        item_.forceActiveFocus(Qt::TabFocusReason);
        return;
    }
    auto* attached = AccessibleItems::attachedTo(item_);
    if (const auto signal = signalFor(attached, name); signal.isValid())
        signal.invoke(attached);
    else if (name == pressAction())
        press();
    else if (AccessibleItems::hasValue(item_) && (name == increaseAction() || name == decreaseAction()))
        stepValue(item_, name == increaseAction() ? 1 : -1);
}

void ItemActions::press() {
    if (item_.inherits("QQuickComboBox"))
        toggleList(item_);
    else if (item_.inherits("QQuickAbstractButton"))
        click(item_);
    else
        QMetaObject::invokeMethod(&item_, "accessiblePressAction");
}

QStringList ItemActions::keyBindingsForAction(const QString& name) const {
    const auto key = AccessibleItems::keyOf(item_);
    return name == pressAction() && !key.isEmpty() ? QStringList(key) : QStringList();
}

}  // namespace kelvane
