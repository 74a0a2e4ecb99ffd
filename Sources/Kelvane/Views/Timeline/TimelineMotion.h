#pragma once

#include <QRectF>
#include <chrono>
#include <unordered_map>

#include "Support/UUID.h"

namespace kelvane {

/// What is left of a spring's way at a time behind its start: 1 at first, 0 from `springLength` on. Its response is
/// 0.28 s and its damping fraction 0.85, so that it swings a little beyond its end. Any thread.
double springRest(double seconds);
/// When the spring counts as settled, seconds.
inline constexpr double springLength = 0.35;

/// Lets clips travel from where they were drawn to where they stand now. Only clips that are drawn are known, so that
/// what is out of sight costs nothing. One thread.
class TimelineMotion {
public:
    using Time = std::chrono::nanoseconds;

    /// Begins a drawing at `now`. Without `travels` clips stand at once where they belong, as while the scale changes
    /// or a hand holds what moves them.
    void begin(Time now, bool travels);
    /// Where a clip is drawn that belongs to `frame`, in content coordinates: on its way there when it was drawn
    /// elsewhere before.
    QRectF shown(const UUID& id, const QRectF& frame);
    /// The same of a clip that follows a hand: at its place, from where it travels once it is let go of.
    QRectF held(const UUID& id, const QRectF& frame);
    /// Ends the drawing and forgets the clips that weren't drawn; whether any is on its way.
    bool end();
    void clear() { clips_.clear(); }

private:
    struct Known {
        QRectF frame;
        /// From `frame` to where it was drawn when it began to travel.
        QPointF away;
        Time begun{0};
        unsigned int drawing = 0;
    };
    [[nodiscard]] QPointF left(const Known& known) const;

    std::unordered_map<UUID, Known> clips_;
    Time now_{0};
    bool travels_ = false;
    bool isMoving_ = false;
    unsigned int drawing_ = 0;
};

}  // namespace kelvane
