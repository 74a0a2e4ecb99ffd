#include "Gate.h"

#include "Patience.h"

namespace kelvane::testing {

void Gate::close() {
    const std::scoped_lock lock(mutex_);
    closed_ = true;
}

void Gate::open() {
    const std::scoped_lock lock(mutex_);
    closed_ = false;
    changed_.notify_all();
}

int Gate::waiting() const {
    const std::scoped_lock lock(mutex_);
    return waiting_;
}

bool Gate::waitForArrivals(int count) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [&] { return waiting_ >= count; });
}

void Gate::setStoppable(bool stoppable) {
    const std::scoped_lock lock(mutex_);
    stoppable_ = stoppable;
}

Result<void> Gate::pass(std::stop_token stop) {
    std::unique_lock lock(mutex_);
    if (!closed_) return {};
    ++waiting_;
    changed_.notify_all();
    bool passed = true;
    if (stoppable_)
        passed = changed_.wait(lock, stop, [this] { return !closed_; });
    else
        changed_.wait(lock, [this] { return !closed_; });
    --waiting_;
    changed_.notify_all();
    if (!passed) return fail(Error::cancelled());
    return {};
}

}  // namespace kelvane::testing
