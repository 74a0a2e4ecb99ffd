#include "AccessibleItems.h"

#include <QKeySequence>
#include <QQuickWindow>
#include <QTextDocument>
#include <QTextDocumentFragment>
#include <algorithm>
#include <array>
#include <span>

namespace kelvane::AccessibleItems {

namespace {

bool inherits(const QQuickItem& item, const char* name) { return item.inherits(name); }

bool isOneOf(QAccessible::Role role, std::span<const QAccessible::Role> roles) {
    return std::ranges::find(roles, role) != roles.end();
}

QObject* objectOf(const QQuickItem& item, const char* property) { return item.property(property).value<QObject*>(); }

/// What a popup is shown by, and a popup's own item, whose parent it is.
QObject* popupOf(const QQuickItem& item) { return inherits(item, "QQuickPopupItem") ? item.parent() : nullptr; }

/// A popup that fades in is there from the beginning.
bool isFadedOut(const QQuickItem& item) { return item.opacity() <= 0 && !popupOf(item); }

QObject* attachedObject(const QQuickItem& item, const char* type) {
    for (auto* child : item.children())
        if (child->inherits(type)) return child;
    return nullptr;
}

/// A button's label without the marks of its underlined letter.
QString withoutMnemonic(const QString& label) {
    QString plain;
    for (qsizetype at = 0; at < label.size(); ++at) {
        if (label[at] == u'&' && at + 1 < label.size()) ++at;
        plain += label[at];
    }
    return plain;
}

QString shownText(const QQuickItem& item) {
    const auto text = item.property("text").toString();
    const int format = item.property("textFormat").toInt();
    const bool isMarkup =
        format == Qt::RichText || format == 4 || (format == Qt::AutoText && Qt::mightBeRichText(text));
    return isMarkup ? QTextDocumentFragment::fromHtml(text).toPlainText() : text;
}

bool isText(const QQuickItem& item) {
    return inherits(item, "QQuickText") || inherits(item, "kelvane::AnnouncementLabel");
}

/// Roles of what only holds others, which is worth a word only where it has a name.
bool isHolder(QAccessible::Role role) {
    static constexpr std::array holders = {QAccessible::NoRole,      QAccessible::Client,    QAccessible::Pane,
                                           QAccessible::LayeredPane, QAccessible::ToolBar,   QAccessible::Grouping,
                                           QAccessible::PageTabList, QAccessible::PageTab,   QAccessible::Section,
                                           QAccessible::Separator,   QAccessible::Whitespace};
    return isOneOf(role, holders);
}

/// Roles of controls whose own texts and pictures are part of how they look.
bool isWhole(QAccessible::Role role) {
    static constexpr std::array wholes = {QAccessible::PushButton, QAccessible::CheckBox,     QAccessible::RadioButton,
                                          QAccessible::MenuItem,   QAccessible::ComboBox,     QAccessible::SpinBox,
                                          QAccessible::Slider,     QAccessible::EditableText, QAccessible::ToolTip,
                                          QAccessible::Link,       QAccessible::ProgressBar};
    return isOneOf(role, wholes);
}

/// What the item is without a word of its own: as before a reader is there, or while the item is made.
QAccessible::Role roleByType(const QQuickItem& item) {
    // What stands further down is the more general.
    static constexpr std::array<std::pair<const char*, QAccessible::Role>, 14> types = {{
        {"QQuickText", QAccessible::StaticText},
        {"kelvane::AnnouncementLabel", QAccessible::StaticText},
        {"QQuickTextInput", QAccessible::EditableText},
        {"QQuickTextEdit", QAccessible::EditableText},
        {"QQuickSlider", QAccessible::Slider},
        {"QQuickSpinBox", QAccessible::SpinBox},
        {"QQuickProgressBar", QAccessible::ProgressBar},
        {"QQuickComboBox", QAccessible::ComboBox},
        {"QQuickMenuItem", QAccessible::MenuItem},
        {"QQuickItemDelegate", QAccessible::ListItem},
        {"QQuickRadioButton", QAccessible::RadioButton},
        {"QQuickCheckBox", QAccessible::CheckBox},
        {"QQuickTabButton", QAccessible::PageTab},
        {"QQuickAbstractButton", QAccessible::PushButton},
    }};
    const auto found = std::ranges::find_if(types, [&item](const auto& type) { return inherits(item, type.first); });
    return found == types.end() ? QAccessible::NoRole : found->second;
}

/// A button that stays down is one all the same; Qt calls it a check box.
bool isToggledButton(const QQuickItem& item) {
    return inherits(item, "QQuickButton") || inherits(item, "QQuickToolButton");
}

bool opensList(const QQuickItem& item) { return inherits(item, "QQuickComboBox"); }

/// Whether this text says what the control or dialog that it is part of says already, or is the field of one.
bool repeats(const QQuickItem& text, const QQuickItem* owner) {
    if (!owner) return false;
    const auto role = roleOf(*owner);
    const bool isSame = isText(text) && nameOf(text) == nameOf(*owner);
    if (role == QAccessible::Dialog || role == QAccessible::AlertMessage) return isSame;
    if (!isWhole(role) && !inherits(*owner, "QQuickAbstractButton")) return false;
    return isSame || isTextField(text) || (isText(text) && !inherits(text, "QQuickLabel"));
}

/// Views make and reuse their rows in the order in which they come into sight.
void sortRows(QList<QQuickItem*>& rows) {
    std::ranges::sort(rows, [](const QQuickItem* one, const QQuickItem* other) {
        return one->y() != other->y() ? one->y() < other->y() : one->x() < other->x();
    });
}

/// The children in the order in which they are read.
QList<QQuickItem*> inReadingOrder(const QQuickItem& parent) {
    auto children = parent.childItems();
    const auto* view = parent.parentItem();
    if (view && inherits(*view, "QQuickItemView")) sortRows(children);
    const auto* window = parent.window();
    const QObject* framed = popupOf(parent);
    if (window && window->contentItem() == &parent) framed = window;
    if (!framed) return children;
    if (auto* header = framed->property("header").value<QQuickItem*>(); children.removeOne(header))
        children.prepend(header);
    if (auto* footer = framed->property("footer").value<QQuickItem*>(); children.removeOne(footer))
        children.append(footer);
    return children;
}

void collect(const QQuickItem& parent, const QQuickItem* owner, QList<QQuickItem*>& found) {
    for (auto* child : inReadingOrder(parent)) {
        if (!child->isVisible() || isFadedOut(*child)) continue;
        if (inherits(*child, "QQuickScrollBar") || inherits(*child, "QQuickScrollIndicator")) continue;
        const bool isDrawn = child->width() > 0 && child->height() > 0;
        if (!isDrawn || !isNode(*child))
            collect(*child, owner, found);
        else if (!repeats(*child, owner))
            found.append(child);
    }
}

/// Roles that the "Accessible" properties call focusable whether the item is or not.
bool isCalledFocusable(QAccessible::Role role) {
    static constexpr std::array called = {QAccessible::PushButton, QAccessible::CheckBox,  QAccessible::RadioButton,
                                          QAccessible::MenuItem,   QAccessible::PageTab,   QAccessible::SpinBox,
                                          QAccessible::ComboBox,   QAccessible::ScrollBar, QAccessible::StaticText};
    return isOneOf(role, called);
}

bool isFocusable(const QQuickItem& item) {
    return item.activeFocusOnTab() || item.property("focusPolicy").toInt() != Qt::NoFocus || isTextField(item);
}

/// Whether the keyboard works the item itself, and no node within it: a scope has the focus of what it holds.
bool hasKeyboard(const QQuickItem& item) {
    if (!item.hasActiveFocus()) return false;
    const QQuickItem* focused = item.window()->activeFocusItem();
    if (focused && !isNode(*focused)) focused = parentNode(*focused);
    return focused == &item;
}

void addButtonState(const QQuickItem& item, QAccessible::State& state) {
    state.checkable = item.property("checkable").toBool();
    state.checked = state.checkable && item.property("checked").toBool();
    state.pressed = item.property("down").toBool();
    // Rows of lists and menus are highlighted, too.
    if (isToggledButton(item)) state.defaultButton = state.defaultButton || item.property("highlighted").toBool();
}

void addTextState(const QQuickItem& item, QAccessible::State& state) {
    state.readOnly = item.property("readOnly").toBool();
    state.editable = !state.readOnly;
    state.multiLine = inherits(item, "QQuickTextEdit");
    state.selectableText = true;
    state.passwordEdit = item.property("echoMode").toInt() != 0;
}

void addExpansion(const QQuickItem& item, QAccessible::State& state) {
    const auto* popup = opensList(item) ? objectOf(item, "popup") : nullptr;
    const auto expanded = popup ? popup->property("visible") : item.property("expanded");
    if (!expanded.isValid()) return;
    state.expandable = true;
    state.expanded = expanded.toBool();
    state.collapsed = !state.expanded;
}

/// What the item's own properties of its state say.
QAccessible::State attachedState(const QQuickItem& item) {
    QAccessible::State state;
    const auto* attached = attachedTo(item);
    if (!attached) return state;
    const auto is = [attached](const char* name) { return attached->property(name).toBool(); };
    state.checkable = is("checkable");
    state.checked = is("checked");
    state.checkStateMixed = is("checkStateMixed");
    state.pressed = is("pressed");
    state.selectable = is("selectable");
    state.selected = is("selected");
    state.focusable = is("focusable");
    state.readOnly = is("readOnly");
    state.defaultButton = is("defaultButton");
    return state;
}

}  // namespace

QObject* attachedTo(const QQuickItem& item) { return attachedObject(item, "QQuickAccessibleAttached"); }

bool isNode(const QQuickItem& item) {
    const auto* attached = attachedTo(item);
    if (attached && attached->property("ignored").toBool()) return false;
    const auto role = roleOf(item);
    if (role == QAccessible::StaticText) return !nameOf(item).isEmpty();
    return !isHolder(role) || (attached && !nameOf(item).isEmpty());
}

QQuickItem* parentNode(const QQuickItem& item) {
    auto* parent = item.parentItem();
    while (parent && !isNode(*parent)) parent = parent->parentItem();
    return parent;
}

QList<QQuickItem*> childNodes(const QQuickItem& root, const QQuickItem* owner) {
    QList<QQuickItem*> found;
    collect(root, owner, found);
    return found;
}

QAccessible::Role roleOf(const QQuickItem& item) {
    const auto* popup = popupOf(item);
    if (popup && popup->property("alert").toBool()) return QAccessible::AlertMessage;
    // A button of Qt's takes back what it was called by "Accessible".
    if (const auto own = item.property("ownRole"); own.isValid()) return static_cast<QAccessible::Role>(own.toInt());
    const auto* attached = attachedTo(item);
    const auto role = attached ? attached->property("role").value<QAccessible::Role>() : QAccessible::NoRole;
    if (role == QAccessible::NoRole) return roleByType(item);
    // Qt calls the list of a combo box a dialog as well.
    if (role == QAccessible::Dialog && popup && !popup->inherits("QQuickDialog")) return QAccessible::NoRole;
    return role == QAccessible::CheckBox && isToggledButton(item) ? QAccessible::PushButton : role;
}

QString nameOf(const QQuickItem& item) {
    const auto* attached = attachedTo(item);
    const auto name = attached ? attached->property("name").toString() : QString();
    if (inherits(item, "QQuickAbstractButton")) {
        const auto label = item.property("text").toString();
        return name.isEmpty() || name == label ? withoutMnemonic(label) : name;
    }
    if (isText(item)) return name.isEmpty() || name == item.property("text").toString() ? shownText(item) : name;
    if (!name.isEmpty()) return name;
    if (isTextField(item)) return item.property("placeholderText").toString();
    if (const auto* popup = popupOf(item)) return withoutMnemonic(popup->property("title").toString());
    return {};
}

QString descriptionOf(const QQuickItem& item) {
    const auto* attached = attachedTo(item);
    const auto description = attached ? attached->property("description").toString() : QString();
    if (!description.isEmpty()) return description;
    const auto* help = attachedObject(item, "QQuickToolTipAttached");
    return help ? help->property("text").toString() : QString();
}

QString keyOf(const QQuickItem& item) {
    const auto* action = objectOf(item, "action");
    const auto key = action ? action->property("shortcut") : item.property("shortcut");
    if (!key.isValid() || key.isNull()) return {};
    if (key.typeId() == QMetaType::Int)
        return QKeySequence(static_cast<QKeySequence::StandardKey>(key.toInt())).toString(QKeySequence::NativeText);
    return QKeySequence::fromString(key.toString()).toString(QKeySequence::NativeText);
}

QAccessible::State stateOf(const QQuickItem& item) {
    auto state = attachedState(item);
    if (inherits(item, "QQuickAbstractButton")) addButtonState(item, state);
    if (isTextField(item)) addTextState(item, state);
    if (roleOf(item) == QAccessible::StaticText) state.readOnly = true;
    addExpansion(item, state);
    if (const auto* popup = popupOf(item)) state.modal = popup->property("modal").toBool();
    state.disabled = !item.isEnabled();
    const bool isSaid = state.focusable && !isCalledFocusable(roleOf(item));
    state.focusable = item.isEnabled() && (isSaid || isFocusable(item));
    // What is one stop for the keyboard says which part of it has the focus.
    const auto part = item.property("readsFocused");
    state.focused = part.isValid() ? part.toBool() : hasKeyboard(item);
    state.invisible = !isShown(item);
    state.offscreen = state.invisible || !isInSight(item, {0, 0, item.width(), item.height()});
    return state;
}

bool isShown(const QQuickItem& item) {
    if (!item.window() || !item.window()->isVisible() || !item.isVisible()) return false;
    for (const auto* above = &item; above; above = above->parentItem())
        if (isFadedOut(*above)) return false;
    return true;
}

QRect extentsOf(const QQuickItem& item) { return extentsOf(item, {0, 0, item.width(), item.height()}); }

QRect extentsOf(const QQuickItem& item, const QRectF& part) {
    if (!item.window()) return {};
    const auto drawn = item.mapRectToScene(part);
    // Both edges are rounded, so that what touches on the screen touches here.
    const QPoint corner(qRound(drawn.left()), qRound(drawn.top()));
    const QSize size(qRound(drawn.right()) - corner.x(), qRound(drawn.bottom()) - corner.y());
    return {item.window()->mapToGlobal(corner), size};
}

bool isInSight(const QQuickItem& item, const QRectF& part) {
    if (!item.window()) return false;
    auto seen = item.mapRectToScene(part) & QRectF(QPointF(), item.window()->size());
    for (const auto* above = item.parentItem(); above && !seen.isEmpty(); above = above->parentItem())
        if (above->clip()) seen &= above->mapRectToScene({0, 0, above->width(), above->height()});
    return !seen.isEmpty();
}

bool hasValue(const QQuickItem& item) {
    static constexpr std::array valued = {QAccessible::Slider,    QAccessible::SpinBox,     QAccessible::Dial,
                                          QAccessible::ScrollBar, QAccessible::ProgressBar, QAccessible::Splitter};
    return isOneOf(roleOf(item), valued) && item.property("value").isValid();
}

bool isTextField(const QQuickItem& item) {
    return inherits(item, "QQuickTextInput") || inherits(item, "QQuickTextEdit");
}

bool isShownText(const QQuickItem& item) { return inherits(item, "QQuickText"); }

}  // namespace kelvane::AccessibleItems
