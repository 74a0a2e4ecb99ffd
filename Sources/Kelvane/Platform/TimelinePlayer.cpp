#include "TimelinePlayer.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kelvane {

namespace {

using namespace std::chrono_literals;

/// A position that stays so long may be played from next.
constexpr auto stay = 100ms;
/// How long play waits for the first sound of a device whose latency isn't known to be longer.
constexpr auto ordinaryHold = 150ms;
/// What a device that was slower once may take longer the next time.
constexpr auto slack = 50ms;
/// How often the first sound is asked for.
constexpr auto holdStep = 5ms;
/// The clock follows the sound at least so often.
constexpr auto longestStep = 33ms;
/// Sound that is further from the clock than that is started anew at the clock's place, at most once a second.
constexpr auto farFromSound = 100ms;
constexpr auto restartPause = 1s;

double secondsOf(std::chrono::nanoseconds time) { return std::chrono::duration<double>(time).count(); }

std::chrono::nanoseconds timeOf(double seconds) {
    return std::chrono::nanoseconds(std::llround(seconds * std::nano::den));
}

/// The last moment of the compositions' clock that a position has reached, which may fall short of it by less than a
/// microsecond, as floating point does.
MediaTime momentOf(std::chrono::nanoseconds position) {
    return MediaTime{(position + 1us).count(), std::nano::den}.floored(compositionTimescale);
}

}  // namespace

TimelinePlayer::TimelinePlayer(PlayerServices services)
    : context_(services.context),
      pictures_(*services.context, std::move(services.makePictureStream)),
      sound_(*services.context, std::move(services.output), std::move(services.makeSoundStream)) {
    pictures_.onAnswer = [this] { tick(); };
    sound_.onAvailability = [this](bool isAvailable) { soundCameOrWent(isAvailable); };
}

void TimelinePlayer::replaceItem(EditedMediaPtr item) {
    context_->checkMainThread();
    halt();
    item_ = std::move(item);
    seconds_ = 0;
    sound_.setItem(item_);
    pictures_.setItem(item_);
    tellLater();
    pictures_.announce();
}

void TimelinePlayer::play() {
    context_->checkMainThread();
    if (plays_) return;
    // Who takes it to play now is told better.
    if (!item_) return tellLater();
    if (timeOf(seconds_) >= pictures_.grid().end()) {
        auto end = [this, item = item_, life = std::weak_ptr(life_)] {
            if (!life.expired() && !plays_ && item == item_) tellEnd(item);
        };
        return context_->post(std::move(end));
    }
    plays_ = true;
    pictures_.play(timeOf(seconds_));
    startClock();
    tellLater();
    armTick(at());
}

void TimelinePlayer::startClock() {
    const Time position = timeOf(seconds_);
    const Time now = context_->now();
    nextTold_ = position + interval_;
    restartedAt_.reset();
    // Nobody waits for what nobody hears.
    if (sound_.begin(position) && !sound_.isMuted()) {
        heldUntil_ = now + std::max<Time>(ordinaryHold, sound_.latency() + slack);
        clock_.stand(position);
    } else {
        heldUntil_.reset();
        clock_.run(position, now);
    }
}

void TimelinePlayer::pause() {
    context_->checkMainThread();
    if (!plays_) return;
    // Silence first: the rest takes its time.
    const Time position = std::min(at(), pictures_.grid().end());
    sound_.end();
    // Whoever rounds a position between two moments could come to the next frame.
    seconds_ = momentOf(position).seconds();
    pictures_.advance(position, true);
    halt();
    pictures_.rest(position);
    prepareSoundSoon();
    tellLater();
    pictures_.announce();
}

void TimelinePlayer::halt() {
    plays_ = false;
    sound_.end();
    tick_.cancel();
    prepareSound_.cancel();
    heldUntil_.reset();
}

void TimelinePlayer::prepareSoundSoon() {
    prepareSound_ = context_->after(stay, [this] {
        if (!plays_) sound_.prepare(timeOf(seconds_));
    });
}

void TimelinePlayer::seek(double seconds) {
    context_->checkMainThread();
    const FrameGrid& grid = pictures_.grid();
    if (!item_ || std::isnan(seconds)) return;
    seconds_ = std::clamp(seconds, 0.0, grid.duration.seconds());
    tellLater();
    if (plays_)
        startClock();
    else
        prepareSoundSoon();
    if (grid.count() == 0) return;
    // At the end the last frame stays.
    const MediaTime moment = MediaTime::fromSeconds(seconds_);
    pictures_.seek(moment < grid.duration ? moment : grid.time(grid.count() - 1));
    if (plays_) armTick(at());
}

void TimelinePlayer::cancelPendingSeeks() {
    context_->checkMainThread();
    pictures_.cancelSeeks();
}

double TimelinePlayer::position() const {
    if (!plays_) return seconds_;
    return secondsOf(std::min(at(), pictures_.grid().end()));
}

