#include "WindowActivation.h"

#include <QGuiApplication>
#include <algorithm>
#include <utility>

#include "X11Window.h"

namespace kelvane {

namespace {

constexpr const char* tokenVariable = "XDG_ACTIVATION_TOKEN";
constexpr const char* startupVariable = "DESKTOP_STARTUP_ID";

bool isWayland() { return QGuiApplication::platformName().startsWith(QStringLiteral("wayland")); }

/// Whether a person did something in one of this process's windows after `time`.
bool wasWorkedInAfter(std::uint32_t time) {
    return std::ranges::any_of(QGuiApplication::topLevelWindows(), [time](QWindow* window) {
        const auto server = window->handle() != nullptr ? X11Window::of(*window) : std::nullopt;
        const auto last = server ? server->userTime() : std::nullopt;
        return last && isLaterOnServer(*last, time);
    });
}

}  // namespace

WindowActivation::WindowActivation() {
    // On Wayland the toolkit takes it when it shows the first window.
    if (!isWayland()) qunsetenv(tokenVariable);
    qunsetenv(startupVariable);
}

void WindowActivation::accept(ActivationLeave leave) {
    leave_ = std::move(leave);
    // Launchers that know of one kind of leave only give it for the other as well.
    if (leave_.startupID.empty()) leave_.startupID = leave_.token;
    if (leave_.token.empty()) leave_.token = leave_.startupID;
    isWaiting_ = !leave_.startupID.empty();
    // Where the toolkit takes it from, once, when it asks for the focus.
    if (isWayland() && isWaiting_) qputenv(tokenVariable, QByteArray::fromStdString(leave_.token));
}

void WindowActivation::show(QWindow& window) {
    if (!isWaiting_) {
        window.show();
        takeKeyboard(window);
        return;
    }
    // Before the window manager sees it for the first time.
    window.create();
    if (const auto server = X11Window::of(window)) server->setStartupID(leave_.startupID);
    window.show();
    activate(window);
}

void WindowActivation::activate(QWindow& window) {
    const auto server = X11Window::of(window);
    const auto time = startupTime(leave_.startupID);
    if (server && time && server->canAskToBeActive() && !wasWorkedInAfter(*time)) {
        server->setStartupID(leave_.startupID);
        server->setUserTime(*time);
        server->askToBeActive(*time);
    } else {
        window.requestActivate();
    }
    if (server && isWaiting_) server->endStartup(leave_.startupID);
    isWaiting_ = false;
}

void WindowActivation::takeKeyboard(QWindow& window) {
    const auto server = X11Window::of(window);
    // The toolkit then asks the server itself, once the window is there.
    if (server && !server->canAskToBeActive()) window.requestActivate();
}

}  // namespace kelvane
