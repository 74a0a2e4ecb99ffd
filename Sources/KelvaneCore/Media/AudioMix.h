#pragma once

#include <vector>

#include "Composition.h"

namespace kelvane {

/// A linear gain that holds from `at` until the next one.
struct GainPoint {
    MediaTime at;
    float gain = 1;
    bool operator==(const GainPoint&) const = default;
};

/// The gains of one composition track, in order of time. Before the first point the gain is 1.
struct TrackGains {
    CompositionTrackID track = 0;
    std::vector<GainPoint> points;
    bool operator==(const TrackGains&) const = default;
};

/// How loud the tracks of a composition are. A track that is not among `tracks` has the gain 1. A plain value.
struct AudioMix {
    std::vector<TrackGains> tracks;
    bool operator==(const AudioMix&) const = default;
};

}  // namespace kelvane
