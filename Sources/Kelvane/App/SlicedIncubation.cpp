#include "SlicedIncubation.h"

#include <QTimerEvent>

namespace kelvane {

namespace {
/// A third of a frame's time, and what stays of it for the frame, in milliseconds.
constexpr int slice = 5;
constexpr int pause = 11;
}  // namespace

void SlicedIncubation::incubatingObjectCountChanged(int count) {
    if (count == 0)
        timer_.stop();
    else if (!timer_.isActive())
        timer_.start(pause, this);
}

void SlicedIncubation::timerEvent(QTimerEvent* event) {
    if (event->timerId() == timer_.timerId()) incubateFor(slice);
}

}  // namespace kelvane
