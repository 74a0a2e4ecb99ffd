#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "Platform/MainContext.h"

namespace kelvane::testing {

/// A main context without an event loop, threads or a clock of its own: everything runs on the test's thread, and only
/// when the test says so. `post`, `runInBackground` and `after` only queue. Other threads may queue, too.
///
/// At the end of a test call `settle` once more after the last user of the context is gone, so that waiting coroutines
/// come to their end; what is queued when the context ends is dropped.
class FakeMainContext final : public MainContext {
public:
    void post(std::function<void()> work) override;
    void runInBackground(std::function<void()> work, Lane lane) override;
    [[nodiscard]] Timer after(std::chrono::milliseconds delay, std::function<void()> work) override;
    [[nodiscard]] bool isMainThread() const override { return std::this_thread::get_id() == thread_; }

    /// Runs what was posted, and what that posts, until nothing is left. Background work stays where it is.
    void runPosted();
    /// Runs the oldest of what was posted alone; false when there is none.
    bool runOnePosted();
    /// Runs the oldest background work alone; false when there is none. Its result waits in the posted work.
    bool stepBackground();
    /// The same with the newest.
    bool stepNewestBackground();
    /// Runs the background work that is queued now, in order, without its results.
    void drain();
    /// Runs posted and background work until neither is left. No time passes.
    void settle();
    /// Lets time pass: timers that come due run in the order of their times, each followed by the work that was posted
    /// meanwhile. Background work stays where it is: it takes all the time that a test gives it.
    void advance(std::chrono::nanoseconds duration);
    /// Takes the oldest background work away, for somebody else to run; an empty one when there is none.
    std::function<void()> takeBackground();
    /// When the next timer is due; cancelled ones may count.
    [[nodiscard]] std::optional<std::chrono::nanoseconds> nextTimer() const;

    /// Time since the context was made.
    [[nodiscard]] std::chrono::nanoseconds now() const override;
    [[nodiscard]] std::size_t waitingInBackground() const;
    /// The same of one lane. The order in which background work runs here doesn't depend on its lane.
    [[nodiscard]] std::size_t waitingInBackground(Lane lane) const;
    /// Whether anything is posted or in the background.
    [[nodiscard]] bool hasWork() const;
    /// Timers that neither ran nor were cancelled.
    [[nodiscard]] std::size_t pendingTimers() const;

private:
    struct PendingTimer {
        std::weak_ptr<void> token;
        std::function<void()> work;
    };

    struct BackgroundWork {
        std::function<void()> work;
        Lane lane;
    };

    void setNow(std::chrono::nanoseconds now);

    std::thread::id thread_ = std::this_thread::get_id();
    mutable std::mutex mutex_;
    std::deque<std::function<void()>> posted_;
    std::deque<BackgroundWork> background_;
    /// By due time, and by the order of their making.
    std::map<std::pair<std::chrono::nanoseconds, std::uint64_t>, PendingTimer> timers_;
    std::uint64_t timersMade_ = 0;
    std::chrono::nanoseconds now_{0};
};

}  // namespace kelvane::testing
