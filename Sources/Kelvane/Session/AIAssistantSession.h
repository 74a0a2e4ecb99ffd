#pragma once

#include <QCoroTask>
#include <QObject>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "Assistant/AIDesktopAssistant.h"
#include "CLI/CLIProjectDiscovery.h"
#include "CLI/CLIRequest.h"
#include "CLI/LocalCLIConnection.h"
#include "Media/MediaPlatform.h"
#include "Platform/MainContext.h"
#include "Platform/TurnQueue.h"
#include "RequestDoor.h"
#include "Support/JSON.h"
#include "Timeline/Clip.h"

namespace kelvane {

class Editor;

/// The server side of the command interface for one open project: opens the live connection, turns each message into a
/// reply, and holds the rules that make an outside caller safe beside a user who works in the same window. Also the way
/// on which a person hands the project to an assistant. The main thread, but for the handler that receives messages.
///
/// Up to eight requests may be in `perform` at once; they take turns wherever one of them waits. What a request relied
/// on is asked again after each of its waits.
class AIAssistantSession final : public QObject, public std::enable_shared_from_this<AIAssistantSession> {
    Q_OBJECT

public:
    /// `desktop` is where assistants are found; null means that there are none.
    AIAssistantSession(MainContext* context, MediaPlatform* media, DesktopServices* desktop = nullptr);
    ~AIAssistantSession() override;

    /// The editor that owns this session; set once, right after both are made.
    void setEditor(std::weak_ptr<Editor> editor);
    /// Folder of the registry of live connections; another one is there for tests. Read by `connect`.
    std::string registryPath = CLIProjectDiscovery::registryPath();
    /// Where the folder of the socket is made; another place is there for tests. Read by `connect`.
    std::string socketFolders = LocalCLIConnection::socketFolders;

    /// Starts serving, in the background, and gives the socket's path; the same path, in the same turn of the event
    /// loop, while connected. The socket answers before the registry names it. Who asks while the session connects
    /// waits for that. Fails with "The Kelvane project is closed." or in the words of the connection and the registry,
    /// or as cancelled where the period of serving ended meanwhile; nothing is left behind then.
    QCoro::Task<Result<std::string>> connect();
    /// Ends the period of serving; harmless when not connected. Requests under way are refused at their next check, and
    /// the long work that they wait for is told to stop.
    ///
    /// The record, the lock and the socket are gone when it returns, so that another instance can serve the project at
    /// once and a process that ends next leaves nothing. That is done here and not in the background: it is three names
    /// taken out of "/tmp", none of them synced, and an accept thread that ends when it is woken; nothing in it waits
    /// for a peer or another process. A session that connects just now withdraws what it began as soon as that is made.
    void suspend();
    [[nodiscard]] bool isConnected() const { return connection_ != nullptr; }
    /// Identity of the present period of serving; a fresh one from each `suspend` on.
    [[nodiscard]] const UUID& generation() const { return generation_; }

    /// Carries out one request and gives the document of its reply. `generation` is the period of serving that the
    /// request came in under; absent means the present one. However a request arrived, the checks here are all there
    /// are.
    QCoro::Task<Result<JSONObject>> perform(CLIRequest request, std::optional<UUID> generation);
    /// The state document: the timeline with its revision and what a next edit needs; unless `compact`, also the
    /// project, the assets and the state of work and history. Fails with "The Kelvane project is closed." and "A
    /// timeline source is missing from the asset library."
    [[nodiscard]] Result<JSONObject> projectState(bool compact) const;
    /// Refuses a write that belongs to an ended period, meets a busy editor or quotes an old revision, in this order.
    [[nodiscard]] Result<void> checkWrite(const std::string& revision, const UUID& epoch) const;
    /// The same without regard to running work.
    [[nodiscard]] Result<void> checkSnapshot(const std::string& revision, const UUID& epoch) const;

