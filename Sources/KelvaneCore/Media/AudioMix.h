#pragma once

#include <vector>

#include "Composition.h"

namespace kelvane {

/// A linear gain that holds from `at` until the next one.
struct VolumePoint {
    MediaTime at;
    float volume = 1;
    bool operator==(const VolumePoint&) const = default;
};

/// The gains of one composition track, in order of time. Before the first point the gain is 1.
struct AudioMixParameters {
    CompositionTrackID track = 0;
    std::vector<VolumePoint> volumes;
    bool operator==(const AudioMixParameters&) const = default;
};

struct AudioMix {
    std::vector<AudioMixParameters> inputParameters;
    bool operator==(const AudioMix&) const = default;
};

}  // namespace kelvane
