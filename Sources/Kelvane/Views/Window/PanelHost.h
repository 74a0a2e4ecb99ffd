#pragma once

#include <QObject>
#include <QPointer>
#include <QQmlEngine>
#include <QQuickWindow>
#include <memory>

#include "FileBrowser.h"
#include "Platform/PortalChooser.h"
#include "WindowPanels.h"

namespace kelvane {

/// Asks questions in one window. The window in front takes a question up, and keeps it when it loses the focus; a
/// question whose window closes is cancelled, and so is one whose panel can't be made, which is told. Which files is
/// asked by the desktop's own chooser where there is one, else by a panel. The main thread.
class PanelHost final : public QObject {
    Q_OBJECT

public:
    /// All outlive this object.
    PanelHost(WindowPanels& panels, QQmlEngine& engine, QQuickWindow& window);
    ~PanelHost() override;

    /// The panel that is open, an object with "close" and "visible"; null when there is none.
    [[nodiscard]] QObject* panel() const { return panel_.get(); }

private:
    struct DeleteLater {
        // A panel's own signal may be on the stack.
        void operator()(QObject* panel) const { panel->deleteLater(); }
    };
    using Panel = std::unique_ptr<QObject, DeleteLater>;

    /// Takes the question up whose turn it is, if this is the window for it.
    void follow();
    /// Closes the panel or the desktop's chooser whose question is answered.
    void dropPanel();
    /// Has the desktop ask; false where it has nothing to ask with.
    bool askDesktop(ChooserQuestion& question);
    void hearDesktop(const ChooserOutcome& outcome);
    /// Asks by a panel of this window.
    void show(PanelQuestion& question);
    /// Makes the panel of a question and opens it. Why it can't be done, without a full stop, in `error`.
    Panel open(PanelQuestion& question, QString& error) const;
    /// What our own chooser does; null for a question of another kind.
    [[nodiscard]] std::unique_ptr<FileBrowser> browserFor(PanelQuestion& question) const;

    WindowPanels& panels_;
    QQmlEngine& engine_;
    QQuickWindow& window_;
    QPointer<PanelQuestion> question_;
    Panel panel_;
    std::unique_ptr<PortalChooser, DeleteLater> chooser_;
    /// The focus has left the window since the desktop was asked.
    bool hasLostFocus_ = false;
};

/// Makes the types of the window's properties known to QML, as module "Kelvane". Once, before a window is made.
void registerWindowTypes();

}  // namespace kelvane
