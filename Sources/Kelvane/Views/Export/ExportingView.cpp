#include "ExportingView.h"

#include <cmath>
#include <utility>

namespace kelvane {

ExportingView::ExportingView(std::shared_ptr<Workspace> workspace) : workspace_(std::move(workspace)) {
    connect(workspace_.get(), &Workspace::editorChanged, this, &ExportingView::followEditor);
    followEditor();
}

void ExportingView::followEditor() {
    disconnect(connection_);
    remaining_ = {};
    if (const auto editor = workspace_->editor())
        connection_ = connect(editor.get(), &Editor::workChanged, this, &ExportingView::refresh);
    refresh();
}

void ExportingView::refresh() {
    if (shown())
        remaining_.note(progress(), workspace_->editor()->services().context->now());
    else
        remaining_ = {};
    Q_EMIT changed();
}

bool ExportingView::shown() const { return workspace_->editor() && workspace_->editor()->isExporting(); }

QString ExportingView::format() const {
    return workspace_->editor() ? QString::fromStdString(workspace_->editor()->exportFormat()) : QString();
}

double ExportingView::progress() const {
    return workspace_->editor() ? static_cast<double>(workspace_->editor()->exportProgress()) : 0;
}

bool ExportingView::canCancel() const { return shown() && !workspace_->editor()->exportCancellationRequested(); }

QString ExportingView::progressText() const {
    if (!shown()) return {};
    if (!canCancel()) return tr("Cancelling…");
    // Rounded down, as it is done when it says so, but for what a float loses.
    constexpr double lost = 1e-4;
    return QStringLiteral("%1%").arg(static_cast<int>(std::floor(progress() * 100 + lost)));
}

QString ExportingView::remainingText() const {
    const auto left = remaining_.left();
    return canCancel() && left ? QString::fromStdString(RemainingTime::text(*left)) : QString();
}

bool ExportingView::exported() const {
    const auto editor = workspace_->editor();
    return editor && editor->exportedURL() && !editor->isExporting();
}

void ExportingView::cancel() {
    if (canCancel()) workspace_->editor()->cancelExport();
}

void ExportingView::showInFolder() {
    if (!exported()) return;
    const auto editor = workspace_->editor();
    const FileURL movie = *editor->exportedURL();
    editor->clearExportedURL();
    if (editor->services().desktop != nullptr) show(editor, editor->services().desktop, movie);
}

QCoro::Task<void> ExportingView::show(std::weak_ptr<Editor> weak, DesktopServices* desktop, FileURL movie) {
    auto showing = desktop->showInFolder(movie);
    const Result<void> shown = co_await showing;
    const auto editor = weak.lock();
    if (editor && !shown && !shown.error().isCancelled()) editor->setError(shown.error().message);
}

void ExportingView::dismissExported() {
    if (const auto editor = workspace_->editor()) editor->clearExportedURL();
}

}  // namespace kelvane
