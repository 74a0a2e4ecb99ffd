#include "KelvaneApp.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QUrl>
#include <algorithm>
#include <cstdio>

#include "Assistant/KelvaneProjectLink.h"
#include "CLI/CLISweep.h"
#include "Platform/PulseSoundOutput.h"
#include "Platform/TimelinePlayer.h"
#include "Platform/WindowPlaces.h"
#include "Session/AIAssistantSession.h"
#include "Storage/UnfinishedSweep.h"
#include "Views/Theme.h"
#include "Views/Waveform/AudioWaveformView.h"

namespace kelvane {

namespace {

/// Where the desktop's own choosers are asked: where windows are shown on a desktop.
BusSource choosers() {
    const QString platform = QGuiApplication::platformName();
    const bool isOnDesktop = platform == QStringLiteral("xcb") || platform.startsWith(QStringLiteral("wayland"));
    return isOnDesktop ? BusSource(sessionBus) : BusSource();
}

}  // namespace

ApplicationWindow::ApplicationWindow(ProjectWindows& projects, std::shared_ptr<Workspace> workspace,
                                     QQmlComponent& component, WindowPanels& panels, WindowActivation& activation,
                                     TimelineView::ReducedMotion reducedMotion)
    : view_(projects, std::move(workspace), std::move(reducedMotion)), activation_(activation) {
    std::unique_ptr<QObject> object(component.createWithInitialProperties({{"view", QVariant::fromValue(&view_)}}));
    window_.reset(qobject_cast<QQuickWindow*>(object.get()));
    if (!window_) return;
    (void)object.release();
    panels_ = std::make_unique<PanelHost>(panels, *component.engine(), *window_);
    connect(&view_, &ProjectWindowView::quitRequested, this, &ApplicationWindow::quitRequested);
    connect(window_.get(), &QWindow::activeChanged, this, [this] {
        if (window_->isActive())
            Q_EMIT becameActive();
        else
            Q_EMIT becameInactive();
    });
    connect(window_.get(), &QWindow::visibleChanged, this, [this](bool visible) {
        if (!visible) Q_EMIT closed();
    });
}

ApplicationWindow::~ApplicationWindow() {
    if (window_) window_->disconnect(this);
}

void ApplicationWindow::bringToFront() {
    // A window that was put away comes back as it was.
    window_->setWindowStates(window_->windowStates() & ~Qt::WindowMinimized);
    window_->show();
    window_->raise();
    activation_.activate(*window_);
    Q_EMIT becameActive();
}

void ApplicationWindow::setProjectFile(const std::optional<FileURL>& url) {
    if (window_) window_->setFilePath(url ? QString::fromStdString(url->path()) : QString());
}

KelvaneApp::KelvaneApp(bool hasDisplay, std::vector<FileURL> urls, std::unique_ptr<FirstInstance> instance)
    : unfinished_(unfinishedFolder(ProjectStore::defaultRoot())),
      panels_(hasDisplay, context_, choosers()),
      projects_({.context = &context_,
                 .media = &media_,
                 .panels = &panels_,
                 .makePlayer = [this](PlayerRole role) { return makePlayer(role); },
                 .recording = &recording_,
                 .unfinished = &unfinished_,
                 .desktop = &desktop_}),
      instance_(std::move(instance)) {
    projects_.writeDrawnMovie = [this](const FileURL& file, const DrawnMovie& movie, std::stop_token stop) {
        return media_.writeDrawnMovie(file, movie, std::move(stop));
    };
    registerWindowTypes();
    answerPlacesInWindows();
    shareWaveforms(engine_, waveforms_);
    engine_.setIncubationController(&incubation_);
    followAppearance();
    connect(&settings_, &DesktopSettings::changed, this, &KelvaneApp::followAppearance);
    incoming_.open(urls);
}

void KelvaneApp::followAppearance() {
    Theme::setAppearance({.moreContrast = settings_.moreContrast(), .reducedMotion = settings_.reducedMotion()});
}

std::unique_ptr<Player> KelvaneApp::makePlayer(PlayerRole role) {
    PlayerServices services{.context = &context_};
    services.makePictureStream = [this](EditedMediaPtr item, Size canvas) {
        return media_.makePictureStream(std::move(item), canvas);
    };
    if (role == PlayerRole::main) {
        services.makeSoundStream = [this](EditedMediaPtr item) { return media_.makeSoundStream(std::move(item)); };
        services.output = std::make_shared<PulseSoundOutput>(sound_);
    }
    return std::make_unique<TimelinePlayer>(std::move(services));
}

bool KelvaneApp::start() {
    component_ = std::make_unique<QQmlComponent>(&engine_, QUrl("qrc:/Views/Window/ProjectWindow.qml"),
                                                 QQmlComponent::Asynchronous);
    // The engine reads on a thread of its own, which leaves this one time for what the first texts take.
    Theme::readyFonts();
    while (component_->isLoading())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::ExcludeUserInputEvents |
                                        QEventLoop::ExcludeSocketNotifiers);
    if (!component_->isReady()) {
        qWarning("%s", qPrintable(component_->errorString()));
        return false;
    }
    projects_.activateApplication = [this] { comeForward(); };
    if (!openWindow(std::nullopt)) return false;
    workBehind(windows_.begin()->second->view());
    projects_.openWindow = [this](const UUID& id) { openWindow(id); };
    projects_.tell = [](const std::string& sentence) { std::fprintf(stderr, "kelvane: %s\n", sentence.c_str()); };
    // Where nobody sees the alert, a script still learns why its project isn't there.
    connect(&projects_, &ProjectWindows::errorChanged, this, [this] {
        if (projects_.error()) std::fprintf(stderr, "kelvane: %s\n", projects_.error()->c_str());
    });
    connect(&panels_, &WindowPanels::failed, this,
            [this](const QString& sentence) { projects_.setError(sentence.toStdString()); });
    incoming_.start(projects_);
    if (instance_) instance_->serve([this](StartRequest request) { receive(std::move(request)); });
    return true;
}

