#include <algorithm>
#include <cmath>
#include <utility>

#include "Editor.h"
#include "Timeline/Framing.h"

namespace kelvane {

namespace {

/// Pause after a change before the preview is built, so that a burst of edits costs one build.
constexpr std::chrono::milliseconds previewPause{180};

}  // namespace

const Clip* Editor::previewAsset() const {
    if (!previewAssetID_) return nullptr;
    const auto found = std::ranges::find(*assets_, *previewAssetID_, &Clip::id);
    return found == assets_->end() ? nullptr : &*found;
}

bool Editor::hasPreview() const { return previewAsset() != nullptr || !clips_->empty(); }

double Editor::previewDuration() const {
    const Clip* asset = previewAsset();
    return asset != nullptr ? asset->duration() : placement().duration();
}

double Editor::previewPlayhead() const { return previewAssetID_ ? assetPlayhead_ : playhead_; }

void Editor::setShown(bool shown) {
    if (shown == isShown_) return;
    isShown_ = shown;
    if (shown) player_ = services_.makePlayer();
    rebuildPreview();
    if (!shown) player_.reset();
    reloadThumbnails();
}

void Editor::replacePlayerItem(EditedMediaPtr item) {
    if (player_) player_->replaceItem(std::move(item));
}

void Editor::pausePlayer() {
    if (player_) player_->pause();
    set(isPlaying_, false, State::position);
}

void Editor::rebuildPreview() {
    previewTask_.request_stop();
    previewTimer_.cancel();
    pausePlayer();
    const Clip* asset = previewAsset();
    ClipArray shown = asset != nullptr ? std::make_shared<const std::vector<Clip>>(1, *asset) : clips_;
    if (shown->empty()) {
        replacePlayerItem(nullptr);
        set(playhead_, 0, State::position);
        set(isBuilding_, false, State::work);
        return;
    }
    set(isBuilding_, isShown_, State::work);
    if (!isShown_) return;
    previewTask_ = std::stop_source();
    auto build = [weak = weak_from_this(), context = services_.context, media = services_.media,
                  shown = std::move(shown),
                  stop = previewTask_.get_token()] { buildPreview(weak, context, media, shown, stop); };
    previewTimer_ = services_.context->after(previewPause, std::move(build));
}

QCoro::Task<void> Editor::buildPreview(std::weak_ptr<Editor> weak, MainContext* context, MediaPlatform* media,
                                       ClipArray clips, std::stop_token stop) {
    auto work = [media, clips, stop] {
        return MediaEngine::build(*media, *clips, Framing::size, MediaEngine::previewFrame, stop);
    };
    auto background = inBackground(*context, std::move(work));
    const Result<EditedMediaPtr> built = co_await background;
    const std::shared_ptr<Editor> self = weak.lock();
    if (self && !stop.stop_requested()) self->showBuiltPreview(built);
}

void Editor::showBuiltPreview(const Result<EditedMediaPtr>& built) {
    if (!built && built.error().isCancelled()) return;
    set(isBuilding_, false, State::work);
    if (!built) {
        replacePlayerItem(nullptr);
        setError(built.error().message);
        return;
    }
    // The last frame begins one frame before the end.
    const double lastFrame = std::max(previewDuration() - MediaEngine::previewFrame.seconds(), 0.0);
    const double target = std::min(previewPlayhead(), lastFrame);
    replacePlayerItem(*built);
    seekPreview(target);
}

void Editor::showAssetPreview(const UUID& assetID) {
    const UUID id = assetID;
    if (busy() || std::ranges::find(*assets_, id, &Clip::id) == assets_->end()) return;
    setSelection(std::nullopt);
    set(selectedAssetIDs_, {id}, State::selection);
    set(previewAssetID_, id, State::selection);
    set(assetPlayhead_, 0, State::position);
    rebuildPreview();
}

void Editor::showTimelinePreview() { leaveAssetPreview(); }

void Editor::seekPreview(double seconds) {
    if (isRecording_ || std::isnan(seconds)) return;
    pausePlayer();
    const double position = std::clamp(seconds, 0.0, std::max(previewDuration(), 0.0));
    set(previewAssetID_ ? assetPlayhead_ : playhead_, position, State::position);
    if (player_ && !isBuilding_) player_->seek(MediaTime::fromSeconds(position).seconds());
}

}  // namespace kelvane
