#include "EditorView.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "AssetsPaneWidth.h"
#include "Editor/Editor.h"
#include "ProjectPlace.h"

namespace kelvane {

namespace {

/// The files among these, in their order.
std::vector<FileURL> filesAmong(const QList<QUrl>& urls) {
    std::vector<FileURL> files;
    for (const QUrl& url : urls)
        if (url.isLocalFile()) files.push_back(FileURL::fromPath(url.toLocalFile().toStdString()));
    return files;
}

}  // namespace

EditorView::EditorView(std::shared_ptr<Workspace> workspace) : workspace_(std::move(workspace)) {
    connect(workspace_.get(), &Workspace::editorChanged, this, &EditorView::followEditor);
    followEditor();
}

void EditorView::followEditor() {
    for (const auto& connection : connections_) disconnect(connection);
    if (const auto editor = workspace_->editor())
        connections_ = {connect(editor.get(), &Editor::selectionChanged, this, &EditorView::inspectorChanged),
                        connect(editor.get(), &Editor::workChanged, this, &EditorView::refreshDropTarget)};
    dividerDragStart_.reset();
    Q_EMIT inspectorChanged();
    Q_EMIT widthChanged();
    refreshDropTarget();
}

bool EditorView::showInspector() const { return workspace_->editor() && workspace_->editor()->showInspector(); }

void EditorView::setShowInspector(bool show) {
    if (const auto editor = workspace_->editor()) editor->setShowInspector(show);
}

void EditorView::setRowWidth(double width) {
    if (std::exchange(rowWidth_, width) != width) Q_EMIT widthChanged();
}

double EditorView::fraction() const {
    const auto editor = workspace_->editor();
    return editor ? ProjectPlace::of(*editor).assetsWidthFraction : AssetsPaneWidth::startFraction;
}

double EditorView::assetsWidth() const { return std::round(AssetsPaneWidth::held(fraction() * rowWidth_, rowWidth_)); }

int EditorView::assetsPercent() const {
    return rowWidth_ > 0 ? static_cast<int>(std::lround(100 * assetsWidth() / rowWidth_)) : 0;
}

void EditorView::setFraction(double fraction) {
    const auto editor = workspace_->editor();
    if (!editor) return;
    if (std::exchange(ProjectPlace::of(*editor).assetsWidthFraction, fraction) != fraction) Q_EMIT widthChanged();
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

void EditorView::setAssetsPercent(double percent) { setAssetsWidth(percent / 100 * rowWidth_); }

void EditorView::resetDivider() { setFraction(AssetsPaneWidth::startFraction); }

bool EditorView::canTakeFiles() const { return workspace_->editor() && !workspace_->editor()->busy(); }

void EditorView::refreshDropTarget() {
    if (std::exchange(dropTarget_, dropTarget()) != dropTarget()) Q_EMIT dropTargetChanged();
}

bool EditorView::enterDrop(const QList<QUrl>& urls) {
    isOver_ = std::ranges::any_of(urls, &QUrl::isLocalFile);
    refreshDropTarget();
    return dropTarget();
}

void EditorView::leaveDrop() {
    isOver_ = false;
    refreshDropTarget();
}

bool EditorView::importDrop(const QList<QUrl>& urls) {
    leaveDrop();
    auto files = filesAmong(urls);
    if (files.empty() || !canTakeFiles()) return false;
    Q_EMIT aboutToChange();
    workspace_->editor()->importURLs(std::move(files));
    return true;
}

}  // namespace kelvane
