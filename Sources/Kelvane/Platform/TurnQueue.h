#pragma once

#include <coroutine>
#include <deque>
#include <memory>
#include <utility>

#include "MainContext.h"

namespace kelvane {

/// Lets coroutines of the main thread take turns, in the order in which they asked. A turn ends with its value; the next
/// one begins in a later turn of the event loop. Turns may outlive the queue. The main thread.
class TurnQueue {
    struct State {
        MainContext* context;
        bool taken = false;
        std::deque<std::coroutine_handle<>> waiting;
    };

public:
    /// `context` outlives all turns.
    explicit TurnQueue(MainContext& context) : state_(std::make_shared<State>(State{&context, false, {}})) {}

    /// Whether somebody has the turn.
    [[nodiscard]] bool isTaken() const { return state_->taken; }

    /// The right to go on; its end passes it to who waits longest.
    class Turn {
    public:
        explicit Turn(std::shared_ptr<State> state) : state_(std::move(state)) {}
        Turn(Turn&&) = default;
        Turn& operator=(Turn&&) = delete;
        ~Turn() {
            if (!state_) return;
            if (state_->waiting.empty()) {
                state_->taken = false;
                return;
            }
            const auto next = state_->waiting.front();
            state_->waiting.pop_front();
            state_->context->post([next] { next.resume(); });
        }

    private:
        std::shared_ptr<State> state_;
    };

    /// Awaits a turn: at once where nobody has it. Name it before the `co_await`, as with `inBackground`.
    class Request {
    public:
        explicit Request(std::shared_ptr<State> state) : state_(std::move(state)) {}
        Request(const Request&) = delete;
        Request& operator=(const Request&) = delete;

        class Wait {
        public:
            explicit Wait(Request& request) : request_(&request) {}
            [[nodiscard]] bool await_ready() const noexcept {
                // Who finds the turn free takes it here, before anybody else can ask.
                return !std::exchange(request_->state_->taken, true);
            }
            void await_suspend(std::coroutine_handle<> caller) { request_->state_->waiting.push_back(caller); }
            Turn await_resume() { return Turn(request_->state_); }

        private:
            Request* request_;
        };
        Wait operator co_await() noexcept { return Wait(*this); }

    private:
        std::shared_ptr<State> state_;
    };
    [[nodiscard]] Request next() { return Request(state_); }

private:
    std::shared_ptr<State> state_;
};

}  // namespace kelvane
