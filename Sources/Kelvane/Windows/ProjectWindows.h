#pragma once

#include <QObject>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Editor/Editor.h"
#include "Storage/ProjectLibrary.h"
#include "Workspace.h"

namespace kelvane {

/// The single owner of everything that is open: makes and keeps the editor of each open project, ties editors to
/// windows, debounces autosave and is the one save path of library projects. A project has at most one editor, and an
/// editor is shown by at most one window. Failures are shown through `error`; a failed flush is shown by its editor and
/// stops the operation that needed it. The main thread only.
class ProjectWindows final : public QObject {
    Q_OBJECT

public:
    /// `services` outlive this object.
    ProjectWindows(EditorServices services, std::optional<FileURL> libraryRoot = std::nullopt);
    ~ProjectWindows() override;

    [[nodiscard]] ProjectLibrary& library() { return library_; }
    /// Text of the alert "Unable to Complete".
    [[nodiscard]] const std::optional<std::string>& error() const { return error_; }
    void setError(std::optional<std::string> error);
    /// Asks for a new window with this identity.
    std::function<void(const UUID&)> openWindow;
    /// Brings the whole application to the front.
    std::function<void()> activateApplication;

    [[nodiscard]] const std::map<UUID, std::shared_ptr<Editor>>& editors() const { return editors_; }
    [[nodiscard]] const std::map<UUID, std::shared_ptr<Workspace>>& workspaces() const { return workspaces_; }

    /// A new editor with its hooks, entered nowhere.
    std::shared_ptr<Editor> makeEditor(const UUID& id);
    std::shared_ptr<Editor> open(const LibraryProject& project, const std::shared_ptr<Workspace>& workspace,
                                 bool newWindow);
    /// Opens a project file from outside: a library document as itself, another as a library copy, made once.
    void openProject(const FileURL& file, const std::shared_ptr<Workspace>& workspace, bool newWindow);
    /// Opens a project at the start of its timeline.
    void openPreview(UUID projectID);

    /// The slot of a window that appears; without an id a fresh one.
    std::shared_ptr<Workspace> workspace(const std::optional<UUID>& id);
    /// Enters a window that now shows `workspace`. `window` stays until `unregister`.
    void attach(const std::shared_ptr<Workspace>& workspace, PlatformWindow* window);
    /// Whether a window may close: never while its project is busy, and only when its changes are saved.
    bool shouldClose(const Workspace& workspace);
    void unregister(const std::shared_ptr<Workspace>& workspace);
    void updateWindow(const Workspace& workspace, bool dirty);
    void showHome(const std::shared_ptr<Workspace>& workspace);

    void newProject(const std::shared_ptr<Workspace>& workspace);
    void chooseProject(const std::shared_ptr<Workspace>& workspace);
    Result<void> rename(UUID id, const std::string& name);
    void duplicate(UUID id);
    void remove(UUID id);

    /// Saves the project if it is dirty; answers whether nothing is left to save.
    bool flush(Editor& editor);
    /// Whether the application may end: never while anything is busy, and only when everything is saved.
    bool confirmQuit();

Q_SIGNALS:
    void errorChanged();
    void libraryChanged();

private:
    /// What a document was when it was last read or written here.
    struct DocumentStamp {
        std::int64_t size = -1;
        std::int64_t modified = 0;
        std::uint64_t inode = 0;
        bool operator==(const DocumentStamp&) const = default;
    };
    [[nodiscard]] DocumentStamp stamp(const UUID& projectID) const;
    std::shared_ptr<Editor> loadEditor(const LibraryProject& project);
    /// Reads a project again that another instance has saved while it was not served here.
    bool refreshEditor(Editor& editor);
    std::shared_ptr<Workspace> present(const std::shared_ptr<Workspace>& workspace) const;
    std::shared_ptr<Workspace> workspaceShowing(const UUID& projectID) const;
    std::shared_ptr<Workspace> keyWorkspace() const;
    bool connectSession(Editor& editor);
    bool canSave(const UUID& projectID, const FileURL& url) const;
    Result<void> saveManaged(Editor& editor);
    void scheduleAutosave(const std::shared_ptr<Editor>& editor);
    void leaveEditor(Workspace& workspace);
    void finishRemoval(const LibraryProject& project);

    EditorServices services_;
    ProjectLibrary library_;
    std::optional<std::string> error_;
    std::map<UUID, std::shared_ptr<Editor>> editors_;
    std::map<UUID, PlatformWindow*> windows_;
    std::map<UUID, std::shared_ptr<Workspace>> workspaces_;
    std::map<UUID, std::shared_ptr<Editor>> pendingWindows_;
    std::map<UUID, Timer> autosaves_;
    std::map<UUID, DocumentStamp> stamps_;
};

}  // namespace kelvane
