#include <algorithm>
#include <cmath>
#include <utility>

#include "Editor.h"
#include "Timeline/TimelineLayout.h"

namespace kelvane {

namespace {

std::ptrdiff_t indexOf(const std::vector<Clip>& clips, const UUID& id) {
    const auto found = std::ranges::find(clips, id, &Clip::id);
    return found == clips.end() ? -1 : found - clips.begin();
}

}  // namespace

bool Editor::canSplit() const {
    const Clip* clip = previewAssetID_ ? nullptr : selectedClip();
    if (clip == nullptr) return false;
    const auto halves = clip->split(playhead_ - offset(clip->id));
    // A half of just the shortest length can come out shorter by rounding, and no document may hold such a clip.
    return halves && halves->first.isValid() && halves->second.isValid();
}

void Editor::split() {
    // Busy is asked here, too: a refused commit must not leave the selection on a half that was never made.
    if (busy() || !canSplit()) return;
    const std::ptrdiff_t index = indexOf(*clips_, *selection_);
    std::vector<Clip> clips = *clips_;
    auto halves = *clips[static_cast<std::size_t>(index)].split(playhead_ - offset(*selection_));
    const UUID second = halves.second.id;
    clips[static_cast<std::size_t>(index)] = std::move(halves.first);
    clips.insert(clips.begin() + index + 1, std::move(halves.second));
    commit(std::move(clips));
    setSelection(second);
}

void Editor::deleteSelection() {
    if (selectedClipIDs_.empty()) {
        deleteAssets(selectedAssetIDs_);
        return;
    }
    std::vector<Clip> clips = *clips_;
    std::erase_if(clips, [this](const Clip& clip) { return selectedClipIDs_.contains(clip.id); });
    commit(std::move(clips));
}

void Editor::deleteAssets(const std::set<UUID>& ids) {
    if (busy() || interactionSnapshot_) return;
    std::vector<Clip> assets;
    std::set<FileURL> gone;
    for (const Clip& asset : *assets_)
        if (ids.contains(asset.id))
            gone.insert(asset.url);
        else
            assets.push_back(asset);
    if (gone.empty()) return;
    std::vector<Clip> clips = *clips_;
    std::erase_if(clips, [&gone](const Clip& clip) { return gone.contains(clip.url); });
    pushUndo(presentEntry(true));
    redoStack_.clear();
    assets_ = std::make_shared<const std::vector<Clip>>(std::move(assets));
    apply(std::make_shared<const std::vector<Clip>>(std::move(clips)));
}

void Editor::move(const UUID& clipID, std::ptrdiff_t index) {
    const std::ptrdiff_t from = indexOf(*clips_, clipID);
    if (busy() || from < 0) return;
    std::vector<Clip> clips = *clips_;
    Clip clip = std::move(clips[static_cast<std::size_t>(from)]);
    clips.erase(clips.begin() + from);
    clips.insert(clips.begin() + std::clamp(index, std::ptrdiff_t{0}, std::ssize(clips)), std::move(clip));
    const UUID moved = clipID;
    commit(std::move(clips));
    setSelection(moved);
}

void Editor::moveSelection(std::ptrdiff_t delta) {
    if (selectedClipIDs_.size() != 1 || !selection_) return;
    const std::ptrdiff_t index = indexOf(*clips_, *selection_);
    // Compared this way round, as `index + delta` might overflow.
    if (index < 0 || delta < -index || delta >= std::ssize(*clips_) - index) return;
    std::vector<Clip> clips = *clips_;
    std::swap(clips[static_cast<std::size_t>(index)], clips[static_cast<std::size_t>(index + delta)]);
    commit(std::move(clips));
}

void Editor::moveAudio(const UUID& clipID, const UUID& lane, double position) {
    if (busy() || !std::isfinite(position)) return;
    const auto found =
        std::ranges::find_if(*clips_, [&clipID](const Clip& clip) { return clip.id == clipID && clip.isAudio(); });
    const std::vector<UUID> lanes = TimelineLayout::audioTracks(*clips_);
    if (found == clips_->end() || std::ranges::find(lanes, lane) == lanes.end()) return;
    // Takes -0 along, which would be written differently from 0.
    position = position <= 0 ? 0 : position;
    const bool changesLane = found->lane() != lane;
    if (!changesLane && found->audioPosition() == position) return;
    const UUID moved = clipID;
    std::vector<Clip> clips = *clips_;
    Clip& clip = clips[static_cast<std::size_t>(found - clips_->begin())];
    clip.setAudioPosition(position);
    if (changesLane) {
        clip.audioTrackID = lane;
        clips = TimelineLayout::preservingAudioTrackOrder(std::move(clips), lanes);
    }
    commit(std::move(clips));
    setSelection(moved);
}

void Editor::addAssets(const std::vector<UUID>& ids, std::optional<std::ptrdiff_t> index) {
    if (busy() || ids.empty()) return;
    std::vector<Clip> added;
    added.reserve(ids.size());
    for (const UUID& id : ids) {
        const std::ptrdiff_t asset = indexOf(*assets_, id);
        if (asset < 0) return;
        Clip clip = (*assets_)[static_cast<std::size_t>(asset)];
        clip.id = UUID::random();
        clip.audioTrackID.reset();
        if (clip.isAudio()) clip.setAudioPosition(playhead_);
        added.push_back(std::move(clip));
    }
    const UUID first = added.front().id;
    std::vector<Clip> clips = *clips_;
    const std::ptrdiff_t count = std::ssize(clips);
    clips.insert(clips.begin() + std::clamp(index.value_or(count), std::ptrdiff_t{0}, count),
                 std::make_move_iterator(added.begin()), std::make_move_iterator(added.end()));
    commit(std::move(clips));
    select(first);
}

}  // namespace kelvane
