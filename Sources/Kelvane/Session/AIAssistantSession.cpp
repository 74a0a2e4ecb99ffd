#include "AIAssistantSession.h"

#include <utility>

#include "CLI/CLIError.h"
#include "CLI/CLIReply.h"
#include "CLI/KelvaneCLI.h"
#include "CLIEditing.h"
#include "Editor/Editor.h"

namespace kelvane {

namespace {

Error sessionClosed() { return CLIError("The Kelvane session is closed."); }

bool isInspection(const std::string& command) {
    return command == "frames" || command == "contact-sheet" || command == "preview" || command == "waveform";
}

bool isTimelineEdit(const std::string& command) {
    return command == "timeline" || command == "split" || command == "clip" || command == "remove";
}

}  // namespace

Result<std::string> requiredOption(const CLIRequest& request, const char* name) {
    auto option = request.option(name);
    if (!option || option->empty()) return fail(CLIError(std::string("Missing --") + name + ". Run cli help."));
    return *std::move(option);
}

Error projectClosed() { return CLIError("The Kelvane project is closed."); }

AIAssistantSession::AIAssistantSession(MainContext* context, MediaPlatform* media, DesktopServices* desktop)
    : context_(context),
      media_(media),
      desktop_(desktop),
      connecting_(*context),
      door_(std::make_shared<RequestDoor>(context)) {}

AIAssistantSession::~AIAssistantSession() { door_->shut(); }

void AIAssistantSession::setEditor(std::weak_ptr<Editor> editor) { editor_ = std::move(editor); }

QCoro::Task<void> AIAssistantSession::serve(std::weak_ptr<AIAssistantSession> session, CLIRequest request, UUID project,
                                            UUID epoch, LocalCLIConnection::Reply reply) {
    const auto self = session.lock();
    if (!self) {
        reply(failureReply(projectClosed()));
        co_return;
    }
    if (request.projectID.value_or(project) != project) {
        reply(failureReply(
            CLIError("The connection belongs to a different Kelvane project. Reopen the requested project.")));
        co_return;
    }
    MainContext* const context = self->context_;
    auto task = self->perform(std::move(request), epoch);
    auto result = co_await task;
    if (!result) {
        reply(failureReply(result.error()));
        co_return;
    }
    // A reply can be long; the main thread has better things to do.
    auto work = [reply = std::move(reply), document = *std::move(result)] { reply(successReply(document)); };
    context->runInBackground(std::move(work), Lane::shortWork);
}

Result<void> AIAssistantSession::checkWrite(const std::string& revision, const UUID& epoch) const {
    const auto editor = editor_.lock();
    if (epoch != generation_ || !editor) return fail(sessionClosed());
    if (editor->busy() || editor->interactionSnapshot())
        return fail(CLIError("Kelvane is busy. Finish importing, exporting or the current timeline interaction."));
    return checkSnapshot(revision, epoch);
}

Result<void> AIAssistantSession::checkSnapshot(const std::string& revision, const UUID& epoch) const {
    const auto editor = editor_.lock();
    if (epoch != generation_ || !editor) return fail(sessionClosed());
    if (CLIEditing::revision(editor->clips(), editor->assets()) != revision)
        return fail(CLIError("The timeline or asset library changed. Read project again and use its latest revision."));
    return {};
}

Error AIAssistantSession::failureOf(Error error, const Write& write) const {
    return error.isCancelled() && write.epoch != generation_ ? sessionClosed() : std::move(error);
}

std::function<Result<void>()> AIAssistantSession::snapshotCheck(const Write& write) {
    return [session = weak_from_this(), revision = write.revision, epoch = write.epoch]() -> Result<void> {
        const auto self = session.lock();
        if (!self) return fail(sessionClosed());
        return self->checkSnapshot(revision, epoch);
    };
}

std::function<Result<void>()> AIAssistantSession::writeCheck(const Write& write) {
    return [session = weak_from_this(), revision = write.revision, epoch = write.epoch]() -> Result<void> {
        const auto self = session.lock();
        if (!self) return fail(sessionClosed());
        return self->checkWrite(revision, epoch);
    };
}

QCoro::Task<Result<JSONObject>> AIAssistantSession::perform(CLIRequest request, std::optional<UUID> generation) {
    context_->checkMainThread();
    const auto self = shared_from_this();
    if (auto valid = KelvaneCLI::validate(request); !valid) co_return fail(valid.error());

    Write write;
    write.compact = request.hasFlag("compact");
    write.epoch = generation.value_or(generation_);
    write.stop = period_.get_token();
    {
        // Held no longer than this: a request must not keep a closed project alive.
        const auto editor = editor_.lock();
        if (write.epoch != generation_ || !editor)
            co_return fail(CLIError("The Kelvane session is closed. Start a new AI session."));
        if (request.command == "project") co_return project(request);
    }
    if (isInspection(request.command)) {
        auto task = inspect(std::move(request), write.epoch, write.stop);
        co_return co_await task;
    }

    auto revision = requiredOption(request, "revision");
    if (!revision) co_return fail(revision.error());
    write.revision = *std::move(revision);
    if (auto allowed = checkWrite(write.revision, write.epoch); !allowed) co_return fail(allowed.error());
    write.request = std::move(request);

    const std::string command = write.request.command;
    if (command == "rename") {
        auto task = rename(std::move(write));
        co_return co_await task;
    }
    if (command == "undo" || command == "redo") co_return travelHistory(write);
    if (command == "import") {
        auto task = importFiles(std::move(write));
        co_return co_await task;
    }
    if (command == "export") {
        auto task = exportMovie(std::move(write));
        co_return co_await task;
    }
    if (isTimelineEdit(command)) {
        auto task = editTimeline(std::move(write));
        co_return co_await task;
    }
    co_return fail(CLIError("Unknown Kelvane command."));
}

Result<JSONObject> AIAssistantSession::project(const CLIRequest& request) const {
    auto state = projectState(false);
    if (state && request.hasFlag("include-capabilities")) state->setRaw("capabilities", KelvaneCLI::capabilities());
    return state;
}

QCoro::Task<Result<JSONObject>> AIAssistantSession::rename(Write write) {
    const auto self = shared_from_this();
    auto name = requiredOption(write.request, "name");
    if (!name) co_return fail(name.error());
    auto editor = editor_.lock();
    if (!editor || !editor->onRenameProject) co_return fail(CLIError("Open a library project before renaming it."));
    auto task = editor->onRenameProject(*std::move(name), writeCheck(write));
    editor.reset();
    auto renamed = co_await task;
    if (!renamed) co_return fail(failureOf(std::move(renamed.error()), write));
    co_return projectState(false);
}

}  // namespace kelvane
