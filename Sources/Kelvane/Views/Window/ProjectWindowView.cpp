#include "ProjectWindowView.h"

#include <QGuiApplication>
#include <QLocale>
#include <QPointer>
#include <QScreen>
#include <QTimer>
#include <QWindow>
#include <algorithm>
#include <chrono>
#include <utility>

#include "ProjectPlace.h"

namespace kelvane {

namespace {
using namespace std::chrono_literals;

/// Well behind a first frame, and well before a person misses anything.
constexpr auto standingDelay = 1s;

QString text(const std::string& string) { return QString::fromStdString(string); }

/// Whether a window can stand there: on a screen that is still there, and not just over another one.
bool isFree(const QRectF& frame) {
    const auto isOn = [&](const QScreen* screen) {
        return screen->availableGeometry().contains(frame.center().toPoint());
    };
    const auto isOver = [&](const QWindow* window) {
        return window->isVisible() && window->position() == frame.topLeft().toPoint();
    };
    return std::ranges::any_of(QGuiApplication::screens(), isOn) &&
           std::ranges::none_of(QGuiApplication::topLevelWindows(), isOver);
}
}  // namespace

ProjectWindowView::ProjectWindowView(ProjectWindows& windows, std::shared_ptr<Workspace> workspace,
                                     TimelineView::ReducedMotion reducedMotion)
    : windows_(windows),
      workspace_(std::move(workspace)),
      preview_(workspace_),
      timeline_(workspace_, windows.context(), std::move(reducedMotion)),
      editor_(workspace_),
      assets_(workspace_),
      inspector_(workspace_),
      exportOptions_(workspace_),
      exportWork_(workspace_),
      assistants_(workspace_),
      home_(windows_, workspace_),
      tips_(windows.context()),
      toast_(workspace_, windows.context(), timeline_),
      commands_([this](CommandID id) { perform(id); }),
      naming_(workspace_),
      copying_([this] { Q_EMIT copyingChanged(); }) {
    inspector_.follow(timeline_);
    connect(&inspector_, &InspectorView::drafted, &preview_, &PreviewView::showDraft);
    connect(&assets_, &AssetsView::willChange, &timeline_, &TimelineView::resetGesture);
    connect(workspace_.get(), &Workspace::editorChanged, this, &ProjectWindowView::followEditor);
    connect(&windows_, &ProjectWindows::errorChanged, this, &ProjectWindowView::refreshDerived);
    connect(&windows_, &ProjectWindows::workChanged, this, &ProjectWindowView::followCopying);
    connect(&timeline_, &TimelineView::enablingChanged, this, &ProjectWindowView::refreshCommands);
    connect(&timeline_, &TimelineView::scaleChanged, this, &ProjectWindowView::refreshCommands);
    connect(&editor_, &EditorView::aboutToChange, this, [this] { timeline_.resetGesture(); });
    // A window that the desktop doesn't let show stands as well.
    QTimer::singleShot(standingDelay, this, &ProjectWindowView::stand);
    followEditor();
}

void ProjectWindowView::frameShown() {
    // A home without its cards isn't what a person waits for.
    if (!showsHome() || windows_.hasReadLibrary()) stand();
}

void ProjectWindowView::stand() {
    if (!std::exchange(isStanding_, true)) Q_EMIT standingChanged();
}

void ProjectWindowView::followEditor() {
    for (const auto& connection : editorConnections_) disconnect(connection);
    if (const auto editor = workspace_->editor()) {
        editorConnections_ = {
            connect(editor.get(), &Editor::contentChanged, this, &ProjectWindowView::refreshContent),
            connect(editor.get(), &Editor::workChanged, this, &ProjectWindowView::refreshWork),
            connect(editor.get(), &Editor::selectionChanged, this, &ProjectWindowView::refreshCommands),
        };
    } else {
        windows_.reload();
    }
    refreshContent();
    refreshWork();
    const auto editor = workspace_->editor();
    if (!editor) return;
    if (const auto& frame = ProjectPlace::of(*editor).windowFrame) Q_EMIT frameRequested(*frame);
    Q_EMIT projectShown();
}

void ProjectWindowView::beginShowing() {
    const auto editor = workspace_->editor();
    if (!editor) return;
    if (const auto& frame = ProjectPlace::of(*editor).windowFrame) {
        Q_EMIT frameRequested(*frame);
        if (isFree(*frame)) Q_EMIT placeRequested(frame->topLeft());
    }
    Q_EMIT projectShown();
}

void ProjectWindowView::refreshContent() {
    const auto editor = workspace_->editor();
    windows_.updateWindow(*workspace_, editor && editor->isDirty());
    Q_EMIT contentChanged();
    refreshDerived();
}

void ProjectWindowView::refreshWork() {
    followRecording();
    followCopying();
    Q_EMIT workChanged();
    refreshDerived();
}

void ProjectWindowView::refreshDerived() {
    refreshCommands();
    tips_.setBusyReason(busyReason());
    if (const QString present = status(); std::exchange(status_, present) != present) Q_EMIT statusChanged();
    if (const QString present = error(); std::exchange(error_, present) != present) Q_EMIT errorChanged();
}

bool ProjectWindowView::showsHome() const { return workspace_->editor() == nullptr; }

QString ProjectWindowView::title() const {
    return showsHome() ? QStringLiteral("Projects") : text(workspace_->editor()->title());
}

QString ProjectWindowView::status() const {
    const auto editor = workspace_->editor();
    if (!editor) return {};
    if (editor->saveFailed()) return tr("Not saved");
    return editor->isDirty() ? tr("Saving…") : tr("Saved");
}

bool ProjectWindowView::unsaved() const { return workspace_->editor() && workspace_->editor()->saveFailed(); }

double ProjectWindowView::progress() const {
    return workspace_->editor() ? static_cast<double>(workspace_->editor()->exportProgress()) : 0;
}

bool ProjectWindowView::edited() const { return workspace_->editor() && workspace_->editor()->isDirty(); }
bool ProjectWindowView::busy() const { return workspace_->editor() && workspace_->editor()->busy(); }
bool ProjectWindowView::exporting() const { return workspace_->editor() && workspace_->editor()->isExporting(); }

QString ProjectWindowView::importProgress() const {
    const auto editor = workspace_->editor();
    const auto progress = editor ? editor->importProgress() : Editor::ImportProgress();
    return progress.count > 1 ? tr("%1 of %2").arg(progress.file).arg(progress.count) : QString();
}

std::shared_ptr<ProjectWork> ProjectWindowView::shownWork() const {
    // What opens without copies is there before anybody could read about it.
    for (const auto& work : windows_.work())
        if (work->progress.totalItems > 0) return work;
    return nullptr;
}

TransferProgress ProjectWindowView::shownProgress() const {
    if (const auto work = shownWork()) return work->progress;
    return workspace_->editor() ? workspace_->editor()->copyProgress() : TransferProgress();
}

QString ProjectWindowView::busyReason() const {
    const auto editor = workspace_->editor();
    if (!editor || !editor->busy()) return {};
    if (editor->isExporting()) return tr("Not available while exporting");
    if (editor->isImporting()) return tr("Not available while importing");
    if (editor->isRecording() || editor->isPreparingRecording()) return tr("Not available while recording");
    if (editor->isCopying()) return tr("Not available while media is copied");
    return tr("Not available while the project is saved");
}

void ProjectWindowView::followCopying() {
    const bool isUnderWay = shownProgress().totalItems > 0;
    copying_.follow(isUnderWay, windows_.context());
    if (isUnderWay)
        copyingLeft_.note(copyingProgress(), windows_.context().now());
    else
        copyingLeft_ = {};
    Q_EMIT copyingChanged();
}

QString ProjectWindowView::copyingRemaining() const {
    const auto left = copyingLeft_.left();
    return copying_.isShown() && left ? text(RemainingTime::text(*left)) : QString();
}

QString ProjectWindowView::copying() const {
    if (!copying_.isShown()) return {};
    const TransferProgress progress = shownProgress();
    QString what = tr("Copying media…");
    if (const auto work = shownWork()) {
        const QString name = text(work->name);
        switch (work->kind) {
            case ProjectWork::Kind::opening:
                what = tr("Opening “%1”…").arg(name);
                break;
            case ProjectWork::Kind::importing:
                what = tr("Importing “%1”…").arg(name);
                break;
            case ProjectWork::Kind::duplicating:
                what = tr("Duplicating “%1”…").arg(name);
                break;
            case ProjectWork::Kind::deleting:
                return tr("Deleting “%1”…").arg(name);
            case ProjectWork::Kind::drawing:
                return tr("Making “%1”…").arg(name);
        }
    }
    const QLocale locale;
    return what + " " +
           tr("%1 of %2")
               .arg(locale.formattedDataSize(progress.bytes, 1, QLocale::DataSizeSIFormat),
                    locale.formattedDataSize(progress.totalBytes, 1, QLocale::DataSizeSIFormat));
}

double ProjectWindowView::copyingProgress() const {
    const TransferProgress progress = shownProgress();
    if (progress.totalBytes > 0) return static_cast<double>(progress.bytes) / static_cast<double>(progress.totalBytes);
    return progress.totalItems > 0 ? static_cast<double>(progress.items) / static_cast<double>(progress.totalItems) : 0;
}

void ProjectWindowView::cancelCopying() {
    if (const auto work = shownWork())
        work->stop.request_stop();
    else if (const auto editor = workspace_->editor())
        editor->cancelCopying();
}

QString ProjectWindowView::error() const {
    if (windows_.error()) return text(*windows_.error());
    const auto editor = workspace_->editor();
    return editor && editor->error() ? text(*editor->error()) : QString();
}

void ProjectWindowView::newProject() { windows_.newProject(workspace_); }
void ProjectWindowView::chooseProject() { windows_.chooseProject(workspace_); }
void ProjectWindowView::showHome() { windows_.showHome(workspace_); }

void ProjectWindowView::importMedia() {
    if (const auto editor = editorToChange()) editor->importFiles();
}

std::shared_ptr<Editor> ProjectWindowView::editorToChange() {
    timeline_.resetGesture();
    return workspace_->editor();
}

void ProjectWindowView::undo() {
    if (const auto editor = editorToChange()) editor->undo();
}

void ProjectWindowView::redo() {
    if (const auto editor = editorToChange()) editor->redo();
}

void ProjectWindowView::save() {
    if (can(CommandID::saveProject)) windows_.flush(workspace_->editor());
}

void ProjectWindowView::exportVideo() {
    if (const auto editor = editorToChange()) editor->exportVideo();
}

void ProjectWindowView::cancelExport() {
    if (const auto editor = workspace_->editor()) editor->cancelExport();
}

void ProjectWindowView::cancelImport() {
    if (const auto editor = workspace_->editor()) editor->cancelImport();
}

void ProjectWindowView::dismissError() {
    if (windows_.error())
        windows_.setError(std::nullopt);
    else if (const auto editor = workspace_->editor())
        editor->setError(std::nullopt);
}

QCoro::Task<void> ProjectWindowView::takeNames() {
    const std::array edits{QPointer(naming_.nameEditor()), QPointer(home_.nameEditor())};
    for (const auto& edit : edits) {
        if (edit.isNull()) continue;
        auto committing = edit->commit(NameExit::focus);
        co_await committing;
        // A name that can't be taken holds nobody up.
        if (!edit.isNull()) edit->cancel(NameExit::focus);
    }
}

bool ProjectWindowView::shouldClose() {
    const bool isNaming = naming_.editing() || home_.nameEditor() != nullptr;
    if (!isNaming && windows_.mayClose(*workspace_)) return true;
    closeWhenSaved();
    return false;
}

QCoro::Task<void> ProjectWindowView::closeWhenSaved() {
    const QPointer<ProjectWindowView> self(this);
    auto naming = takeNames();
    co_await naming;
    if (self.isNull()) co_return;
    auto asking = windows_.confirmClose(workspace_);
    const bool mayClose = co_await asking;
    if (mayClose && !self.isNull()) Q_EMIT closeConfirmed();
}

}  // namespace kelvane
