#include "PlaybackClock.h"

#include <algorithm>
#include <cmath>

namespace kelvane {

namespace {
/// Of each second: twice the distance brings it down to an eighth within one, which a jitter of a few milliseconds
/// moves by less than a hundredth; a tenth, a frame of 33 ms taking 37, isn't seen.
constexpr double eagerness = 2;
constexpr double greatestPace = 0.1;
}  // namespace

void PlaybackClock::stand(Time position) {
    *this = {};
    position_ = position;
}

void PlaybackClock::run(Time position, Time at) {
    stand(position);
    at_ = at;
    runs_ = true;
}

PlaybackClock::Time PlaybackClock::at(Time now) const {
    if (!runs_ || now <= at_) return position_;
    const Time passed = now - at_;
    const double most =
        std::min(std::abs(static_cast<double>(correction_.count())), pace_ * static_cast<double>(passed.count()));
    const auto moved = static_cast<Time::rep>(most);
    return position_ + passed + Time(correction_ < Time(0) ? -moved : moved);
}

PlaybackClock::Time PlaybackClock::follow(Time heard, Time at, Time now) {
    goFreely(now);
    correction_ = heard + (now - at) - position_;
    pace_ = std::min(std::abs(std::chrono::duration<double>(correction_).count()) * eagerness, greatestPace);
    return correction_;
}

void PlaybackClock::goFreely(Time now) {
    position_ = this->at(now);
    at_ = std::max(at_, now);
    correction_ = Time(0);
    pace_ = 0;
}

}  // namespace kelvane
