#include <algorithm>
#include <utility>

#include "Editor.h"

namespace kelvane {

namespace {

std::set<UUID> existing(const std::vector<Clip>& clips, const std::set<UUID>& ids) {
    std::set<UUID> found;
    for (const Clip& clip : clips)
        if (ids.contains(clip.id)) found.insert(clip.id);
    return found;
}

std::optional<UUID> firstOf(const std::vector<Clip>& clips, const std::set<UUID>& ids) {
    const auto found = std::ranges::find_if(clips, [&ids](const Clip& clip) { return ids.contains(clip.id); });
    return found == clips.end() ? std::nullopt : std::optional(found->id);
}

/// The ids from index `a` to index `b`, whichever comes first, both included.
std::set<UUID> range(const std::vector<Clip>& clips, std::size_t a, std::size_t b) {
    std::set<UUID> found;
    for (std::size_t i = std::min(a, b); i <= std::max(a, b); ++i) found.insert(clips[i].id);
    return found;
}

}  // namespace

void Editor::setSelection(std::optional<UUID> id) {
    set(selection_, id, State::selection);
    set(selectedClipIDs_, id ? std::set<UUID>{*id} : std::set<UUID>(), State::selection);
    set(timelineSelectionAnchor_, id, State::selection);
    if (id) clearSelectedAssets();
}

void Editor::clearSelectedAssets() { set(selectedAssetIDs_, {}, State::selection); }

void Editor::leaveAssetPreview() {
    if (previewAssetID_) {
        set(previewAssetID_, std::nullopt, State::selection);
        rebuildPreview();
    }
}

void Editor::select(const UUID& clipID) {
    const UUID id = clipID;
    setSelection(id);
    leaveAssetPreview();
    seekPreview(offset(id));
}

void Editor::selectTimelineClip(const UUID& clipID, SelectionModifiers modifiers) {
    const UUID id = clipID;
    const auto exists = [this](const UUID& wanted) { return placement().index(wanted).has_value(); };
    if (busy() || !exists(id)) return;
    std::set<UUID> chosen{id};
    std::optional<UUID> anchor = id;
    if (modifiers.shift && timelineSelectionAnchor_ && exists(*timelineSelectionAnchor_)) {
        anchor = timelineSelectionAnchor_;
        chosen = range(*clips_, *placement().index(*anchor), *placement().index(id));
        if (modifiers.command) chosen.insert(selectedClipIDs_.begin(), selectedClipIDs_.end());
    } else if (modifiers.command) {
        chosen = selectedClipIDs_;
        if (!chosen.insert(id).second) chosen.erase(id);
    }
    setSelection(chosen.contains(id) ? std::optional(id) : firstOf(*clips_, chosen));
    set(selectedClipIDs_, std::move(chosen), State::selection);
    set(timelineSelectionAnchor_, anchor, State::selection);
    clearSelectedAssets();
    leaveAssetPreview();
}

void Editor::selectTimelineClips(const std::set<UUID>& ids) {
    if (busy()) return;
    std::set<UUID> chosen = existing(*clips_, ids);
    setSelection(selection_ && chosen.contains(*selection_) ? selection_ : firstOf(*clips_, chosen));
    set(selectedClipIDs_, std::move(chosen), State::selection);
    clearSelectedAssets();
    leaveAssetPreview();
}

void Editor::selectAssets(const std::set<UUID>& ids) {
    if (busy()) return;
    std::set<UUID> chosen = existing(*assets_, ids);
    setSelection(std::nullopt);
    set(selectedAssetIDs_, std::move(chosen), State::selection);
    endHoverPreview();
    if (previewAssetID_ && !selectedAssetIDs_.contains(*previewAssetID_)) leaveAssetPreview();
}

}  // namespace kelvane
