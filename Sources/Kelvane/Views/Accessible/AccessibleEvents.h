#pragma once

#include <QAccessible>
#include <functional>

namespace kelvane {

/// The way by which readers of the screen are told of changes. The main thread.
namespace AccessibleEvents {

/// Whether anybody listens: working out what to tell may be dear.
[[nodiscard]] bool isHeard();
/// Nothing where nobody listens.
void send(QAccessibleEvent& event);
/// Hears what is sent instead of the platform's bridge, which some platforms lack; an empty one gives it back.
void setListener(std::function<void(QAccessibleEvent&)> listener);

}  // namespace AccessibleEvents

}  // namespace kelvane
