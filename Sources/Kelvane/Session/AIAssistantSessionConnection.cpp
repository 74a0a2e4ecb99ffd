#include <utility>

#include "AIAssistantSession.h"
#include "CLI/CLIReply.h"
#include "Editor/Editor.h"

namespace kelvane {

namespace {

/// What serving has outside of the process's memory.
struct Serving {
    std::unique_ptr<LocalCLIConnection> connection;
    std::unique_ptr<CLIProjectDiscovery> discovery;

    void withdraw() {
        discovery.reset();
        connection.reset();
    }
};

/// The socket first, so that the registry names one that answers. Blocks, where a sweep has the project's lock for as
/// long as that takes.
Result<Serving> beginServing(LocalCLIConnection::Handler handler, const UUID& project, const std::string& registry,
                             const std::string& socketFolders) {
    auto connection = LocalCLIConnection::start(std::move(handler), LocalCLIConnection::requestTimeout, socketFolders);
    if (!connection) return fail(connection.error());
    // When the registry refuses, the connection's end takes its folder along.
    auto discovery = CLIProjectDiscovery::start(project, (*connection)->socketPath(), registry);
    if (!discovery) return fail(discovery.error());
    return Serving{*std::move(connection), *std::move(discovery)};
}

}  // namespace

LocalCLIConnection::Handler AIAssistantSession::requestHandler(const UUID& project) {
    return [session = weak_from_this(), door = door_, project, epoch = generation_](std::string message,
                                                                                    LocalCLIConnection::Reply reply) {
        auto request = decodeCLIRequest(message);
        if (!request) return reply(failureReply(request.error()));
        auto work = [session, project, epoch, reply, request = *std::move(request)]() mutable {
            serve(session, std::move(request), project, epoch, std::move(reply));
        };
        if (!door->post(std::move(work))) reply(failureReply(projectClosed()));
    };
}

QCoro::Task<Result<std::string>> AIAssistantSession::connect() {
    context_->checkMainThread();
    const auto self = shared_from_this();
    const UUID epoch = generation_;
    // One that is on its way has the project's lock, or gives it back before its turn ends.
    auto asked = connecting_.next();
    const auto turn = co_await asked;
    if (epoch != generation_) co_return fail(Error::cancelled());
    if (connection_) co_return connection_->socketPath();
    auto editor = editor_.lock();
    if (!editor) co_return fail(projectClosed());
    const UUID project = editor->id();
    // A session that connects must not keep a closed project alive.
    editor.reset();

    auto begin = [handler = requestHandler(project), project, registry = registryPath,
                  folders = socketFolders]() mutable {
        return beginServing(std::move(handler), project, registry, folders);
    };
    auto beginning = inBackground(*context_, std::move(begin), Lane::shortWork);
    Result<Serving> serving = co_await beginning;
    if (epoch == generation_) {
        if (!serving) co_return fail(serving.error());
        discovery_ = std::move(serving->discovery);
        connection_ = std::move(serving->connection);
        co_return connection_->socketPath();
    }
    if (serving) {
        auto withdraw = [late = *std::move(serving)]() mutable {
            late.withdraw();
            return true;
        };
        auto withdrawing = inBackground(*context_, std::move(withdraw), Lane::shortWork);
        co_await withdrawing;
    }
    co_return fail(Error::cancelled());
}

void AIAssistantSession::suspend() {
    context_->checkMainThread();
    generation_ = UUID::random();
    period_.request_stop();
    period_ = std::stop_source();
    if (discovery_) {
        discovery_->stop();
        discovery_.reset();
    }
    if (connection_) {
        connection_->cancel();
        connection_.reset();
    }
}

}  // namespace kelvane
