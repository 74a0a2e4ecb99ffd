#include "ProjectNameEditor.h"

#include <QPointer>
#include <utility>

#include "Support/Text.h"

namespace kelvane {

ProjectNameEditor::ProjectNameEditor(std::string name, Rename rename, std::function<void(NameExit)> finish)
    : name_(std::move(name)),
      rename_(std::move(rename)),
      finish_(std::move(finish)),
      draft_(QString::fromStdString(name_)) {}

void ProjectNameEditor::setDraft(const QString& draft) {
    if (draft == draft_) return;
    draft_ = draft;
    Q_EMIT draftChanged();
}

void ProjectNameEditor::setError(const QString& error) {
    if (error == error_) return;
    error_ = error;
    Q_EMIT errorChanged();
}

QCoro::Task<bool> ProjectNameEditor::commit(NameExit exit) {
    const QPointer<ProjectNameEditor> self(this);
    const std::string text = draft_.toStdString();
    const std::string wanted(trimmedText(text));
    if (wanted != name_) {
        // A rename that waits for its turn is none any more once the edit was cancelled.
        auto stillWanted = [self]() -> Result<void> {
            return self.isNull() || !self->ended_ ? Result<void>() : fail(Error::cancelled());
        };
        auto renaming = rename_(wanted, std::move(stillWanted));
        const Result<void> renamed = co_await renaming;
        if (self.isNull() || ended_) co_return true;
        if (!renamed) {
            setError(QString::fromStdString(renamed.error().message));
            co_return false;
        }
    }
    end(exit);
    co_return true;
}

void ProjectNameEditor::cancel(NameExit exit) { end(exit); }

void ProjectNameEditor::end(NameExit exit) {
    if (std::exchange(ended_, true)) return;
    // Whoever is called may let go of this object.
    const auto finish = finish_;
    if (finish) finish(exit);
}

}  // namespace kelvane
