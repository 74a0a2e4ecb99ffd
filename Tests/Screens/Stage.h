#pragma once

#include <QImage>
#include <QPoint>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QSize>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Media/FFmpeg/FFmpegPlatform.h"
#include "Platform/QtMainContext.h"
#include "Support/App/FakeDesktopServices.h"
#include "Support/App/FakePanels.h"
#include "Support/App/FakeRecording.h"
#include "Support/UnfinishedWork.h"
#include "Views/Timeline/TimelineSurface.h"
#include "Views/Waveform/AudioWaveformView.h"
#include "Views/Window/ProjectWindowView.h"
#include "Views/Window/WindowPanels.h"
#include "Windows/ProjectWindows.h"

namespace kelvane::testing {

/// Ends the program with these words.
[[noreturn]] void stop(const std::string& words);

/// The application with one window, the engine's own pictures and sounds, a microphone that hears what it is told, and
/// nothing to be heard. States.cpp brings it into its states.
class Stage {
public:
    /// `footage` holds "Coast.mp4", "Balloons.mp4", "Harbour.mp4" and "Meadow.mp4", each with a picture beside it
    /// ("Coast.jpg"), "Voice.wav" and "Music.wav"; `library` is empty or isn't there.
    Stage(std::filesystem::path footage, const std::filesystem::path& library);
    ~Stage();

    /// What the window looks like in a state, once nothing moves; or while something does, where that is the state.
    QImage show(const std::string& state, QSize size);

    // States.cpp: the states.
    void showEmpty();
    void showEditor();
    void showMany();
    void showMove();
    void showSound();
    void showDrop();
    void showTrim();
    void showVolume();
    void showMarquee();
    void showRecording();
    void showCountdown();
    void showAssistantEdit();
    void showFocus();
    void showTip();
    void showMoreContrast();
    void showWide();

    // HomeStates.cpp: the library's projects.
    void showHome();
    void showHomeEmpty();
    void showHomeMenu();
    void showHomeRename();
    void showHomeNothing();
    void showHomeFocus();
    void showHomeMany();
    void showWorking();
    void showDeleting();

    // PaneStates.cpp: what panes show beside the timeline, and menus.
    void showSoundClip();
    void showSeveral();
    void showRename();
    void showRenameProblem();
    void showMenu();
    void showAssetMenu();
    void showClipMenu();
    void showFileDrop();
    void showAssetPreview();
    void showAudioPreview();

    // SheetStates.cpp: those in which something stands over the window, or in a part of it for a while.
    void showAlert();
    void showExportOptions();
    void showExporting();
    void showExported();
    void showExportChoices();
    void showImporting();
    void showConfirm();
    void showName();
    void showChooser();
    void showChooserSave();
    void showAssistants();
    void showAssistantsNone();
    void showAssistantsMessage();
    void showShortcuts();
    void showAbout();

private:
    [[nodiscard]] FileURL file(const char* name) const { return FileURL::fromPath((footage_ / name).string()); }
    [[nodiscard]] Clip video(const char* name, double start, double end, double volume = 1) const;
    [[nodiscard]] Clip sound(const char* name, double at, double start, double end, double volume = 1) const;
    /// A short film with two voices and music; always the same.
    [[nodiscard]] const std::vector<Clip>& film();
    /// Shows a project with nothing chosen: a new one, unless one that was made the same way is as it was.
    void open(const std::string& name, const std::vector<Clip>& clips, double playhead);
    [[nodiscard]] bool isOpen(const std::string& name, const std::vector<Clip>& clips) const;
    void make(const std::string& name, const std::vector<Clip>& clips);
    /// Undoes what a state has left behind.
    void leave();
    /// Back to the projects.
    void goHome();
    /// Lets the application run; ends the program where that takes minutes.
    void runUntil(const std::function<bool()>& isDone);
    /// Until all that is in sight is drawn as it stays.
    void settle();
    [[nodiscard]] Editor& editor() const { return *workspace_->editor(); }
    [[nodiscard]] TimelineView& timeline() { return *view_->timeline(); }
    [[nodiscard]] QQuickItem& item(const char* name) const;
    [[nodiscard]] const TimelineSurface& surface() const;
    /// Where a moment of the timeline is in the window, `y` points below the upper end of `row`.
    [[nodiscard]] QPoint at(double seconds, int row, double y) const;
    [[nodiscard]] static QPoint middleOf(const QQuickItem& item);
    /// What is shown with this value of a property.
    [[nodiscard]] QQuickItem& shown(const char* property, const QString& value) const;
    /// A place in a card of the home.
    [[nodiscard]] QPoint onCard(int row, QPointF place) const;
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {});
    /// Presses and moves, and holds what it has.
    void drag(QPoint from, QPoint to);
    void startRecording();
    void startExport(const std::vector<Clip>& clips);
    /// Lets the window ask something, as it does where the desktop has no questions of its own.
    void ask(const std::function<void(WindowPanels&)>& question);
    /// For choosers: a folder like that of anybody.
    std::filesystem::path folderOfFiles();
    /// Enters a project of one clip of this footage in the library.
    void keep(const std::string& name, const char* footage, double end, double modified);

    std::filesystem::path footage_;
    UnfinishedWork unfinished_;
    FFmpegPlatform media_;
    FakePanels panels_;
    FakeRecording recording_;
    FakeDesktopServices desktop_;
    QtMainContext context_;
    AudioWaveformCache waveforms_{context_, media_};
    std::unique_ptr<PlatformWindow> platformWindow_;
    ProjectWindows windows_;
    std::shared_ptr<Workspace> workspace_;
    std::unique_ptr<ProjectWindowView> view_;
    QQmlEngine engine_;
    std::unique_ptr<QQuickWindow> window_;
    int projects_ = 0;
    std::vector<Clip> film_;
    /// The project that is open: what it was made of, and what it was then.
    struct Made {
        std::string name;
        std::vector<Clip> given;
        std::vector<Clip> clips;
        std::vector<Clip> assets;
    } made_;
    /// What the state leaves to be undone.
    std::vector<std::function<void()>> leaving_;
};

}  // namespace kelvane::testing
