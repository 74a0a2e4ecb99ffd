#include "ItemValue.h"

#include <algorithm>
#include <cmath>

#include "AccessibleItems.h"

namespace kelvane {

namespace {

/// Of controls that name none, which is what their keys go by.
constexpr double controlsStep = 0.1;

double numberOf(const QQuickItem& item, const char* property, double otherwise) {
    const auto value = item.property(property);
    return value.isValid() ? value.toDouble() : otherwise;
}

double stepOf(const QQuickItem& item) {
    const double step = numberOf(item, "stepSize", 0);
    return step > 0 ? step : controlsStep;
}

}  // namespace

bool isReading(const QQuickItem& item) { return AccessibleItems::roleOf(item) == QAccessible::ProgressBar; }

void stepValue(QQuickItem& item, int steps) {
    ItemValue value(item);
    value.setCurrentValue(value.currentValue().toDouble() + steps * stepOf(item));
}

QVariant ItemValue::currentValue() const { return numberOf(item_, "value", 0); }

QVariant ItemValue::minimumValue() const { return numberOf(item_, "from", 0); }

QVariant ItemValue::maximumValue() const { return numberOf(item_, "to", 0); }

QVariant ItemValue::minimumStepSize() const { return isReading(item_) ? QVariant(0.0) : QVariant(stepOf(item_)); }

void ItemValue::setCurrentValue(const QVariant& value) {
    bool isNumber = false;
    const double wished = value.toDouble(&isNumber);
    if (!isNumber || !std::isfinite(wished) || !item_.isEnabled() || isReading(item_)) return;
    // A range can run downward.
    const auto [low, high] = std::minmax(minimumValue().toDouble(), maximumValue().toDouble());
    const double held = std::clamp(wished, low, high);
    if (held == currentValue().toDouble()) return;
    const QPointer guard(&item_);
    item_.setProperty("value", item_.inherits("QQuickSpinBox") ? QVariant(qRound(held)) : QVariant(held));
    for (const char* moved : {"moved", "valueModified"})
        if (guard && guard->metaObject()->indexOfSignal((QByteArray(moved) + "()").constData()) >= 0)
            QMetaObject::invokeMethod(guard, moved);
}

}  // namespace kelvane
