#pragma once

#include <QCoroTask>
#include <QObject>
#include <QRectF>
#include <QString>
#include <array>
#include <memory>

#include "AssistantToast.h"
#include "EditorView.h"
#include "Views/Assets/AssetsView.h"
#include "Views/Assistants/AIAssistantView.h"
#include "Views/Controls/HelpTips.h"
#include "Views/Export/ExportOptionsView.h"
#include "Views/Export/ExportingView.h"
#include "Views/Export/RemainingTime.h"
#include "Views/Help/HelpView.h"
#include "Views/Home/ProjectsHomeView.h"
#include "Views/Inspector/InspectorView.h"
#include "Views/Naming/InlineProjectNameView.h"
#include "Views/NoticedWork.h"
#include "Views/Preview/PreviewView.h"
#include "Views/Timeline/TimelineView.h"
#include "WindowCommands.h"
#include "Windows/ProjectWindows.h"

namespace kelvane {

/// What one window shows and what a person can do there; draws nothing. The main thread.
class ProjectWindowView final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool showsHome READ showsHome NOTIFY contentChanged)
    /// Whether the window has shown what it starts with, so that what it may need later can be made.
    Q_PROPERTY(bool standing READ standing NOTIFY standingChanged)
    Q_PROPERTY(QString title READ title NOTIFY contentChanged)
    Q_PROPERTY(bool edited READ edited NOTIFY contentChanged)
    Q_PROPERTY(double progress READ progress NOTIFY workChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY workChanged)
    Q_PROPERTY(bool exporting READ exporting NOTIFY workChanged)
    /// Which of several files a person's import brings in, such as "3 of 12"; empty for one file and where there is
    /// none.
    Q_PROPERTY(QString importProgress READ importProgress NOTIFY workChanged)
    Q_PROPERTY(QString status READ status NOTIFY statusChanged)
    /// Whether changes could not be saved.
    Q_PROPERTY(bool unsaved READ unsaved NOTIFY statusChanged)
    /// Whether a text field has the keyboard, as the window sees it.
    Q_PROPERTY(bool typing READ typing WRITE setTyping NOTIFY typingChanged)
    Q_PROPERTY(kelvane::WindowCommands* commands READ commands CONSTANT)
    /// What is copied or removed, and how far that is; empty when there is nothing to wait for, and in its first
    /// moment.
    Q_PROPERTY(QString copying READ copying NOTIFY copyingChanged)
    /// The same from 0 to 1.
    Q_PROPERTY(double copyingProgress READ copyingProgress NOTIFY copyingChanged)
    /// How long it still takes; empty where that can't be told.
    Q_PROPERTY(QString copyingRemaining READ copyingRemaining NOTIFY copyingChanged)
    /// Text of the alert "Unable to Complete"; empty when there is none.
    Q_PROPERTY(QString error READ error NOTIFY errorChanged)
    Q_PROPERTY(kelvane::PreviewView* preview READ preview CONSTANT)
    Q_PROPERTY(kelvane::TimelineView* timeline READ timeline CONSTANT)
    Q_PROPERTY(kelvane::EditorView* editor READ editor CONSTANT)
    Q_PROPERTY(kelvane::AssetsView* assets READ assets CONSTANT)
    Q_PROPERTY(kelvane::InspectorView* inspector READ inspector CONSTANT)
    Q_PROPERTY(kelvane::ExportOptionsView* exportOptions READ exportOptions CONSTANT)
    Q_PROPERTY(kelvane::ExportingView* exportWork READ exportWork CONSTANT)
    Q_PROPERTY(kelvane::AIAssistantView* assistants READ assistants CONSTANT)
    Q_PROPERTY(kelvane::ProjectsHomeView* home READ home CONSTANT)
    Q_PROPERTY(kelvane::HelpTips* tips READ tips CONSTANT)
    Q_PROPERTY(kelvane::HelpView* help READ help CONSTANT)
    Q_PROPERTY(kelvane::AssistantToast* toast READ toast CONSTANT)
    /// The project's name in the head of the window.
    Q_PROPERTY(kelvane::InlineProjectNameView* naming READ naming CONSTANT)

