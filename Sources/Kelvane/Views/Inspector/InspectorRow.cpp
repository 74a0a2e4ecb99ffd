#include "InspectorRow.h"

#include <cmath>
#include <utility>
#include <vector>

#include "InspectorView.h"

namespace kelvane {

namespace {
/// Sums of steps are rounded to this part of a unit, so that ten steps down from 0.1 are 0.
constexpr double grain = 1e-9;
}  // namespace

InspectorRow::InspectorRow(InspectorView& view, InspectorField field)
    : view_(view), field_(field), range_(InspectorFields::range(field, {}, 0)) {}

void InspectorRow::show(const Clip& clip, double timelineDuration) {
    const double value = InspectorFields::value(field_, clip);
    const auto range = isHeld_ ? range_ : InspectorFields::range(field_, clip, timelineDuration);
    const QString text = QString::fromStdString(InspectorFields::text(field_, clip));
    if (value == value_ && range == range_ && text == text_) return;
    value_ = value;
    range_ = range;
    text_ = text;
    Q_EMIT changed();
}

void InspectorRow::begin() {
    isHeld_ = view_.beginDrag();
    presses_ = {std::nullopt, presses_.front()};
    if (isHeld_) presses_.front() = Step{view_.clips(), nullptr};
}

void InspectorRow::drag(double value) {
    // A gesture that was ended by another road goes on no more.
    if (isHeld_ && view_.isEditing()) view_.change(field_, value);
}

void InspectorRow::end() {
    if (!isHeld_) return;
    isHeld_ = false;
    view_.endEditing();
    presses_.front()->after = view_.clips();
    view_.refresh();
}

void InspectorRow::set(double value) {
    if (!isHeld_) view_.changeInRun(field_, value);
}

void InspectorRow::stepBy(int steps) { set(std::round((value_ + steps * step()) / grain) * grain); }

void InspectorRow::pageBy(int pages) {
    set(std::round((value_ + pages * InspectorFields::pageStep(field_)) / grain) * grain);
}

void InspectorRow::goToEnd(bool upper) { set(upper ? range_.to : range_.from); }

void InspectorRow::reset() {
    const auto standard = InspectorFields::standard(field_);
    if (!standard) return;
    end();
    view_.endEditing();
    std::vector<ClipArray> origins;
    for (const auto& press : std::exchange(presses_, {})) {
        // One that changed nothing has made no step.
        if (!press || press->before == press->after) continue;
        if (press->after != (origins.empty() ? view_.clips() : origins.back())) break;
        origins.push_back(press->before);
    }
    view_.changeFrom(origins, field_, *standard);
}

}  // namespace kelvane
