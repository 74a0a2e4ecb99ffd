#include "Announcer.h"

#include <algorithm>
#include <ranges>
#include <set>
#include <utility>

#include "AccessibleEvents.h"
#include "Views/Window/AssistantToast.h"

namespace kelvane {

namespace {

std::set<UUID> idsOf(const std::vector<Clip>& clips) {
    std::set<UUID> ids;
    for (const auto& clip : clips) ids.insert(clip.id);
    return ids;
}

std::vector<UUID> videoIDs(const std::vector<Clip>& clips) {
    std::vector<UUID> ids;
    for (const auto& clip : clips)
        if (!clip.isAudio()) ids.push_back(clip.id);
    return ids;
}

const Clip* find(const std::vector<Clip>& clips, const UUID& id) {
    const auto found = std::ranges::find(clips, id, &Clip::id);
    return found == clips.end() ? nullptr : &*found;
}

/// How many quarters of a running export are done.
int exportedQuarters(const Editor& editor) {
    return editor.isExporting() ? static_cast<int>(std::clamp(editor.exportProgress(), 0.0F, 1.0F) * 4) : 0;
}

/// Whether one clip became two that play the same.
bool isSplit(const std::vector<Clip>& before, const std::vector<Clip>& after) {
    if (after.size() != before.size() + 1) return false;
    const auto known = idsOf(before);
    const auto added = std::ranges::find_if(after, [&known](const Clip& clip) { return !known.contains(clip.id); });
    if (added == after.end()) return false;
    return std::ranges::any_of(before, [&](const Clip& whole) {
        const auto* head = find(after, whole.id);
        return head && head->url == added->url && head->start == whole.start && head->end == added->start &&
               added->end == whole.end;
    });
}

QString movedText(const std::vector<Clip>& before, const std::vector<Clip>& after, const std::optional<UUID>& moved) {
    const auto was = videoIDs(before);
    const auto is = videoIDs(after);
    if (!moved || was == is) return {};
    const auto from = std::ranges::find(was, *moved) - was.begin();
    const auto to = std::ranges::find(is, *moved) - is.begin();
    if (from == to || to == std::ssize(is)) return {};
    return Announcer::tr("Moved to position %1 of %2.").arg(to + 1).arg(is.size());
}

}  // namespace

QString announcementOf(const std::vector<Clip>& before, const std::vector<Clip>& after,
                       const std::optional<UUID>& moved) {
    if (isSplit(before, after)) return Announcer::tr("Split. %1 clips.").arg(after.size());
    const auto was = idsOf(before);
    const auto is = idsOf(after);
    if (was == is) return movedText(before, after, moved);
    if (!std::ranges::includes(was, is)) return {};
    const auto gone = was.size() - is.size();
    return gone == 1 ? Announcer::tr("1 clip deleted.") : Announcer::tr("%1 clips deleted.").arg(gone);
}

Announcer::Announcer(std::shared_ptr<Workspace> workspace) : workspace_(std::move(workspace)) {
    connect(workspace_.get(), &Workspace::editorChanged, this, &Announcer::followEditor);
    followEditor();
}

void Announcer::say(const QString& text, Manner manner) {
    if (text.isEmpty()) return;
    text_ = text;
    Q_EMIT said(text, manner);
}

void Announcer::takeBack(const QString& text) {
    if (text_ != text) return;
    text_.clear();
    Q_EMIT tookBack();
}

void Announcer::follow(TimelineView* timeline) {
    disconnect(snaps_);
    timeline_ = timeline;
    snapped_.reset();
    if (timeline) snaps_ = connect(timeline, &TimelineView::gestureChanged, this, &Announcer::followSnap);
}

void Announcer::followEditor() {
    for (const auto& connection : connections_) disconnect(connection);
    assistantText_.clear();
    // Of the project that was shown before.
    takeBack(text());
    remember();
    const auto editor = workspace_->editor();
    if (!editor) return;
    connections_ = {connect(editor.get(), &Editor::contentChanged, this, &Announcer::followContent),
                    connect(editor.get(), &Editor::workChanged, this, &Announcer::followWork),
                    connect(editor.get(), &Editor::assistantEdited, this, &Announcer::noteAssistant)};
}

void Announcer::remember() {
    const auto editor = workspace_->editor();
    clips_ = editor ? editor->clipArray() : nullptr;
    undoable_ = editor ? editor->undoStack().size() : 0;
    redoable_ = editor ? editor->redoStack().size() : 0;
    undone_ = redoable_ > 0 ? editor->redoStack().back().clips : nullptr;
    if (!editor || !editor->isImporting()) assets_ = editor ? editor->assets().size() : 0;
    isImporting_ = editor && editor->isImporting();
    isRecording_ = editor && editor->isRecording();
    exported_ = editor ? exportedQuarters(*editor) : 0;
    saveFailed_ = editor && editor->saveFailed();
    countdown_ = editor ? editor->recordingCountdown() : std::nullopt;
}

void Announcer::followContent() {
    const auto editor = workspace_->editor();
    const auto before = clips_;
    const auto undone = undone_;
    const bool isUndo = editor->redoStack().size() > redoable_;
    const bool isRedo = undone && editor->clipArray() == undone && editor->redoStack().size() < redoable_;
    const bool failsNow = editor->saveFailed() && !saveFailed_;
    const bool succeedsNow = saveFailed_ && !editor->saveFailed();
    clips_ = editor->clipArray();
    undoable_ = editor->undoStack().size();
    redoable_ = editor->redoStack().size();
    undone_ = redoable_ > 0 ? editor->redoStack().back().clips : nullptr;
    saveFailed_ = editor->saveFailed();
    if (!editor->isImporting() && !isImporting_) assets_ = editor->assets().size();
    const QString assistantText = std::exchange(assistantText_, QString());
    if (!assistantText.isEmpty())
        say(assistantText + ".");
    else if (isUndo)
        say(tr("Undone."));
    else if (isRedo)
        say(tr("Redone."));
    else if (before && before != clips_)
        say(announcementOf(*before, *clips_, editor->selection()));
    if (failsNow) say(tr("Not saved"), Manner::assertive);
    if (succeedsNow) takeBack(tr("Not saved"));
}

void Announcer::noteAssistant(const ClipArray& before) {
    if (before) assistantText_ = assistantEditText(*before, workspace_->editor()->clips());
}

void Announcer::followWork() {
    const auto editor = workspace_->editor();
    if (isImporting_ && !editor->isImporting() && editor->assets().size() > assets_) {
        const auto count = editor->assets().size() - assets_;
        say(count == 1 ? tr("1 asset imported.") : tr("%1 assets imported.").arg(count));
    }
    if (!editor->isImporting()) assets_ = editor->assets().size();
    isImporting_ = editor->isImporting();
    followExport(*editor);
    followRecording(*editor);
}

void Announcer::followRecording(const Editor& editor) {
    const auto counted = [](int seconds) { return tr("Recording starts in %1 seconds").arg(seconds); };
    const auto count = editor.recordingCountdown();
    if (const auto before = std::exchange(countdown_, count); count != before) {
        if (before && !count) takeBack(counted(*before));
        if (count) say(counted(*count), Manner::assertive);
    }
    if (const bool is = editor.isRecording(); is != std::exchange(isRecording_, is))
        say(is ? tr("Recording") : tr("Recording stopped"), Manner::assertive);
}

void Announcer::followExport(const Editor& editor) {
    const int quarters = exportedQuarters(editor);
    if (const int before = std::exchange(exported_, quarters); quarters > before)
        say(tr("Exported %1 percent.").arg(quarters * 25));
}

void Announcer::followSnap() {
    const auto snapped = timeline_->snapTime();
    const bool isNew = snapped && snapped != snapped_;
    snapped_ = snapped;
    if (isNew && *snapped == timeline_->position()) say(tr("Snapped to playhead."));
}

AnnouncementLabel::AnnouncementLabel(QQuickItem* parent) : QQuickItem(parent) { setSize({1, 1}); }

void AnnouncementLabel::setView(ProjectWindowView* view) {
    if (view == view_) return;
    view_ = view;
    announcer_.reset();
    if (view) {
        announcer_ = std::make_unique<Announcer>(view->workspace());
        announcer_->follow(view->timeline());
        connect(announcer_.get(), &Announcer::said, this, &AnnouncementLabel::tell);
        connect(announcer_.get(), &Announcer::tookBack, this, &AnnouncementLabel::textChanged);
    }
    Q_EMIT viewChanged();
}

void AnnouncementLabel::tell(const QString& text, Announcer::Manner manner) {
    Q_EMIT textChanged();
    if (!AccessibleEvents::isHeard()) return;
    QAccessibleEvent named(this, QAccessible::NameChanged);
    AccessibleEvents::send(named);
    const bool interrupts = manner == Announcer::Manner::assertive;
    if (interrupts) {
        QAccessibleEvent alert(this, QAccessible::Alert);
        AccessibleEvents::send(alert);
    }
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
    QAccessibleAnnouncementEvent announcement(this, text);
    announcement.setPoliteness(interrupts ? QAccessible::AnnouncementPoliteness::Assertive
                                          : QAccessible::AnnouncementPoliteness::Polite);
    AccessibleEvents::send(announcement);
#else
    Q_UNUSED(text)
#endif
}

}  // namespace kelvane
