#include "PictureRenderer.h"

#include <list>

#include "Media/MediaError.h"
#include "PictureScaler.h"
#include "VideoFrameReader.h"

namespace kelvane {

namespace {

/// What a picture is drawn from.
struct Shot {
    std::shared_ptr<const FFmpegTrack> track;
    MediaTime time;
    AffineTransform transform;
};

/// An opened source and the picture that it showed last.
struct OpenSource {
    std::shared_ptr<const FFmpegTrack> track;
    std::unique_ptr<VideoFrameReader> reader;
    SharedFrame frame;
    AffineTransform transform;
    SharedFrame drawn;
};

bool sameStream(const FFmpegTrack& a, const FFmpegTrack& b) {
    return a.facts().identity == b.facts().identity && a.facts().streamIndex == b.facts().streamIndex;
}

}  // namespace

struct PictureRenderer::State {
    EditedMediaPtr media;
    PictureRendererOptions options;
    PictureScaler scaler;
    SharedFrame blackFrame;
    /// The one used last comes first.
    std::list<OpenSource> sources;

    [[nodiscard]] std::optional<Shot> shotAt(MediaTime time) const;
    Result<SharedFrame> black();
    Result<OpenSource*> sourceFor(const Shot& shot, std::stop_token stop);
    Result<SharedFrame> draw(const Shot& shot, std::stop_token stop);
};

std::optional<Shot> PictureRenderer::State::shotAt(MediaTime time) const {
    const VideoInstruction* instruction = media->video.instructionAt(time);
    if (instruction == nullptr) return std::nullopt;
    for (const VideoLayerInstruction& layer : instruction->layers) {
        const CompositionTrack* track = media->composition.track(layer.track);
        const CompositionSegment* segment = track == nullptr ? nullptr : track->segmentAt(time);
        if (segment == nullptr || segment->isEmpty()) continue;
        auto source = std::dynamic_pointer_cast<const FFmpegTrack>(segment->source);
        if (!source) continue;
        return Shot{std::move(source), segment->sourceRange.start + (time - segment->target.start), layer.transform};
    }
    return std::nullopt;
}

Result<SharedFrame> PictureRenderer::State::black() {
    if (!blackFrame) {
        auto made = PictureScaler::black(media->video.renderSize);
        if (!made) return made;
        blackFrame = std::move(*made);
    }
    return blackFrame;
}

Result<OpenSource*> PictureRenderer::State::sourceFor(const Shot& shot, std::stop_token stop) {
    for (auto it = sources.begin(); it != sources.end(); ++it) {
        if (!sameStream(*it->track, *shot.track)) continue;
        sources.splice(sources.begin(), sources, it);
        return &sources.front();
    }
    // Before the new one opens, so that no more than `openSources` decoders ever hold memory.
    while (!sources.empty() && sources.size() >= static_cast<std::size_t>(std::max(options.openSources, 1)))
        sources.pop_back();
    auto reader = VideoFrameReader::open(
        shot.track, {.threads = options.decoderThreads, .skipUnneeded = options.skipUnneeded}, std::move(stop));
    if (!reader) {
        if (reader.error().isCancelled()) return fail(reader.error());
        return fail(MediaError::invalidClip(shot.track->url().baseName()));
    }
    sources.push_front({.track = shot.track, .reader = std::move(*reader)});
    return &sources.front();
}

Result<SharedFrame> PictureRenderer::State::draw(const Shot& shot, std::stop_token stop) {
    const auto found = sourceFor(shot, stop);
    if (!found) return fail(found.error());
    OpenSource& source = **found;

    auto frame = source.reader->frame(shot.time, stop);
    if (!frame) return fail(stop.stop_requested() ? Error::cancelled() : frame.error());
    const SharedFrame& shown = *frame;
    if (!shown) return black();
    if (shown == source.frame && source.drawn && shot.transform == source.transform) return source.drawn;

    const auto natural = shot.track->loadNaturalSize();
    auto drawn = natural ? scaler.draw(*shown, *natural, shot.transform, media->video.renderSize)
                         : Result<SharedFrame>(fail(natural.error()));
    // As does a picture in a form that nothing here can draw.
    if (!drawn) return source.drawn && shot.transform == source.transform ? Result<SharedFrame>(source.drawn) : black();
    source.frame = shown;
    source.transform = shot.transform;
    source.drawn = *drawn;
    return source.drawn;
}

PictureRenderer::PictureRenderer(EditedMediaPtr media, PictureRendererOptions options)
    : state_(std::make_unique<State>()) {
    state_->media = std::move(media);
    state_->options = options;
}

PictureRenderer::~PictureRenderer() = default;

Result<SharedFrame> PictureRenderer::picture(MediaTime time, std::stop_token stop) {
    if (stop.stop_requested()) return fail(Error::cancelled());
    const std::optional<Shot> shot = state_->shotAt(time);
    return shot ? state_->draw(*shot, stop) : state_->black();
}

}  // namespace kelvane