public:
    /// `reducedMotion` is the desktop's setting; none means that it isn't set.
    ProjectWindowView(ProjectWindows& windows, std::shared_ptr<Workspace> workspace,
                      TimelineView::ReducedMotion reducedMotion = {});

    [[nodiscard]] bool showsHome() const;
    [[nodiscard]] bool standing() const { return isStanding_; }
    [[nodiscard]] QString title() const;
    [[nodiscard]] QString status() const;
    [[nodiscard]] bool unsaved() const;
    [[nodiscard]] double progress() const;
    [[nodiscard]] bool edited() const;
    [[nodiscard]] bool busy() const;
    [[nodiscard]] bool exporting() const;
    [[nodiscard]] QString importProgress() const;
    /// Why what would change the project is disabled; empty where nothing is at work.
    [[nodiscard]] QString busyReason() const;
    [[nodiscard]] bool typing() const { return isTyping_; }
    void setTyping(bool typing);
    [[nodiscard]] WindowCommands* commands() { return &commands_; }
    /// What decides which commands can be given now.
    [[nodiscard]] CommandState commandState() const;
    /// Whether the command can be given now.
    [[nodiscard]] bool can(CommandID id) const { return isEnabled(id, commandState()); }
    [[nodiscard]] QString copying() const;
    [[nodiscard]] double copyingProgress() const;
    [[nodiscard]] QString copyingRemaining() const;
    [[nodiscard]] QString error() const;
    [[nodiscard]] PreviewView* preview() { return &preview_; }
    [[nodiscard]] TimelineView* timeline() { return &timeline_; }
    [[nodiscard]] EditorView* editor() { return &editor_; }
    [[nodiscard]] AssetsView* assets() { return &assets_; }
    [[nodiscard]] InspectorView* inspector() { return &inspector_; }
    [[nodiscard]] ExportOptionsView* exportOptions() { return &exportOptions_; }
    [[nodiscard]] ExportingView* exportWork() { return &exportWork_; }
    [[nodiscard]] AIAssistantView* assistants() { return &assistants_; }
    [[nodiscard]] ProjectsHomeView* home() { return &home_; }
    [[nodiscard]] HelpTips* tips() { return &tips_; }
    [[nodiscard]] HelpView* help() { return &help_; }
    [[nodiscard]] AssistantToast* toast() { return &toast_; }
    [[nodiscard]] InlineProjectNameView* naming() { return &naming_; }
    [[nodiscard]] const std::shared_ptr<Workspace>& workspace() const { return workspace_; }

    Q_INVOKABLE void newProject();
    Q_INVOKABLE void chooseProject();
    Q_INVOKABLE void showHome();
    Q_INVOKABLE void importMedia();
    Q_INVOKABLE void undo();
    Q_INVOKABLE void redo();
    Q_INVOKABLE void save();
    Q_INVOKABLE void exportVideo();
    Q_INVOKABLE void cancelExport();
    /// Stops a person's import; the files before the one under way stay.
    Q_INVOKABLE void cancelImport();
    /// Stops what `copying` tells of, as far as it can be stopped, and nothing else.
    Q_INVOKABLE void cancelCopying();
    Q_INVOKABLE void dismissError();
    /// What Escape ends, where no control has taken it: the first of a gesture, a countdown, the preview of an asset
    /// and a selection. Whether there was one.
    Q_INVOKABLE bool escape();
    /// The window stands there, in points of the desktop.
    Q_INVOKABLE void keepFrame(const QRectF& frame);
    /// Of a window that is only just made, and hears what is asked of it from now on: has it stand as the project's
    /// last one did, and show it.
    Q_INVOKABLE void beginShowing();
    /// The window has shown a frame.
    Q_INVOKABLE void frameShown();
    /// Takes the name that is being edited, as far as it can be taken, and ends the edit.
    QCoro::Task<void> takeNames();
    /// Whether the window may close now. Where a name or changes are still to be saved it may not, and `closeConfirmed`
    /// follows once they are.
    Q_INVOKABLE bool shouldClose();
    /// Asks for the end of the application.
    Q_INVOKABLE void quit() { Q_EMIT quitRequested(); }

Q_SIGNALS:
    // One signal for each rate at which what is shown changes.

    /// Which project is shown, or its content.
    void contentChanged();
    /// A project has come to be shown.
    void projectShown();
    /// How far its work is.
    void workChanged();
    // Those that content and work both bear on are sent when their values are others.
    void statusChanged();
    void copyingChanged();
    void errorChanged();
    void standingChanged();
    void typingChanged();
    void quitRequested();
    /// The window is to be closed, as its own button does it.
    void closeRequested();
    /// The keyboard is to go to the next pane, or with -1 to the one before.
    void paneRequested(int step);
    void shortcutsRequested();
    void aboutRequested();
    /// The project that came to be shown was last shown in a window that stood so.
    void frameRequested(const QRectF& frame);
    /// A window that is only just made is to stand here, in points of the desktop.
    void placeRequested(const QPointF& place);
    /// Everything is saved; the window that was asked to close may.
    void closeConfirmed();

private:
    /// The work on a whole project that `copying` tells of; null where it tells of the window's own project or nothing.
    [[nodiscard]] std::shared_ptr<ProjectWork> shownWork() const;
    /// How far the copies are that are shown; zeros when there are none.
    [[nodiscard]] TransferProgress shownProgress() const;
    QCoro::Task<void> closeWhenSaved();
    void followEditor();
    void perform(CommandID id);
    void editClips(CommandID id);
    void refreshCommands();
    void followRecording();
    void followCopying();
    void stand();
    void refreshContent();
    void refreshWork();
    /// Sends the signals of what content and work both bear on.
    void refreshDerived();
    // A command that changes the project ends a gesture under way first.
    [[nodiscard]] std::shared_ptr<Editor> editorToChange();

    ProjectWindows& windows_;
    std::shared_ptr<Workspace> workspace_;
    std::array<QMetaObject::Connection, 3> editorConnections_;
    PreviewView preview_;
    TimelineView timeline_;
    EditorView editor_;
    AssetsView assets_;
    InspectorView inspector_;
    ExportOptionsView exportOptions_;
    ExportingView exportWork_;
    AIAssistantView assistants_;
    ProjectsHomeView home_;
    HelpTips tips_;
    HelpView help_;
    AssistantToast toast_;
    WindowCommands commands_;
    InlineProjectNameView naming_;
    NoticedWork copying_;
    RemainingTime copyingLeft_;
    bool isStanding_ = false;
    bool isTyping_ = false;
    bool wasRecording_ = false;
    // As announced last.
    QString status_;
    QString error_;
};

}  // namespace kelvane
