#include <algorithm>
#include <cmath>
#include <utility>

#include "Editor.h"
#include "Timeline/TimelineLayout.h"

namespace kelvane {

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
    const std::size_t index = *placement().index(*selection_);
    std::vector<Clip> clips = *clips_;
    auto halves = *clips[index].split(playhead_ - placement().span(index).start);
    const UUID second = halves.second.id;
    clips[index] = std::move(halves.first);
    clips.insert(clips.begin() + static_cast<std::ptrdiff_t>(index) + 1, std::move(halves.second));
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
    const auto from = placement().index(clipID);
    if (busy() || !from) return;
    std::vector<Clip> clips = *clips_;
    Clip clip = std::move(clips[*from]);
    clips.erase(clips.begin() + static_cast<std::ptrdiff_t>(*from));
    clips.insert(clips.begin() + std::clamp(index, std::ptrdiff_t{0}, std::ssize(clips)), std::move(clip));
    const UUID moved = clipID;
    commit(std::move(clips));
    setSelection(moved);
}

void Editor::moveSelection(std::ptrdiff_t delta) {
    if (selectedClipIDs_.size() != 1 || !selection_) return;
    const auto selected = placement().index(*selection_);
    if (!selected) return;
    const auto index = static_cast<std::ptrdiff_t>(*selected);
    // Compared this way round, as `index + delta` might overflow.
    if (delta < -index || delta >= std::ssize(*clips_) - index) return;
    std::vector<Clip> clips = *clips_;
    std::swap(clips[static_cast<std::size_t>(index)], clips[static_cast<std::size_t>(index + delta)]);
    commit(std::move(clips));
}

void Editor::moveAudio(const UUID& clipID, const UUID& lane, double position) {
    if (busy() || !std::isfinite(position)) return;
    const auto index = placement().index(clipID);
    const std::vector<UUID> lanes = placement().lanes();
    if (!index || !placement().lane(*index) || std::ranges::find(lanes, lane) == lanes.end()) return;
    // Takes -0 along, which would be written differently from 0.
    position = position <= 0 ? 0 : position;
    const bool changesLane = (*clips_)[*index].lane() != lane;
    if (!changesLane && (*clips_)[*index].audioPosition() == position) return;
    const UUID moved = clipID;
    std::vector<Clip> clips = *clips_;
    Clip& clip = clips[*index];
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
        const auto asset = std::ranges::find(*assets_, id, &Clip::id);
        if (asset == assets_->end()) return;
        Clip clip = *asset;
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