TimelinePlayer::Time TimelinePlayer::at() const { return clock_.at(context_->now()); }

void TimelinePlayer::setMuted(bool muted) {
    context_->checkMainThread();
    sound_.setMuted(muted);
}

void TimelinePlayer::setTimeObserver(std::chrono::nanoseconds interval, std::function<void(double)> observer) {
    timeObserver_ = std::move(observer);
    interval_ = std::max<Time>(interval, 1ms);
    if (!plays_) return;
    nextTold_ = at() + interval_;
    armTick(at());
}

void TimelinePlayer::setEndObserver(std::function<void(const EditedMediaPtr&)> observer) {
    endObserver_ = std::move(observer);
}

void TimelinePlayer::tick() {
    if (!plays_) return;
    const Time now = context_->now();
    followSound(now);
    const Time position = clock_.at(now);
    if (position >= pictures_.grid().end()) return finish();
    if (const auto frame = pictures_.advance(position, heldUntil_.has_value())) noteDistance(*frame, now);
    const bool isTold = timeObserver_ && position >= nextTold_;
    if (isTold) nextTold_ += interval_ * ((position - nextTold_) / interval_ + 1);
    armTick(position);
    const auto life = std::weak_ptr(life_);
    pictures_.announce();
    if (isTold && !life.expired()) tellTime();
}

std::optional<PlaybackSound::Heard> TimelinePlayer::heardNow() {
    return sound_.isMuted() ? std::nullopt : sound_.heard();
}

void TimelinePlayer::followSound(Time now) {
    const auto heard = heardNow();
    if (heldUntil_) {
        if (heard)
            clock_.run(heard->position, heard->at);
        else if (now >= *heldUntil_)
            clock_.run(timeOf(seconds_), now);
        else
            return;
        heldUntil_.reset();
        return;
    }
    if (!heard) return clock_.goFreely(now);
    const Time ahead = clock_.follow(heard->position, heard->at, now);
    if (std::chrono::abs(ahead) > farFromSound) restartSound(now);
}

void TimelinePlayer::restartSound(Time now) {
    if (restartedAt_ && now - *restartedAt_ < restartPause) return;
    restartedAt_ = now;
    clock_.goFreely(now);
    sound_.begin(clock_.at(now) + sound_.latency());
}

void TimelinePlayer::soundCameOrWent(bool isAvailable) {
    if (!plays_) return;
    const Time now = context_->now();
    if (heldUntil_) {
        heldUntil_.reset();
        clock_.run(timeOf(seconds_), now);
    }
    clock_.goFreely(now);
    restartedAt_.reset();
    if (isAvailable) restartSound(now);
}

void TimelinePlayer::noteDistance(std::int64_t frame, Time now) {
    const auto heard = heldUntil_ ? std::nullopt : heardNow();
    if (!heard) return;
    const Time distance = std::chrono::abs(heard->position + (now - heard->at) - pictures_.grid().begin(frame));
    statistics_.greatestDistance = std::max(statistics_.greatestDistance, distance);
}

void TimelinePlayer::armTick(Time position) {
    Time wait = heldUntil_ ? holdStep : longestStep;
    auto until = [&](Time due) { wait = std::min(wait, due - position); };
    if (!heldUntil_) {
        until(pictures_.grid().end());
        if (timeObserver_) until(nextTold_);
        if (const auto due = pictures_.nextDue()) until(*due);
    }
    const auto delay = std::max(1ms, std::chrono::ceil<std::chrono::milliseconds>(wait));
    tick_ = context_->after(delay, [this] { tick(); });
}

void TimelinePlayer::finish() {
    const Time end = pictures_.grid().end();
    pictures_.advance(end - 1ns, true);
    seconds_ = pictures_.grid().duration.seconds();
    halt();
    pictures_.rest(end);
    const auto life = std::weak_ptr(life_);
    const auto item = item_;
    pictures_.announce();
    if (!life.expired()) tellTime();
    if (!life.expired()) tellEnd(item);
}

void TimelinePlayer::tellLater() {
    if (std::exchange(tellsLater_, true)) return;
    auto tell = [this, life = std::weak_ptr(life_)] {
        if (life.expired()) return;
        tellsLater_ = false;
        tellTime();
    };
    context_->post(std::move(tell));
}

void TimelinePlayer::tellTime() {
    const auto observer = timeObserver_;
    if (observer) observer(position());
}

void TimelinePlayer::tellEnd(const EditedMediaPtr& item) {
    const auto observer = endObserver_;
    if (observer) observer(item);
}

PlaybackStatistics TimelinePlayer::statistics() const {
    PlaybackStatistics statistics = pictures_.statistics;
    statistics.greatestDistance = statistics_.greatestDistance;
    statistics.underruns = sound_.underruns() - formerUnderruns_;
    return statistics;
}

void TimelinePlayer::resetStatistics() {
    pictures_.statistics = {};
    statistics_ = {};
    formerUnderruns_ = sound_.underruns();
}

}  // namespace kelvane
