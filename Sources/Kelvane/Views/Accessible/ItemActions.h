#pragma once

#include <QAccessible>
#include <QQuickItem>

namespace kelvane {

/// What a reader of the screen can do with an item: press it where it can be pressed, step its value, give it the
/// focus, and what its "Accessible" signals are connected to. A disabled item does nothing. The main thread.
class ItemActions final : public QAccessibleActionInterface {
public:
    explicit ItemActions(QQuickItem& item) : item_(item) {}

    [[nodiscard]] QStringList actionNames() const override;
    void doAction(const QString& name) override;
    [[nodiscard]] QStringList keyBindingsForAction(const QString& name) const override;

private:
    [[nodiscard]] bool canPress() const;
    void press();

    QQuickItem& item_;
};

}  // namespace kelvane
