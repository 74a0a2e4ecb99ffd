#include <utility>

#include "AIAssistantSession.h"
#include "Assistant/KelvaneProjectLink.h"
#include "CLI/CLIError.h"
#include "Editor/Editor.h"
#include "Support/AtomicFile.h"

namespace kelvane {

namespace {

/// What the assistant is asked to begin with.
std::string launchPrompt(const std::string& projectName) {
    return "Help me edit “" + AIDesktopAssistant::workspaceName(projectName) +
           "”. Ask what montage I want, then edit the timeline directly.";
}

}  // namespace

void AIAssistantSession::start() {
    context_->checkMainThread();
    const auto editor = editor_.lock();
    if (!editor || editor->busy() || editor->assets().empty() || launching_) return;
    editor->endInteraction();
    assistants_ = desktop_ == nullptr ? std::vector<AIDesktopAssistant>() : AIDesktopAssistant::installed(*desktop_);
    message_.reset();
    showSheet_ = true;
    Q_EMIT sheetChanged();
}

void AIAssistantSession::dismissSheet() {
    if (launching_ || !showSheet_) return;
    showSheet_ = false;
    Q_EMIT sheetChanged();
}

void AIAssistantSession::launch(AIDesktopAssistant assistant) {
    context_->checkMainThread();
    const auto editor = editor_.lock();
    if (!editor || editor->busy() || launching_) return;
    editor->endInteraction();
    // Before the save, which takes its time: a second click is to find it.
    launching_ = true;
    message_.reset();
    Q_EMIT sheetChanged();
    runLaunch(assistant);
}

QCoro::Task<void> AIAssistantSession::runLaunch(AIDesktopAssistant assistant) {
    const auto self = shared_from_this();
    const UUID epoch = generation_;
    auto steps = launchSteps(assistant, epoch);
    const Result<void> launched = co_await steps;
    launching_ = false;
    if (launched && generation_ == epoch) showSheet_ = false;
    if (!launched && !launched.error().isCancelled()) message_ = launched.error().message;
    Q_EMIT sheetChanged();
}

QCoro::Task<Result<FileURL>> AIAssistantSession::savedProject(UUID epoch) {
    bool saved = true;
    if (flush) {
        auto saving = flush();
        saved = co_await saving;
    }
    const auto editor = editor_.lock();
    if (!editor || generation_ != epoch) co_return fail(Error::cancelled());
    if (saved && editor->projectURL()) co_return *editor->projectURL();
    co_return fail(editor->error().value_or("Save the project before starting AI editing."));
}

QCoro::Task<Result<void>> AIAssistantSession::launchSteps(AIDesktopAssistant assistant, UUID epoch) {
    auto saving = savedProject(epoch);
    const Result<FileURL> project = co_await saving;
    if (!project) co_return fail(project.error());
    auto connecting = connect();
    const Result<std::string> connected = co_await connecting;
    if (!connected) co_return fail(connected.error());

    UUID projectID;
    std::string title;
    {
        // Held no longer than this: a launch must not keep a closed project alive.
        const auto editor = editor_.lock();
        if (!editor || desktop_ == nullptr) co_return fail(Error::cancelled());
        projectID = editor->id();
        title = editor->title();
    }
    const FileURL folder = AIDesktopAssistant::sessionFolder(*project, title);
    auto prepare = [assistant, folder, projectID]() -> Result<void> {
        if (auto made = makeFolders(folder.path()); !made) return made;
        return assistant.writeProjectInstructions(folder, KelvaneProjectLink::runningExecutable(), projectID);
    };
    auto preparing = inBackground(*context_, std::move(prepare), Lane::shortWork);
    Result<void> prepared = co_await preparing;
    if (!prepared) co_return prepared;
    // A project that was left meanwhile is nobody's task any more.
    if (generation_ != epoch) co_return fail(Error::cancelled());
    auto opening = assistant.open(*desktop_, folder, launchPrompt(title));
    co_return co_await opening;
}

}  // namespace kelvane
