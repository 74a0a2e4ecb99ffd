#pragma once

#include <map>
#include <memory>
#include <set>

#include "ItemAccessible.h"
#include "TimelineNodes.h"
#include "Views/Timeline/TimelineSurface.h"

namespace kelvane {

class TimelineNodeAccessible;

/// What a reader of the screen is told of a timeline: the panel of its viewport, and below it what is drawn there. The
/// interfaces of these are made when somebody asks for them, and go when what they stand for does; without a reader a
/// timeline of any length costs nothing. The main thread.
class TimelineAccessible final : public ItemAccessible {
public:
    explicit TimelineAccessible(TimelineSurface& surface);
    ~TimelineAccessible() override;

    [[nodiscard]] QAccessibleInterface* child(int index) const override;
    [[nodiscard]] int childCount() const override;
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* child) const override;
    [[nodiscard]] QAccessibleInterface* childAt(int x, int y) const override;
    /// The primary clip while the keyboard acts on the timeline.
    [[nodiscard]] QAccessibleInterface* focusChild() const override;

    [[nodiscard]] const TimelineNodes& nodes() const { return nodes_; }
    [[nodiscard]] TimelineSurface& surface() const { return surface_; }
    /// The interface of a node, which is made if there is none; null for a node that isn't there.
    QAccessibleInterface* interfaceOf(const TimelineNode& node) const;
    /// How many there are.
    [[nodiscard]] std::size_t interfaceCount() const { return ids_.size(); }

private:
    void followView();
    void followContent();
    void followSelection();
    void followGesture();
    void followPosition();
    void followFocus();
    /// What is told once nothing moves any more: the playhead's place, and which clips have come into sight or gone.
    void tellRest();
    void tellLength();
    /// Those drawn for a gesture or a hover.
    [[nodiscard]] std::set<TimelineNode> marks() const;
    void learnClips() const;
    void forget(const TimelineNode& node);
    /// Those of the kind that aren't there any more.
    void forgetGone(TimelineNode::Kind kind);
    void forgetTicks();
    void forgetAll();
    void tell(const TimelineNode& node, QAccessible::Event event) const;
    void tellContent(const std::map<UUID, double>& before);
    [[nodiscard]] std::set<UUID> selected() const;

    TimelineSurface& surface_;
    TimelineNodes nodes_;
    /// Qt's records of interfaces, by what they stand for.
    mutable std::map<TimelineNode, QAccessible::Id> ids_;
    /// Ends the connections with this object, and those to the view with it.
    QObject self_;
    std::unique_ptr<QObject> listener_;
    /// Runs while the playhead may go on.
    Timer rest_;

    // As told last.
    mutable std::set<UUID> selected_;
    std::optional<UUID> primary_;
    std::set<TimelineNode> marks_;
    QString length_;
    double position_ = -1;
    /// Of the clips that have an interface, those that were scrolled out.
    mutable std::set<UUID> outOfSight_;
    /// The clips that the reader knows, with their volumes; none before it asks for them.
    mutable std::map<UUID, double> known_;
};

}  // namespace kelvane
