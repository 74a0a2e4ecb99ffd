#include "EditorView.h"

#include <cmath>
#include <utility>

#include "AssetsPaneWidth.h"
#include "Editor/Editor.h"

namespace kelvane {

EditorView::EditorView(std::shared_ptr<Workspace> workspace)
    : workspace_(std::move(workspace)), fraction_(AssetsPaneWidth::startFraction) {
    connect(workspace_.get(), &Workspace::editorChanged, this, &EditorView::followEditor);
    followEditor();
}

void EditorView::followEditor() {
    disconnect(connection_);
    if (const auto editor = workspace_->editor())
        connection_ = connect(editor.get(), &Editor::selectionChanged, this, &EditorView::inspectorChanged);
    Q_EMIT inspectorChanged();
}

bool EditorView::showInspector() const { return workspace_->editor() && workspace_->editor()->showInspector(); }

void EditorView::setShowInspector(bool show) {
    if (const auto editor = workspace_->editor()) editor->setShowInspector(show);
}

void EditorView::setRowWidth(double width) {
    if (std::exchange(rowWidth_, width) != width) Q_EMIT widthChanged();
}

double EditorView::assetsWidth() const { return std::round(AssetsPaneWidth::held(fraction_ * rowWidth_, rowWidth_)); }

int EditorView::assetsPercent() const {
    return rowWidth_ > 0 ? static_cast<int>(std::lround(100 * assetsWidth() / rowWidth_)) : 0;
}

void EditorView::setFraction(double fraction) {
    if (std::exchange(fraction_, fraction) != fraction) Q_EMIT widthChanged();
}

void EditorView::setAssetsWidth(double width) {
    if (rowWidth_ > 0) setFraction(AssetsPaneWidth::held(width, rowWidth_) / rowWidth_);
}

void EditorView::beginDividerDrag() { dividerDragStart_ = assetsWidth(); }

void EditorView::dragDivider(double translation) {
    if (dividerDragStart_) setAssetsWidth(*dividerDragStart_ + translation);
}

void EditorView::endDividerDrag() { dividerDragStart_.reset(); }

void EditorView::stepDivider(int steps) { setAssetsWidth(assetsWidth() + steps * AssetsPaneWidth::step * rowWidth_); }

void EditorView::resetDivider() { setFraction(AssetsPaneWidth::startFraction); }

}  // namespace kelvane
