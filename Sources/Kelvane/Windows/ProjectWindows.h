#pragma once

#include <QCoroTask>
#include <QObject>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Editor/Editor.h"
#include "Media/DrawnMovie.h"
#include "Platform/TurnQueue.h"
#include "ProjectSaving.h"
#include "ProjectWork.h"
#include "Storage/ProjectLibrary.h"
#include "Workspace.h"

namespace kelvane {

/// The single owner of everything that is open: makes and keeps the editor of each open project, ties editors to
/// windows, and carries out what is done to whole projects. A project has at most one editor, and an editor is shown by
/// at most one window. Failures are shown through `error`; a failed flush is shown by its editor and stops the
/// operation that needed it. The main thread only.
///
/// What waits for the disk or for other work is a task, and done when its task is. Projects open strictly in the order
/// in which they were asked for; asking again for one that is on its way joins the first. Arguments are taken by value
/// and windows may close meanwhile: a workspace without a window counts as none.
class ProjectWindows final : public QObject {
    Q_OBJECT

public:
    /// `services` outlive this object. Reads the library in the background; its root absent means
    /// ProjectStore::defaultRoot().
    ProjectWindows(EditorServices services, std::optional<FileURL> libraryRoot = std::nullopt);
    ~ProjectWindows() override;

    [[nodiscard]] ProjectLibrary& library() { return library_; }
    /// The main thread and its clock.
    [[nodiscard]] MainContext& context() const { return *services_.context; }
    /// The desktop's other applications; null where there are none.
    [[nodiscard]] DesktopServices* desktop() const { return services_.desktop; }
    /// What opens and decodes media; for any thread.
    [[nodiscard]] MediaPlatform& media() const { return *services_.media; }
    /// Reads the library's rows again.
    QCoro::Task<void> reload();
    /// Whether the library's rows have been read once: before, its projects are not known to be all.
    [[nodiscard]] bool hasReadLibrary() const { return hasReadLibrary_; }
    /// Text of the alert "Unable to Complete".
    [[nodiscard]] const std::optional<std::string>& error() const { return error_; }
    void setError(std::optional<std::string> error);
    /// Asks for a new window with this identity.
    std::function<void(const UUID&)> openWindow;
    /// Brings the whole application to the front.
    std::function<void()> activateApplication;
    /// Told in a sentence what a person without a window to look at would miss: a save that failed, a quit that is
    /// refused.
    std::function<void(const std::string&)> tell;

    [[nodiscard]] const std::map<UUID, std::shared_ptr<Editor>>& editors() const { return editors_; }
    [[nodiscard]] const std::map<UUID, std::shared_ptr<Workspace>>& workspaces() const { return workspaces_; }

    /// A new editor with its hooks, entered nowhere.
    std::shared_ptr<Editor> makeEditor(const UUID& id);
    /// Opens a project of the library in `workspace`, in the active window without one, or in a new window. Answers its
    /// editor, or null where it did not come to be shown.
    QCoro::Task<std::shared_ptr<Editor>> open(LibraryProject project, std::shared_ptr<Workspace> workspace,
                                              bool newWindow);
    /// Opens a project file from outside: a library document as itself, another as a library copy, made once.
    QCoro::Task<void> openProject(FileURL file, std::shared_ptr<Workspace> workspace, bool newWindow);
    /// Opens a project at the start of its timeline.
    QCoro::Task<void> openPreview(UUID projectID);

    /// The slot of a window that appears; without an id a fresh one.
    std::shared_ptr<Workspace> workspace(const std::optional<UUID>& id);
    /// Enters a window that now shows `workspace`. `window` stays until `unregister`.
    void attach(const std::shared_ptr<Workspace>& workspace, PlatformWindow* window);
    /// Whether a window may close as it is: its project is not busy and has nothing left to save.
    [[nodiscard]] bool mayClose(const Workspace& workspace) const;
    /// Whether a window may close: never while its project is busy, and only when its changes are saved.
    QCoro::Task<bool> confirmClose(std::shared_ptr<Workspace> workspace);
    void unregister(const std::shared_ptr<Workspace>& workspace);
    void updateWindow(const Workspace& workspace, bool dirty);
    QCoro::Task<void> showHome(std::shared_ptr<Workspace> workspace);

    void newProject(const std::shared_ptr<Workspace>& workspace);
    void chooseProject(const std::shared_ptr<Workspace>& workspace);
    /// How drawn movies are encoded; without it there is no sample project.
    WriteDrawnMovie writeDrawnMovie;
    /// Draws the footage of a sample project, and opens it in `workspace`. Work like any; one at a time.
    QCoro::Task<void> makeSampleProject(std::shared_ptr<Workspace> workspace);
    /// `validate` is asked in the turn at the project's files, and may be absent.
    QCoro::Task<Result<void>> rename(UUID id, std::string name, std::function<Result<void>()> validate = nullptr);
    QCoro::Task<void> duplicate(UUID id);
    void remove(UUID id);
    /// Stores the picture (JPEG bytes) of a project's card, an update of the project like any: its row bears the
    /// present date then. A failure is none worth telling.
    QCoro::Task<void> storeCardPicture(UUID id, std::string picture);
    /// What is being done to whole projects, oldest first.
    [[nodiscard]] const std::vector<std::shared_ptr<ProjectWork>>& work() const { return work_; }
    /// Stops all such work that can still be stopped; nothing is left of it.
    void cancelWork();

