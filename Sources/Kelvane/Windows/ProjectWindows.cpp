#include "ProjectWindows.h"

#include <sys/stat.h>

#include <QPointer>

#include "Platform/ImageEncoding.h"
#include "Session/AIAssistantSession.h"
#include "Storage/ProjectFile.h"
#include "Support/FileURL.h"
#include "Timeline/TimelineLayout.h"

namespace kelvane {

namespace {

/// A pause long enough that typing or dragging doesn't save at each step, short enough that little is ever unsaved.
constexpr std::chrono::milliseconds autosaveDelay{600};

bool sameFile(const FileURL& a, const FileURL& b) { return a.resolved() == b.resolved(); }

}  // namespace

ProjectWindows::ProjectWindows(EditorServices services, std::optional<FileURL> libraryRoot)
    : services_(std::move(services)), library_(std::move(libraryRoot)) {
    library_.onChange = [this] { Q_EMIT libraryChanged(); };
}

ProjectWindows::~ProjectWindows() {
    library_.onChange = nullptr;
    for (const auto& [id, editor] : editors_) {
        editor->onProjectChange = nullptr;
        editor->ai().suspend();
    }
}

void ProjectWindows::setError(std::optional<std::string> error) {
    error_ = std::move(error);
    Q_EMIT errorChanged();
}

std::shared_ptr<Editor> ProjectWindows::makeEditor(const UUID& id) {
    auto editor = Editor::create(id, library_.mediaDirectory(id), services_);
    const QPointer<ProjectWindows> self(this);
    editor->onRenameProject = [self, id](const std::string& name) -> Result<void> {
        if (self.isNull()) return fail("The project library is closed.");
        return self->rename(id, name);
    };
    editor->canSaveToURL = [self, id](const FileURL& url) { return self.isNull() || self->canSave(id, url); };
    return editor;
}

bool ProjectWindows::canSave(const UUID& projectID, const FileURL& url) const {
    const auto owner = library_.record(url);
    if (owner && owner->id != projectID) return false;
    for (const auto& [id, editor] : editors_)
        if (id != projectID && editor->projectURL() && sameFile(*editor->projectURL(), url)) return false;
    return true;
}

std::shared_ptr<Editor> ProjectWindows::loadEditor(const LibraryProject& project) {
    if (const auto known = editors_.find(project.id); known != editors_.end())
        return refreshEditor(*known->second) ? known->second : nullptr;
    auto editor = makeEditor(project.id);
    if (auto loaded = editor->loadProject(library_.projectURL(project.id)); !loaded) {
        setError(loaded.error().message);
        return nullptr;
    }
    editor->setLibraryName(project.name);
    const QPointer<ProjectWindows> self(this);
    const std::weak_ptr<Editor> weak = editor;
    editor->onProjectChange = [self, weak] {
        const auto changed = weak.lock();
        if (!self.isNull() && changed) self->scheduleAutosave(changed);
    };
    editors_[project.id] = editor;
    // Loading may have written the document back.
    stamps_[project.id] = stamp(project.id);
    return editor;
}

ProjectWindows::DocumentStamp ProjectWindows::stamp(const UUID& projectID) const {
    struct stat status{};
    if (::stat(library_.projectURL(projectID).path().c_str(), &status) != 0) return {};
    return {.size = status.st_size,
            .modified = status.st_mtim.tv_sec * 1'000'000'000LL + status.st_mtim.tv_nsec,
            .inode = status.st_ino};
}

bool ProjectWindows::refreshEditor(Editor& editor) {
    // While it was served here, nobody else could save it; unsaved changes of its own count for more than a file.
    const auto present = stamp(editor.id());
    if (editor.ai().isConnected() || editor.isDirty() || editor.busy() || present == stamps_[editor.id()]) return true;
    if (auto loaded = editor.loadProject(library_.projectURL(editor.id())); !loaded) {
        setError(loaded.error().message);
        return false;
    }
    stamps_[editor.id()] = stamp(editor.id());
    return true;
}

std::shared_ptr<Workspace> ProjectWindows::present(const std::shared_ptr<Workspace>& workspace) const {
    return workspace && workspaces_.contains(workspace->id()) ? workspace : nullptr;
}

std::shared_ptr<Workspace> ProjectWindows::workspaceShowing(const UUID& projectID) const {
    for (const auto& [id, workspace] : workspaces_)
        if (workspace->editor() && workspace->editor()->id() == projectID) return workspace;
    return nullptr;
}

std::shared_ptr<Workspace> ProjectWindows::keyWorkspace() const {
    for (const auto& [id, window] : windows_) {
        const auto workspace = workspaces_.find(id);
        if (window->isActive() && workspace != workspaces_.end()) return workspace->second;
    }
    return nullptr;
}

bool ProjectWindows::connectSession(Editor& editor) {
    if (auto connected = editor.ai().connect(); !connected) {
        setError(connected.error().message);
        return false;
    }
    return true;
}

std::shared_ptr<Editor> ProjectWindows::open(const LibraryProject& project, const std::shared_ptr<Workspace>& workspace,
                                             bool newWindow) {
    for (const auto& [id, editor] : pendingWindows_)
        if (editor->id() == project.id) return editor;
    if (const auto showing = workspaceShowing(project.id)) {
        if (const auto window = windows_.find(showing->id()); window != windows_.end()) window->second->bringToFront();
        return showing->editor();
    }
    auto editor = loadEditor(project);
    if (!editor) return nullptr;
    const auto target = newWindow ? nullptr : (workspace ? workspace : keyWorkspace());
    if (target && !(target->editor() && target->editor()->busy())) {
        if (target->editor() && !flush(*target->editor())) return nullptr;
        if (!connectSession(*editor)) return nullptr;
        leaveEditor(*target);
        target->setEditor(editor);
        updateWindow(*target, editor->isDirty());
        return editor;
    }
    if (!connectSession(*editor)) return nullptr;
    const auto window = UUID::random();
    pendingWindows_[window] = editor;
    if (openWindow) openWindow(window);
    return editor;
}

void ProjectWindows::openProject(const FileURL& file, const std::shared_ptr<Workspace>& workspace, bool newWindow) {
    if (const auto record = library_.record(file)) {
        open(*record, workspace, newWindow);
        return;
    }
    for (const auto& row : library_.projects()) {
        if (row.importedFrom && sameFile(*row.importedFrom, file)) {
            const auto imported = row;
            open(imported, workspace, newWindow);
            return;
        }
    }
    auto project = ProjectFile::read(file);
    if (!project) {
        setError(project.error().message);
        return;
    }
    const auto created = library_.create(file.baseName(), *project, file);
    if (!created) {
        setError(created.error().message);
        return;
    }
    open(*created, workspace, newWindow);
}

void ProjectWindows::openPreview(UUID projectID) {
    library_.reload();
    const auto record = library_.find(projectID);
    if (!record) {
        setError("This project is no longer in your Kelvane library.");
        return;
    }
    const auto running = editors_.find(projectID);
    if (running != editors_.end() && (running->second->busy() || running->second->interactionSnapshot())) {
        setError("Wait for this project’s current operation to finish before previewing it.");
        return;
    }
    const auto editor = open(*record, nullptr, false);
    if (!editor || editor->busy()) return;
    editor->clearSelectedAssets();
    editor->showTimelinePreview();
    editor->seekPreview(0);
    if (activateApplication) activateApplication();
}

std::shared_ptr<Workspace> ProjectWindows::workspace(const std::optional<UUID>& id) {
    if (id) {
        if (const auto known = workspaces_.find(*id); known != workspaces_.end()) return known->second;
    }
    const auto identity = id.value_or(UUID::random());
    std::shared_ptr<Editor> editor;
    if (const auto pending = pendingWindows_.find(identity); pending != pendingWindows_.end()) {
        editor = pending->second;
        pendingWindows_.erase(pending);
    }
    return std::make_shared<Workspace>(identity, std::move(editor));
}

void ProjectWindows::attach(const std::shared_ptr<Workspace>& workspace, PlatformWindow* window) {
    windows_[workspace->id()] = window;
    workspaces_[workspace->id()] = workspace;
    updateWindow(*workspace, workspace->editor() && workspace->editor()->isDirty());
}

bool ProjectWindows::shouldClose(const Workspace& workspace) {
    const auto& editor = workspace.editor();
    return !editor || (!editor->busy() && flush(*editor));
}

void ProjectWindows::leaveEditor(Workspace& workspace) {
    if (const auto editor = workspace.editor()) {
        editor->pausePlayer();
        editor->ai().suspend();
    }
}

void ProjectWindows::unregister(const std::shared_ptr<Workspace>& workspace) {
    windows_.erase(workspace->id());
    workspaces_.erase(workspace->id());
    leaveEditor(*workspace);
}

void ProjectWindows::updateWindow(const Workspace& workspace, bool dirty) {
    const auto window = windows_.find(workspace.id());
    if (window == windows_.end()) return;
    window->second->setHasUnsavedChanges(dirty);
    window->second->setProjectFile(workspace.editor() ? workspace.editor()->projectURL() : std::nullopt);
}

void ProjectWindows::showHome(const std::shared_ptr<Workspace>& workspace) {
    if (const auto editor = workspace->editor()) {
        if (editor->busy() || !flush(*editor)) return;
    }
    leaveEditor(*workspace);
    workspace->setEditor(nullptr);
    updateWindow(*workspace, false);
    library_.reload();
}

void ProjectWindows::newProject(const std::shared_ptr<Workspace>& workspace) {
    const QPointer<ProjectWindows> self(this);
    services_.panels->askName("New Project", "Untitled", "Create",
                              [self, workspace](const std::optional<std::string>& name) {
                                  if (self.isNull() || !name) return;
                                  const Project empty{.clips = {}, .assets = std::vector<Clip>(), .mediaRoot = {}};
                                  const auto created = self->library_.create(*name, empty, std::nullopt);
                                  if (!created) {
                                      self->setError(created.error().message);
                                      return;
                                  }
                                  // The window may have closed while the question stood.
                                  self->open(*created, self->present(workspace), false);
                              });
}

void ProjectWindows::chooseProject(const std::shared_ptr<Workspace>& workspace) {
    const QPointer<ProjectWindows> self(this);
    services_.panels->chooseFiles(PanelContent::project,
                                  "Import editable projects and copy their media into your Kelvane library.",
                                  [self, workspace](const std::vector<FileURL>& files) {
                                      bool first = true;
                                      for (const auto& file : files) {
                                          if (self.isNull()) return;
                                          self->openProject(file, first ? self->present(workspace) : nullptr, !first);
                                          first = false;
                                      }
                                  });
}

Result<void> ProjectWindows::rename(UUID id, const std::string& name) {
    if (auto renamed = library_.rename(id, name); !renamed) return renamed;
    const auto editor = editors_.find(id);
    const auto row = library_.find(id);
    if (editor != editors_.end() && row) editor->second->setLibraryName(row->name);
    return {};
}

void ProjectWindows::duplicate(UUID id) {
    if (const auto running = editors_.find(id); running != editors_.end()) {
        if (running->second->busy()) {
            setError("Wait for this project’s import or export to finish before duplicating it.");
            return;
        }
        if (!flush(*running->second)) return;
    }
    if (const auto copy = library_.duplicate(id); !copy) setError(copy.error().message);
}

void ProjectWindows::remove(UUID id) {
    const auto project = library_.find(id);
    if (!project) return;
    const auto running = editors_.find(id);
    if (running != editors_.end() && running->second->busy()) {
        setError("Wait for this project’s import or export to finish before deleting it.");
        return;
    }
    const QPointer<ProjectWindows> self(this);
    services_.panels->confirm(
        "Delete “" + project->name + "”?",
        "This permanently deletes the project, its media copies, and voice-over recordings. Files "
        "imported from elsewhere will be kept.",
        "Cancel", "Delete", [self, row = *project](bool confirmed) {
            if (!self.isNull() && confirmed) self->finishRemoval(row);
        });
}

void ProjectWindows::finishRemoval(const LibraryProject& project) {
    const auto running = editors_.find(project.id);
    const auto editor = running == editors_.end() ? nullptr : running->second;
    // The question stood open for as long as a person took to answer it.
    if (editor && editor->busy()) {
        setError("Wait for this project’s import or export to finish before deleting it.");
        return;
    }
    if (editor) editor->ai().suspend();
    if (auto removed = library_.remove(project.id); !removed) {
        setError(removed.error().message);
        return;
    }
    autosaves_.erase(project.id);
    stamps_.erase(project.id);
    if (!editor) return;
    editor->onProjectChange = nullptr;
    for (const auto& [id, workspace] : workspaces_) {
        if (workspace->editor() == editor) {
            editor->pausePlayer();
            workspace->setEditor(nullptr);
            updateWindow(*workspace, false);
        }
    }
    editors_.erase(project.id);
}

void ProjectWindows::scheduleAutosave(const std::shared_ptr<Editor>& editor) {
    const QPointer<ProjectWindows> self(this);
    const std::weak_ptr<Editor> weak = editor;
    autosaves_[editor->id()] = services_.context->after(autosaveDelay, [self, weak] {
        const auto dirty = weak.lock();
        if (!self.isNull() && dirty) self->flush(*dirty);
    });
}

bool ProjectWindows::flush(Editor& editor) {
    // The timer may be the caller; its state must outlive this call.
    const auto pending = autosaves_.extract(editor.id());
    if (!editor.isDirty()) return true;
    if (!editor.libraryName()) {
        editor.saveProject(false);
        editor.setSaveFailed(false);
        return !editor.isDirty();
    }
    if (auto saved = saveManaged(editor); !saved) {
        editor.setSaveFailed(true);
        editor.setError("Your changes could not be saved: " + saved.error().message);
        return false;
    }
    editor.markProjectSaved();
    editor.setSaveFailed(false);
    return !editor.isDirty();
}

Result<void> ProjectWindows::saveManaged(Editor& editor) {
    if (auto written = editor.writeManagedProject(library_.projectURL(editor.id()), false); !written) return written;
    stamps_[editor.id()] = stamp(editor.id());
    const Clip* source = nullptr;
    if (!editor.clips().empty())
        source = &editor.clips().front();
    else if (!editor.assets().empty())
        source = &editor.assets().front();
    std::optional<std::string> thumbnail;
    if (source != nullptr) {
        const auto picture = editor.thumbnails().find(source->url);
        if (picture != editor.thumbnails().end() && picture->second) thumbnail = jpegData(*picture->second);
    }
    return library_.update(editor.id(), TimelineLayout::duration(editor.clips()), thumbnail);
}

bool ProjectWindows::confirmQuit() {
    for (const auto& [id, editor] : editors_)
        if (editor->busy()) return false;
    for (const auto& [id, editor] : editors_)
        if (editor->isDirty() && !flush(*editor)) return false;
    return true;
}

}  // namespace kelvane
