#include "FakeMainContext.h"

#include <algorithm>

namespace kelvane::testing {

void FakeMainContext::post(std::function<void()> work) {
    const std::scoped_lock lock(mutex_);
    posted_.push_back(std::move(work));
}

void FakeMainContext::runInBackground(std::function<void()> work, Lane lane) {
    const std::scoped_lock lock(mutex_);
    background_.push_back({std::move(work), lane});
}

Timer FakeMainContext::after(std::chrono::milliseconds delay, std::function<void()> work) {
    auto token = std::make_shared<int>(0);
    const std::scoped_lock lock(mutex_);
    timers_.emplace(std::pair(now_ + delay, timersMade_++), PendingTimer{token, std::move(work)});
    return Timer(std::move(token));
}

bool FakeMainContext::runOnePosted() {
    std::function<void()> work;
    {
        const std::scoped_lock lock(mutex_);
        if (posted_.empty()) return false;
        work = std::move(posted_.front());
        posted_.pop_front();
    }
    work();
    return true;
}

void FakeMainContext::runPosted() {
    while (runOnePosted()) {
    }
}

std::function<void()> FakeMainContext::takeBackground() {
    const std::scoped_lock lock(mutex_);
    if (background_.empty()) return {};
    std::function<void()> work = std::move(background_.front().work);
    background_.pop_front();
    return work;
}

bool FakeMainContext::stepBackground() {
    const auto work = takeBackground();
    if (!work) return false;
    work();
    return true;
}

bool FakeMainContext::stepNewestBackground() {
    std::function<void()> work;
    {
        const std::scoped_lock lock(mutex_);
        if (background_.empty()) return false;
        work = std::move(background_.back().work);
        background_.pop_back();
    }
    work();
    return true;
}

void FakeMainContext::drain() {
    for (std::size_t left = waitingInBackground(); left > 0 && stepBackground(); --left) {
    }
}

void FakeMainContext::settle() {
    do {
        runPosted();
    } while (stepBackground());
}

std::chrono::nanoseconds FakeMainContext::now() const {
    const std::scoped_lock lock(mutex_);
    return now_;
}

void FakeMainContext::advance(std::chrono::nanoseconds duration) {
    const auto until = now_ + duration;
    runPosted();
    while (!timers_.empty() && timers_.begin()->first.first <= until) {
        auto next = timers_.extract(timers_.begin());
        // The token is held for the length of the call, as the call may let go of its own timer.
        if (const auto token = next.mapped().token.lock()) {
            setNow(next.key().first);
            next.mapped().work();
            runPosted();
        }
    }
    setNow(until);
}

void FakeMainContext::setNow(std::chrono::nanoseconds now) {
    const std::scoped_lock lock(mutex_);
    now_ = now;
}

std::optional<std::chrono::nanoseconds> FakeMainContext::nextTimer() const {
    if (timers_.empty()) return std::nullopt;
    return timers_.begin()->first.first;
}

std::size_t FakeMainContext::waitingInBackground() const {
    const std::scoped_lock lock(mutex_);
    return background_.size();
}

std::size_t FakeMainContext::waitingInBackground(Lane lane) const {
    const std::scoped_lock lock(mutex_);
    return static_cast<std::size_t>(std::ranges::count(background_, lane, &BackgroundWork::lane));
}

bool FakeMainContext::hasWork() const {
    const std::scoped_lock lock(mutex_);
    return !posted_.empty() || !background_.empty();
}

std::size_t FakeMainContext::pendingTimers() const {
    std::size_t count = 0;
    for (const auto& [due, timer] : timers_) count += timer.token.expired() ? 0 : 1;
    return count;
}

}  // namespace kelvane::testing
