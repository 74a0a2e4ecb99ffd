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
    const MediaTime frame = hoverFrameTime(time, asset->duration());
    set(hoverPreview_, HoverPreview{id, frame.seconds()}, State::position);
    if (!hoverPlayer_) return;
    if (cachedHoverAssetID_ == id && hoverPlayer_->item() != nullptr) {
        hoverPlayer_->cancelPendingSeeks();
        hoverPlayer_->seek(frame.seconds());
        return;
    }
    // One that is being built for this asset takes the latest place when it is done.
    if (cachedHoverAssetID_ == id && hoverTask_.stop_possible() && !hoverTask_.stop_requested()) return;
    dropHoverItem();
    cachedHoverAssetID_ = id;
    hoverTask_ = std::stop_source();
    buildHover(weak_from_this(), services_.context, services_.media, *asset, hoverTask_.get_token());
}

QCoro::Task<void> Editor::buildHover(std::weak_ptr<Editor> weak, MainContext* context, MediaPlatform* media, Clip asset,
                                     std::stop_token stop) {
    auto work = [media, asset, stop] {
        return MediaEngine::build(*media, std::vector<Clip>(1, asset), Framing::size, MediaEngine::previewFrame, stop);
    };
    auto background = inBackground(*context, std::move(work), Lane::playback);
    const Result<EditedMediaPtr> built = co_await background;
    const std::shared_ptr<Editor> self = weak.lock();
    if (self && !stop.stop_requested()) self->showBuiltHover(asset.id, built);
}

void Editor::showBuiltHover(const UUID& assetID, const Result<EditedMediaPtr>& built) {
    hoverTask_ = std::stop_source(std::nostopstate);
    if (cachedHoverAssetID_ != assetID || !hoverPlayer_) return;
    if (!built) {
        if (!built.error().isCancelled()) setError(built.error().message);
        return;
    }
    hoverPlayer_->replaceItem(*built);
    if (assetHoverID() == assetID) hoverPlayer_->seek(hoverPreview_->time);
}

void Editor::endHoverPreview() {
    if (!hoverPreview_) return;
    set(hoverPreview_, std::nullopt, State::position);
    if (hoverPlayer_) hoverPlayer_->cancelPendingSeeks();
}

void Editor::dropHoverItem() {
    hoverTask_.request_stop();
    hoverTask_ = std::stop_source(std::nostopstate);
    cachedHoverAssetID_.reset();
    if (!hoverPlayer_) return;
    hoverPlayer_->cancelPendingSeeks();
    hoverPlayer_->replaceItem(nullptr);
}

}  // namespace kelvane
