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

/// The moment whose picture shows at `time`: `time` itself, but in a sliver the last moment of the picture before it. A
/// sliver is a stretch without picture, behind one, that is shorter than a frame, or that nothing sounds in and that is
/// no longer than what comes together when each length is rounded to 1/600 s. Every reader of pictures goes by this, so
/// that a still, a preview and an export show the same. Logarithmic where there is a picture.
[[nodiscard]] MediaTime picturedTime(const EditedMedia& media, MediaTime time);

}  // namespace kelvane
