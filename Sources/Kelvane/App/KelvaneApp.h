#pragma once

#include <QCoroTask>
#include <QObject>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <map>
#include <memory>

#include "FirstInstance.h"
#include "IncomingURLs.h"
#include "Inspection/AudioWaveformCache.h"
#include "LoadedMedia.h"
#include "Platform/DesktopSettings.h"
#include "Platform/PulseSoundRecorder.h"
#include "Platform/QtMainContext.h"
#include "Platform/WindowActivation.h"
#include "Platform/XDGDesktopServices.h"
#include "SlicedIncubation.h"
#include "Support/UnfinishedWork.h"
#include "Views/Window/PanelHost.h"
#include "Views/Window/ProjectWindowView.h"
#include "Views/Window/WindowPanels.h"
#include "Windows/ProjectWindows.h"

namespace kelvane {

/// One window on the screen: the QML window, its view, its slot, and the questions that it asks.
class ApplicationWindow final : public QObject, public PlatformWindow {
    Q_OBJECT

public:
    ApplicationWindow(ProjectWindows& projects, std::shared_ptr<Workspace> workspace, QQmlComponent& component,
                      WindowPanels& panels, WindowActivation& activation, TimelineView::ReducedMotion reducedMotion);
    ~ApplicationWindow() override;

    [[nodiscard]] bool isOpen() const { return window_ != nullptr; }
    [[nodiscard]] const std::shared_ptr<Workspace>& workspace() const { return view_.workspace(); }
    [[nodiscard]] QQuickWindow* window() const { return window_.get(); }
    [[nodiscard]] ProjectWindowView& view() { return view_; }

    void bringToFront() override;
    [[nodiscard]] bool isActive() const override { return isActive_; }
    void setActive(bool active) { isActive_ = active; }
    void setHasUnsavedChanges(bool) override {}
    void setProjectFile(const std::optional<FileURL>& url) override;

Q_SIGNALS:
    void becameActive();
    void becameInactive();
    void closed();
    void quitRequested();

private:
    ProjectWindowView view_;
    std::unique_ptr<QQuickWindow> window_;
    std::unique_ptr<PanelHost> panels_;
    WindowActivation& activation_;
    bool isActive_ = false;
};

/// The application: makes the one owner of open projects, opens windows, and carries launch, open and quit events to
/// it. The main thread.
class KelvaneApp final : public QObject {
    Q_OBJECT

public:
    /// `urls` are handled once the first window stands. Without a display nobody is asked anything. `instance` is there
    /// where this process is the library's first: further starts hand over to it.
    KelvaneApp(bool hasDisplay, std::vector<FileURL> urls, std::unique_ptr<FirstInstance> instance = nullptr);

    /// What makes the surfaces.
    [[nodiscard]] QQmlEngine& engine() { return engine_; }
    [[nodiscard]] WindowPanels& panels() { return panels_; }
    /// What the sound of clips is drawn from.
    [[nodiscard]] AudioWaveformCache& waveforms() { return waveforms_; }

    /// Opens the first window. False when the surface can't be loaded.
    bool start();
    /// Ends the application, unless something is busy or can't be saved.
    void requestQuit();
    /// Brings a window forward and opens what another start of the program was given.
    void receive(StartRequest request);
    /// Withdraws every live connection and ends the decoding of waveforms; the last call before the process ends.
    void shutDown();

private:
    bool openWindow(const std::optional<UUID>& id);
    void closeWindow(const UUID& id);
    /// Quits, or opens a window where the application may not end without one.
    QCoro::Task<void> quitOrStay();
    QCoro::Task<void> quit();
    /// Ends the application, of which nothing changes any more.
    void end();
    /// Brings the window to the front that was there last, or a new one where none is left.
    void comeForward();
    /// The one that a person works in or worked in last; there is one at least.
    [[nodiscard]] ApplicationWindow& frontWindow() const;
    /// The window that shows the project of the last of the links; null where none does.
    [[nodiscard]] ApplicationWindow* windowShowing(const std::vector<FileURL>& urls) const;
    void setActiveWindow(const UUID& id);

    /// What shows and sounds a timeline, or shows the pictures under a pointer.
    std::unique_ptr<Player> makePlayer(PlayerRole role);
    /// Lets the windows look and move as the desktop says.
    void followAppearance();
    /// Does in the background what no first frame has to wait for, once `window` stands.
    void workBehind(ProjectWindowView& window);
    /// Removes what earlier processes left, in the background.
    void sweepLeftovers();

    UnfinishedWork unfinished_;
    // Its end waits for the works of the pool, which use it.
    LoadedMedia media_;
    QtMainContext context_;
    AudioWaveformCache waveforms_{context_, media_};
    std::shared_ptr<PulseConnection> sound_ = std::make_shared<PulseConnection>(context_);
    PulseSoundRecording recording_{sound_, media_};
    WindowPanels panels_;
    DesktopSettings settings_;
    WindowActivation activation_;
    XDGDesktopServices desktop_{context_};
    SlicedIncubation incubation_;
    QQmlEngine engine_;
    std::unique_ptr<QQmlComponent> component_;
    ProjectWindows projects_;
    IncomingURLQueue incoming_;
    std::unique_ptr<FirstInstance> instance_;
    std::map<UUID, std::unique_ptr<ApplicationWindow>> windows_;
};

}  // namespace kelvane