    // The launch of an assistant, as a sheet shows it.
    /// Saves the project, and answers whether it is on disk. Without it, it counts as saved.
    std::function<QCoro::Task<bool>()> flush;
    /// Whether the sheet is shown.
    [[nodiscard]] bool showSheet() const { return showSheet_; }
    /// Those that were installed when the sheet was opened, in order.
    [[nodiscard]] const std::vector<AIDesktopAssistant>& assistants() const { return assistants_; }
    /// A launch is under way.
    [[nodiscard]] bool launching() const { return launching_; }
    /// What the last launch failed with.
    [[nodiscard]] const std::optional<std::string>& message() const { return message_; }
    /// Opens the sheet, and ends a gesture. Nothing while the editor is busy, without assets, and during a launch.
    void start();
    /// Closes the sheet. Nothing during a launch.
    void dismissSheet();
    /// Saves the project, connects, prepares the session folder with its instructions, and opens the assistant on a
    /// task there; then the sheet closes. What fails is told in `message`, and the sheet stays: "Save the project
    /// before starting AI editing." where there is nothing on disk and the editor has no words of its own, else in the
    /// words of what failed. A launch whose period of serving ends leaves the sheet as it is. Nothing while the editor
    /// is busy and during another launch.
    void launch(AIDesktopAssistant assistant);

Q_SIGNALS:
    /// What the sheet shows is another.
    void sheetChanged();

private:
    /// One write that passed its first check.
    struct Write {
        CLIRequest request;
        std::string revision;
        UUID epoch;
        /// Of the period of serving that `epoch` names.
        std::stop_token stop;
        bool compact = false;
    };
    using Document = Result<JSONObject>;
    /// A timeline shared between the main thread and a build.
    using Target = std::shared_ptr<const std::vector<Clip>>;
    /// A timeline edit that stands.
    struct Applied {
        Target clips;
        /// The timeline's media when it had to be composed.
        EditedMediaPtr media;
        /// After the edit.
        std::string revision;
        UUID epoch;
        std::stop_token stop;
        bool changed = false;
        bool compact = false;
        bool wantsPreview = false;
    };

    /// What answers the messages to the socket of the present period of serving.
    [[nodiscard]] LocalCLIConnection::Handler requestHandler(const UUID& project);
    static QCoro::Task<void> serve(std::weak_ptr<AIAssistantSession> session, CLIRequest request, UUID project,
                                   UUID epoch, LocalCLIConnection::Reply reply);

    [[nodiscard]] Document project(const CLIRequest& request) const;
    QCoro::Task<Document> inspect(CLIRequest request, UUID epoch, std::stop_token stop);
    QCoro::Task<Document> rename(Write write);
    [[nodiscard]] Document travelHistory(const Write& write);
    QCoro::Task<Document> importFiles(Write write);
    QCoro::Task<Document> exportMovie(Write write);
    QCoro::Task<Document> editTimeline(Write write);
    /// The reply of a timeline edit: `state`, with a preview of the edit where one is asked for. A failure to render is
    /// told in the preview's place and never undoes the edit.
    QCoro::Task<JSONObject> editingResponse(Applied edit, JSONObject state);
    QCoro::Task<Document> previewOf(Applied edit);
    /// `checkSnapshot` and `checkWrite` for a write that goes on elsewhere, where the session may have gone.
    [[nodiscard]] std::function<Result<void>()> snapshotCheck(const Write& write);
    [[nodiscard]] std::function<Result<void>()> writeCheck(const Write& write);
    /// What a write's work failed with, in the words of its reply: work that was stopped with its period of serving is
    /// told of as the session's end.
    [[nodiscard]] Error failureOf(Error error, const Write& write) const;

    // AIAssistantSessionLaunch.cpp
    QCoro::Task<void> runLaunch(AIDesktopAssistant assistant);
    QCoro::Task<Result<void>> launchSteps(AIDesktopAssistant assistant, UUID epoch);
    /// The project's file once it holds what a person sees.
    QCoro::Task<Result<FileURL>> savedProject(UUID epoch);

    MainContext* context_;
    MediaPlatform* media_;
    DesktopServices* desktop_;
    std::weak_ptr<Editor> editor_;
    std::unique_ptr<LocalCLIConnection> connection_;
    std::unique_ptr<CLIProjectDiscovery> discovery_;
    TurnQueue connecting_;
    std::shared_ptr<RequestDoor> door_;
    UUID generation_ = UUID::random();
    /// Ends the work that the period of serving `generation_` asked for.
    std::stop_source period_;
    bool showSheet_ = false;
    std::vector<AIDesktopAssistant> assistants_;
    bool launching_ = false;
    std::optional<std::string> message_;
};

/// The value of a request's option, if it is there and not empty; else "Missing --<name>. Run cli help."
Result<std::string> requiredOption(const CLIRequest& request, const char* name);
/// "The Kelvane project is closed."
Error projectClosed();

}  // namespace kelvane
