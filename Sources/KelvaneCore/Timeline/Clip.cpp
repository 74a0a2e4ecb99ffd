#include "Clip.h"

#include <algorithm>
#include <cmath>

namespace kelvane {

namespace {

/// False for NaN, and for infinities as long as the bounds are finite.
bool lies(double value, double low, double high) { return value >= low && value <= high; }

}  // namespace

bool Clip::isValid() const {
    const bool finite = std::isfinite(sourceDuration) && std::isfinite(start) && std::isfinite(end);
    if (!finite || sourceDuration <= 0 || start < 0) return false;
    if (end > sourceDuration + endTolerance || end - start < minimumClipLength) return false;
    if (timelineStart && !(std::isfinite(*timelineStart) && *timelineStart >= 0)) return false;
    return lies(zoom, minimumZoom, maximumZoom) && lies(horizontal, -1, 1) && lies(vertical, -1, 1) &&
           lies(volume, 0, 1);
}

Clip Clip::trimmed(TrimEdge edge, double delta) const {
    if (!std::isfinite(delta)) return *this;
    Clip result = *this;
    if (edge == TrimEdge::end) {
        result.end = std::max(start + trimMargin, std::min(end + delta, sourceDuration));
        return result;
    }
    // The head of a sound can't be pulled out to before the timeline's beginning.
    const double lowest = isAudio() ? std::max(0.0, start - audioPosition()) : 0;
    result.start = std::min(end - trimMargin, std::max(lowest, start + delta));
    if (isAudio()) result.timelineStart = std::max(0.0, audioPosition() + result.start - start);
    return result;
}

std::optional<std::pair<Clip, Clip>> Clip::split(double offset) const {
    // Written so that an offset that is not a number splits nothing.
    if (!(offset >= minimumClipLength && duration() - offset >= minimumClipLength)) return std::nullopt;
    std::pair<Clip, Clip> halves(*this, *this);
    auto& [first, second] = halves;
    first.end = start + offset;
    second.id = UUID::random();
    second.start = start + offset;
    if (isAudio()) {
        first.audioTrackID = lane();
        second.audioTrackID = lane();
        second.timelineStart = audioPosition() + offset;
    }
    return halves;
}

}  // namespace kelvane
