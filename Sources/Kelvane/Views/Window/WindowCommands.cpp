#include "WindowCommands.h"

#include <QQmlEngine>
#include <tuple>
#include <utility>

namespace kelvane {

WindowCommand::WindowCommand(CommandID id, Act act) : id_(id), act_(std::move(act)) { refresh(CommandState()); }

QString WindowCommand::heading() const { return QObject::tr(commandOf(id_).heading); }

void WindowCommand::refresh(const CommandState& state) {
    const auto before = std::tuple(title_, enabled_, actsByKey_);
    title_ = titleOf(id_, state);
    enabled_ = isEnabled(id_, state);
    actsByKey_ = kelvane::actsByKey(id_, state);
    if (std::tie(title_, enabled_, actsByKey_) != before) Q_EMIT changed();
}

void WindowCommand::trigger() {
    if (enabled_) act_(id_);
}

WindowCommands::WindowCommands(const WindowCommand::Act& act) {
    for (const Command& command : commandTable()) {
        commands_.push_back(std::make_unique<WindowCommand>(command.id, act));
        // QML asks for them by a function, and would own what it gets.
        QQmlEngine::setObjectOwnership(commands_.back().get(), QQmlEngine::CppOwnership);
    }
}

void WindowCommands::refresh(const CommandState& state) {
    if (std::exchange(state_, state) == state) return;
    for (const auto& command : commands_) command->refresh(state);
}

}  // namespace kelvane
