#pragma once

#include <QObject>
#include <QPointer>
#include <QQuickItem>
#include <QString>
#include <array>
#include <memory>
#include <optional>
#include <vector>

#include "Editor/Editor.h"
#include "Views/Timeline/TimelineView.h"
#include "Views/Window/ProjectWindowView.h"
#include "Windows/Workspace.h"

namespace kelvane {

/// The sentence for what an edit made of a timeline, for who doesn't see it: "Split. 7 clips.", "2 clips deleted.",
/// "Moved to position 3 of 6."; empty for other changes. `moved` is the clip that a move is told of, counted among the
/// video clips.
QString announcementOf(const std::vector<Clip>& before, const std::vector<Clip>& after,
                       const std::optional<UUID>& moved);

/// Says what happens in a window's project where only the eye would notice it. The main thread.
class Announcer final : public QObject {
    Q_OBJECT

public:
    enum class Manner : std::uint8_t { polite, assertive };

    explicit Announcer(std::shared_ptr<Workspace> workspace);

    /// What was said last; empty where it was of something that lasts no longer.
    [[nodiscard]] const QString& text() const { return text_; }
    /// Nothing for an empty text.
    void say(const QString& text, Manner manner = Manner::polite);
    /// Takes back what was said last if that is this text, so that nobody reads it as if it were so still.
    void takeBack(const QString& text);
    /// Says what the drags of this timeline snap to; with null, of none.
    void follow(TimelineView* timeline);

Q_SIGNALS:
    void said(const QString& text, kelvane::Announcer::Manner manner);
    void tookBack();

private:
    void followEditor();
    void followContent();
    /// An assistant has changed the timeline, which held `before`.
    void noteAssistant(const ClipArray& before);
    void followWork();
    void followRecording(const Editor& editor);
    void followExport(const Editor& editor);
    void followSnap();
    /// What is compared with at the next change.
    void remember();

    std::shared_ptr<Workspace> workspace_;
    std::array<QMetaObject::Connection, 3> connections_;
    QMetaObject::Connection snaps_;
    QPointer<TimelineView> timeline_;
    QString text_;

    ClipArray clips_;
    ClipArray undone_;
    std::size_t undoable_ = 0;
    std::size_t redoable_ = 0;
    std::size_t assets_ = 0;
    /// Quarters of the running export.
    int exported_ = 0;
    bool isImporting_ = false;
    bool isRecording_ = false;
    bool saveFailed_ = false;
    std::optional<int> countdown_;
    std::optional<double> snapped_;
    /// What an assistant did since content was announced last.
    QString assistantText_;
};

/// The label that stands in the accessible tree for what was said last, and tells of each sentence, also of one that is
/// said twice. Nobody sees it. The main thread.
class AnnouncementLabel : public QQuickItem {
    Q_OBJECT
    Q_PROPERTY(QString text READ text NOTIFY textChanged)
    /// The window whose project is told of.
    Q_PROPERTY(kelvane::ProjectWindowView* view READ view WRITE setView NOTIFY viewChanged)

public:
    explicit AnnouncementLabel(QQuickItem* parent = nullptr);

    [[nodiscard]] QString text() const { return announcer_ ? announcer_->text() : QString(); }
    [[nodiscard]] ProjectWindowView* view() const { return view_; }
    void setView(ProjectWindowView* view);
    /// Null before there is a window.
    [[nodiscard]] Announcer* announcer() const { return announcer_.get(); }

Q_SIGNALS:
    void textChanged();
    void viewChanged();

private:
    void tell(const QString& text, Announcer::Manner manner);

    std::unique_ptr<Announcer> announcer_;
    QPointer<ProjectWindowView> view_;
};

}  // namespace kelvane
