#pragma once

#include <QAccessible>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Views/Accessible/AccessibleEvents.h"

namespace kelvane::testing {

/// The root of a window's tree as somebody finds it who reads the screen. Controls that were made since the last call
/// learn of it here: only a platform with a bridge tells them by itself.
inline QAccessibleInterface& treeRoot(QObject& window) {
    QAccessible::setActive(true);
    return *QAccessible::queryAccessibleInterface(&window);
}

inline std::string roleName(QAccessible::Role role) {
    static const std::map<QAccessible::Role, std::string> names = {
        {QAccessible::Window, "window"},       {QAccessible::PushButton, "button"},
        {QAccessible::CheckBox, "check box"},  {QAccessible::RadioButton, "radio button"},
        {QAccessible::StaticText, "label"},    {QAccessible::EditableText, "text"},
        {QAccessible::Slider, "slider"},       {QAccessible::ProgressBar, "progress bar"},
        {QAccessible::Graphic, "image"},       {QAccessible::Pane, "panel"},
        {QAccessible::Grouping, "panel"},      {QAccessible::List, "list"},
        {QAccessible::ListItem, "list item"},  {QAccessible::Dialog, "dialog"},
        {QAccessible::AlertMessage, "alert"},  {QAccessible::ComboBox, "combo box"},
        {QAccessible::PopupMenu, "menu"},      {QAccessible::MenuItem, "menu item"},
        {QAccessible::Splitter, "split pane"},
    };
    const auto found = names.find(role);
    return found == names.end() ? "role " + std::to_string(role) : found->second;
}

inline std::string nameOf(QAccessibleInterface& node) { return node.text(QAccessible::Name).toStdString(); }

/// Role, name and what else is worth a word, in a line.
inline std::string lineOf(QAccessibleInterface& node) {
    std::string line = roleName(node.role()) + " \"" + nameOf(node) + "\"";
    const auto description = node.text(QAccessible::Description).toStdString();
    if (!description.empty()) line += " (" + description + ")";
    const auto state = node.state();
    if (state.disabled) line += " disabled";
    if (state.checked) line += " checked";
    if (state.selected) line += " selected";
    if (state.defaultButton) line += " default";
    if (state.expanded) line += " expanded";
    if (state.offscreen) line += " out of sight";
    return line;
}

/// Calls `visit` with each node from `root` on, and how deep it is.
inline void walk(QAccessibleInterface& root, const std::function<void(QAccessibleInterface&, int)>& visit,
                 int depth = 0) {
    visit(root, depth);
    for (int index = 0; index < root.childCount(); ++index)
        if (auto* child = root.child(index)) walk(*child, visit, depth + 1);
}

/// A line for each node, indented by its depth.
inline std::string treeOf(QAccessibleInterface& root) {
    std::string text;
    walk(root, [&text](QAccessibleInterface& node, int depth) {
        text += std::string(static_cast<std::size_t>(depth) * 2, ' ') + lineOf(node) + "\n";
    });
    return text;
}

/// The first node with this name and role; null without one.
inline QAccessibleInterface* findNode(QAccessibleInterface& root, QAccessible::Role role, const std::string& name) {
    QAccessibleInterface* found = nullptr;
    walk(root, [&](QAccessibleInterface& node, int) {
        if (!found && node.role() == role && nameOf(node) == name) found = &node;
    });
    return found;
}

inline std::string eventName(QAccessible::Event event) {
    static const std::map<QAccessible::Event, std::string> names = {
        {QAccessible::NameChanged, "name"},
        {QAccessible::DescriptionChanged, "description"},
        {QAccessible::ValueChanged, "value"},
        {QAccessible::ObjectCreated, "created"},
        {QAccessible::ObjectDestroyed, "destroyed"},
        {QAccessible::ObjectShow, "shown"},
        {QAccessible::ObjectHide, "hidden"},
        {QAccessible::ObjectReorder, "reordered"},
        {QAccessible::SelectionAdd, "selected"},
        {QAccessible::SelectionRemove, "deselected"},
        {QAccessible::SelectionWithin, "selection"},
        {QAccessible::Focus, "focus"},
        {QAccessible::Alert, "alert"},
        {QAccessible::StateChanged, "state"},
    };
    const auto found = names.find(event);
    return found == names.end() ? "event " + std::to_string(event) : found->second;
}

/// Listens to what a reader is told, from its making to its end; one at a time.
class EventWatch {
public:
    EventWatch() {
        lines().clear();
        QAccessible::setActive(true);
        AccessibleEvents::setListener([](QAccessibleEvent& event) {
            auto* node = event.accessibleInterface();
            if (node && node->isValid())
                lines().push_back(roleName(node->role()) + " \"" + nameOf(*node) + "\": " + eventName(event.type()));
        });
    }
    ~EventWatch() { AccessibleEvents::setListener({}); }
    EventWatch(const EventWatch&) = delete;
    EventWatch& operator=(const EventWatch&) = delete;
    /// A line for each event since the last call, in their order.
    [[nodiscard]] std::vector<std::string> told() const { return std::exchange(lines(), {}); }

private:
    static std::vector<std::string>& lines() {
        static std::vector<std::string> kept;
        return kept;
    }
};

/// What in the tree is false or of no use to who reads it, a line each.
inline std::vector<std::string> faultsOf(QAccessibleInterface& root) {
    std::vector<std::string> faults;
    walk(root, [&faults](QAccessibleInterface& node, int) {
        const auto add = [&](const char* fault) { faults.push_back(lineOf(node) + ": " + fault); };
        if (nameOf(node).empty()) add("has no name");
        if (node.state().invisible) add("is hidden");
        if (node.rect().isEmpty()) add("has no extents");
        for (int index = 0; index < node.childCount(); ++index) {
            auto* child = node.child(index);
            if (!child)
                add("has a child that isn't there");
            else if (child->parent() != &node || node.indexOfChild(child) != index)
                add("has a child that doesn't know it");
        }
        const auto* value = node.valueInterface();
        if (value && !(value->minimumValue().toDouble() < value->maximumValue().toDouble())) add("has no range");
    });
    return faults;
}

}  // namespace kelvane::testing
