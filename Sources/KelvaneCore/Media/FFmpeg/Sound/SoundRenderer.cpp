#include "SoundRenderer.h"

extern "C" {
#include <libavutil/mathematics.h>
}

#include <algorithm>
#include <list>
#include <vector>

#include "Media/FFmpeg/Source/UnchangedTrack.h"
#include "Media/MediaError.h"
#include "SoundReaderPool.h"

namespace kelvane {

namespace {

/// Readers kept open besides those that sound at the moment; the one used longest ago closes first.
constexpr std::size_t keptReaders = 4;
/// Readers open at once, whatever sounds; with more the same ones close and open again.
constexpr std::size_t mostReaders = 64;
/// Samples mixed at a time.
constexpr std::int64_t mixStretch = 4096;

std::int64_t samplesAt(MediaTime time) {
    return av_rescale_rnd(time.value, soundSampleRate, std::max(time.timescale, 1), AV_ROUND_NEAR_INF);
}

}  // namespace

struct SoundRenderer::State {
    /// A reader belongs to one track of the composition, so that two overlays of one file don't pull it to and fro.
    struct Open {
        CompositionTrackID track = 0;
        std::shared_ptr<const FFmpegTrack> source;
        std::unique_ptr<SoundReader> reader;
        std::int64_t usedAt = 0;
    };

    State(EditedMediaPtr edited, std::shared_ptr<SoundReaderPool> pool)
        : media(std::move(edited)), readers(std::move(pool)) {}
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
        while (!open.empty()) closeOldest();
    }

    Result<void> mix(const CompositionTrack& track, std::int64_t first, std::span<float> out, std::stop_token stop);
    Result<void> mixSegment(const CompositionTrack& track, const CompositionSegment& segment, std::int64_t first,
                            std::span<float> out, std::stop_token stop);
    Result<SoundReader*> reader(CompositionTrackID track, const MediaTrackPtr& source, std::stop_token stop);
    Result<std::unique_ptr<SoundReader>> newReader(const std::shared_ptr<const FFmpegTrack>& source,
                                                   std::stop_token stop);
    void closeOldest();
    /// The failure of a source, unless a player passes over it.
    [[nodiscard]] Result<void> judged(Error failure, const MediaTrack& source) const;
    void applyGains(CompositionTrackID track, std::int64_t first, std::span<const float> in,
                    std::span<float> out) const;
    [[nodiscard]] bool isSilent(CompositionTrackID track, std::int64_t first, std::int64_t count) const;
    [[nodiscard]] std::span<const GainPoint> gains(CompositionTrackID track) const;

    EditedMediaPtr media;
    std::shared_ptr<SoundReaderPool> readers;
    /// Most recently used first.
    std::list<Open> open;
    std::int64_t now = 0;
    std::vector<float> buffer;
};

SoundRenderer::SoundRenderer(EditedMediaPtr media, std::shared_ptr<SoundReaderPool> readers)
    : state_(std::make_unique<State>(std::move(media), std::move(readers))) {}
SoundRenderer::~SoundRenderer() = default;

Result<void> SoundRenderer::render(std::int64_t first, std::span<float> out, std::stop_token stop) {
    std::ranges::fill(out, 0.0F);
    const auto count = static_cast<std::int64_t>(out.size() / 2);
    for (std::int64_t done = 0; done < count; done += mixStretch) {
        const auto part = std::min(mixStretch, count - done);
        const auto stretch = out.subspan(static_cast<std::size_t>(done) * 2, static_cast<std::size_t>(part) * 2);
        ++state_->now;
        for (const auto& track : state_->media->composition.tracks()) {
            if (stop.stop_requested()) return fail(Error::cancelled());
            if (track.type != MediaType::audio) continue;
            if (auto mixed = state_->mix(track, first + done, stretch, stop); !mixed) return mixed;
        }
    }
    return {};
}

Result<void> SoundRenderer::State::mix(const CompositionTrack& track, std::int64_t first, std::span<float> out,
                                       std::stop_token stop) {
    const std::int64_t end = first + static_cast<std::int64_t>(out.size() / 2);
    auto segment = std::ranges::upper_bound(track.segments, first, {},
                                            [](const CompositionSegment& s) { return samplesAt(s.target.end()); });
    for (; segment != track.segments.end(); ++segment) {
        const std::int64_t from = std::max(first, samplesAt(segment->target.start));
        const std::int64_t to = std::min(end, samplesAt(segment->target.end()));
        if (from >= end) break;
        if (segment->isEmpty() || from >= to || isSilent(track.id, from, to - from)) continue;
        const auto part =
            out.subspan(static_cast<std::size_t>(from - first) * 2, static_cast<std::size_t>(to - from) * 2);
        if (auto mixed = mixSegment(track, *segment, from, part, stop); !mixed) return mixed;
    }
    return {};
}

