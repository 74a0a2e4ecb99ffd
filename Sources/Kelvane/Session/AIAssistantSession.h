#pragma once

#include <QCoroTask>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "CLI/CLIProjectDiscovery.h"
#include "CLI/CLIRequest.h"
#include "CLI/LocalCLIConnection.h"
#include "Media/MediaPlatform.h"
#include "Platform/MainContext.h"
#include "Support/JSON.h"

namespace kelvane {

class Editor;

/// The server side of the command interface for one open project: opens the live connection, turns each message into a
/// reply, and holds the rules that make an outside caller safe beside a user who works in the same window. The main thread,
/// but for the handler that receives messages.
class AIAssistantSession final : public std::enable_shared_from_this<AIAssistantSession> {
public:
    AIAssistantSession(MainContext* context, MediaPlatform* media);
    ~AIAssistantSession();

    /// The editor that owns this session; set once, right after both are made.
    void setEditor(std::weak_ptr<Editor> editor);
    /// Saves the project; set by the owner of the editor.
    std::function<bool()> flush;

    /// Starts serving and gives the socket's path; the same path while connected.
    Result<std::string> connect();
    /// Ends the period of serving; harmless when not connected.
    void suspend();
    [[nodiscard]] bool isConnected() const { return connection_ != nullptr; }
    /// Identity of the present period of serving.
    [[nodiscard]] const UUID& generation() const { return generation_; }

    /// Carries out one request and gives the document of its reply.
    QCoro::Task<Result<JSONObject>> perform(CLIRequest request, std::optional<UUID> generation);
    /// The state document.
    [[nodiscard]] Result<JSONObject> projectState(bool compact) const;
    /// Refuses a write that belongs to an ended period, meets a busy editor or quotes an old revision.
    [[nodiscard]] Result<void> checkWrite(const std::string& revision, const UUID& epoch) const;
    [[nodiscard]] Result<void> checkSnapshot(const std::string& revision, const UUID& epoch) const;

private:
    MainContext* context_;
    MediaPlatform* media_;
    std::weak_ptr<Editor> editor_;
    std::unique_ptr<LocalCLIConnection> connection_;
    std::unique_ptr<CLIProjectDiscovery> discovery_;
    UUID generation_ = UUID::random();
};

}  // namespace kelvane
