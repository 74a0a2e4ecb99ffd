#pragma once

#include <QObject>
#include <QString>
#include <array>
#include <chrono>
#include <memory>
#include <vector>

#include "Editor/Editor.h"
#include "Platform/MainContext.h"
#include "Views/Timeline/TimelineView.h"
#include "Windows/Workspace.h"

namespace kelvane {

/// What an assistant's edit made of a timeline, for people: "Assistant changed 2 clips", or "added" and "removed" where
/// it did nothing else; empty where no clip is another.
QString assistantEditText(const std::vector<Clip>& before, const std::vector<Clip>& after);

/// Tells of an assistant's edit in a window for six seconds, during which it can be undone; held while somebody points
/// at it or is there by the keyboard. It tells of the last one alone, and ends as soon as another edit stands on top of
/// the history, so that its "Undo" takes back what it tells of or nothing. Draws nothing. The main thread.
class AssistantToast final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool shown READ shown NOTIFY changed)
    /// Stays while it goes.
    Q_PROPERTY(QString text READ text NOTIFY changed)
    Q_PROPERTY(bool canUndo READ canUndo NOTIFY changed)
    Q_PROPERTY(bool held READ held WRITE setHeld NOTIFY heldChanged)

public:
    static constexpr std::chrono::milliseconds stay{6000};
    /// What is left at least when it is let go of.
    static constexpr std::chrono::milliseconds shortestRest{1000};

    /// A gesture on `timeline` is ended before something is undone.
    AssistantToast(std::shared_ptr<Workspace> workspace, MainContext& context, TimelineView& timeline);

    [[nodiscard]] bool shown() const { return isShown_; }
    [[nodiscard]] const QString& text() const { return text_; }
    /// Whether the edit can be taken back now: not while the project is busy.
    [[nodiscard]] bool canUndo() const;
    [[nodiscard]] bool held() const { return isHeld_; }
    void setHeld(bool held);
    /// Takes the edit back; one that was itself an undo is done again. Nothing where it isn't the last one any more.
    Q_INVOKABLE void undo();
    Q_INVOKABLE void close();

Q_SIGNALS:
    void changed();
    void heldChanged();

private:
    /// How the edit is taken back.
    enum class Way : std::uint8_t { none, undo, redo };

    void followEditor();
    void take(const ClipArray& before);
    void followContent();
    [[nodiscard]] Way way() const;
    void wait();

    std::shared_ptr<Workspace> workspace_;
    MainContext& context_;
    TimelineView& timeline_;
    std::array<QMetaObject::Connection, 3> connections_;
    bool isShown_ = false;
    bool isHeld_ = false;
    QString text_;
    /// Around the edit.
    ClipArray before_;
    ClipArray after_;
    /// How much of its time was left when that began to run.
    std::chrono::nanoseconds rest_{0};
    std::chrono::nanoseconds begun_{0};
    Timer timer_;
};

}  // namespace kelvane
