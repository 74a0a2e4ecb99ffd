#include "InspectorField.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "Timeline/TimeLabel.h"

namespace kelvane::InspectorFields {

namespace {

/// A slider needs some way to go, seconds, where a clip can't be trimmed further.
constexpr double leastTrimRange = 0.001;
/// A sound can be moved within a timeline that is hardly there, seconds.
constexpr double leastPositionRange = 1;
constexpr double frameStep = 1.0 / 30;

/// What a field is held to; nothing where only the clip's own rule holds.
struct Limits {
    std::optional<double> minimum;
    std::optional<double> maximum;
};

Limits limits(InspectorField field, const Clip& clip, double distance) {
    switch (field) {
        case InspectorField::start:
            return {0, clip.end - distance};
        case InspectorField::end:
            return {clip.start + distance, clip.sourceDuration};
        case InspectorField::position:
            return {0, std::nullopt};
        case InspectorField::volume:
            return {0, 1};
        default:
            return {};
    }
}

Clip with(InspectorField field, Clip clip, double value) {
    // -0 would be written differently from 0.
    value += 0.0;
    switch (field) {
        case InspectorField::start:
            clip.start = value;
            break;
        case InspectorField::end:
            clip.end = value;
            break;
        case InspectorField::zoom:
            clip.zoom = value;
            break;
        case InspectorField::horizontal:
            clip.horizontal = value;
            break;
        case InspectorField::vertical:
            clip.vertical = value;
            break;
        case InspectorField::position:
            clip.setAudioPosition(value);
            break;
        case InspectorField::volume:
            clip.volume = value;
            break;
    }
    return clip;
}

Clip held(InspectorField field, const Clip& clip, double wished, double distance) {
    const Limits limit = limits(field, clip, distance);
    double value = wished;
    if (limit.minimum) value = std::max(value, *limit.minimum);
    if (limit.maximum) value = std::min(value, *limit.maximum);
    return with(field, clip, value);
}

bool isTime(InspectorField field) {
    return field == InspectorField::start || field == InspectorField::end || field == InspectorField::position;
}

/// Of fields that are no times.
double width(InspectorField field) {
    const Range whole = range(field, {}, 0);
    return whole.to - whole.from;
}

}  // namespace

double value(InspectorField field, const Clip& clip) {
    switch (field) {
        case InspectorField::start:
            return clip.start;
        case InspectorField::end:
            return clip.end;
        case InspectorField::zoom:
            return clip.zoom;
        case InspectorField::horizontal:
            return clip.horizontal;
        case InspectorField::vertical:
            return clip.vertical;
        case InspectorField::position:
            return clip.audioPosition();
        case InspectorField::volume:
            return clip.volume;
    }
    return 0;
}

Range range(InspectorField field, const Clip& clip, double timelineDuration) {
    switch (field) {
        case InspectorField::start:
            return {0, std::max(clip.end - minimumClipLength, leastTrimRange)};
        case InspectorField::end:
            return {clip.start + minimumClipLength, clip.sourceDuration};
        case InspectorField::zoom:
            return {minimumZoom, maximumZoom};
        case InspectorField::horizontal:
        case InspectorField::vertical:
            return {-1, 1};
        case InspectorField::position:
            return {0, std::max(timelineDuration, leastPositionRange)};
        case InspectorField::volume:
            return {0, 1};
    }
    return {};
}

std::optional<Clip> changed(InspectorField field, const Clip& clip, double wished) {
    if (!std::isfinite(wished)) return std::nullopt;
    if (Clip result = held(field, clip, wished, minimumClipLength); result.isValid()) return result;
    // The shortest length can come out shorter by rounding; a hair more is as near as the edge can get.
    if (Clip result = held(field, clip, wished, trimMargin); result.isValid()) return result;
    return std::nullopt;
}

std::string text(InspectorField field, const Clip& clip) {
    switch (field) {
        case InspectorField::start:
        case InspectorField::end:
        case InspectorField::position:
            return timeLabel(value(field, clip));
        case InspectorField::zoom: {
            std::string number(16, '\0');
            number.resize(static_cast<std::size_t>(std::snprintf(number.data(), number.size(), "%.1f", clip.zoom)));
            return number + "×";
        }
        case InspectorField::volume:
            return std::to_string(std::lround(clip.volume * 100)) + "%";
        default:
            return {};
    }
}

std::optional<double> standard(InspectorField field) {
    if (isTime(field)) return std::nullopt;
    return field == InspectorField::zoom || field == InspectorField::volume ? 1.0 : 0.0;
}

double step(InspectorField field) { return isTime(field) ? frameStep : width(field) / 100; }

double pageStep(InspectorField field) { return isTime(field) ? 1 : width(field) / 10; }

}  // namespace kelvane::InspectorFields
