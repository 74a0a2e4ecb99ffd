#pragma once

#include <optional>
#include <vector>

#include "MediaAsset.h"

namespace kelvane {

/// Identity of a track within one composition; 0 is never used.
using CompositionTrackID = int;

/// A stretch of a composition track: a source range, or a gap.
struct CompositionSegment {
    /// Where it lies in the composition.
    MediaTimeRange target;
    /// The source track; none for a gap.
    MediaTrackPtr source;
    /// Which part of the source plays; of the same duration as `target`.
    MediaTimeRange sourceRange;

    [[nodiscard]] bool isEmpty() const { return source == nullptr; }
    bool operator==(const CompositionSegment&) const = default;
};

struct CompositionTrack {
    CompositionTrackID id = 0;
    MediaType type = MediaType::video;
    /// In order, without holes: a segment starts where the one before ends, the first at zero.
    std::vector<CompositionSegment> segments;

    [[nodiscard]] MediaTime end() const;
    /// The segment that holds `time`, or nullptr. Logarithmic.
    [[nodiscard]] const CompositionSegment* segmentAt(MediaTime time) const;
    bool operator==(const CompositionTrack&) const = default;
};

/// A flat edit: which source range plays on which track, when. A plain value; source tracks are shared.
class Composition {
public:
    [[nodiscard]] const std::vector<CompositionTrack>& tracks() const { return tracks_; }
    [[nodiscard]] const CompositionTrack* track(CompositionTrackID id) const;
    /// End of the track that ends last.
    [[nodiscard]] MediaTime duration() const;

    CompositionTrackID addTrack(MediaType type);
    /// Places `range` of `source` at `at`. A gap is added when the track ends before `at`; `at` before the track's end
    /// fails, as does a range of no duration.
    Result<void> insert(CompositionTrackID id, MediaTrackPtr source, const MediaTimeRange& range, MediaTime at);
    /// Places a gap at the end of the track; `range.start` must not lie before it.
    Result<void> insertEmpty(CompositionTrackID id, const MediaTimeRange& range);
    void removeTrack(CompositionTrackID id);

    bool operator==(const Composition&) const = default;

private:
    std::vector<CompositionTrack> tracks_;
    CompositionTrackID nextID_ = 1;
};

}  // namespace kelvane
