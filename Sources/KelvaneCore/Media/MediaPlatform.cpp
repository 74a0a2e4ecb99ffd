#include "MediaPlatform.h"

namespace kelvane {

std::optional<CompositionTrackID> MediaPlatform::addMutableTrack(Composition& composition, MediaType type) {
    return composition.addTrack(type);
}

Result<void> MediaPlatform::insertTimeRange(Composition& composition, CompositionTrackID track,
                                            const MediaTrackPtr& source, const MediaTimeRange& range, MediaTime at) {
    return composition.insert(track, source, range, at);
}

Result<void> MediaPlatform::insertEmptyTimeRange(Composition& composition, CompositionTrackID track,
                                                 const MediaTimeRange& range) {
    return composition.insertEmpty(track, range);
}

void MediaPlatform::removeTrack(Composition& composition, CompositionTrackID track) { composition.removeTrack(track); }

}  // namespace kelvane