    /// Saves the project if it is dirty; answers whether nothing is left to save.
    QCoro::Task<bool> flush(std::shared_ptr<Editor> editor) { return saving_.flush(std::move(editor)); }
    /// Whether the application may end: never while anything is busy, and only when everything is saved. The answer
    /// holds for the turn of the event loop in which it comes; no stream of changes keeps it back.
    QCoro::Task<bool> confirmQuit();
    /// Ends all sessions and lets nothing change any more, whatever is posted already: the last call before the
    /// application ends, in the turn in which that was granted.
    void retire();

Q_SIGNALS:
    void errorChanged();
    void libraryChanged();
    void workChanged();

private:
    using EditorPtr = std::shared_ptr<Editor>;
    using WorkspacePtr = std::shared_ptr<Workspace>;
    using WorkPtr = std::shared_ptr<ProjectWork>;
    /// One opening under way or waiting, of whatever kind. It lives as long as the coroutine that opens.
    struct Opening {
        struct Outcome {
            /// What is opened, as far as it is known: a file with links resolved, and a project of the library.
            std::optional<FileURL> file;
            std::optional<UUID> project;
            /// Null while it is under way, and where it failed or was stopped.
            EditorPtr editor;
        };
        std::shared_ptr<Outcome> outcome = std::make_shared<Outcome>();
        /// Of those that were asked for before and not done then, oldest first.
        std::vector<std::shared_ptr<Outcome>> earlier;

        /// Whether the last one before it that opened the same failed or was stopped: it is not begun again for those
        /// who waited for it. Asked with the turn, once it is known what is opened.
        [[nodiscard]] bool joinsFailed() const;
    };

    // ProjectWindows.cpp
    QCoro::Task<void> readLibrary();
    std::shared_ptr<Opening> beginOpening();
    [[nodiscard]] bool isOpening() const;
    QCoro::Task<EditorPtr> openInTurn(LibraryProject project, WorkspacePtr workspace, bool newWindow);
    QCoro::Task<EditorPtr> showIn(WorkspacePtr target, EditorPtr editor);
    QCoro::Task<EditorPtr> showInNewWindow(EditorPtr editor);
    QCoro::Task<EditorPtr> loadEditor(LibraryProject project);
    /// Reads a served project again that another instance has saved since it was read here. Answers whether it is as
    /// its file is and still served.
    QCoro::Task<bool> refreshEditor(EditorPtr editor);
    QCoro::Task<Result<void>> readProject(EditorPtr editor, std::string name);
    void enter(const EditorPtr& editor, const LibraryProject& project);
    QCoro::Task<Result<LibraryProject>> importProject(FileURL file);
    QCoro::Task<bool> canSave(UUID projectID, FileURL url);
    [[nodiscard]] WorkspacePtr present(const WorkspacePtr& workspace) const;
    [[nodiscard]] WorkspacePtr workspaceShowing(const UUID& projectID) const;
    [[nodiscard]] WorkspacePtr activeWorkspace() const;
    /// Answers whether the project is served then. What it holds may be older than its file.
    QCoro::Task<bool> connectSession(EditorPtr editor);
    /// Connects a project, and brings it up to its file. Answers whether it is to be shown.
    QCoro::Task<bool> serve(EditorPtr editor);
    [[nodiscard]] bool isBeingDeleted(const UUID& projectID) const;

    // ProjectWindowsClosing.cpp
    void leaveEditor(Workspace& workspace);
    /// Why the application may not end now; nothing when nothing is busy.
    [[nodiscard]] std::optional<std::string> reasonToStay() const;
    /// What is dirty or being written.
    [[nodiscard]] std::vector<EditorPtr> unsavedEditors() const;
    /// Saves these one after the other. Answers the reason to stay where one can't be saved.
    QCoro::Task<std::optional<std::string>> saveEach(std::vector<EditorPtr> editors);

    // ProjectWindowsLibrary.cpp
    QCoro::Task<void> createProject(std::string name, WorkspacePtr workspace);
    QCoro::Task<void> finishRemoval(LibraryProject project);
    void closeRemoved(const LibraryProject& project);
    WorkPtr beginWork(ProjectWork::Kind kind, const UUID& projectID, std::string name);
    void endWork(const WorkPtr& work);
    /// Carries progress from the thread that works to `work`.
    ProgressReport report(const WorkPtr& work);
    [[nodiscard]] bool isWorkedOn(const UUID& projectID) const;
    [[nodiscard]] bool isBusy(const UUID& projectID) const;
    /// Shows a failure, unless somebody asked for it.
    void showError(const Error& error);

    EditorServices services_;
    ProjectLibrary library_;
    ProjectSaving saving_;
    bool hasReadLibrary_ = false;
    std::optional<std::string> error_;
    std::map<UUID, EditorPtr> editors_;
    std::map<UUID, PlatformWindow*> windows_;
    std::map<UUID, WorkspacePtr> workspaces_;
    std::map<UUID, EditorPtr> pendingWindows_;
    std::vector<WorkPtr> work_;
    TurnQueue opens_;
    /// Oldest first.
    std::vector<std::weak_ptr<Opening>> openings_;
};

}  // namespace kelvane
