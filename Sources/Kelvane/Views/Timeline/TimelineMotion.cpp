#include "TimelineMotion.h"

#include <cmath>

namespace kelvane {

namespace {

// Of the response and the damping fraction: the frequency is 2π / 0.28, its damped part √(1 − 0.85²) of that.
constexpr double decay = 19.07;
constexpr double frequency = 11.82;
constexpr double lean = 1.613;
/// Points of a way that nobody sees.
constexpr double unseen = 0.01;

double seconds(TimelineMotion::Time time) { return std::chrono::duration<double>(time).count(); }

}  // namespace

double springRest(double seconds) {
    if (seconds <= 0) return 1;
    if (seconds >= springLength) return 0;
    return std::exp(-decay * seconds) * (std::cos(frequency * seconds) + lean * std::sin(frequency * seconds));
}

void TimelineMotion::begin(Time now, bool travels) {
    now_ = now;
    travels_ = travels;
    isMoving_ = false;
    ++drawing_;
}

QPointF TimelineMotion::left(const Known& known) const { return known.away * springRest(seconds(now_ - known.begun)); }

QRectF TimelineMotion::shown(const UUID& id, const QRectF& frame) {
    const auto [entry, isNew] = clips_.try_emplace(id, Known{.frame = frame});
    Known& known = entry->second;
    known.drawing = drawing_;
    const QPointF moved = known.frame.topLeft() - frame.topLeft();
    if (!travels_) {
        known.away = {};
    } else if (!isNew && moved.manhattanLength() > unseen) {
        known.away = left(known) + moved;
        known.begun = now_;
    }
    known.frame = frame;
    if (known.away.isNull()) return frame;
    const QPointF rest = left(known);
    if (rest.isNull())
        known.away = {};
    else
        isMoving_ = true;
    return frame.translated(rest);
}

QRectF TimelineMotion::held(const UUID& id, const QRectF& frame) {
    clips_[id] = {.frame = frame, .away = {}, .begun = {}, .drawing = drawing_};
    return frame;
}

bool TimelineMotion::end() {
    std::erase_if(clips_, [this](const auto& entry) { return entry.second.drawing != drawing_; });
    return isMoving_;
}

}  // namespace kelvane
