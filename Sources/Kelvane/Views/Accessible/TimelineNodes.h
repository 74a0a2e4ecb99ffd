#pragma once

#include <QPointer>
#include <QQuickItem>
#include <QRectF>
#include <QString>
#include <compare>
#include <cstdint>
#include <optional>
#include <vector>

#include "Views/Timeline/TimelineView.h"

namespace kelvane {

/// What stands in the accessible tree for one thing that is drawn on a timeline.
struct TimelineNode {
    enum class Kind : std::uint8_t {
        ruler,
        tick,
        playhead,
        /// The rows, one of them, a clip and its length.
        rows,
        row,
        clip,
        length,
        /// What stands on a track without clips.
        hint,
        insertion,
        snap,
        marquee,
    };
    Kind kind = Kind::ruler;
    /// Which tick, counted in intervals from 0, or which row, counted from the video track.
    std::int64_t number = 0;
    /// Of a clip or of its length.
    UUID clip;

    auto operator<=>(const TimelineNode&) const = default;
};

/// Which nodes a timeline has that is drawn on `surface`, in the order in which they are read, and where they are
/// drawn. Answers for the view as it is; the order of clips is worked out when it is first asked for after a change.
/// The main thread.
class TimelineNodes {
public:
    explicit TimelineNodes(const QQuickItem& surface) : surface_(surface) {}

    /// Without a view there is nothing.
    void setView(TimelineView* view);
    [[nodiscard]] TimelineView* view() const { return view_; }
    /// The clips are others, or stand elsewhere.
    void contentChanged() { rows_.reset(); }

    /// Directly below the viewport.
    [[nodiscard]] std::vector<TimelineNode> top() const;
    [[nodiscard]] int childCount(const TimelineNode& node) const;
    [[nodiscard]] std::optional<TimelineNode> child(const TimelineNode& node, int index) const;
    /// Its place among the children of the node above it; -1 for one that isn't there (any more).
    [[nodiscard]] int indexOf(const TimelineNode& node) const;
    /// The node above it; nothing directly below the viewport.
    [[nodiscard]] std::optional<TimelineNode> parent(const TimelineNode& node) const;
    [[nodiscard]] bool exists(const TimelineNode& node) const { return indexOf(node) >= 0; }

    /// Where it is drawn, in points of the viewport.
    [[nodiscard]] QRectF frame(const TimelineNode& node) const;
    /// Whether any of it can be seen.
    [[nodiscard]] bool isInSight(const TimelineNode& node) const;
    [[nodiscard]] QString name(const TimelineNode& node) const;
    /// The clip of a clip's node; null where it is gone.
    [[nodiscard]] const Clip* clip(const TimelineNode& node) const;

private:
    struct Rows {
        /// For each row the indices of its clips, in the order of the array.
        std::vector<std::vector<std::size_t>> clips;
        /// For each clip its place in its row.
        std::vector<int> places;
    };
    const Rows& rows() const;
    [[nodiscard]] std::size_t rowOf(std::size_t index) const;
    /// The first tick whose label can be seen and the one behind the last.
    [[nodiscard]] std::pair<std::int64_t, std::int64_t> ticks() const;
    /// The content at the viewport's upper left corner; drawings begin on whole pixels.
    [[nodiscard]] QPointF origin() const;
    [[nodiscard]] QRectF inViewport(const QRectF& content) const;
    [[nodiscard]] QRectF frameOfTick(const TimelineNode& tick) const;
    [[nodiscard]] QRectF frameOfRow(std::size_t row) const;
    [[nodiscard]] QRectF frameOfClip(const UUID& clip) const;
    /// Empty where the length isn't shown.
    [[nodiscard]] QRectF frameOfLength(const UUID& clip) const;

    const QQuickItem& surface_;
    QPointer<TimelineView> view_;
    mutable std::optional<Rows> rows_;
};

}  // namespace kelvane
