#pragma once

#include <condition_variable>
#include <mutex>
#include <stop_token>

#include "Support/Error.h"

namespace kelvane::testing {

/// A place where work stops until a test lets it go on. Open at first. All calls from any thread.
class Gate {
public:
    /// From now on `pass` blocks.
    void close();
    /// Lets everyone through who waits, and everyone who comes.
    void open();
    /// How many calls wait at the gate now. For tests that must run an event loop meanwhile.
    [[nodiscard]] int waiting() const;
    /// Blocks until `count` calls wait at the gate; false when they didn't come (see patience).
    [[nodiscard]] bool waitForArrivals(int count = 1) const;
    /// When false, `pass` stays blocked although a stop was requested: the late result of work that can't stop.
    void setStoppable(bool stoppable);

    /// Returns when the gate is open; ends as cancelled when a stop is requested first.
    Result<void> pass(std::stop_token stop);

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable_any changed_;
    bool closed_ = false;
    bool stoppable_ = true;
    int waiting_ = 0;
};

}  // namespace kelvane::testing
