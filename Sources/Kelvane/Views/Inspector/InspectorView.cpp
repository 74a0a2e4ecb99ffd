#include "InspectorView.h"

#include <algorithm>
#include <utility>

#include "Timeline/TimeLabel.h"
#include "Views/Timeline/TimelineView.h"

namespace kelvane {

namespace {
/// Presses of keys that come closer together than this are one step of history.
constexpr std::chrono::milliseconds runPause{500};
}  // namespace

InspectorView::InspectorView(std::shared_ptr<Workspace> workspace)
    : workspace_(std::move(workspace)),
      rows_{{{*this, InspectorField::start},
             {*this, InspectorField::end},
             {*this, InspectorField::zoom},
             {*this, InspectorField::horizontal},
             {*this, InspectorField::vertical},
             {*this, InspectorField::position},
             {*this, InspectorField::volume}}} {
    connect(workspace_.get(), &Workspace::editorChanged, this, &InspectorView::followEditor);
    followEditor();
}

InspectorView::~InspectorView() { endEditing(); }

void InspectorView::follow(TimelineView& timeline) {
    connect(&timeline, &TimelineView::gestureReset, this, &InspectorView::endEditing);
    connect(&timeline, &TimelineView::focusWanted, this, &InspectorView::endEditing);
}

void InspectorView::followEditor() {
    endEditing();
    for (const auto& connection : connections_) disconnect(connection);
    if (const auto editor = workspace_->editor()) {
        connections_ = {connect(editor.get(), &Editor::contentChanged, this, &InspectorView::refresh),
                        connect(editor.get(), &Editor::selectionChanged, this, &InspectorView::refresh),
                        connect(editor.get(), &Editor::workChanged, this, &InspectorView::followWork)};
    }
    refresh();
    followWork();
}

void InspectorView::followWork() {
    const auto editor = workspace_->editor();
    if (editor && editor->busy()) endEditing();
    if (const bool present = enabled(); std::exchange(enabled_, present) != present) Q_EMIT enabledChanged();
}

void InspectorView::refresh() {
    const auto editor = workspace_->editor();
    const Clip* selected = editor ? editor->selectedClip() : nullptr;
    const std::size_t count = editor ? editor->selectedClipIDs().size() : 0;
    const bool isOther = clip_.has_value() != (selected != nullptr) || (selected && selected->id != clip_->id) ||
                         (selected && selected->isAudio() != clip_->isAudio()) || count != selectedCount_;
    // A run that goes on would change another clip, too.
    if (isOther) endEditing();
    const bool isNew = isOther || (selected && *selected != *clip_);
    selectedCount_ = count;
    clip_ = selected ? std::optional(*selected) : std::nullopt;
    if (clip_)
        for (InspectorRow& row : rows_) row.show(*clip_, editor->placement().duration());
    if (isOther) Q_EMIT clipChanged();
    if (isNew) Q_EMIT valuesChanged();
}

QString InspectorView::noticeTitle() const {
    return selectedCount_ > 1 ? tr("%1 Clips Selected").arg(selectedCount_) : tr("Select a Clip");
}

QString InspectorView::noticeText() const {
    return selectedCount_ > 1 ? tr("Select one clip to trim, reframe, or adjust sound.")
                              : tr("Trim, reframe, and adjust sound.");
}

QString InspectorView::noticeSymbol() const {
    return selectedCount_ > 1 ? QStringLiteral("stack") : QStringLiteral("sliders");
}

bool InspectorView::enabled() const {
    const auto editor = workspace_->editor();
    return editor && !editor->busy();
}

QString InspectorView::duration() const {
    return clip_ ? QString::fromStdString(timeLabel(clip_->duration())) : QString();
}

const Clip* InspectorView::present() const {
    const auto editor = workspace_->editor();
    if (!editor || !clip_) return nullptr;
    const auto index = editor->placement().index(clip_->id);
    return index ? &editor->clips()[*index] : nullptr;
}

void InspectorView::resetFrame() {
    endEditing();
    if (!clip_) return;
    workspace_->editor()->update(UUID(clip_->id), [](Clip& clip) {
        clip.zoom = 1;
        clip.horizontal = clip.vertical = 0;
    });
    refresh();
}

void InspectorView::toggleMute() {
    const double wished = muted() ? 1 : 0;
    endEditing();
    change(InspectorField::volume, wished);
}

bool InspectorView::beginEditing() {
    const auto editor = workspace_->editor();
    if (!editor || !clip_) return false;
    editor->beginInteraction();
    if (editor->interactionSnapshot()) editing_ = editor;
    return editor->interactionSnapshot().has_value();
}

bool InspectorView::beginDrag() {
    endEditing();
    const auto editor = workspace_->editor();
    // One of somebody else's ends where that begins and ends it.
    return editor && !editor->interactionSnapshot() && beginEditing();
}

void InspectorView::change(InspectorField field, double value) {
    const Clip* clip = present();
    if (clip == nullptr) return;
    const auto result = InspectorFields::changed(field, *clip, value);
    if (result) workspace_->editor()->update(UUID(clip->id), [&result](Clip& changed) { changed = *result; });
    refresh();
    const bool isSeen = field != InspectorField::volume && field != InspectorField::position;
    if (result && isSeen && isEditing()) Q_EMIT drafted();
}

void InspectorView::changeFrom(const std::vector<ClipArray>& origins, InspectorField field, double value) {
    const auto editor = workspace_->editor();
    if (!editor || editor->busy()) return;
    for (const ClipArray& origin : origins) {
        const auto& steps = editor->undoStack();
        if (steps.empty() || steps.back().clips != origin) break;
        editor->undo();
    }
    change(field, value);
}

ClipArray InspectorView::clips() const {
    const auto editor = workspace_->editor();
    return editor ? editor->clipArray() : nullptr;
}

void InspectorView::changeInRun(InspectorField field, double value) {
    const auto editor = workspace_->editor();
    if (!editor || editor->busy() || !clip_) return;
    if (!isRun_) {
        if (editor->interactionSnapshot() || !beginEditing()) return;
        isRun_ = true;
    }
    run_ = editor->services().context->after(runPause, [this] { endEditing(); });
    change(field, value);
}

void InspectorView::endEditing() {
    run_.cancel();
    isRun_ = false;
    if (const auto editor = std::exchange(editing_, {}).lock()) editor->endInteraction();
}

bool InspectorView::undoRun() {
    if (!isRun_) return false;
    const auto editor = workspace_->editor();
    const std::size_t steps = editor->undoStack().size();
    endEditing();
    if (editor->undoStack().size() > steps) editor->undo();
    refresh();
    return true;
}

}  // namespace kelvane
