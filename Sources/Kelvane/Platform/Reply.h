#pragma once

#include <coroutine>
#include <memory>
#include <optional>
#include <utility>

namespace kelvane {

/// A value that comes once, and the one coroutine that waits for it. Copies are the same reply. Given and awaited on
/// the main thread; copies may be carried through others. Keep it in a variable while it is awaited.
template <class T>
class Reply {
    struct State {
        std::optional<T> value;
        std::coroutine_handle<> waiting;
    };

public:
    /// The first value counts.
    void give(T value) const {
        const std::shared_ptr<State> state = state_;
        if (state->value) return;
        state->value.emplace(std::move(value));
        if (const auto waiting = std::exchange(state->waiting, nullptr)) waiting.resume();
    }

    class Wait {
    public:
        explicit Wait(State& state) : state_(&state) {}
        [[nodiscard]] bool await_ready() const noexcept { return state_->value.has_value(); }
        void await_suspend(std::coroutine_handle<> caller) { state_->waiting = caller; }
        T await_resume() { return *state_->value; }

    private:
        State* state_;
    };
    Wait operator co_await() const noexcept { return Wait(*state_); }

private:
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace kelvane
