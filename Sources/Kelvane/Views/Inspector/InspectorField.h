#pragma once

#include <optional>
#include <string>

#include "Timeline/Clip.h"

namespace kelvane {

/// A number of a clip that the inspector edits.
enum class InspectorField { start, end, zoom, horizontal, vertical, position, volume };

/// What the inspector's rows show and change of a clip; functions of their arguments. Times are seconds.
namespace InspectorFields {

struct Range {
    double from = 0;
    double to = 0;
    bool operator==(const Range&) const = default;
};

double value(InspectorField field, const Clip& clip);
/// Of the field's slider. `timelineDuration` is the whole timeline's.
Range range(InspectorField field, const Clip& clip, double timelineDuration);
/// The clip with `wished` in this field, held to what the field allows beside the clip's others; nothing where no valid
/// clip comes of it.
std::optional<Clip> changed(InspectorField field, const Clip& clip, double wished);
/// The value for people; empty for what has no number that means anything.
std::string text(InspectorField field, const Clip& clip);
/// What a double click sets; nothing for times.
std::optional<double> standard(InspectorField field);
/// What a press of an arrow key adds: a frame, or a hundredth of the range.
double step(InspectorField field);
/// What a press of a page key adds: a second, or a tenth of the range.
double pageStep(InspectorField field);

}  // namespace InspectorFields

}  // namespace kelvane