void KelvaneApp::workBehind(ProjectWindowView& window) {
    auto work = [this] {
        context_.runInBackground([this] { media_.load(); }, Lane::shortWork);
        sweepLeftovers();
    };
    connect(&window, &ProjectWindowView::standingChanged, this, work);
}

void KelvaneApp::sweepLeftovers() {
    auto sweep = [root = projects_.library().root()] { sweepUnfinishedWork(root); };
    context_.runInBackground(std::move(sweep), Lane::longWork);
    // Whoever connects waits for a sweep that has its lock: it mustn't stand behind the work of others.
    context_.runInBackground([] { sweepDeadServers(); }, Lane::shortWork);
}

bool KelvaneApp::openWindow(const std::optional<UUID>& id) {
    auto workspace = projects_.workspace(id);
    const auto identity = workspace->id();
    auto window = std::make_unique<ApplicationWindow>(projects_, workspace, *component_, panels_, activation_,
                                                      [this] { return settings_.reducedMotion(); });
    if (!window->isOpen()) {
        qWarning("%s", qPrintable(component_->errorString()));
        projects_.unregister(workspace);
        return false;
    }
    connect(window.get(), &ApplicationWindow::becameActive, this, [this, identity] { setActiveWindow(identity); });
    connect(window.get(), &ApplicationWindow::becameInactive, this, [workspace] {
        if (workspace->editor()) workspace->editor()->pausePlayer();
    });
    connect(window.get(), &ApplicationWindow::quitRequested, this, &KelvaneApp::requestQuit);
    // In the turn in which the window found everything saved, so that nothing changes behind it.
    connect(window.get(), &ApplicationWindow::closed, this, [workspace] {
        if (workspace->editor()) workspace->editor()->ai().suspend();
    });
    // The window's own signal is on the stack when it closes.
    connect(
        window.get(), &ApplicationWindow::closed, this, [this, identity] { closeWindow(identity); },
        Qt::QueuedConnection);
    projects_.attach(workspace, window.get());
    auto* shown = window.get();
    windows_[identity] = std::move(window);
    setActiveWindow(identity);
    activation_.show(*shown->window());
    return true;
}

void KelvaneApp::setActiveWindow(const UUID& id) {
    for (const auto& [other, window] : windows_) window->setActive(other == id);
}

void KelvaneApp::closeWindow(const UUID& id) {
    const auto closing = windows_.find(id);
    if (closing == windows_.end()) return;
    projects_.unregister(closing->second->workspace());
    windows_.erase(closing);
    if (windows_.empty())
        quitOrStay();
    else if (QGuiApplication::focusWindow() == nullptr)
        activation_.takeKeyboard(*frontWindow().window());
}

QCoro::Task<void> KelvaneApp::quitOrStay() {
    auto asking = projects_.confirmQuit();
    const bool mayQuit = co_await asking;
    // A link may have brought a window meanwhile.
    if (!windows_.empty()) co_return;
    if (mayQuit)
        end();
    else
        // Something in the background keeps the application; a person must be able to see what.
        openWindow(std::nullopt);
}

void KelvaneApp::requestQuit() { quit(); }

QCoro::Task<void> KelvaneApp::quit() {
    std::vector<UUID> open;
    for (const auto& [id, window] : windows_) open.push_back(id);
    for (const UUID& id : open) {
        // What is typed into the field of a name is a change like any.
        const auto window = windows_.find(id);
        if (window == windows_.end()) continue;
        auto naming = window->second->view().takeNames();
        co_await naming;
    }
    auto asking = projects_.confirmQuit();
    if (co_await asking) end();
}

void KelvaneApp::receive(StartRequest request) {
    activation_.accept(std::move(request.activation));
    // The leave may be good for one window only.
    if (auto* showing = windowShowing(request.urls))
        showing->bringToFront();
    else
        comeForward();
    incoming_.open(request.urls);
}

ApplicationWindow* KelvaneApp::windowShowing(const std::vector<FileURL>& urls) const {
    const auto linked = urls.empty() ? std::nullopt : KelvaneProjectLink::projectID(urls.back().absoluteString());
    const auto found = std::ranges::find_if(windows_, [&](const auto& entry) {
        const auto& editor = entry.second->workspace()->editor();
        return linked && editor && editor->id() == *linked;
    });
    return found == windows_.end() ? nullptr : found->second.get();
}

void KelvaneApp::comeForward() {
    if (windows_.empty()) {
        openWindow(std::nullopt);
        return;
    }
    frontWindow().bringToFront();
}

ApplicationWindow& KelvaneApp::frontWindow() const {
    const auto active = std::ranges::find_if(windows_, [](const auto& entry) { return entry.second->isActive(); });
    return *(active == windows_.end() ? windows_.begin() : active)->second;
}

void KelvaneApp::end() {
    // Who starts the program from here on is the first.
    if (instance_) instance_->close();
    projects_.retire();
    QCoreApplication::quit();
}

void KelvaneApp::shutDown() {
    for (const auto& [id, window] : windows_) projects_.unregister(window->workspace());
    windows_.clear();
    waveforms_.retire();
    unfinished_.retire();
}

}  // namespace kelvane
