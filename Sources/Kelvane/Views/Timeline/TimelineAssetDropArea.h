#pragma once

#include <QDropEvent>
#include <QObject>
#include <optional>

#include "TimelineAssetDrop.h"
#include "TimelineView.h"

namespace kelvane {

/// Takes the drag events of the surface that shows a timeline, whose points are those of the viewport: shows by the
/// view where assets would land, and inserts them. Other drags, files among them, are left to whoever is below. The
/// main thread.
class TimelineAssetDropArea final : public QObject {
    Q_OBJECT

public:
    /// `view` outlives it.
    explicit TimelineAssetDropArea(TimelineView& view);

    void enter(QDragEnterEvent& event);
    void move(QDragMoveEvent& event);
    void leave();
    void drop(QDropEvent& event);

    [[nodiscard]] const TimelineAssetDropTarget& target() const { return target_; }

private:
    /// Nothing on the projects home.
    [[nodiscard]] std::optional<TimelineAssetDropDelegate> delegate();
    [[nodiscard]] TimelineDrag dragOf(const QDropEvent& event) const;
    /// Has the view show what there is of a drag.
    void show();

    TimelineView& view_;
    TimelineAssetDropTarget target_;
};

}  // namespace kelvane
