#include "AssetsView.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kelvane {

namespace {

/// Width of what a name beside a picture needs to say anything, points.
constexpr double narrowestName = 64;

/// Whether a picture that isn't there could not be made: all are loaded, and none has found no room or was pushed out.
bool hasAllPictures(const Editor& editor) {
    if (editor.isLoadingThumbnails()) return false;
    std::size_t bytes = 0;
    std::size_t largest = 0;
    for (const auto& [url, picture] : editor.thumbnails()) {
        bytes += picture->pixels.size();
        largest = std::max(largest, picture->pixels.size());
    }
    return bytes + largest <= Thumbnails::defaultLimit;
}

bool hasSize(const std::set<UUID>& ids, std::size_t least) { return ids.size() >= least; }

}  // namespace

AssetsView::AssetsView(std::shared_ptr<Workspace> workspace) : workspace_(std::move(workspace)) {
    connect(workspace_.get(), &Workspace::editorChanged, this, &AssetsView::followEditor);
    followEditor();
}

AssetsView::~AssetsView() = default;

void AssetsView::followEditor() {
    for (const auto& connection : connections_) disconnect(connection);
    press_.reset();
    before_.reset();
    resetMarquee();
    selectionAnchor_.reset();
    hoveredID_.reset();
    setCurrent(std::nullopt);
    beforeImport_.reset();
    if (const auto editor = this->editor()) {
        connections_ = {connect(editor.get(), &Editor::contentChanged, this, &AssetsView::followContent),
                        connect(editor.get(), &Editor::selectionChanged, this, &AssetsView::followSelection),
                        connect(editor.get(), &Editor::workChanged, this, &AssetsView::followWork)};
    }
    shown_.reset();
    layout_.ids.clear();
    setScrollOffset(0);
    followContent();
    Q_EMIT layoutChanged();
    Q_EMIT contentChanged();
    followSelection();
    followWork();
}

void AssetsView::followContent() {
    const auto editor = this->editor();
    const ClipArray assets = editor ? editor->assetArray() : nullptr;
    if (assets == shown_) return showRows();
    const std::vector<UUID> before = std::exchange(layout_.ids, {});
    shown_ = assets;
    if (assets)
        for (const Clip& asset : *assets) layout_.ids.push_back(asset.id);
    repairCurrent(before);
    if (hoveredID_ && !indexOf(*hoveredID_)) hoveredID_.reset();
    showRows();
    Q_EMIT layoutChanged();
    setScrollOffset(scrollOffset_);
    Q_EMIT contentChanged();
    followSelection();
}

void AssetsView::followSelection() {
    showRows();
    Q_EMIT selectionChanged();
    refreshEnabling();
}

void AssetsView::followWork() {
    const auto editor = this->editor();
    const bool isImporting = editor && editor->isImporting();
    if (isImporting && !beforeImport_) beforeImport_ = editor->assets().size();
    if (!isImporting && beforeImport_) {
        const std::size_t before = *std::exchange(beforeImport_, std::nullopt);
        if (editor && editor->assets().size() > before) {
            const UUID first = editor->assets()[before].id;
            followContent();
            setCurrent(first);
            reveal(first);
        }
    }
    showRows();
    refreshEnabling();
}

void AssetsView::repairCurrent(const std::vector<UUID>& before) {
    if (selectionAnchor_ && !indexOf(*selectionAnchor_)) selectionAnchor_.reset();
    if (!currentID_ || indexOf(*currentID_)) return;
    const auto place = std::ranges::find(before, *currentID_) - before.begin();
    if (layout_.ids.empty()) return setCurrent(std::nullopt);
    setCurrent(layout_.ids[std::min(static_cast<std::size_t>(place), layout_.ids.size() - 1)]);
}

void AssetsView::showRows() {
    const auto editor = this->editor();
    auto rows = std::make_shared<std::vector<AssetRow>>();
    if (editor && shown_) {
        const bool isComplete = hasAllPictures(*editor);
        rows->reserve(shown_->size());
        for (std::size_t index = 0; index < shown_->size(); ++index) {
            const Clip& asset = (*shown_)[index];
            const auto picture = editor->thumbnails().find(asset.url);
            const bool hasPicture = picture != editor->thumbnails().end();
            rows->push_back({.id = asset.id,
                             .clip = {shown_, &asset},
                             .frame = layout_.frame(index),
                             .picture = hasPicture ? picture->second : nullptr,
                             .isSelected = editor->selectedAssetIDs().contains(asset.id),
                             .isHovered = hoveredID_ == asset.id,
                             .isCurrent = hasKeyboard_ && currentID_ == asset.id,
                             .isMissing = isComplete && !hasPicture && !asset.isAudio()});
        }
    }
    model_.setRows(std::move(rows));
}

void AssetsView::refreshEnabling() {
    if (const Enabling present = enabling(); std::exchange(enabling_, present) != present) Q_EMIT enablingChanged();
}

AssetsView::Enabling AssetsView::enabling() const {
    return {.remove = canDelete(), .import = canImport(), .busy = busy()};
}

bool AssetsView::empty() const { return layout_.ids.empty(); }

QString AssetsView::count() const {
    const auto editor = this->editor();
    if (!editor) return {};
    const std::size_t selected = editor->selectedAssetIDs().size();
    return selected > 0 ? tr("%1 selected").arg(selected) : QString::number(editor->assets().size());
}

bool AssetsView::hasSelection() const { return editor() && !editor()->selectedAssetIDs().empty(); }

