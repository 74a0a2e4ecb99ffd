#pragma once

#include <QObject>
#include <QString>
#include <array>
#include <memory>
#include <optional>
#include <vector>

#include "Editor/Editor.h"
#include "InspectorRow.h"
#include "Windows/Workspace.h"

namespace kelvane {

class TimelineView;

/// What the inspector of one window shows of the selected clip and what a person changes there; draws nothing. Changes
/// take effect at once; those of one drag, or of one run of key presses, are one step of history. The main thread.
class InspectorView final : public QObject {
    Q_OBJECT
    /// Whether exactly one clip is selected, whose rows are shown; else a notice is.
    Q_PROPERTY(bool hasClip READ hasClip NOTIFY clipChanged)
    Q_PROPERTY(QString noticeTitle READ noticeTitle NOTIFY clipChanged)
    Q_PROPERTY(QString noticeText READ noticeText NOTIFY clipChanged)
    Q_PROPERTY(QString noticeSymbol READ noticeSymbol NOTIFY clipChanged)
    /// Sound has a place in time and no frame.
    Q_PROPERTY(bool audio READ audio NOTIFY clipChanged)
    Q_PROPERTY(bool enabled READ enabled NOTIFY enabledChanged)
    Q_PROPERTY(QString duration READ duration NOTIFY valuesChanged)
    Q_PROPERTY(bool muted READ muted NOTIFY valuesChanged)
    Q_PROPERTY(QString muteLabel READ muteLabel NOTIFY valuesChanged)
    Q_PROPERTY(kelvane::InspectorRow* start READ start CONSTANT)
    Q_PROPERTY(kelvane::InspectorRow* end READ end CONSTANT)
    Q_PROPERTY(kelvane::InspectorRow* zoom READ zoom CONSTANT)
    Q_PROPERTY(kelvane::InspectorRow* horizontal READ horizontal CONSTANT)
    Q_PROPERTY(kelvane::InspectorRow* vertical READ vertical CONSTANT)
    Q_PROPERTY(kelvane::InspectorRow* position READ position CONSTANT)
    Q_PROPERTY(kelvane::InspectorRow* volume READ volume CONSTANT)

public:
    explicit InspectorView(std::shared_ptr<Workspace> workspace);
    ~InspectorView() override;

    /// Ends its own edit where the timeline begins one, or where a command is about to change the project.
    void follow(TimelineView& timeline);

    [[nodiscard]] bool hasClip() const { return clip_.has_value(); }
    [[nodiscard]] QString noticeTitle() const;
    [[nodiscard]] QString noticeText() const;
    [[nodiscard]] QString noticeSymbol() const;
    [[nodiscard]] bool audio() const { return clip_ && clip_->isAudio(); }
    [[nodiscard]] bool enabled() const;
    [[nodiscard]] QString duration() const;
    [[nodiscard]] bool muted() const { return clip_ && clip_->volume == 0; }
    [[nodiscard]] QString muteLabel() const { return muted() ? tr("Unmute") : tr("Mute"); }
    [[nodiscard]] InspectorRow* start() { return &rows_[0]; }
    [[nodiscard]] InspectorRow* end() { return &rows_[1]; }
    [[nodiscard]] InspectorRow* zoom() { return &rows_[2]; }
    [[nodiscard]] InspectorRow* horizontal() { return &rows_[3]; }
    [[nodiscard]] InspectorRow* vertical() { return &rows_[4]; }
    [[nodiscard]] InspectorRow* position() { return &rows_[5]; }
    [[nodiscard]] InspectorRow* volume() { return &rows_[6]; }

    /// Fills the frame again, from its middle, in one step of history.
    Q_INVOKABLE void resetFrame();
    /// Without sound, or with all of it again; one step of history.
    Q_INVOKABLE void toggleMute();
    /// Ends the drag or the run of key presses under way, which is one step of history then.
    Q_INVOKABLE void endEditing();
    /// Takes the run of key presses under way back, before it counts as a step; whether there was one.
    Q_INVOKABLE bool undoRun();

    // For the rows.
    /// Whether a hand may change anything now.
    bool beginDrag();
    /// Whether a drag or a run is under way.
    [[nodiscard]] bool isEditing() const { return !editing_.expired(); }
    /// Sets a field of the clip; nothing where the clip is gone, and for what it can't have.
    void change(InspectorField field, double value);
    /// The same as one step with those that `origins` were before, the latest first.
    void changeFrom(const std::vector<ClipArray>& origins, InspectorField field, double value);
    /// What the timeline holds now; null on the projects home.
    [[nodiscard]] ClipArray clips() const;
    /// Sets a field as part of a run, which ends half a second behind its last change.
    void changeInRun(InspectorField field, double value);
    /// Shows what is there now, where it is another.
    void refresh();

Q_SIGNALS:
    /// Another clip is shown, or none.
    void clipChanged();
    void valuesChanged();
    void enabledChanged();
    /// What is to be seen at the playhead has changed, and will again.
    void drafted();

private:
    void followEditor();
    void followWork();
    /// Begins an edit unless one of somebody else's is under way.
    bool beginEditing();
    [[nodiscard]] const Clip* present() const;

    std::shared_ptr<Workspace> workspace_;
    std::array<QMetaObject::Connection, 3> connections_;
    std::array<InspectorRow, 7> rows_;
    /// The selected clip as it is, or was before it went.
    std::optional<Clip> clip_;
    std::size_t selectedCount_ = 0;
    bool enabled_ = false;
    /// The project in which an edit of the inspector's own is under way.
    std::weak_ptr<Editor> editing_;
    /// Ends a run of key presses.
    Timer run_;
    bool isRun_ = false;
};

}  // namespace kelvane
