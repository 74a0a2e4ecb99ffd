#include <malloc.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QGuiApplication>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QSocketNotifier>
#include <cstdio>
#include <cstdlib>

#include "FirstInstance.h"
#include "KelvaneApp.h"
#include "Storage/ProjectStore.h"
#include "Support/FileDescriptor.h"

namespace {

/// A byte for each quit that is asked for by a signal, whose handler may do no more than write.
kelvane::FileDescriptor quitSender;
kelvane::FileDescriptor quitReceiver;

void askToQuit(int) {
    const int kept = errno;
    const char byte = 1;
    if (write(quitSender.get(), &byte, 1) < 0) {
        // The pipe is full of earlier asks, which serve as well.
    }
    errno = kept;
}

/// SIGTERM, SIGINT and SIGHUP count as a quit that a person asked for.
void catchQuitSignals() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0) return;
    quitReceiver = kelvane::FileDescriptor(ends[0]);
    quitSender = kelvane::FileDescriptor(ends[1]);
    struct sigaction action{};
    action.sa_handler = askToQuit;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    // The terminal that started the application was closed.
    sigaction(SIGHUP, &action, nullptr);
}

bool set(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

}  // namespace

/// The application's entry, called by the thin executable. Returns the exit status.
extern "C" __attribute__((visibility("default"))) int kelvaneApplicationMain(int argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);
    // A limit on file sizes is reported by the write that meets it.
    signal(SIGXFSZ, SIG_IGN);
    // Arguments are read before the toolkit takes its own out of them.
    const auto request = kelvane::startRequest({argv + (argc > 0 ? 1 : 0), argv + argc});
    // Before anything that takes time: what is handed over needs no display either.
    auto role = kelvane::claimLibrary(kelvane::ProjectStore::defaultRoot(), request);
    if (role.kind == kelvane::StartRole::Kind::handedOver) return 0;
    if (!set("QT_QPA_PLATFORM") && !set("DISPLAY") && !set("WAYLAND_DISPLAY")) {
        std::fputs("Kelvane needs a display. Set QT_QPA_PLATFORM=offscreen to run it without one.\n", stderr);
        return 1;
    }
    // Pictures go back to the system when they are let go of. By itself the allocator soon keeps blocks of their size
    // in its many arenas: a timeline of 1,000 clips that was scrolled through then held 110 MB that nobody used.
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);

    QCoreApplication::setApplicationName("Kelvane");
    QGuiApplication::setDesktopFileName("kelvane");
    QQuickStyle::setStyle("Basic");
    QGuiApplication application(argc, argv);
    // The last window's closing asks whether everything is saved first.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    const QString platform = QGuiApplication::platformName();
    const bool hasDisplay = platform != "offscreen" && platform != "minimal";
    if (!hasDisplay) QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);

    // Connections that were accepted before a quit may still be on their threads, and use the application's context: it
    // lasts to the end of the process, and is not taken down around them.
    auto* app = new kelvane::KelvaneApp(hasDisplay, request.urls, std::move(role.instance));
    catchQuitSignals();
    QSocketNotifier quit(quitReceiver.get(), QSocketNotifier::Read);
    QObject::connect(&quit, &QSocketNotifier::activated, app, [app] {
        char bytes[64];
        while (read(quitReceiver.get(), bytes, sizeof bytes) > 0) {
        }
        app->requestQuit();
    });
    const int status = app->start() ? QGuiApplication::exec() : 1;
    app->shutDown();
    std::fflush(nullptr);
    _exit(status);
}
