#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <utility>

#include "Support/Error.h"

namespace kelvane {

/// What the threads of one run share: the request to end, and the failure that was met first. Any thread.
class ExportRun {
public:
    /// Ends when either of `outer` and `own` asks for it.
    ExportRun(std::stop_token outer, std::stop_token own)
        : outer_(std::move(outer), Stopper{this}), own_(std::move(own), Stopper{this}) {}
    ExportRun(const ExportRun&) = delete;
    ExportRun& operator=(const ExportRun&) = delete;

    [[nodiscard]] std::stop_token token() const { return source_.get_token(); }
    /// Ends all threads of the run; the first failure is the run's. A cancellation that a failure brought about is not
    /// one.
    void fail(Error error) {
        {
            const std::lock_guard lock(mutex_);
            if (!failure_ && !source_.stop_requested()) failure_ = std::move(error);
        }
        source_.request_stop();
    }
    /// Why the run ended early, if it did.
    [[nodiscard]] std::optional<Error> failure() const {
        const std::lock_guard lock(mutex_);
        if (failure_) return failure_;
        return source_.stop_requested() ? std::optional(Error::cancelled()) : std::nullopt;
    }

private:
    struct Stopper {
        ExportRun* run;
        void operator()() const { run->source_.request_stop(); }
    };
    mutable std::mutex mutex_;
    std::optional<Error> failure_;
    std::stop_source source_;
    std::stop_callback<Stopper> outer_;
    std::stop_callback<Stopper> own_;
};

/// A queue of few places between two threads of a run. Waits end when the run does.
template <class Item>
class BoundedQueue {
public:
    explicit BoundedQueue(std::size_t places) : places_(places) {}

    /// Waits for a place; false when the run ended first.
    bool push(Item item, const std::stop_token& stop) {
        {
            std::unique_lock lock(mutex_);
            if (!changed_.wait(lock, stop, [this] { return items_.size() < places_; }) || stop.stop_requested())
                return false;
            items_.push_back(std::move(item));
        }
        changed_.notify_all();
        return true;
    }
    /// Waits for an item; none when there will be no more, or when the run ended first.
    std::optional<Item> pop(const std::stop_token& stop) {
        std::optional<Item> item;
        {
            std::unique_lock lock(mutex_);
            const bool woken = changed_.wait(lock, stop, [this] { return !items_.empty() || finished_; });
            if (!woken || items_.empty() || stop.stop_requested()) return std::nullopt;
            item = std::move(items_.front());
            items_.pop_front();
        }
        changed_.notify_all();
        return item;
    }
    /// Says that nothing more will be pushed.
    void finish() {
        {
            const std::lock_guard lock(mutex_);
            finished_ = true;
        }
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable_any changed_;
    std::deque<Item> items_;
    const std::size_t places_;
    bool finished_ = false;
};

/// How long an ended run may take to close its encoders and decoders before they are left to do so by themselves. An
/// encoder of large pictures can't be interrupted in the middle of one, and has several in work.
inline constexpr std::chrono::milliseconds closingTime{100};

/// Does `work` on a thread of its own and waits for it, but not much longer than for the run's end. Work that is still
/// busy then goes on to its own end in the background, so all that it uses must belong to it or be shared.
template <class Value>
Result<Value> doBeside(const std::shared_ptr<ExportRun>& run, std::function<Result<Value>()> work) {
    struct Shared {
        std::mutex mutex;
        std::condition_variable_any changed;
        std::optional<Result<Value>> result;
    };
    auto shared = std::make_shared<Shared>();
    std::thread worker([shared, work = std::move(work)]() mutable {
        auto result = work();
        // What the work owns is closed before it counts as done.
        work = nullptr;
        {
            const std::lock_guard lock(shared->mutex);
            shared->result = std::move(result);
        }
        shared->changed.notify_all();
    });
    std::unique_lock lock(shared->mutex);
    const auto done = [&] { return shared->result.has_value(); };
    if (!shared->changed.wait(lock, run->token(), done) && !shared->changed.wait_for(lock, closingTime, done)) {
        worker.detach();
        return fail(run->failure().value_or(Error::cancelled()));
    }
    auto result = std::move(*shared->result);
    lock.unlock();
    worker.join();
    return result;
}

}  // namespace kelvane
