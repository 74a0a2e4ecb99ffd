#include <algorithm>
#include <cmath>
#include <utility>

#include "Editor.h"
#include "Timeline/Framing.h"

namespace kelvane {

MediaTime Editor::hoverFrameTime(double time, double duration) {
    const double rate = MediaEngine::previewFrame.timescale;
    const double last = std::max(std::ceil(duration * rate) - 1, 0.0);
    return {static_cast<std::int64_t>(std::clamp(std::floor(time * rate), 0.0, last)),
            MediaEngine::previewFrame.timescale};
}

std::optional<UUID> Editor::assetHoverID() const { return hoverPreview_ ? hoverPreview_->assetID : std::nullopt; }

std::optional<double> Editor::assetHoverTime() const {
    return assetHoverID() ? std::optional(hoverPreview_->time) : std::nullopt;
}

void Editor::previewAssetHover(const UUID& assetID, double fraction) {
    const UUID id = assetID;
    const auto asset = std::ranges::find(*assets_, id, &Clip::id);
    if (!std::isfinite(fraction) || busy() || isPlaying_ || asset == assets_->end()) return;
    const double time = std::clamp(fraction, 0.0, 1.0) * asset->duration();
    const double frame = hoverFrameTime(time, asset->duration()).seconds();
    hover({true, id}, *asset, {id, frame}, frame);
}

void Editor::previewTrimHover(const Clip& draft, TrimEdge edge) {
    if (busy() || isPlaying_ || draft.isAudio()) return;
    const double start = offset(draft.id);
    const double end = start + draft.duration();
    const double frame = hoverFrameTime(edge == TrimEdge::start ? start : end, end).seconds();
    // Of the whole source, so that one build serves all steps.
    Clip whole = draft;
    whole.start = 0;
    whole.end = whole.sourceDuration;
    const double place = edge == TrimEdge::start ? draft.start : std::max(draft.start + frame - start, draft.start);
    hover({false, draft.id}, whole, {std::nullopt, frame}, place);
}

void Editor::hover(const HoverSource& source, const Clip& clip, const HoverPreview& preview, double seconds) {
    set(hoverPreview_, preview, State::position);
    hoverTime_ = seconds;
    if (!hoverPlayer_) return;
    if (hoverSource_ == source && hoverPlayer_->item() != nullptr) {
        hoverPlayer_->cancelPendingSeeks();
        hoverPlayer_->seek(seconds);
        return;
    }
    // One that is being built for this source takes the latest place when it is done.
    if (hoverSource_ == source && hoverTask_.stop_possible() && !hoverTask_.stop_requested()) return;
    dropHoverItem();
    hoverSource_ = source;
    hoverTask_ = std::stop_source();
    buildHover(weak_from_this(), services_.context, services_.media, clip, source, hoverTask_.get_token());
}

QCoro::Task<void> Editor::buildHover(std::weak_ptr<Editor> weak, MainContext* context, MediaPlatform* media, Clip clip,
                                     HoverSource source, std::stop_token stop) {
    auto work = [media, clip, stop] {
        return MediaEngine::build(*media, std::vector<Clip>(1, clip), Framing::size, MediaEngine::previewFrame, stop);
    };
    auto background = inBackground(*context, std::move(work), Lane::playback);
    const Result<EditedMediaPtr> built = co_await background;
    const std::shared_ptr<Editor> self = weak.lock();
    if (self && !stop.stop_requested()) self->showBuiltHover(source, built);
}

void Editor::showBuiltHover(const HoverSource& source, const Result<EditedMediaPtr>& built) {
    // What failed in the middle of a trim counts as being built: its next steps don't try it again.
    if (built || source.isAsset) hoverTask_ = std::stop_source(std::nostopstate);
    if (hoverSource_ != source || !hoverPlayer_) return;
    if (!built) {
        if (source.isAsset && !built.error().isCancelled()) setError(built.error().message);
        return;
    }
    hoverPlayer_->replaceItem(*built);
    const bool isWanted = source.isAsset ? assetHoverID() == source.id : hoverPreview_ && !assetHoverID();
    if (isWanted) hoverPlayer_->seek(hoverTime_);
}

void Editor::endHoverPreview() {
    if (!hoverPreview_) return;
    set(hoverPreview_, std::nullopt, State::position);
    if (hoverPlayer_) hoverPlayer_->cancelPendingSeeks();
}

void Editor::dropHoverItem() {
    hoverTask_.request_stop();
    hoverTask_ = std::stop_source(std::nostopstate);
    hoverSource_.reset();
    if (!hoverPlayer_) return;
    hoverPlayer_->cancelPendingSeeks();
    hoverPlayer_->replaceItem(nullptr);
}

}  // namespace kelvane
