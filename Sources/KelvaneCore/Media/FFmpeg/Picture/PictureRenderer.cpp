#include "PictureRenderer.h"

#include <list>

#include "Media/FFmpeg/Source/SourceFile.h"
#include "Media/FFmpeg/Source/VideoFrameReader.h"
#include "Media/MediaError.h"
#include "PictureScaler.h"

namespace kelvane {

namespace {

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

    [[nodiscard]] Size canvas() const { return options.canvas.value_or(media->video.renderSize); }
    [[nodiscard]] AffineTransform onCanvas(const AffineTransform& transform) const;
    Result<SharedFrame> black();
    Result<OpenSource*> sourceFor(const PictureOrigin& shot, std::stop_token stop);
    Result<SharedFrame> draw(const PictureOrigin& shot, std::stop_token stop);
};

std::optional<PictureOrigin> PictureRenderer::originOf(const EditedMedia& media, MediaTime time) {
    time = picturedTime(media, time);
    const VideoInstruction* instruction = media.video.instructionAt(time);
    if (instruction == nullptr) return std::nullopt;
    for (const VideoLayerInstruction& layer : instruction->layers) {
        const CompositionTrack* track = media.composition.track(layer.track);
        const CompositionSegment* segment = track == nullptr ? nullptr : track->segmentAt(time);
        if (segment == nullptr || segment->isEmpty()) continue;
        auto source = std::dynamic_pointer_cast<const FFmpegTrack>(segment->source);
        if (!source) continue;
        return PictureOrigin{std::move(source), segment->sourceRange.start + (time - segment->target.start),
                             layer.transform};
    }
    return std::nullopt;
}

AffineTransform PictureRenderer::State::onCanvas(const AffineTransform& transform) const {
    if (!options.canvas) return transform;
    const Size size = media->video.renderSize;
    return transform.then(
        AffineTransform::scaling(options.canvas->width / size.width, options.canvas->height / size.height));
}

Result<SharedFrame> PictureRenderer::State::black() {
    if (!blackFrame) {
        auto made = PictureScaler::black(canvas());
        if (!made) return made;
        blackFrame = std::move(*made);
    }
    return blackFrame;
}

Result<OpenSource*> PictureRenderer::State::sourceFor(const PictureOrigin& shot, std::stop_token stop) {
    for (auto it = sources.begin(); it != sources.end(); ++it) {
        if (!sameStream(*it->track, *shot.track)) continue;
        sources.splice(sources.begin(), sources, it);
        return &sources.front();
    }
    // Before the new one opens, so that no more than `openSources` decoders ever hold memory.
    while (!sources.empty() && sources.size() >= static_cast<std::size_t>(std::max(options.openSources, 1)))
        sources.pop_back();
    VideoFrameReaderOptions decoding{.threads = options.decoderThreads, .skipUnneeded = options.skipUnneeded};
    decoding.bytesAhead = options.bytesAhead.value_or(decoding.bytesAhead);
    auto reader = VideoFrameReader::open(shot.track, decoding, std::move(stop));
    if (!reader) {
        if (reader.error().isCancelled() || isShortage(reader.error())) return fail(reader.error());
        return fail(MediaError::invalidClip(shot.track->url().baseName()));
    }
    sources.push_front({.track = shot.track, .reader = std::move(*reader)});
    return &sources.front();
}

Result<SharedFrame> PictureRenderer::State::draw(const PictureOrigin& shot, std::stop_token stop) {
    const auto found = sourceFor(shot, stop);
    if (!found) return fail(found.error());
    OpenSource& source = **found;

    auto frame = source.reader->frame(shot.time, stop);
    if (!frame) return fail(stop.stop_requested() ? Error::cancelled() : frame.error());
    const SharedFrame& shown = *frame;
    // A film that is black from end to end would tell nobody why.
    if (!shown && source.reader->isUndecodable()) return fail(source.reader->undecodable());
    if (!shown) return black();
    if (shown == source.frame && source.drawn && shot.transform == source.transform) return source.drawn;

    const auto natural = shot.track->loadNaturalSize();
    auto drawn = natural ? scaler.draw(*shown, *natural, onCanvas(shot.transform), canvas())
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
    const std::optional<PictureOrigin> shot = originOf(*state_->media, time);
    return shot ? state_->draw(*shot, stop) : state_->black();
}

Result<std::optional<std::int64_t>> PictureRenderer::decodingStart(MediaTime time, std::stop_token stop) {
    if (stop.stop_requested()) return fail(Error::cancelled());
    const std::optional<PictureOrigin> shot = originOf(*state_->media, time);
    if (!shot) return std::nullopt;
    const auto source = state_->sourceFor(*shot, std::move(stop));
    if (!source) return fail(source.error());
    return (*source)->reader->decodingStart(shot->time);
}

}  // namespace kelvane
