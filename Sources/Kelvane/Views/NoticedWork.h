#pragma once

#include <chrono>
#include <functional>

#include "Platform/MainContext.h"

namespace kelvane {

/// Whether work is to be told of: what is over within a moment shows nothing, as a notice that flashes up says less
/// than none. The main thread.
class NoticedWork {
public:
    /// How long work is under way before it is told of.
    static constexpr std::chrono::milliseconds pause{300};

    /// `noticed` is called when work has lasted so long.
    explicit NoticedWork(std::function<void()> noticed) : noticed_(std::move(noticed)) {}

    /// Work is under way, or none is; `context` is its clock.
    void follow(bool isUnderWay, MainContext& context);
    /// None is, and its clock may be gone.
    void end();
    [[nodiscard]] bool isShown() const { return isShown_; }

private:
    std::function<void()> noticed_;
    Timer timer_;
    bool isUnderWay_ = false;
    bool isShown_ = false;
};

}  // namespace kelvane
