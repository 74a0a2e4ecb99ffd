#include "PictureRenderer.h"

#include <list>

#include "Media/FFmpeg/Source/SourceFile.h"
#include "Media/FFmpeg/Source/VideoFrameReader.h"
#include "Media/MediaError.h"

namespace kelvane {

namespace {

/// An opened source and the picture that it showed last.
struct OpenSource {
    std::shared_ptr<const FFmpegTrack> track;
    std::unique_ptr<VideoFrameReader> reader;
    PaintedFrame painted;
};

bool sameStream(const FFmpegTrack& a, const FFmpegTrack& b) {
    return a.facts().identity == b.facts().identity && a.facts().streamIndex == b.facts().streamIndex;
}

}  // namespace

struct PictureRenderer::State {
    State(EditedMediaPtr edited, PictureRendererOptions chosen)
        : media(std::move(edited)),
          options(chosen),
          painter(media->video.renderSize, options.canvas.value_or(media->video.renderSize)) {}

    EditedMediaPtr media;
    PictureRendererOptions options;
    PicturePainter painter;
    /// The one used last comes first.
    std::list<OpenSource> sources;

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
                             layer.transform, segment->target.start, segment->sourceRange.start};
    }
    return std::nullopt;
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
    return painter.paint(shot, shown, source.painted);
}

PictureRenderer::PictureRenderer(EditedMediaPtr media, PictureRendererOptions options)
    : state_(std::make_unique<State>(std::move(media), options)) {}

PictureRenderer::~PictureRenderer() = default;

Result<SharedFrame> PictureRenderer::picture(MediaTime time, std::stop_token stop) {
    if (stop.stop_requested()) return fail(Error::cancelled());
    const std::optional<PictureOrigin> shot = originOf(*state_->media, time);
    return shot ? state_->draw(*shot, stop) : state_->painter.black();
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
