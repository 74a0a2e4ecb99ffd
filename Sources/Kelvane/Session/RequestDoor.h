#pragma once

#include <functional>
#include <mutex>
#include <utility>

#include "Platform/MainContext.h"

namespace kelvane {

/// The way of requests from connections' threads to the main thread. A connection in progress outlives the session that
/// opened it, and may outlive the main context; the door is shared between them and shut when the session ends. Any
/// thread.
class RequestDoor {
public:
    explicit RequestDoor(MainContext* context) : context_(context) {}

    /// Posts `work` to the main thread; false when the door is shut.
    bool post(std::function<void()> work) {
        const std::lock_guard lock(mutex_);
        if (context_ == nullptr) return false;
        context_->post(std::move(work));
        return true;
    }
    void shut() {
        const std::lock_guard lock(mutex_);
        context_ = nullptr;
    }

private:
    std::mutex mutex_;
    MainContext* context_;
};

}  // namespace kelvane
