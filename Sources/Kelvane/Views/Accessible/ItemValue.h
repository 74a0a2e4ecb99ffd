#pragma once

#include <QAccessible>
#include <QQuickItem>

namespace kelvane {

/// The value of an item, its range and its step, by its properties: "value", "from", "to" and "stepSize". Who sets it
/// through here is a person: a control that tells of its moves by "moved" does so. The main thread.
class ItemValue final : public QAccessibleValueInterface {
public:
    explicit ItemValue(QQuickItem& item) : item_(item) {}

    [[nodiscard]] QVariant currentValue() const override;
    /// Held to the range; nothing where the item is disabled or only shows its value, or for what isn't a number.
    void setCurrentValue(const QVariant& value) override;
    [[nodiscard]] QVariant minimumValue() const override;
    [[nodiscard]] QVariant maximumValue() const override;
    [[nodiscard]] QVariant minimumStepSize() const override;

private:
    QQuickItem& item_;
};

/// Whether the item's value can only be read, as that of a progress bar.
bool isReading(const QQuickItem& item);

/// Moves the item's value by so many of its steps, as its arrow keys do.
void stepValue(QQuickItem& item, int steps);

}  // namespace kelvane
