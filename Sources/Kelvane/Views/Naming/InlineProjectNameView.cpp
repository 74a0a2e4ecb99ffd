#include "InlineProjectNameView.h"

#include <QPointer>
#include <utility>

#include "CLI/CLIError.h"
#include "Editor/Editor.h"

namespace kelvane {

namespace {

QCoro::Task<Result<void>> failed(Error error) { co_return fail(std::move(error)); }

}  // namespace

QString onOneLine(const std::string& name) {
    QString line = QString::fromStdString(name);
    for (QChar& letter : line) {
        const bool breaks = letter == QChar::LineSeparator || letter == QChar::ParagraphSeparator ||
                            letter.category() == QChar::Other_Control;
        if (breaks) letter = u' ';
    }
    return line;
}

InlineProjectNameView::InlineProjectNameView(std::shared_ptr<Workspace> workspace) : workspace_(std::move(workspace)) {
    connect(workspace_.get(), &Workspace::editorChanged, this, &InlineProjectNameView::followEditor);
    followEditor();
}

QString InlineProjectNameView::label() const { return tr("Project name: %1. Rename project").arg(title_); }

void InlineProjectNameView::followEditor() {
    // The field goes, and with it its focus: what was typed is taken as far as it can be.
    if (nameEditor_) {
        const auto committing = nameEditor_->commit(NameExit::focus);
        close();
    }
    disconnect(connection_);
    if (const auto editor = workspace_->editor())
        connection_ = connect(editor.get(), &Editor::contentChanged, this, &InlineProjectNameView::refreshTitle);
    refreshTitle();
}

void InlineProjectNameView::refreshTitle() {
    const auto editor = workspace_->editor();
    const QString title = editor ? onOneLine(editor->title()) : QString();
    if (std::exchange(title_, title) != title) Q_EMIT titleChanged();
}

void InlineProjectNameView::edit() {
    const auto editor = workspace_->editor();
    if (!editor || nameEditor_) return;
    const auto rename = [weak = std::weak_ptr(editor)](std::string name, std::function<Result<void>()> validate) {
        const auto renamed = weak.lock();
        if (!renamed) return failed(Error::cancelled());
        return renamed->onRenameProject ? renamed->onRenameProject(std::move(name), std::move(validate))
                                        : failed(CLIError("Open a library project before renaming it."));
    };
    const QPointer<InlineProjectNameView> self(this);
    const int number = ++edits_;
    const auto finish = [self, number](NameExit exit) {
        // One that was let go may end later.
        if (!self.isNull() && self->nameEditor_ && self->edits_ == number) self->finish(exit);
    };
    nameEditor_.reset(new ProjectNameEditor(editor->title(), rename, finish));
    Q_EMIT editingChanged();
}

void InlineProjectNameView::finish(NameExit exit) {
    close();
    if (exit == NameExit::focus) return;
    const int step = exit == NameExit::forward ? 1 : (exit == NameExit::backward ? -1 : 0);
    Q_EMIT ended(exit != NameExit::pointer, step);
}

void InlineProjectNameView::close() {
    if (!nameEditor_) return;
    nameEditor_.reset();
    Q_EMIT editingChanged();
}

}  // namespace kelvane
