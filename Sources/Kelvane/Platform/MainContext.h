#pragma once

#include <chrono>
#include <coroutine>
#include <functional>
#include <memory>
#include <optional>
#include <source_location>
#include <string>
#include <type_traits>
#include <utility>

#include "Support/Error.h"

namespace kelvane {

/// A pending call of MainContext::after. Its end cancels the call. Move-only; main thread.
class Timer {
public:
    Timer() = default;
    explicit Timer(std::shared_ptr<void> token) : token_(std::move(token)) {}
    /// Cancels the call; harmless when it ran or was cancelled before.
    void cancel() { token_.reset(); }

private:
    std::shared_ptr<void> token_;
};

/// How long background work keeps a thread of the pool.
enum class Lane {
    /// As long as one small file, one row of the library or one reply takes: work that someone waits for. It finds a
    /// thread however much long work runs.
    shortWork,
    /// Decoding, drawing, encoding, copying, and whatever else grows with media or with a project's length. Its threads
    /// give way to all others of the program.
    longWork,
    /// What a player is waiting for: pictures and sound of the timeline that a person sees and hears, and its build. A
    /// thread is always free for it.
    playback,
};

/// The one serial context of all program state, its clock and its way to other threads. Outlives everything that uses
/// it.
class MainContext {
public:
    virtual ~MainContext() = default;

    /// Runs `work` on the main thread, later and in order. Any thread.
    virtual void post(std::function<void()> work) = 0;
    /// Runs `work` on a thread of the pool; within a lane, works begin in the order of the calls. Any thread.
    virtual void runInBackground(std::function<void()> work, Lane lane) = 0;
    /// Runs `work` on the main thread once `delay` has passed on a continuous clock, unless the timer was cancelled.
    [[nodiscard]] virtual Timer after(std::chrono::milliseconds delay, std::function<void()> work) = 0;
    [[nodiscard]] virtual bool isMainThread() const = 0;
    /// Time on the continuous clock of `after`, from some moment on. Any thread.
    [[nodiscard]] virtual std::chrono::nanoseconds now() const = 0;
    /// Ends the program, naming the caller, unless it runs on the main thread: asked first by the operations of objects
    /// whose state lives there. On in every build, as it costs a comparison.
    void checkMainThread(std::source_location caller = std::source_location::current()) const {
        if (!isMainThread()) check(false, (std::string(caller.function_name()) + " left the main thread").c_str());
    }
};

/// Awaits a blocking function that runs on the pool, and gives its value back on the main thread. Name the awaiter
/// before the `co_await`: compilers have destroyed such temporaries twice.
template <class Work>
class BackgroundAwaiter {
public:
    using Value = std::invoke_result_t<Work&>;
    BackgroundAwaiter(MainContext& context, Work work, Lane lane)
        : context_(&context), work_(std::move(work)), lane_(lane) {}
    BackgroundAwaiter(const BackgroundAwaiter&) = delete;
    BackgroundAwaiter& operator=(const BackgroundAwaiter&) = delete;

    /// What the `co_await` itself holds: a pointer alone, as compilers have also copied awaiters that stand in a
    /// variable.
    class Wait {
    public:
        explicit Wait(BackgroundAwaiter& awaiter) : awaiter_(&awaiter) {}
        [[nodiscard]] bool await_ready() const noexcept { return false; }
        void await_suspend(std::coroutine_handle<> caller) {
            auto work = [awaiter = awaiter_, caller] {
                awaiter->value_.emplace(awaiter->work_());
                awaiter->context_->post([caller] { caller.resume(); });
            };
            awaiter_->context_->runInBackground(std::move(work), awaiter_->lane_);
        }
        Value await_resume() { return std::move(*awaiter_->value_); }

    private:
        BackgroundAwaiter* awaiter_;
    };
    Wait operator co_await() noexcept { return Wait(*this); }

private:
    MainContext* context_;
    Work work_;
    Lane lane_;
    std::optional<Value> value_;
};

/// Work is long unless it is known to be short: a long one that calls itself short costs every short one its thread.
template <class Work>
BackgroundAwaiter<std::decay_t<Work>> inBackground(MainContext& context, Work&& work, Lane lane = Lane::longWork) {
    return {context, std::forward<Work>(work), lane};
}

}  // namespace kelvane
