#include "SessionBus.h"

#include <QDBusError>
#include <QDBusPendingCallWatcher>
#include <QFile>

#include "Reply.h"

namespace kelvane {

std::optional<QDBusConnection> sessionBus() {
    // Asking for one that isn't there would start it.
    const QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS") &&
        (folder.isEmpty() || !QFile::exists(folder + QStringLiteral("/bus"))))
        return std::nullopt;
    QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.isConnected() ? std::optional(bus) : std::nullopt;
}

QCoro::Task<QDBusMessage> askBus(MainContext& context, QDBusConnection bus, QDBusMessage question,
                                 std::chrono::milliseconds patience) {
    const Reply<QDBusMessage> reply;
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(question));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [reply](QDBusPendingCallWatcher* finished) {
        finished->deleteLater();
        reply.give(finished->reply());
    });
    const Timer limit = context.after(patience, [reply] {
        reply.give(QDBusMessage::createError(QDBusError::NoReply, QStringLiteral("nobody answers")));
    });
    co_return co_await reply;
}

}  // namespace kelvane
