#include <algorithm>
#include <cmath>
#include <utility>

#include "Editor.h"
#include "SourcesAhead.h"
#include "Timeline/Framing.h"

namespace kelvane {

namespace {

/// Pause after a change before the preview is built, so that a burst of edits costs one build.
constexpr std::chrono::milliseconds previewPause{180};
/// Play this close to the end, seconds, begins again.
constexpr double endMargin = 0.03;

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
    if (shown) {
        makePlayers();
        openSourcesAhead(*services_.context, *services_.media, clips_, weak_from_this());
    }
    rebuildPreview();
    if (!shown) dropPlayers();
    reloadThumbnails();
}

void Editor::makePlayers() {
    player_ = services_.makePlayer(PlayerRole::main);
    hoverPlayer_ = services_.makePlayer(PlayerRole::hover);
    const auto weak = weak_from_this();
    player_->setTimeObserver(std::chrono::nanoseconds(std::chrono::seconds(1)) / MediaEngine::previewFrame.timescale,
                             [weak](double seconds) {
                                 if (const auto self = weak.lock()) self->followPlayer(seconds);
                             });
    player_->setEndObserver([weak](const EditedMediaPtr& item) {
        const auto self = weak.lock();
        if (self && self->player_ && item == self->player_->item()) self->set(self->isPlaying_, false, State::position);
    });
    Q_EMIT playersChanged();
}

void Editor::dropPlayers() {
    const auto player = std::exchange(player_, nullptr);
    const auto hoverPlayer = std::exchange(hoverPlayer_, nullptr);
    Q_EMIT playersChanged();
}

void Editor::followPlayer(double seconds) {
    if (isBuilding_ || isRecording_ || !player_) return;
    // A player that a failed build has emptied stands nowhere.
    if (std::isfinite(seconds) && player_->item() != nullptr) {
        const double position = std::clamp(seconds, 0.0, std::max(previewDuration(), 0.0));
        set(previewAssetID_ ? assetPlayhead_ : playhead_, position, State::position);
    }
    set(isPlaying_, player_->rate() > 0, State::position);
}

void Editor::replacePlayerItem(EditedMediaPtr item) {
    if (player_) player_->replaceItem(std::move(item));
}

void Editor::pausePlayer() {
    if (player_) player_->pause();
    set(isPlaying_, false, State::position);
}

void Editor::rebuildPreview() {
    endHoverPreview();
    dropHoverItem();
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
    auto background = inBackground(*context, std::move(work), Lane::playback);
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
    replacePlayerItem(*built);
    if (isRecording_) {
        if (player_) player_->seek(MediaTime::fromSeconds(playhead_).seconds());
        return playBesideTake();
    }
    // The last frame begins one frame before the end.
    const double lastFrame = std::max(previewDuration() - MediaEngine::previewFrame.seconds(), 0.0);
    seekPreview(std::min(previewPlayhead(), lastFrame));
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

void Editor::showTimelinePreview() {
    endHoverPreview();
    leaveAssetPreview();
}

void Editor::seekPreview(double seconds) {
    if (isRecording_ || std::isnan(seconds)) return;
    endHoverPreview();
    pausePlayer();
    const double position = std::clamp(seconds, 0.0, std::max(previewDuration(), 0.0));
    set(previewAssetID_ ? assetPlayhead_ : playhead_, position, State::position);
    if (player_ && !isBuilding_) player_->seek(MediaTime::fromSeconds(position).seconds());
}

void Editor::togglePlayback() {
    if (isRecording_) return stopRecording();
    endHoverPreview();
    if (!hasPreview() || isBuilding_ || busy()) return;
    if (isPlaying_) return pausePlayer();
    if (previewDuration() - endMargin <= previewPlayhead()) seekPreview(0);
    if (player_) player_->play();
    set(isPlaying_, true, State::position);
}

bool Editor::rewindTimeline() {
    if (busy() || isBuilding_ || interactionSnapshot_ || previewAssetID_ || clips_->empty()) return false;
    seekPreview(0);
    return true;
}

bool Editor::isAudioPreview() const {
    const auto hovered = assetHoverID();
    const auto asset = hovered ? std::ranges::find(*assets_, *hovered, &Clip::id) : assets_->end();
    if (asset != assets_->end()) return asset->isAudio();
    if (const Clip* previewed = previewAsset()) return previewed->isAudio();
    // The frame at a trimmed edge is a picture, wherever the playhead is.
    if (hoverPreview_) return false;
    if (std::ranges::none_of(*clips_, &Clip::isAudio)) return false;
    const double video = placement().videoEnd();
    return video == 0 || video <= playhead_;
}

}  // namespace kelvane
