#include <QPointer>
#include <utility>

#include "ProjectWindows.h"
#include "Session/AIAssistantSession.h"
#include "Support/Text.h"

namespace kelvane {

namespace {

/// Has projects settle for as long as it lives.
class Settling {
public:
    explicit Settling(std::map<UUID, std::shared_ptr<Editor>> editors) : editors_(std::move(editors)) {
        for (const auto& [id, editor] : editors_) editor->beginSettling();
    }
    Settling(const Settling&) = delete;
    Settling& operator=(const Settling&) = delete;
    ~Settling() {
        for (const auto& [id, editor] : editors_) editor->endSettling();
    }

private:
    std::map<UUID, std::shared_ptr<Editor>> editors_;
};

const char* doneBy(ProjectWork::Kind kind) {
    switch (kind) {
        case ProjectWork::Kind::opening:
            return "opened";
        case ProjectWork::Kind::importing:
            return "imported";
        case ProjectWork::Kind::duplicating:
            return "duplicated";
        case ProjectWork::Kind::drawing:
            return "made";
        case ProjectWork::Kind::deleting:
            break;
    }
    return "deleted";
}

}  // namespace

bool ProjectWindows::mayClose(const Workspace& workspace) const {
    const auto& editor = workspace.editor();
    return !editor || (!editor->isAtWork() && !editor->isDirty() && !saving_.isWriting(editor->id()));
}

QCoro::Task<bool> ProjectWindows::confirmClose(WorkspacePtr workspace) {
    services_.context->checkMainThread();
    const QPointer<ProjectWindows> self(this);
    const EditorPtr editor = workspace->editor();
    if (!editor) co_return true;
    if (editor->isAtWork()) co_return false;
    auto saving = flush(editor);
    const bool saved = co_await saving;
    co_return saved && !self.isNull() && !editor->isAtWork() && !editor->isDirty();
}

void ProjectWindows::leaveEditor(Workspace& workspace) {
    if (const auto editor = workspace.editor()) {
        // Who held a clip holds nothing any more; what was moved so far is a step of history.
        editor->endInteraction();
        editor->pausePlayer();
        editor->ai().suspend();
        editor->setShown(false);
    }
}

void ProjectWindows::unregister(const WorkspacePtr& workspace) {
    services_.context->checkMainThread();
    windows_.erase(workspace->id());
    workspaces_.erase(workspace->id());
    leaveEditor(*workspace);
}

QCoro::Task<void> ProjectWindows::showHome(WorkspacePtr workspace) {
    services_.context->checkMainThread();
    const QPointer<ProjectWindows> self(this);
    if (const auto editor = workspace->editor()) {
        if (editor->isAtWork()) co_return;
        auto saving = flush(editor);
        const bool saved = co_await saving;
        // The window may show another project by now.
        if (self.isNull() || !saved || editor->isAtWork() || workspace->editor() != editor) co_return;
    }
    leaveEditor(*workspace);
    workspace->setEditor(nullptr);
    updateWindow(*workspace, false);
    auto reading = reload();
    co_await reading;
}

std::optional<std::string> ProjectWindows::reasonToStay() const {
    // A project that is worked on is busy, too.
    if (!work_.empty()) return quotedName(work_.front()->name) + " is being " + doneBy(work_.front()->kind) + ".";
    for (const auto& [id, editor] : editors_) {
        if (!editor->isAtWork()) continue;
        const bool isRecording = editor->isRecording() || editor->isPreparingRecording();
        // Whether an export may begin is part of it.
        const char* what = editor->isImporting()                           ? " is importing media."
                           : editor->isCopying() && !editor->isExporting() ? " is being copied."
                           : isRecording                                   ? " is recording."
                                                                           : " is being exported.";
        return quotedName(editor->title()) + what;
    }
    if (isOpening()) return "A project is being opened.";
    return std::nullopt;
}

QCoro::Task<bool> ProjectWindows::confirmQuit() {
    services_.context->checkMainThread();
    const QPointer<ProjectWindows> self(this);
    std::optional<std::string> reason;
    // Once while changes go on, as that may take long; then what changed meanwhile, which is little, without more.
    for (bool settles = false; !(reason = reasonToStay()); settles = true) {
        const auto unsaved = unsavedEditors();
        if (unsaved.empty()) co_return true;
        std::optional<Settling> settling;
        if (settles) settling.emplace(editors_);
        auto saving = saveEach(unsaved);
        reason = co_await saving;
        if (self.isNull()) co_return false;
        if (reason) break;
    }
    if (tell) tell("Not quitting: " + *reason);
    co_return false;
}

std::vector<std::shared_ptr<Editor>> ProjectWindows::unsavedEditors() const {
    std::vector<EditorPtr> unsaved;
    for (const auto& [id, editor] : editors_)
        if (editor->isDirty() || saving_.isWriting(id)) unsaved.push_back(editor);
    return unsaved;
}

QCoro::Task<std::optional<std::string>> ProjectWindows::saveEach(std::vector<EditorPtr> editors) {
    const QPointer<ProjectWindows> self(this);
    for (const EditorPtr& editor : editors) {
        auto saving = flush(editor);
        const bool saved = co_await saving;
        if (self.isNull()) co_return std::nullopt;
        if (!saved) co_return quotedName(editor->title()) + " could not be saved.";
    }
    co_return std::nullopt;
}

void ProjectWindows::retire() {
    services_.context->checkMainThread();
    for (const auto& [id, editor] : editors_) {
        editor->ai().suspend();
        editor->beginSettling();
    }
}

}  // namespace kelvane
