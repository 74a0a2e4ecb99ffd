#pragma once

#include <memory>

#include "AudioMix.h"
#include "Composition.h"
#include "VideoComposition.h"

namespace kelvane {

/// One timeline as media that can be played, rendered frame by frame or exported. A plain value, never changed after
/// the build; shared by pointer because a timeline can hold a thousand segments.
struct EditedMedia {
    Composition composition;
    VideoComposition video;
    AudioMix audio;
    bool operator==(const EditedMedia&) const = default;
};
using EditedMediaPtr = std::shared_ptr<const EditedMedia>;

}  // namespace kelvane
