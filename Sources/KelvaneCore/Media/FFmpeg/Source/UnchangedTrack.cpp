#include "UnchangedTrack.h"

namespace kelvane {

bool isUnchanged(const FFmpegTrack& track) {
    const auto identity = FileIdentity::of(track.url());
    return identity && *identity == track.facts().identity;
}

}  // namespace kelvane