QString AssetsView::deleteLabel() const {
    return editor() && hasSize(editor()->selectedAssetIDs(), 2) ? tr("Delete Selected Assets") : tr("Delete Asset");
}

bool AssetsView::busy() const { return editor() && editor()->busy(); }

void AssetsView::setWidth(double width) {
    if (width == layout_.width) return;
    layout_.width = width;
    showRows();
    Q_EMIT layoutChanged();
    setScrollOffset(scrollOffset_);
}

void AssetsView::setHeight(double height) {
    if (height == height_) return;
    height_ = height;
    Q_EMIT layoutChanged();
    setScrollOffset(scrollOffset_);
}

bool AssetsView::namesBeside() const {
    const double room = layout_.width - 2 * layout_.padding - layout_.itemWidth - layout_.columnSpacing;
    return layout_.columnCount() == 1 && room >= narrowestName;
}

void AssetsView::setScrollOffset(double offset) {
    if (std::isnan(offset)) return;
    offset = std::clamp(offset, 0.0, std::max(contentHeight() - height_, 0.0));
    if (std::exchange(scrollOffset_, offset) != offset) Q_EMIT scrolled();
}

void AssetsView::reveal(const UUID& assetID) {
    const auto index = indexOf(assetID);
    if (!index) return;
    const QRectF frame = layout_.frame(*index);
    const double top = frame.top() - layout_.padding;
    const double bottom = frame.bottom() + layout_.padding;
    if (bottom > scrollOffset_ + height_) setScrollOffset(bottom - height_);
    if (top < scrollOffset_) setScrollOffset(top);
}

std::optional<std::size_t> AssetsView::indexOf(const UUID& assetID) const {
    const auto found = std::ranges::find(layout_.ids, assetID);
    return found == layout_.ids.end() ? std::nullopt : std::optional<std::size_t>(found - layout_.ids.begin());
}

void AssetsView::setCurrent(std::optional<UUID> assetID) {
    if (std::exchange(currentID_, assetID) == assetID) return;
    showRows();
    Q_EMIT currentChanged();
}

void AssetsView::setHasKeyboard(bool has) {
    if (std::exchange(hasKeyboard_, has) == has) return;
    if (has && !currentID_ && editor() && !empty()) {
        // Where a person left off, else the beginning.
        const auto& selected = editor()->selectedAssetIDs();
        const auto first = std::ranges::find_if(layout_.ids, [&](const UUID& id) { return selected.contains(id); });
        setCurrent(first == layout_.ids.end() ? layout_.ids.front() : *first);
    }
    showRows();
    Q_EMIT currentChanged();
}

void AssetsView::selectAsset(const UUID& assetID, SelectionModifiers modifiers) {
    const UUID id = assetID;
    const auto editor = this->editor();
    const auto clicked = indexOf(id);
    if (!editor || editor->busy() || !clicked) return;
    setCurrent(id);
    const auto anchor = selectionAnchor_ ? indexOf(*selectionAnchor_) : std::nullopt;
    std::set<UUID> chosen;
    if (modifiers.shift && anchor) {
        const auto [first, last] = std::minmax(*anchor, *clicked);
        for (std::size_t index = first; index <= last; ++index) chosen.insert(layout_.ids[index]);
        if (modifiers.command) chosen.insert(editor->selectedAssetIDs().begin(), editor->selectedAssetIDs().end());
    } else if (modifiers.command && !modifiers.shift) {
        chosen = editor->selectedAssetIDs();
        if (!chosen.insert(id).second) chosen.erase(id);
        selectionAnchor_ = id;
    } else {
        selectionAnchor_ = id;
        return editor->showAssetPreview(id);
    }
    editor->selectAssets(chosen);
    if (editor->selectedAssetIDs().size() == 1) editor->showAssetPreview(*editor->selectedAssetIDs().begin());
}

void AssetsView::click(const QString& assetID) {
    if (const auto id = UUID::parse(assetID.toStdString())) selectAsset(*id, {});
}

std::vector<UUID> AssetsView::dragged(const UUID& assetID) const {
    const auto editor = this->editor();
    if (!editor) return {};
    const std::set<UUID>& selected = editor->selectedAssetIDs();
    if (!selected.contains(assetID) || !hasSize(selected, 2)) return {assetID};
    std::vector<UUID> ids;
    std::ranges::copy_if(layout_.ids, std::back_inserter(ids), [&](const UUID& id) { return selected.contains(id); });
    return ids;
}

std::string AssetsView::dragPayload(const UUID& assetID) const {
    const std::vector<UUID> ids = dragged(assetID);
    std::string payload = ids.size() >= 2 ? "assets:" : "asset:";
    for (const UUID& id : ids) {
        if (&id != &ids.front()) payload += ',';
        id.appendUpper(payload);
    }
    return payload;
}

void AssetsView::deleteSelection() {
    const auto editor = this->editor();
    if (!editor || !canDelete()) return;
    Q_EMIT willChange();
    editor->deleteSelection();
}

void AssetsView::importFiles() {
    if (const auto editor = this->editor()) editor->importFiles();
}

void AssetsView::addToTimeline(const std::vector<UUID>& assetIDs) {
    const auto editor = this->editor();
    if (!editor || editor->busy() || assetIDs.empty()) return;
    Q_EMIT willChange();
    const auto under = editor->placement().videoAt(editor->playhead());
    const std::size_t before = editor->clips().size();
    editor->addAssets(assetIDs, under ? std::optional(static_cast<std::ptrdiff_t>(*under) + 1) : std::nullopt);
    if (editor->clips().size() > before) Q_EMIT timelineWanted();
}

}  // namespace kelvane
