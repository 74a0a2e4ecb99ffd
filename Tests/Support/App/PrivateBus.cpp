#include "PrivateBus.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <cstdlib>

#include "Support/FileDescriptor.h"
#include "Support/Patience.h"

namespace kelvane::testing {

PrivateBus::PrivateBus() {
    const auto configuration = folder_.write(
        "bus.conf", "<busconfig><type>session</type><listen>unix:dir=" + folder_.path() +
                        "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\" "
                        "eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>");
    const std::string option = "--config-file=" + configuration.path();
    int ends[2];
    check(pipe2(ends, O_CLOEXEC) == 0, "a pipe");
    const FileDescriptor told(ends[0]);
    FileDescriptor tells(ends[1]);
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(tells.get(), 3);
        execlp("dbus-daemon", "dbus-daemon", option.c_str(), "--nofork", "--nopidfile", "--print-address=3", nullptr);
        _exit(127);
    }
    (void)tells.close();
    pollfd ready{told.get(), POLLIN, 0};
    char byte = 0;
    while (poll(&ready, 1, static_cast<int>(patience.count())) > 0 && read(told.get(), &byte, 1) == 1 && byte != '\n')
        address_.push_back(byte);
    check(byte == '\n', "a bus that tells its address");
}

PrivateBus::~PrivateBus() {
    for (const QString& name : names_) QDBusConnection::disconnectFromBus(name);
    kill();
}

bool PrivateBus::isInstalled() { return std::system("command -v dbus-daemon >/dev/null 2>&1") == 0; }

QDBusConnection PrivateBus::connection(const QString& name) {
    if (std::ranges::find(names_, name) != names_.end()) return QDBusConnection(name);
    names_.push_back(name);
    return QDBusConnection::connectToBus(QString::fromStdString(address_), name);
}

void PrivateBus::kill() {
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = -1;
}

FakeBusService::FakeBusService(QDBusConnection bus, const QString& name, const QString& path, Answer given)
    : answer(std::move(given)), bus_(std::move(bus)), name_(name), path_(path) {
    check(bus_.registerVirtualObject(path, this, QDBusConnection::SubPath), "the service's object");
    check(bus_.registerService(name), "the service's name");
}

FakeBusService::~FakeBusService() {
    bus_.unregisterService(name_);
    bus_.unregisterObject(path_, QDBusConnection::UnregisterTree);
}

bool FakeBusService::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    if (message.interface() == "org.freedesktop.DBus.Introspectable") return false;
    calls.push_back(message);
    if (answer) answer(message, connection);
    return true;
}

bool waitFor(const std::function<bool()>& isSo) {
    const QDeadlineTimer end(patience);
    while (!isSo()) {
        if (end.hasExpired()) return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
    }
    return true;
}

}  // namespace kelvane::testing
