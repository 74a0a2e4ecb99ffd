#include "Editor.h"

#include <QPointer>
#include <algorithm>
#include <utility>

#include "Session/AIAssistantSession.h"

namespace kelvane {

namespace {

/// Steps that can be undone.
constexpr std::size_t undoLimit = 100;

bool same(const ClipArray& a, const ClipArray& b) { return a == b || *a == *b; }

}  // namespace

std::shared_ptr<Editor> Editor::create(const UUID& id, const std::optional<FileURL>& mediaDirectory,
                                       EditorServices services) {
    check(services.context != nullptr && services.media != nullptr && services.panels != nullptr,
          "an editor needs its services");
    check(services.makePlayer != nullptr, "an editor needs a player");
    std::shared_ptr<Editor> editor(new Editor(id, mediaDirectory, std::move(services)));
    editor->ai_->setEditor(editor);
    editor->makePlayers();
    return editor;
}

Editor::Editor(const UUID& id, const std::optional<FileURL>& mediaDirectory, EditorServices services)
    : id_(id),
      mediaDirectory_(mediaDirectory),
      services_(std::move(services)),
      ai_(std::make_shared<AIAssistantSession>(services_.context, services_.media, services_.desktop)),
      clips_(std::make_shared<const std::vector<Clip>>()),
      assets_(clips_),
      savedClips_(clips_),
      savedAssets_(clips_) {}

Editor::~Editor() {
    thumbnailTask_.request_stop();
    previewTask_.request_stop();
    hoverTask_.request_stop();
    exportTask_.request_stop();
    exportWork_.request_stop();
    copyTask_.request_stop();
    settleCopies();
    ai_->suspend();
}

void Editor::setLibraryName(std::optional<std::string> name) { set(libraryName_, std::move(name), State::content); }

void Editor::setSaveFailed(bool failed) { set(saveFailed_, failed, State::content); }

void Editor::setDirty(bool dirty) {
    set(isDirty_, dirty, State::content);
    if (dirty && onProjectChange) onProjectChange();
}

void Editor::setShowInspector(bool show) { set(showInspector_, show, State::selection); }

void Editor::setShowExportOptions(bool show) { set(showExportOptions_, show, State::work); }

void Editor::setError(std::optional<std::string> error) { set(error_, std::move(error), State::work); }

std::string Editor::title() const {
    if (libraryName_) return *libraryName_;
    return projectURL_ ? projectURL_->baseName() : "Untitled";
}

const Clip* Editor::selectedClip() const {
    if (selectedClipIDs_.size() != 1 || !selection_) return nullptr;
    const auto index = placement().index(*selection_);
    return index ? &(*clips_)[*index] : nullptr;
}

const TimelinePlacement& Editor::placement() const {
    if (placedClips_ != clips_) {
        placement_ = TimelinePlacement(*clips_);
        placedClips_ = clips_;
    }
    return placement_;
}

double Editor::offset(const UUID& clipID) const { return placement().start(clipID); }

void Editor::commit(std::vector<Clip> clips) {
    if (busy() || clips == *clips_) return;
    if (!interactionSnapshot_) pushUndo({clips_, std::nullopt});
    redoStack_.clear();
    apply(std::make_shared<const std::vector<Clip>>(std::move(clips)));
}

void Editor::update(const UUID& clipID, const std::function<void(Clip&)>& change) {
    const auto index = placement().index(clipID);
    if (!index) return;
    std::vector<Clip> changed = *clips_;
    Clip& clip = changed[*index];
    change(clip);
    if (clip.isValid()) commit(std::move(changed));
}

void Editor::beginInteraction() {
    if (!busy() && !interactionSnapshot_) {
        interactionSnapshot_ = clips_;
        announce(State::content);
    }
}

void Editor::endInteraction() {
    if (!interactionSnapshot_) return;
    const ClipArray before = *std::exchange(interactionSnapshot_, std::nullopt);
    if (!same(before, clips_)) pushUndo({before, std::nullopt});
    announce(State::content);
}

void Editor::undo() {
    if (busy() || undoStack_.empty()) return;
    HistoryEntry entry = std::move(undoStack_.back());
    undoStack_.pop_back();
    redoStack_.push_back(presentEntry(entry.assets.has_value()));
    restore(std::move(entry));
}

void Editor::redo() {
    if (busy() || redoStack_.empty()) return;
    HistoryEntry entry = std::move(redoStack_.back());
    redoStack_.pop_back();
    pushUndo(presentEntry(entry.assets.has_value()));
    restore(std::move(entry));
}

HistoryEntry Editor::presentEntry(bool withAssets) const {
    return {clips_, withAssets ? std::optional(assets_) : std::nullopt};
}

void Editor::restore(HistoryEntry entry) {
    if (entry.assets) assets_ = std::move(*entry.assets);
    apply(std::move(entry.clips));
}

void Editor::pushUndo(HistoryEntry entry) {
    undoStack_.push_back(std::move(entry));
    if (undoStack_.size() > undoLimit) undoStack_.erase(undoStack_.begin());
}

void Editor::apply(ClipArray clips) {
    set(selectedAssetIDs_, {}, State::selection);
    set(previewAssetID_, std::nullopt, State::selection);
    clips_ = std::move(clips);
    announce(State::content);
    refreshDirty();
    repairSelection();
    rebuildPreview();
}

bool Editor::isSaved(const Content& content) const {
    return same(content.clips, savedClips_) && same(content.assets, savedAssets_);
}

bool Editor::isSaved() const { return !isFileAhead_ && isSaved(content()); }

void Editor::refreshDirty() {
    setDirty(!isSaved());
    // What was imported and is undone before a save stays as well.
    if (!isDirty_) settleCopies();
}

void Editor::repairSelection() {
    std::set<UUID> kept;
    std::optional<UUID> firstKept;
    for (const Clip& clip : *clips_) {
        if (selectedClipIDs_.contains(clip.id)) {
            kept.insert(clip.id);
            firstKept = firstKept.value_or(clip.id);
        }
    }
    if (kept.empty()) {
        setSelection(clips_->empty() ? std::nullopt : std::optional(clips_->front().id));
    } else {
        if (!selection_ || !kept.contains(*selection_)) setSelection(firstKept);
        set(selectedClipIDs_, std::move(kept), State::selection);
    }
    const auto& anchor = timelineSelectionAnchor_;
    if (!anchor || !placement().index(*anchor)) set(timelineSelectionAnchor_, selection_, State::selection);
}

void Editor::announce(State state) {
    services_.context->checkMainThread();
    const bool isPosted = announced_ != 0;
    announced_ |= static_cast<std::uint8_t>(state);
    if (isPosted) return;
    services_.context->post([weak = QPointer<Editor>(this)] {
        // What a listener changes is announced in the next turn, and a listener may end the editor.
        const auto due = weak ? std::exchange(weak->announced_, 0) : 0;
        const auto isDue = [&weak, due](State state) { return weak && (due & static_cast<std::uint8_t>(state)) != 0; };
        if (isDue(State::content)) Q_EMIT weak->contentChanged();
        if (isDue(State::selection)) Q_EMIT weak->selectionChanged();
        if (isDue(State::work)) Q_EMIT weak->workChanged();
        if (isDue(State::position)) Q_EMIT weak->positionChanged();
    });
}

}  // namespace kelvane
