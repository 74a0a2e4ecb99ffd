#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <stop_token>
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
            if (!failure_ && !source_.stop_requested()) {
                failure_ = std::move(error);
            }
        }
        source_.request_stop();
    }
    /// Why the run ended early, if it did.
    [[nodiscard]] std::optional<Error> failure() const {
        const std::lock_guard lock(mutex_);
        if (failure_) {
            return failure_;
        }
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
            if (!changed_.wait(lock, stop, [this] { return items_.size() < places_; })) {
                return false;
            }
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
            if (!changed_.wait(lock, stop, [this] { return !items_.empty() || finished_; }) || items_.empty()) {
                return std::nullopt;
            }
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

}  // namespace kelvane
