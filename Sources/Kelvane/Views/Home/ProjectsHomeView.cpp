#include "ProjectsHomeView.h"

#include <QPointer>
#include <algorithm>
#include <utility>

namespace kelvane {

ProjectsHomeView::ProjectsHomeView(ProjectWindows& windows, std::shared_ptr<Workspace> workspace)
    : windows_(windows), workspace_(std::move(workspace)) {
    connect(&windows_, &ProjectWindows::libraryChanged, this, &ProjectsHomeView::refresh);
    connect(workspace_.get(), &Workspace::editorChanged, this, &ProjectsHomeView::followWorkspace);
    refresh();
    followWorkspace();
}

void ProjectsHomeView::refresh() {
    const auto& all = windows_.library().projects();
    if (search_.isEmpty()) {
        projects_.setProjects(all);
    } else {
        std::vector<LibraryProject> found;
        std::ranges::copy_if(all, std::back_inserter(found), [this](const LibraryProject& project) {
            return nameContains(QString::fromStdString(project.name), search_);
        });
        projects_.setProjects(std::move(found));
    }
    // A card that is gone takes its field with it.
    if (renaming_ && projects_.rowOf(*renaming_) < 0) closeNameEditor();
    Q_EMIT shownChanged();
}

void ProjectsHomeView::followWorkspace() {
    if (const auto editor = workspace_->editor()) {
        shown_ = editor->id();
        if (nameEditor_) {
            const auto committing = nameEditor_->commit(NameExit::focus);
            closeNameEditor();
        }
        return;
    }
    const int row = shown_ ? projects_.rowOf(*shown_) : -1;
    if (row >= 0) Q_EMIT focusWanted(row, true);
}

void ProjectsHomeView::setSearch(const QString& search) {
    if (search == search_) return;
    search_ = search;
    Q_EMIT searchChanged();
    refresh();
}

QString ProjectsHomeView::countText() const {
    if (!windows_.hasReadLibrary()) return {};
    const int count = projects_.rowCount();
    return (count == 1 ? tr("%1 project") : tr("%1 projects")).arg(count) + tr(" · Recently edited first");
}

bool ProjectsHomeView::empty() const { return windows_.hasReadLibrary() && windows_.library().projects().empty(); }

bool ProjectsHomeView::nothingFound() const {
    return projects_.rowCount() == 0 && !windows_.library().projects().empty();
}

QString ProjectsHomeView::renamingProjectID() const {
    return renaming_ ? QString::fromStdString(renaming_->upper()) : QString();
}

std::optional<LibraryProject> ProjectsHomeView::project(const QString& id) const {
    const auto parsed = UUID::parseUpper(id.toStdString());
    return parsed ? windows_.library().find(*parsed) : std::nullopt;
}

void ProjectsHomeView::open(const QString& id) {
    if (auto row = project(id)) windows_.open(*std::move(row), workspace_, false);
}

void ProjectsHomeView::openInNewWindow(const QString& id) {
    if (auto row = project(id)) windows_.open(*std::move(row), nullptr, true);
}

void ProjectsHomeView::rename(const QString& id) {
    const auto row = project(id);
    if (!row || renaming_ == row->id || projects_.rowOf(row->id) < 0) return;
    if (nameEditor_) {
        const auto committing = nameEditor_->commit(NameExit::focus);
        closeNameEditor();
    }
    const QPointer<ProjectWindows> windows(&windows_);
    auto take = [windows, project = row->id](std::string name, std::function<Result<void>()> validate) {
        check(!windows.isNull(), "the owner of projects outlives the home");
        return windows->rename(project, std::move(name), std::move(validate));
    };
    const QPointer<ProjectsHomeView> self(this);
    const int number = ++edits_;
    auto finish = [self, number](NameExit exit) {
        // One that was let go may end later.
        if (!self.isNull() && self->nameEditor_ && self->edits_ == number) self->finishRenaming(exit);
    };
    nameEditor_.reset(new ProjectNameEditor(row->name, std::move(take), std::move(finish)));
    renaming_ = row->id;
    Q_EMIT renamingChanged();
}

void ProjectsHomeView::finishRenaming(NameExit exit) {
    const int row = projects_.rowOf(*renaming_);
    closeNameEditor();
    if (exit != NameExit::focus && row >= 0) Q_EMIT focusWanted(row, exit != NameExit::pointer);
}

void ProjectsHomeView::closeNameEditor() {
    if (!nameEditor_) return;
    nameEditor_.reset();
    renaming_.reset();
    Q_EMIT renamingChanged();
}

void ProjectsHomeView::duplicate(const QString& id) {
    if (const auto row = project(id)) windows_.duplicate(row->id);
}

void ProjectsHomeView::remove(const QString& id) {
    if (const auto row = project(id)) windows_.remove(row->id);
}

void ProjectsHomeView::newProject() { windows_.newProject(workspace_); }
void ProjectsHomeView::makeSampleProject() { windows_.makeSampleProject(workspace_); }
void ProjectsHomeView::chooseProject() { windows_.chooseProject(workspace_); }

}  // namespace kelvane
