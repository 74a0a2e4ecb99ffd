#pragma once

#include <sys/types.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Support/TempFolder.h"

namespace kelvane::testing {

/// A bus of a test's own, on which nothing is but what the test puts there, and nothing is started by a question. Needs
/// a QCoreApplication, whose events the test's thread handles (`waitFor`).
class PrivateBus {
public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /// Whether this system has the program.
    static bool isInstalled();

    [[nodiscard]] const std::string& address() const { return address_; }
    /// A connection under this name, made at the first call.
    [[nodiscard]] QDBusConnection connection(const QString& name);
    /// Ends it, at once.
    void kill();

private:
    TempFolder folder_;
    pid_t process_ = -1;
    std::string address_;
    std::vector<QString> names_;
};

/// A service on a bus that answers every call by a function, and keeps them.
class FakeBusService : public QDBusVirtualObject {
public:
    using Answer = std::function<void(const QDBusMessage& call, const QDBusConnection& bus)>;

    /// Owns `name` on `bus`. The objects at `path` and below answer by `answer`; without one they stay silent.
    FakeBusService(QDBusConnection bus, const QString& name, const QString& path, Answer answer = {});
    ~FakeBusService() override;

    [[nodiscard]] QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

    /// What was called, oldest first.
    std::vector<QDBusMessage> calls;
    Answer answer;

private:
    QDBusConnection bus_;
    QString name_;
    QString path_;
};

/// Handles events until it is so; false when patience ends first.
bool waitFor(const std::function<bool()>& isSo);

}  // namespace kelvane::testing
