#pragma once

#include <QCoroTask>
#include <QDBusConnection>
#include <QDBusMessage>
#include <chrono>
#include <functional>
#include <optional>

#include "MainContext.h"

namespace kelvane {

/// The bus of the user's session; nothing where there is none, or where it has died: it isn't looked for again then.
/// Nothing is started for it. The main thread.
std::optional<QDBusConnection> sessionBus();

/// Where a bus comes from, asked anew for each question: `sessionBus`, or a test's own.
using BusSource = std::function<std::optional<QDBusConnection>()>;

/// Asks a question on a bus without waiting for it. Answers the reply, or an error message: of whoever was asked, of a
/// bus that nobody answers on or that dies, or "NoReply" once `patience` has passed. `context` outlives the task.
QCoro::Task<QDBusMessage> askBus(MainContext& context, QDBusConnection bus, QDBusMessage question,
                                 std::chrono::milliseconds patience);

}  // namespace kelvane
