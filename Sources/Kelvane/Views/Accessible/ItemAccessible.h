#pragma once

#include <QAccessible>
#include <QAccessibleObject>

#include "ItemActions.h"
#include "ItemText.h"
#include "ItemValue.h"

namespace kelvane {

/// What a reader of the screen is told of an item, and how it works it (see AccessibleItems). Belongs to Qt's record of
/// interfaces, which ends it with the item. The main thread.
class ItemAccessible : public QAccessibleObject {
public:
    explicit ItemAccessible(QQuickItem& item);

    [[nodiscard]] QWindow* window() const override;
    [[nodiscard]] QAccessibleInterface* parent() const override;
    [[nodiscard]] QAccessibleInterface* child(int index) const override;
    [[nodiscard]] int childCount() const override;
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* child) const override;
    [[nodiscard]] QAccessibleInterface* childAt(int x, int y) const override;
    [[nodiscard]] QString text(QAccessible::Text kind) const override;
    [[nodiscard]] QRect rect() const override;
    [[nodiscard]] QAccessible::Role role() const override;
    [[nodiscard]] QAccessible::State state() const override;
    void* interface_cast(QAccessible::InterfaceType type) override;

protected:
    [[nodiscard]] QQuickItem& item() const { return *static_cast<QQuickItem*>(object()); }

private:
    ItemActions actions_;
    ItemValue value_;
    ItemText text_;
};

/// The same of a window, whose children are those of its content.
class WindowAccessible final : public QAccessibleObject {
public:
    explicit WindowAccessible(QQuickWindow& window);

    [[nodiscard]] QWindow* window() const override;
    [[nodiscard]] QAccessibleInterface* parent() const override;
    [[nodiscard]] QAccessibleInterface* child(int index) const override;
    [[nodiscard]] int childCount() const override;
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* child) const override;
    [[nodiscard]] QAccessibleInterface* childAt(int x, int y) const override;
    [[nodiscard]] QAccessibleInterface* focusChild() const override;
    [[nodiscard]] QString text(QAccessible::Text kind) const override;
    [[nodiscard]] QRect rect() const override;
    [[nodiscard]] QAccessible::Role role() const override;
    [[nodiscard]] QAccessible::State state() const override;

private:
    [[nodiscard]] QQuickWindow& quickWindow() const;
    [[nodiscard]] QList<QQuickItem*> children() const;
};

/// Puts the interfaces of this folder before Qt's own, which call what is disabled enabled, keep what is hidden and
/// know no range of sliders (Qt 6.4). Any number of times, before a window is made.
void installAccessibleInterfaces();

}  // namespace kelvane
