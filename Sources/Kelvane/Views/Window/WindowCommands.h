#pragma once

#include <QObject>
#include <functional>
#include <memory>
#include <vector>

#include "CommandTable.h"

namespace kelvane {

/// A command of one window, as menus, buttons and keys have it. The main thread.
class WindowCommand final : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QStringList keys READ keys CONSTANT)
    /// The key that is shown; empty without one.
    Q_PROPERTY(QString key READ key CONSTANT)
    Q_PROPERTY(QString heading READ heading CONSTANT)
    Q_PROPERTY(bool repeats READ repeats CONSTANT)
    Q_PROPERTY(bool enabled READ enabled NOTIFY changed)
    /// Whether its keys give it.
    Q_PROPERTY(bool actsByKey READ actsByKey NOTIFY changed)

public:
    using Act = std::function<void(CommandID)>;
    /// `act` carries a command out, and is called only while it is enabled.
    WindowCommand(CommandID id, Act act);

    [[nodiscard]] CommandID id() const { return id_; }
    [[nodiscard]] const QString& title() const { return title_; }
    [[nodiscard]] QStringList keys() const { return keysOf(id_); }
    [[nodiscard]] QString key() const { return shownKeyOf(id_); }
    [[nodiscard]] bool repeats() const { return commandOf(id_).repeats; }
    /// In which part of the help on keys it stands.
    [[nodiscard]] QString heading() const;
    [[nodiscard]] bool enabled() const { return enabled_; }
    [[nodiscard]] bool actsByKey() const { return actsByKey_; }
    void refresh(const CommandState& state);

    /// Gives the command. Nothing while it is disabled.
    Q_INVOKABLE void trigger();

Q_SIGNALS:
    void changed();

private:
    CommandID id_;
    Act act_;
    QString title_;
    bool enabled_ = false;
    bool actsByKey_ = false;
};

/// The commands of one window, each by its name, and all of them for keys and help. Their objects are the window's, and
/// no engine's. The main thread.
class WindowCommands final : public QObject {
    Q_OBJECT
    Q_PROPERTY(int count READ count CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* newProject READ newProject CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* importProject READ importProject CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* editWithAI READ editWithAI CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* importVideos READ importVideos CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* saveProject READ saveProject CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* saveProjectAs READ saveProjectAs CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* exportVideo READ exportVideo CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* closeWindow READ closeWindow CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* quit READ quit CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* undo READ undo CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* redo READ redo CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* deleteSelected READ deleteSelected CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* showProjects READ showProjects CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* toggleInspector READ toggleInspector CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* zoomIn READ zoomIn CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* zoomOut READ zoomOut CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* resetZoom READ resetZoom CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* split READ split CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* moveEarlier READ moveEarlier CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* moveLater READ moveLater CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* keyboardShortcuts READ keyboardShortcuts CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* sampleProject READ sampleProject CONSTANT)
    Q_PROPERTY(kelvane::WindowCommand* about READ about CONSTANT)

public:
    explicit WindowCommands(const WindowCommand::Act& act);

    [[nodiscard]] WindowCommand* command(CommandID id) const { return commands_[static_cast<std::size_t>(id)].get(); }
    [[nodiscard]] int count() const { return static_cast<int>(commands_.size()); }
    /// In the order of the table.
    Q_INVOKABLE kelvane::WindowCommand* at(int index) const {
        return commands_.at(static_cast<std::size_t>(index)).get();
    }
    [[nodiscard]] WindowCommand* newProject() const { return command(CommandID::newProject); }
    [[nodiscard]] WindowCommand* importProject() const { return command(CommandID::importProject); }
    [[nodiscard]] WindowCommand* editWithAI() const { return command(CommandID::editWithAI); }
    [[nodiscard]] WindowCommand* importVideos() const { return command(CommandID::importVideos); }
    [[nodiscard]] WindowCommand* saveProject() const { return command(CommandID::saveProject); }
    [[nodiscard]] WindowCommand* saveProjectAs() const { return command(CommandID::saveProjectAs); }
    [[nodiscard]] WindowCommand* exportVideo() const { return command(CommandID::exportVideo); }
    [[nodiscard]] WindowCommand* closeWindow() const { return command(CommandID::closeWindow); }
    [[nodiscard]] WindowCommand* quit() const { return command(CommandID::quit); }
    [[nodiscard]] WindowCommand* undo() const { return command(CommandID::undo); }
    [[nodiscard]] WindowCommand* redo() const { return command(CommandID::redo); }
    [[nodiscard]] WindowCommand* deleteSelected() const { return command(CommandID::deleteSelected); }
    [[nodiscard]] WindowCommand* showProjects() const { return command(CommandID::showProjects); }
    [[nodiscard]] WindowCommand* toggleInspector() const { return command(CommandID::toggleInspector); }
    [[nodiscard]] WindowCommand* zoomIn() const { return command(CommandID::zoomIn); }
    [[nodiscard]] WindowCommand* zoomOut() const { return command(CommandID::zoomOut); }
    [[nodiscard]] WindowCommand* resetZoom() const { return command(CommandID::resetZoom); }
    [[nodiscard]] WindowCommand* split() const { return command(CommandID::split); }
    [[nodiscard]] WindowCommand* moveEarlier() const { return command(CommandID::moveEarlier); }
    [[nodiscard]] WindowCommand* moveLater() const { return command(CommandID::moveLater); }
    [[nodiscard]] WindowCommand* keyboardShortcuts() const { return command(CommandID::keyboardShortcuts); }
    [[nodiscard]] WindowCommand* sampleProject() const { return command(CommandID::sampleProject); }
    [[nodiscard]] WindowCommand* about() const { return command(CommandID::about); }

    void refresh(const CommandState& state);

private:
    std::vector<std::unique_ptr<WindowCommand>> commands_;
    CommandState state_;
};

}  // namespace kelvane