Result<void> SoundRenderer::State::mixSegment(const CompositionTrack& track, const CompositionSegment& segment,
                                              std::int64_t first, std::span<float> out, std::stop_token stop) {
    auto found = reader(track.id, segment.source, stop);
    if (!found) return judged(found.error(), *segment.source);
    const std::int64_t offset = first - samplesAt(segment.target.start);
    buffer.resize(out.size());
    if (auto read = (*found)->read(samplesAt(segment.sourceRange.start) + offset, buffer, stop); !read)
        return judged(read.error(), *segment.source);
    applyGains(track.id, first, buffer, out);
    return {};
}

Result<SoundReader*> SoundRenderer::State::reader(CompositionTrackID track, const MediaTrackPtr& source,
                                                  std::stop_token stop) {
    auto found =
        std::ranges::find_if(open, [&](const Open& entry) { return entry.track == track && entry.source == source; });
    // An open file outlives its name: a player mustn't sound what an export no longer finds.
    if (found != open.end() && readers && !isUnchanged(*found->source)) {
        open.erase(found);
        found = open.end();
    }
    if (found != open.end()) {
        open.splice(open.begin(), open, found);
    } else {
        auto facts = std::dynamic_pointer_cast<const FFmpegTrack>(source);
        if (!facts) return fail(MediaError::invalidClip(source->url().baseName()));
        while (open.size() >= mostReaders || (open.size() >= keptReaders && open.back().usedAt + 1 < now))
            closeOldest();
        auto made = newReader(facts, std::move(stop));
        if (!made) return fail(made.error());
        open.push_front(Open{track, std::move(facts), std::move(*made), now});
    }
    open.front().usedAt = now;
    return open.front().reader.get();
}

Result<std::unique_ptr<SoundReader>> SoundRenderer::State::newReader(const std::shared_ptr<const FFmpegTrack>& source,
                                                                     std::stop_token stop) {
    return readers ? readers->take(source, std::move(stop)) : SoundReader::open(source, std::move(stop));
}

void SoundRenderer::State::closeOldest() {
    Open& oldest = open.back();
    if (readers) readers->giveBack(std::move(oldest.source), std::move(oldest.reader));
    open.pop_back();
}

Result<void> SoundRenderer::State::judged(Error failure, const MediaTrack& source) const {
    if (readers && failure == MediaError::invalidClip(source.url().baseName())) return {};
    return fail(std::move(failure));
}

std::span<const GainPoint> SoundRenderer::State::gains(CompositionTrackID track) const {
    const auto& all = media->audio.tracks;
    const auto found = std::ranges::find(all, track, &TrackGains::track);
    return found == all.end() ? std::span<const GainPoint>() : std::span(found->points);
}

/// Calls `body(from, to, gain)` for each stretch of equal gain in [first, first + count).
template <class Body>
static void forEachGain(std::span<const GainPoint> points, std::int64_t first, std::int64_t count, Body body) {
    auto next = std::ranges::upper_bound(points, first, {}, [](const GainPoint& point) { return samplesAt(point.at); });
    float gain = next == points.begin() ? 1.0F : std::prev(next)->gain;
    std::int64_t from = first;
    const std::int64_t end = first + count;
    while (from < end) {
        const std::int64_t to = next == points.end() ? end : std::min(end, samplesAt(next->at));
        if (to > from) {
            body(from, to, gain);
            from = to;
        }
        if (next != points.end() && from < end) {
            gain = next->gain;
            ++next;
        }
    }
}

bool SoundRenderer::State::isSilent(CompositionTrackID track, std::int64_t first, std::int64_t count) const {
    bool silent = true;
    forEachGain(gains(track), first, count,
                [&](std::int64_t, std::int64_t, float gain) { silent = silent && gain == 0.0F; });
    return silent;
}

void SoundRenderer::State::applyGains(CompositionTrackID track, std::int64_t first, std::span<const float> in,
                                      std::span<float> out) const {
    forEachGain(gains(track), first, static_cast<std::int64_t>(out.size() / 2),
                [&](std::int64_t from, std::int64_t to, float gain) {
                    for (auto i = static_cast<std::size_t>(from - first) * 2;
                         i < static_cast<std::size_t>(to - first) * 2; ++i)
                        out[i] += in[i] * gain;
                });
}

}  // namespace kelvane
