#include "AssistantToast.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "Views/Timeline/TimelineChanges.h"

namespace kelvane {

QString assistantEditText(const std::vector<Clip>& before, const std::vector<Clip>& after) {
    const ClipChanges changes = clipChanges(before, after);
    const std::size_t count = changes.added.size() + changes.changed.size() + changes.removed.size();
    if (count == 0) return {};
    const bool isOne = count == 1;
    const auto words = [&]() -> QString {
        if (changes.added.size() == count)
            return isOne ? AssistantToast::tr("Assistant added 1 clip")
                         : AssistantToast::tr("Assistant added %1 clips");
        if (changes.removed.size() == count)
            return isOne ? AssistantToast::tr("Assistant removed 1 clip")
                         : AssistantToast::tr("Assistant removed %1 clips");
        return isOne ? AssistantToast::tr("Assistant changed 1 clip")
                     : AssistantToast::tr("Assistant changed %1 clips");
    };
    return isOne ? words() : words().arg(count);
}

AssistantToast::AssistantToast(std::shared_ptr<Workspace> workspace, MainContext& context, TimelineView& timeline)
    : workspace_(std::move(workspace)), context_(context), timeline_(timeline) {
    connect(workspace_.get(), &Workspace::editorChanged, this, &AssistantToast::followEditor);
    followEditor();
}

void AssistantToast::followEditor() {
    for (const auto& connection : connections_) disconnect(connection);
    close();
    if (const auto editor = workspace_->editor())
        connections_ = {connect(editor.get(), &Editor::assistantEdited, this, &AssistantToast::take),
                        connect(editor.get(), &Editor::contentChanged, this, &AssistantToast::followContent),
                        connect(editor.get(), &Editor::workChanged, this, &AssistantToast::changed)};
}

void AssistantToast::take(const ClipArray& before) {
    const auto editor = workspace_->editor();
    const QString text = before ? assistantEditText(*before, editor->clips()) : QString();
    // What it told of may have gone as well.
    if (text.isEmpty()) return followContent();
    text_ = text;
    before_ = before;
    after_ = editor->clipArray();
    rest_ = stay;
    isShown_ = true;
    wait();
    Q_EMIT changed();
}

void AssistantToast::followContent() {
    if (isShown_ && way() == Way::none) close();
}

AssistantToast::Way AssistantToast::way() const {
    const auto editor = workspace_->editor();
    if (!editor || !isShown_ || editor->clipArray() != after_) return Way::none;
    // Arrays are compared as what they are, as one that is edited back is another edit.
    const auto isOnTop = [this](const std::vector<HistoryEntry>& steps) {
        return !steps.empty() && steps.back().clips == before_;
    };
    if (isOnTop(editor->undoStack())) return Way::undo;
    return isOnTop(editor->redoStack()) ? Way::redo : Way::none;
}

bool AssistantToast::canUndo() const {
    const auto editor = workspace_->editor();
    return editor && !editor->busy() && way() != Way::none;
}

void AssistantToast::setHeld(bool held) {
    if (held == isHeld_) return;
    if (held && isShown_) rest_ = std::max<std::chrono::nanoseconds>(rest_ - (context_.now() - begun_), shortestRest);
    isHeld_ = held;
    if (isShown_) wait();
    Q_EMIT heldChanged();
}

void AssistantToast::wait() {
    timer_.cancel();
    if (isHeld_) return;
    begun_ = context_.now();
    timer_ = context_.after(std::chrono::duration_cast<std::chrono::milliseconds>(rest_), [this] { close(); });
}

void AssistantToast::undo() {
    if (!canUndo()) return;
    const auto editor = workspace_->editor();
    const Way taken = way();
    close();
    timeline_.resetGesture();
    if (taken == Way::undo)
        editor->undo();
    else
        editor->redo();
}

void AssistantToast::close() {
    timer_.cancel();
    before_ = nullptr;
    after_ = nullptr;
    if (std::exchange(isShown_, false)) Q_EMIT changed();
}

}  // namespace kelvane
