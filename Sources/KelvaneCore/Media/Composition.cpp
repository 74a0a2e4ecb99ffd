#include "Composition.h"

#include <algorithm>

namespace kelvane {

namespace {

/// The track of that identity, or nullptr. Identities only grow, so the tracks lie sorted by them.
template <class Tracks>
auto findTrack(Tracks& tracks, CompositionTrackID id) -> decltype(tracks.data()) {
    const auto found =
        std::lower_bound(tracks.begin(), tracks.end(), id,
                         [](const CompositionTrack& track, CompositionTrackID wanted) { return track.id < wanted; });
    return found != tracks.end() && found->id == id ? &*found : nullptr;
}

/// Extends the track by silence or black up to `until`, as one segment with a gap that is there already.
void appendGap(CompositionTrack& track, MediaTime until) {
    const MediaTime end = track.end();
    if (until <= end) return;
    if (!track.segments.empty() && track.segments.back().isEmpty()) {
        MediaTimeRange& gap = track.segments.back().target;
        gap.duration = until - gap.start;
        track.segments.back().sourceRange.duration = gap.duration;
        return;
    }
    const MediaTimeRange gap{end, until - end};
    track.segments.push_back({gap, nullptr, {MediaTime{}, gap.duration}});
}

/// Whether `range` has a length and an end that a MediaTime can express.
bool hasLength(const MediaTimeRange& range) { return range.duration > MediaTime{} && range.end() > range.start; }

Error noSuchTrack() { return Error("The timeline has no such track."); }
Error noLength() { return Error("A stretch of the timeline has no length that can be played."); }
Error overlapping() { return Error("Two stretches of one track lie over each other."); }

}  // namespace

MediaTime CompositionTrack::end() const { return segments.empty() ? MediaTime{} : segments.back().target.end(); }

const CompositionSegment* CompositionTrack::segmentAt(MediaTime time) const {
    const auto behind =
        std::upper_bound(segments.begin(), segments.end(), time,
                         [](MediaTime wanted, const CompositionSegment& one) { return wanted < one.target.start; });
    if (behind == segments.begin()) return nullptr;
    const CompositionSegment& segment = *std::prev(behind);
    return segment.target.contains(time) ? &segment : nullptr;
}

const CompositionTrack* Composition::track(CompositionTrackID id) const { return findTrack(tracks_, id); }

MediaTime Composition::duration() const {
    MediaTime last;
    for (const CompositionTrack& track : tracks_) last = std::max(last, track.end());
    return last;
}

CompositionTrackID Composition::addTrack(MediaType type) {
    tracks_.push_back({nextID_, type, {}});
    return nextID_++;
}

Result<void> Composition::insert(CompositionTrackID id, MediaTrackPtr source, const MediaTimeRange& range,
                                 MediaTime at) {
    check(source != nullptr, "a composition segment without source");
    CompositionTrack* track = findTrack(tracks_, id);
    if (track == nullptr) return fail(noSuchTrack());
    check(source->type() == track->type, "a composition segment of another type than its track");
    const MediaTimeRange target{at, range.duration};
    if (!hasLength(range) || !hasLength(target)) return fail(noLength());
    if (at < track->end()) return fail(overlapping());
    appendGap(*track, at);
    track->segments.push_back({target, std::move(source), range});
    return {};
}

Result<void> Composition::insertEmpty(CompositionTrackID id, const MediaTimeRange& range) {
    CompositionTrack* track = findTrack(tracks_, id);
    if (track == nullptr) return fail(noSuchTrack());
    if (!hasLength(range)) return fail(noLength());
    if (range.start < track->end()) return fail(overlapping());
    appendGap(*track, range.end());
    return {};
}

void Composition::removeTrack(CompositionTrackID id) {
    std::erase_if(tracks_, [id](const CompositionTrack& track) { return track.id == id; });
}

}  // namespace kelvane
