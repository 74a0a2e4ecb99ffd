#include <QPointer>
#include <algorithm>
#include <utility>

#include "ProjectWindows.h"
#include "Sample/SampleProject.h"
#include "Session/AIAssistantSession.h"
#include "Support/Text.h"

namespace kelvane {

void ProjectWindows::newProject(const WorkspacePtr& workspace) {
    services_.context->checkMainThread();
    const QPointer<ProjectWindows> self(this);
    services_.panels->askName("New Project", "Untitled", "Create",
                              [self, workspace](const std::optional<std::string>& name) {
                                  if (!self.isNull() && name) self->createProject(*name, workspace);
                              });
}

QCoro::Task<void> ProjectWindows::createProject(std::string name, WorkspacePtr workspace) {
    const QPointer<ProjectWindows> self(this);
    const auto row = library_.newRow(name, 0, std::nullopt);
    if (!row) {
        setError(row.error().message);
        co_return;
    }
    const auto work = beginWork(ProjectWork::Kind::opening, row->id, row->name);
    auto make = [row = *row, store = library_.store(), stop = work->stop.get_token()] {
        const Project empty{.clips = {}, .assets = std::vector<Clip>(), .mediaRoot = {}};
        return store.create(row, empty, stop);
    };
    auto background = inBackground(*services_.context, std::move(make), Lane::shortWork);
    const Result<void> made = co_await background;
    if (self.isNull()) co_return;
    endWork(work);
    if (!made) {
        showError(made.error());
        co_return;
    }
    library_.adopt(*row);
    auto opening = open(*row, std::move(workspace), false);
    co_await opening;
}

QCoro::Task<void> ProjectWindows::makeSampleProject(WorkspacePtr workspace) {
    services_.context->checkMainThread();
    const QPointer<ProjectWindows> self(this);
    const auto isDrawing = [](const WorkPtr& work) { return work->kind == ProjectWork::Kind::drawing; };
    if (!writeDrawnMovie || std::ranges::any_of(work_, isDrawing)) co_return;
    const auto row = library_.newRow("Sample Project", 0, std::nullopt);
    const auto work = beginWork(ProjectWork::Kind::drawing, row->id, row->name);
    auto draw = [row = *row, store = library_.store(), media = services_.media, write = writeDrawnMovie,
                 stop = work->stop.get_token(), report = report(work)] {
        const auto make = [&](const FileURL& folder) {
            return kelvane::makeSampleProject(*media, write, folder, stop, report);
        };
        return store.create(row, make, stop, {});
    };
    auto background = inBackground(*services_.context, std::move(draw));
    const Result<LibraryProject> made = co_await background;
    if (self.isNull()) co_return;
    endWork(work);
    if (!made) {
        showError(made.error());
        co_return;
    }
    library_.adopt(*made);
    auto opening = open(*made, std::move(workspace), false);
    co_await opening;
}

void ProjectWindows::chooseProject(const WorkspacePtr& workspace) {
    services_.context->checkMainThread();
    const QPointer<ProjectWindows> self(this);
    services_.panels->chooseFiles(PanelContent::project,
                                  "Import editable projects and copy their media into your Kelvane library.",
                                  [self, workspace](const std::vector<FileURL>& files) {
                                      bool first = true;
                                      for (const auto& file : files) {
                                          if (self.isNull()) return;
                                          self->openProject(file, first ? workspace : nullptr, !first);
                                          first = false;
                                      }
                                  });
}

QCoro::Task<Result<void>> ProjectWindows::rename(UUID id, std::string name, std::function<Result<void>()> validate) {
    services_.context->checkMainThread();
    const QPointer<ProjectWindows> self(this);
    // The row has one writer at a time.
    auto asked = saving_.turns(id).next();
    const auto turn = co_await asked;
    if (self.isNull()) co_return fail(Error::cancelled());
    if (Result<void> valid = validate ? validate() : Result<void>(); !valid) co_return valid;
    const auto row = library_.renamedRow(id, name);
    if (!row) co_return fail(row.error());
    auto write = [store = library_.store(), row = *row] { return store.writeRow(row); };
    auto background = inBackground(*services_.context, std::move(write), Lane::shortWork);
    Result<void> written = co_await background;
    if (self.isNull()) co_return fail(Error::cancelled());
    if (!written) co_return written;
    library_.adopt(*row);
    if (const auto editor = editors_.find(id); editor != editors_.end()) editor->second->setLibraryName(row->name);
    co_return written;
}

QCoro::Task<void> ProjectWindows::storeCardPicture(UUID id, std::string picture) {
    services_.context->checkMainThread();
    const QPointer<ProjectWindows> self(this);
    auto asked = saving_.turns(id).next();
    const auto turn = co_await asked;
    if (self.isNull() || isBeingDeleted(id)) co_return;
    const auto known = library_.find(id);
    if (!known) co_return;
    const auto row = library_.savedRow(id, known->duration);
    auto write = [store = library_.store(), row = *row, picture = std::move(picture)] {
        const bool isWritten = store.writeRow(row).has_value();
        if (isWritten) store.storeThumbnail(row.id, picture);
        return isWritten;
    };
    auto background = inBackground(*services_.context, std::move(write), Lane::shortWork);
    const bool isWritten = co_await background;
    if (isWritten && !self.isNull() && library_.find(id)) library_.adopt(*row);
}

QCoro::Task<void> ProjectWindows::duplicate(UUID id) {
    services_.context->checkMainThread();
    const QPointer<ProjectWindows> self(this);
    const auto refuse = [this] {
        setError("Wait for this project’s import or export to finish before duplicating it.");
    };
    if (isBusy(id)) {
        refuse();
        co_return;
    }
    const auto running = editors_.find(id);
    const EditorPtr editor = running == editors_.end() ? nullptr : running->second;
    if (editor) {
        auto saving = flush(editor);
        const bool saved = co_await saving;
        if (self.isNull() || !saved) co_return;
        if (isBusy(id)) {
            refuse();
            co_return;
        }
    }
    const auto row = library_.copyRow(id);
    if (!row) {
        setError(row.error().message);
        co_return;
    }
    const auto work = beginWork(ProjectWork::Kind::duplicating, id, library_.find(id)->name);
    if (editor) editor->beginCopying();
    auto copy = [id, row = *row, store = library_.store(), stop = work->stop.get_token(), report = report(work)] {
        return store.duplicate(id, row, stop, report);
    };
    auto background = inBackground(*services_.context, std::move(copy));
    const Result<LibraryProject> made = co_await background;
    if (editor) editor->endCopying();
    if (self.isNull()) co_return;
    endWork(work);
    if (made)
        library_.adopt(*made);
    else
        showError(made.error());
}

void ProjectWindows::remove(UUID id) {
    services_.context->checkMainThread();
    const auto project = library_.find(id);
    if (!project) return;
    if (isBusy(id)) {
        setError("Wait for this project’s import or export to finish before deleting it.");
        return;
    }
    const QPointer<ProjectWindows> self(this);
    services_.panels->confirm(
        "Delete " + quotedName(project->name) + "?",
        "This permanently deletes the project, its media copies, and voice-over recordings. Files "
        "imported from elsewhere will be kept.",
        "Cancel", "Delete", [self, row = *project](bool confirmed) {
            if (!self.isNull() && confirmed) self->finishRemoval(row);
        });
}

QCoro::Task<void> ProjectWindows::finishRemoval(LibraryProject project) {
    const QPointer<ProjectWindows> self(this);
    // The question stood open for as long as a person took to answer it.
    if (isBusy(project.id)) {
        setError("Wait for this project’s import or export to finish before deleting it.");
        co_return;
    }
    const auto running = editors_.find(project.id);
    const EditorPtr editor = running == editors_.end() ? nullptr : running->second;
    const auto work = beginWork(ProjectWork::Kind::deleting, project.id, project.name);
    // Busy from here on: nothing changes any more, and nothing new is to be saved.
    if (editor) {
        editor->ai().suspend();
        editor->beginCopying();
    }
    saving_.unschedule(project.id);
    auto asked = saving_.turns(project.id).next();
    const auto turn = co_await asked;
    if (self.isNull()) co_return;
    auto erase = [project, store = library_.store(), stop = work->stop.get_token(), report = report(work)] {
        return store.remove(project.id, project.name, stop, report);
    };
    // The write under way may have failed, and wants to be tried again.
    saving_.unschedule(project.id);
    auto background = inBackground(*services_.context, std::move(erase));
    const Result<void> removed = co_await background;
    if (editor) editor->endCopying();
    if (self.isNull()) co_return;
    endWork(work);
    if (removed) {
        closeRemoved(project);
        co_return;
    }
    showError(removed.error());
    if (editor && editor->isShown() && removed.error().isCancelled()) connectSession(editor);
    if (editor && editor->isDirty()) saving_.schedule(editor);
    // Who read the library while the folder was out of it has not seen the project. No save comes before it is back.
    auto reading = reload();
    co_await reading;
}

void ProjectWindows::closeRemoved(const LibraryProject& project) {
    saving_.forget(project.id);
    if (const auto running = editors_.find(project.id); running != editors_.end()) {
        const EditorPtr editor = running->second;
        // A window on its way shows the home.
        std::erase_if(pendingWindows_, [&editor](const auto& pending) { return pending.second == editor; });
        editor->onProjectChange = nullptr;
        editors_.erase(running);
        for (const auto& [id, workspace] : workspaces_) {
            if (workspace->editor() != editor) continue;
            editor->pausePlayer();
            editor->setShown(false);
            workspace->setEditor(nullptr);
            updateWindow(*workspace, false);
        }
    }
    library_.forget(project.id);
}

std::shared_ptr<ProjectWork> ProjectWindows::beginWork(ProjectWork::Kind kind, const UUID& projectID,
                                                       std::string name) {
    auto work = std::make_shared<ProjectWork>(
        ProjectWork{.kind = kind, .projectID = projectID, .name = std::move(name), .progress = {}, .stop = {}});
    work_.push_back(work);
    Q_EMIT workChanged();
    return work;
}

void ProjectWindows::endWork(const WorkPtr& work) {
    std::erase(work_, work);
    Q_EMIT workChanged();
}

ProgressReport ProjectWindows::report(const WorkPtr& work) {
    return [self = QPointer(this), context = services_.context,
            weak = std::weak_ptr(work)](const TransferProgress& progress) {
        context->post([self, weak, progress] {
            const auto running = weak.lock();
            if (self.isNull() || !running) return;
            running->progress = progress;
            Q_EMIT self->workChanged();
        });
    };
}

void ProjectWindows::cancelWork() {
    services_.context->checkMainThread();
    for (const auto& work : work_) work->stop.request_stop();
}

bool ProjectWindows::isWorkedOn(const UUID& projectID) const {
    return std::ranges::find(work_, projectID, [](const WorkPtr& work) { return work->projectID; }) != work_.end();
}

bool ProjectWindows::isBusy(const UUID& projectID) const {
    const auto editor = editors_.find(projectID);
    return isWorkedOn(projectID) || (editor != editors_.end() && editor->second->isAtWork());
}

}  // namespace kelvane
