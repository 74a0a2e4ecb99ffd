#include "ProjectWindows.h"

#include <QPointer>
#include <algorithm>
#include <utility>

#include "Session/AIAssistantSession.h"
#include "Storage/ProjectFile.h"
#include "Timeline/TimelineLayout.h"

namespace kelvane {

namespace {

/// The row of the library that a project file belongs to: as its own document, or as what it was imported from. Blocks.
std::optional<LibraryProject> rowOf(const FileURL& file, const ProjectStore& store,
                                    const std::vector<LibraryProject>& rows) {
    if (auto owner = store.owner(file, rows)) return owner;
    const FileURL place = file.resolved();
    const auto imported = std::ranges::find_if(
        rows, [&](const LibraryProject& row) { return row.importedFrom && row.importedFrom->resolved() == place; });
    return imported == rows.end() ? std::nullopt : std::optional(*imported);
}

/// The stamp of the document from which these arrays were read: `before`, taken before the reading, or the present one
/// where the file has changed since and holds the same, as a load that copies media writes its document back. Blocks.
DocumentStamp stampOfWhatWasRead(const FileURL& document, const DocumentStamp& before, const std::vector<Clip>& clips,
                                 const std::vector<Clip>& assets) {
    const DocumentStamp now = DocumentStamp::of(document);
    if (now == before) return before;
    const auto present = ProjectFile::read(document);
    return present && present->clips == clips && present->assets == assets ? now : before;
}

QCoro::Task<Result<void>> failed(std::string sentence) { co_return fail(std::move(sentence)); }
QCoro::Task<bool> answered(bool answer) { co_return answer; }

/// Saves for a session, which may outlive both; false where either is gone.
QCoro::Task<bool> flushWeakly(QPointer<ProjectWindows> windows, std::weak_ptr<Editor> weak) {
    const auto editor = weak.lock();
    if (windows.isNull() || !editor) co_return false;
    auto saving = windows->flush(editor);
    co_return co_await saving;
}

}  // namespace

ProjectWindows::ProjectWindows(EditorServices services, std::optional<FileURL> libraryRoot)
    : services_(std::move(services)),
      library_(ProjectStore(libraryRoot.value_or(ProjectStore::defaultRoot()), services_.unfinished)),
      saving_(*services_.context, library_),
      opens_(*services_.context) {
    library_.onChange = [this] { Q_EMIT libraryChanged(); };
    saving_.tell = [this](const std::string& sentence) {
        if (tell) tell(sentence);
    };
    readLibrary();
}

ProjectWindows::~ProjectWindows() {
    library_.onChange = nullptr;
    cancelWork();
    for (const auto& [id, editor] : editors_) {
        editor->onProjectChange = nullptr;
        editor->ai().suspend();
    }
}

void ProjectWindows::setError(std::optional<std::string> error) {
    services_.context->checkMainThread();
    error_ = std::move(error);
    Q_EMIT errorChanged();
}

void ProjectWindows::showError(const Error& error) {
    if (!error.isCancelled()) setError(error.message);
}

QCoro::Task<void> ProjectWindows::readLibrary() {
    const QPointer<ProjectWindows> self(this);
    // What opens next looks its project up in the rows.
    auto asked = opens_.next();
    const auto turn = co_await asked;
    if (self.isNull()) co_return;
    auto reading = reload();
    co_await reading;
}

QCoro::Task<void> ProjectWindows::reload() {
    services_.context->checkMainThread();
    const QPointer<ProjectWindows> self(this);
    const auto known = library_.projects();
    auto work = [store = library_.store(), known] { return store.scan(known); };
    auto background = inBackground(*services_.context, std::move(work), Lane::shortWork);
    auto rows = co_await background;
    if (self.isNull()) co_return;
    hasReadLibrary_ = true;
    library_.replaceRows(std::move(rows), known);
}

std::shared_ptr<Editor> ProjectWindows::makeEditor(const UUID& id) {
    services_.context->checkMainThread();
    auto editor = Editor::create(id, library_.mediaDirectory(id), services_);
    editor->setShown(false);
    const QPointer<ProjectWindows> self(this);
    editor->onRenameProject = [self, id](std::string name, std::function<Result<void>()> validate) {
        return self.isNull() ? failed("The project library is closed.")
                             : self->rename(id, std::move(name), std::move(validate));
    };
    editor->canSaveToURL = [self, id](FileURL url) {
        return self.isNull() ? answered(true) : self->canSave(id, std::move(url));
    };
    return editor;
}

QCoro::Task<bool> ProjectWindows::canSave(UUID projectID, FileURL url) {
    std::vector<FileURL> taken;
    for (const auto& [id, editor] : editors_)
        if (id != projectID && editor->projectURL()) taken.push_back(*editor->projectURL());
    auto work = [store = library_.store(), rows = library_.projects(), projectID, url, taken] {
        const auto owner = store.owner(url, rows);
        const FileURL place = url.resolved();
        return (!owner || owner->id == projectID) &&
               std::ranges::none_of(taken, [&](const FileURL& other) { return other.resolved() == place; });
    };
    auto background = inBackground(*services_.context, std::move(work), Lane::shortWork);
    co_return co_await background;
}

QCoro::Task<Result<void>> ProjectWindows::readProject(EditorPtr editor, std::string name) {
    const QPointer<ProjectWindows> self(this);
    const UUID id = editor->id();
    const FileURL document = library_.projectURL(id);
    const auto work = beginWork(ProjectWork::Kind::opening, id, std::move(name));
    // Before it is read: what is saved elsewhere from here on shows by another stamp.
    auto look = [document] { return DocumentStamp::of(document); };
    auto background = inBackground(*services_.context, std::move(look), Lane::shortWork);
    const DocumentStamp before = co_await background;
    if (self.isNull()) co_return fail(Error::cancelled());
    auto loading = editor->loadProject(document, work->stop.get_token(), report(work));
    Result<void> loaded = co_await loading;
    if (self.isNull()) co_return fail(Error::cancelled());
    auto compare = [document, before, clips = editor->clipArray(), assets = editor->assetArray()] {
        return stampOfWhatWasRead(document, before, *clips, *assets);
    };
    auto comparing = inBackground(*services_.context, std::move(compare), Lane::shortWork);
    const DocumentStamp stamp = co_await comparing;
    if (self.isNull()) co_return fail(Error::cancelled());
    // Until the project is among those that are open, the work alone keeps a deletion out.
    endWork(work);
    if (loaded) saving_.noteStamp(id, stamp);
    co_return loaded;
}

QCoro::Task<std::shared_ptr<Editor>> ProjectWindows::loadEditor(LibraryProject project) {
    const QPointer<ProjectWindows> self(this);
    if (const auto known = editors_.find(project.id); known != editors_.end()) {
        // A copy: what is returned may be moved out of its place.
        const EditorPtr editor = known->second;
        co_return editor;
    }
    const EditorPtr editor = makeEditor(project.id);
    auto reading = readProject(editor, project.name);
    const Result<void> read = co_await reading;
    if (self.isNull()) co_return EditorPtr();
    if (!read) {
        showError(read.error());
        co_return EditorPtr();
    }
    enter(editor, project);
    co_return editor;
}

void ProjectWindows::enter(const EditorPtr& editor, const LibraryProject& project) {
    // The name may have changed while the project was read.
    editor->setLibraryName(library_.find(project.id).value_or(project).name);
    const QPointer<ProjectWindows> self(this);
    editor->onProjectChange = [self, weak = std::weak_ptr(editor)] {
        const auto changed = weak.lock();
        if (!self.isNull() && changed) self->saving_.schedule(changed);
    };
    editor->ai().flush = [self, weak = std::weak_ptr(editor)] { return flushWeakly(self, weak); };
    editors_[project.id] = editor;
}

QCoro::Task<bool> ProjectWindows::refreshEditor(EditorPtr editor) {
    const QPointer<ProjectWindows> self(this);
    // Unsaved changes of its own count for more than a file.
    const auto isOurs = [&] { return editor->isDirty() || editor->isAtWork(); };
    if (isOurs()) co_return true;
    // What is asked for meanwhile would be asked of what is old.
    editor->beginSettling();
    auto look = [document = library_.projectURL(editor->id())] { return DocumentStamp::of(document); };
    auto background = inBackground(*services_.context, std::move(look), Lane::shortWork);
    const DocumentStamp present = co_await background;
    editor->endSettling();
    if (self.isNull() || !editor->ai().isConnected()) co_return false;
    if (isOurs() || present == saving_.stamp(editor->id())) co_return true;
    auto reading = readProject(editor, editor->title());
    const Result<void> read = co_await reading;
    if (self.isNull()) co_return false;
    if (!read) showError(read.error());
    co_return read && editor->ai().isConnected();
}

std::shared_ptr<Workspace> ProjectWindows::present(const WorkspacePtr& workspace) const {
    return workspace && workspaces_.contains(workspace->id()) ? workspace : nullptr;
}

std::shared_ptr<Workspace> ProjectWindows::workspaceShowing(const UUID& projectID) const {
    for (const auto& [id, workspace] : workspaces_)
        if (workspace->editor() && workspace->editor()->id() == projectID) return workspace;
    return nullptr;
}

std::shared_ptr<Workspace> ProjectWindows::activeWorkspace() const {
    for (const auto& [id, window] : windows_) {
        const auto workspace = workspaces_.find(id);
        if (window->isActive() && workspace != workspaces_.end()) return workspace->second;
    }
    return nullptr;
}

QCoro::Task<bool> ProjectWindows::connectSession(EditorPtr editor) {
    const QPointer<ProjectWindows> self(this);
    if (!editors_.contains(editor->id()) || isBeingDeleted(editor->id())) co_return false;
    auto connecting = editor->ai().connect();
    const Result<std::string> connected = co_await connecting;
    if (self.isNull()) co_return false;
    if (!connected) showError(connected.error());
    co_return connected.has_value();
}

QCoro::Task<bool> ProjectWindows::serve(EditorPtr editor) {
    const QPointer<ProjectWindows> self(this);
    const bool wasServed = editor->ai().isConnected();
    auto connecting = connectSession(editor);
    const bool isConnected = co_await connecting;
    if (self.isNull() || !isConnected) co_return false;
    if (wasServed) co_return true;
    // Only now nobody else can save it: another instance that had it may have done so after it was read here.
    auto refreshing = refreshEditor(editor);
    const bool isFresh = co_await refreshing;
    if (!isFresh) editor->ai().suspend();
    co_return isFresh;
}

bool ProjectWindows::isBeingDeleted(const UUID& projectID) const {
    return std::ranges::any_of(work_, [&projectID](const WorkPtr& work) {
        return work->kind == ProjectWork::Kind::deleting && work->projectID == projectID;
    });
}

QCoro::Task<std::shared_ptr<Editor>> ProjectWindows::open(LibraryProject project, WorkspacePtr workspace,
                                                          bool newWindow) {
    const QPointer<ProjectWindows> self(this);
    const auto opening = beginOpening();
    auto asked = opens_.next();
    const auto turn = co_await asked;
    if (self.isNull()) co_return EditorPtr();
    opening->outcome->project = project.id;
    if (opening->joinsFailed()) co_return EditorPtr();
    auto task = openInTurn(std::move(project), std::move(workspace), newWindow);
    // Both are to have it: what is returned from a variable that isn't const may be moved out of it.
    const EditorPtr shown = co_await task;
    opening->outcome->editor = shown;
    co_return shown;
}

std::shared_ptr<ProjectWindows::Opening> ProjectWindows::beginOpening() {
    services_.context->checkMainThread();
    const auto opening = std::make_shared<Opening>();
    std::erase_if(openings_, [](const auto& done) { return done.expired(); });
    for (const auto& waiting : openings_)
        if (const auto earlier = waiting.lock()) opening->earlier.push_back(earlier->outcome);
    openings_.push_back(opening);
    return opening;
}

bool ProjectWindows::isOpening() const {
    return std::ranges::any_of(openings_, [](const auto& opening) { return !opening.expired(); });
}

bool ProjectWindows::Opening::joinsFailed() const {
    const auto isSame = [this](const std::shared_ptr<Outcome>& other) {
        return (outcome->project && other->project == outcome->project) ||
               (outcome->file && other->file == outcome->file);
    };
    const auto last = std::ranges::find_if(earlier.rbegin(), earlier.rend(), isSame);
    return last != earlier.rend() && !(*last)->editor;
}

QCoro::Task<std::shared_ptr<Editor>> ProjectWindows::openInTurn(LibraryProject project, WorkspacePtr workspace,
                                                                bool newWindow) {
    const QPointer<ProjectWindows> self(this);
    for (const auto& [id, editor] : pendingWindows_)
        if (editor->id() == project.id) co_return editor;
    if (const auto showing = workspaceShowing(project.id)) {
        if (const auto window = windows_.find(showing->id()); window != windows_.end()) window->second->bringToFront();
        co_return showing->editor();
    }
    if (isBeingDeleted(project.id)) {
        setError("This project is no longer in your Kelvane library.");
        co_return EditorPtr();
    }
    auto loading = loadEditor(project);
    const EditorPtr editor = co_await loading;
    if (self.isNull() || !editor) co_return EditorPtr();
    const auto given = present(workspace);
    const auto target = newWindow ? nullptr : (given ? given : activeWorkspace());
    auto showing = target ? showIn(target, editor) : showInNewWindow(editor);
    co_return co_await showing;
}

QCoro::Task<std::shared_ptr<Editor>> ProjectWindows::showIn(WorkspacePtr target, EditorPtr editor) {
    const QPointer<ProjectWindows> self(this);
    do {
        if (target->editor() && !target->editor()->isAtWork()) {
            auto saving = flush(target->editor());
            const bool saved = co_await saving;
            if (self.isNull()) co_return EditorPtr();
            if (!saved) {
                editor->ai().suspend();
                co_return EditorPtr();
            }
        }
        // Neither a busy window is taken over nor one that closed meanwhile.
        if (!present(target) || (target->editor() && target->editor()->isAtWork())) {
            auto showing = showInNewWindow(editor);
            co_return co_await showing;
        }
        auto serving = serve(editor);
        const bool isServed = co_await serving;
        if (self.isNull() || !isServed) co_return EditorPtr();
        // The project that is shown there may have changed while this one was connected.
    } while (!present(target) || !mayClose(*target));
    leaveEditor(*target);
    editor->setShown(true);
    target->setEditor(editor);
    updateWindow(*target, editor->isDirty());
    co_return editor;
}

QCoro::Task<std::shared_ptr<Editor>> ProjectWindows::showInNewWindow(EditorPtr editor) {
    const QPointer<ProjectWindows> self(this);
    auto serving = serve(editor);
    const bool isServed = co_await serving;
    if (self.isNull() || !isServed) co_return EditorPtr();
    const auto window = UUID::random();
    pendingWindows_[window] = editor;
    editor->setShown(true);
    if (openWindow) openWindow(window);
    co_return editor;
}

QCoro::Task<void> ProjectWindows::openProject(FileURL file, WorkspacePtr workspace, bool newWindow) {
    const QPointer<ProjectWindows> self(this);
    const auto opening = beginOpening();
    auto asked = opens_.next();
    const auto turn = co_await asked;
    if (self.isNull()) co_return;
    auto look = [file, store = library_.store(), rows = library_.projects()] {
        return std::pair(file.resolved(), rowOf(file, store, rows));
    };
    auto background = inBackground(*services_.context, std::move(look), Lane::shortWork);
    auto [place, row] = co_await background;
    if (self.isNull()) co_return;
    opening->outcome->file = place;
    if (row) opening->outcome->project = row->id;
    if (opening->joinsFailed()) co_return;
    if (!row) {
        auto importing = importProject(file);
        Result<LibraryProject> imported = co_await importing;
        if (self.isNull()) co_return;
        if (!imported) {
            showError(imported.error());
            co_return;
        }
        row = *std::move(imported);
        opening->outcome->project = row->id;
    }
    auto task = openInTurn(*std::move(row), std::move(workspace), newWindow);
    opening->outcome->editor = co_await task;
    if (opening->outcome->editor && !self.isNull()) services_.panels->noteRecentDocument(file);
}

QCoro::Task<Result<LibraryProject>> ProjectWindows::importProject(FileURL file) {
    const QPointer<ProjectWindows> self(this);
    auto row = library_.newRow(file.baseName(), 0, file);
    const auto work = beginWork(ProjectWork::Kind::importing, row ? row->id : UUID::random(), file.baseName());
    auto copy = [row, file, store = library_.store(), stop = work->stop.get_token(),
                 report = report(work)]() -> Result<LibraryProject> {
        auto project = ProjectFile::read(file);
        if (!project) return fail(project.error());
        if (!row) return row;
        LibraryProject made = *row;
        made.duration = TimelineLayout::duration(project->clips);
        if (auto created = store.create(made, *project, stop, report); !created) return fail(created.error());
        return made;
    };
    auto background = inBackground(*services_.context, std::move(copy));
    Result<LibraryProject> made = co_await background;
    if (self.isNull()) co_return fail(Error::cancelled());
    endWork(work);
    if (made) library_.adopt(*made);
    co_return made;
}

QCoro::Task<void> ProjectWindows::openPreview(UUID projectID) {
    const QPointer<ProjectWindows> self(this);
    const auto opening = beginOpening();
    auto asked = opens_.next();
    const auto turn = co_await asked;
    if (self.isNull()) co_return;
    opening->outcome->project = projectID;
    if (opening->joinsFailed()) co_return;
    auto reading = reload();
    co_await reading;
    if (self.isNull()) co_return;
    const auto record = library_.find(projectID);
    if (!record) {
        setError("This project is no longer in your Kelvane library.");
        co_return;
    }
    const auto running = editors_.find(projectID);
    if (isBusy(projectID) || (running != editors_.end() && running->second->interactionSnapshot())) {
        setError("Wait for this project’s current operation to finish before previewing it.");
        co_return;
    }
    auto task = openInTurn(*record, nullptr, false);
    const EditorPtr editor = co_await task;
    opening->outcome->editor = editor;
    if (self.isNull() || !editor || editor->busy()) co_return;
    editor->clearSelectedAssets();
    editor->showTimelinePreview();
    editor->seekPreview(0);
    if (activateApplication) activateApplication();
}

std::shared_ptr<Workspace> ProjectWindows::workspace(const std::optional<UUID>& id) {
    services_.context->checkMainThread();
    if (id)
        if (const auto known = workspaces_.find(*id); known != workspaces_.end()) return known->second;
    const auto identity = id.value_or(UUID::random());
    EditorPtr editor;
    if (const auto pending = pendingWindows_.find(identity); pending != pendingWindows_.end()) {
        editor = pending->second;
        pendingWindows_.erase(pending);
    }
    return std::make_shared<Workspace>(identity, std::move(editor));
}

void ProjectWindows::attach(const WorkspacePtr& workspace, PlatformWindow* window) {
    services_.context->checkMainThread();
    windows_[workspace->id()] = window;
    workspaces_[workspace->id()] = workspace;
    updateWindow(*workspace, workspace->editor() && workspace->editor()->isDirty());
}

void ProjectWindows::updateWindow(const Workspace& workspace, bool dirty) {
    services_.context->checkMainThread();
    const auto window = windows_.find(workspace.id());
    if (window == windows_.end()) return;
    window->second->setHasUnsavedChanges(dirty);
    window->second->setProjectFile(workspace.editor() ? workspace.editor()->projectURL() : std::nullopt);
}

}  // namespace kelvane
