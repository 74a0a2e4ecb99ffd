#include "InspectionDocument.h"

#include <algorithm>
#include <cmath>

namespace kelvane::CLIMediaInspection {

std::string arrayText(std::span<const double> numbers) {
    std::string text = "[";
    for (const double number : numbers) {
        if (text.size() > 1) text += ',';
        appendJSONNumber(text, number);
    }
    return text + "]";
}

std::string arrayText(std::span<const JSONObject> objects) {
    std::string text = "[";
    for (const JSONObject& object : objects) {
        if (text.size() > 1) text += ',';
        text += object.text();
    }
    return text + "]";
}

Error unusableTimes() { return Error("Frame times must be finite timestamps within the video duration."); }

Result<std::vector<MediaTime>> mediaTimes(std::span<const double> times) {
    std::vector<MediaTime> exact;
    exact.reserve(times.size());
    for (const double time : times) {
        if (!std::isfinite(time)) return fail(unusableTimes());
        exact.push_back(MediaTime::fromSeconds(time));
    }
    return exact;
}

}  // namespace kelvane::CLIMediaInspection
