#pragma once

#include <chrono>
#include <optional>

#include "ClipDrawing.h"
#include "Views/Timeline/TimelineChanges.h"
#include "Views/Timeline/TimelineMotion.h"
#include "Views/Timeline/TimelineRows.h"
#include "Views/Timeline/TimelineView.h"

namespace kelvane {

/// Paints the timeline's viewport from what a TimelineView says, with what only the eye needs: clips that travel to
/// their places, a length that comes up. What is out of sight costs nothing. The main thread.
class TimelinePainter {
public:
    using Time = std::chrono::nanoseconds;

    /// `changed` is called when something has come that is drawn differently from now on.
    explicit TimelinePainter(std::function<void()> changed) : clips_(std::move(changed)) {}

    /// The clip whose length is shown; none without one.
    static std::optional<UUID> measuredClip(const TimelineView& view);
    /// Whether a trim works on a clip's end, where the length then stands.
    static bool trimsEnd(const TimelineView& view);

    /// What isn't the view's to say.
    struct Surroundings {
        const TimelineTiles* tiles = nullptr;
        AudioWaveformCache* waveforms = nullptr;
        /// Of the viewport, points.
        QSizeF size;
        double ratio = 1;
        /// Time on a clock that goes on.
        Time now{0};
        bool reducedMotion = false;
        /// The keyboard acts on the timeline, and a person works by it.
        bool hasKeyboard = false;
        /// How far the bar beside the lanes has come up, 0 to 1.
        double scrollBar = 0;
        bool isScrollBarHovered = false;
    };

    /// Clips are others, or stand elsewhere.
    void contentChanged() { areRowsOld_ = true; }
    /// Another project is shown: nothing travels from where the former one's clips stood.
    void projectChanged();
    /// An assistant has done this: what it added fades in, and that and what it changed is marked for a second.
    void highlight(const ClipChanges& changes, Time now);

    /// Paints all of `image`, whose pixels are those of the device. Whether something moves, so that another painting
    /// is due.
    bool paint(QImage& image, const TimelineView& view, const Surroundings& around);
    /// The tiles that were in sight.
    [[nodiscard]] const std::vector<TileRequest>& tilesInSight() const { return tiles_; }

private:
    void paintClips(const TimelineDrawing& drawing, const TimelineView& view, const Surroundings& around);
    void paintGhost(const TimelineDrawing& drawing, const TimelineView& view, std::size_t index);
    void paintMarks(const TimelineDrawing& drawing, const TimelineView& view, const Surroundings& around) const;
    [[nodiscard]] ClipLook lookOf(const TimelineView& view, const Clip& clip, const Surroundings& around) const;
    /// How far the length of the hovered clip has come up.
    [[nodiscard]] double lengthShown(const UUID& clip, const Surroundings& around) const;
    [[nodiscard]] double highlightOf(const UUID& clip, const Surroundings& around) const;
    /// How far a new clip has come up.
    [[nodiscard]] double arrivalOf(const UUID& clip, const Surroundings& around) const;
    void followHover(const TimelineView& view, const Surroundings& around);

    ClipDrawing clips_;
    TimelineMotion motion_;
    TimelineRows rows_;
    bool areRowsOld_ = true;
    double pointsPerSecond_ = 0;
    std::vector<TileRequest> tiles_;
    struct Mark {
        UUID clip;
        Time since{0};
        bool isNew = false;
    };
    /// The clip whose length is shown.
    std::optional<Mark> measured_;
    std::vector<Mark> highlights_;
};

}  // namespace kelvane
