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
#include "Support/App/FakePanels.h"
#include "Support/App/FakeRecording.h"
#include "Support/UnfinishedWork.h"
#include "Views/Timeline/TimelineSurface.h"
#include "Views/Waveform/AudioWaveformView.h"
#include "Views/Window/ProjectWindowView.h"
#include "Windows/ProjectWindows.h"

namespace kelvane::testing {

/// Ends the program with these words.
[[noreturn]] void stop(const std::string& words);

/// The application with one window, the engine's own pictures and sounds, a microphone that hears what it is told, and
/// nothing to be heard. States.cpp brings it into its states.
class Stage {
public:
    /// `footage` holds "Coast.mp4", "Balloons.mp4", "Voice.wav" and "Music.wav"; `library` is empty or isn't there.
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
    void showHome();
    void showHomeEmpty();
    void showWide();

    // SheetStates.cpp: those in which something stands over the window, or in a part of it for a while.
    void showAlert();
    void showExportOptions();
    void showExporting();
    void showExported();
    void showImporting();
    void showAssetPreview();
    void showConfirm();
    void showName();

private:
    [[nodiscard]] FileURL file(const char* name) const { return FileURL::fromPath((footage_ / name).string()); }
    [[nodiscard]] Clip video(const char* name, double start, double end, double volume = 1) const;
    [[nodiscard]] Clip sound(const char* name, double at, double start, double end, double volume = 1) const;
    /// A short film with two voices and music.
    [[nodiscard]] std::vector<Clip> film() const;
    /// Shows a new project.
    void open(const std::string& name, std::vector<Clip> clips, double playhead);
    /// Back to the projects, and to nothing that a state has left behind.
    void clear();
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
    /// Presses and moves, and holds what it has.
    void drag(QPoint from, QPoint to);
    void startRecording();
    void startExport(std::vector<Clip> clips);
    /// Lets the window ask something, as it does where the desktop has no questions of its own.
    void ask(const std::function<void(Panels&)>& question);

    std::filesystem::path footage_;
    UnfinishedWork unfinished_;
    FFmpegPlatform media_;
    FakePanels panels_;
    FakeRecording recording_;
    QtMainContext context_;
    AudioWaveformCache waveforms_{context_, media_};
    std::unique_ptr<PlatformWindow> platformWindow_;
    ProjectWindows windows_;
    std::shared_ptr<Workspace> workspace_;
    std::unique_ptr<ProjectWindowView> view_;
    QQmlEngine engine_;
    std::unique_ptr<QQuickWindow> window_;
    int projects_ = 0;
    /// What the state leaves to be undone.
    std::vector<std::function<void()>> leaving_;
};

}  // namespace kelvane::testing
