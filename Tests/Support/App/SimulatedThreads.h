#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "FakeMainContext.h"

namespace kelvane::testing {

/// Threads in simulated time: background works of a FakeMainContext run on threads of their own, of which one runs at a
/// time, and take the time that they sleep. What happens is the same in each run, however busy the machine is.
class SimulatedThreads {
public:
    explicit SimulatedThreads(FakeMainContext& context);
    SimulatedThreads(const SimulatedThreads&) = delete;
    SimulatedThreads& operator=(const SimulatedThreads&) = delete;
    /// Runs what is left to its end, in no time. The users of the context are gone by then.
    ~SimulatedThreads();

    /// Lets time pass, with all that runs meanwhile.
    void run(std::chrono::nanoseconds duration);
    /// Lets time pass until `isDone`, asked at each event, or until `most` has passed; whether it is.
    bool runUntil(const std::function<bool()>& isDone, std::chrono::nanoseconds most);
    /// In a background work: the work goes on after so much time. Elsewhere, and at the end, nothing.
    void sleep(std::chrono::nanoseconds duration);
    /// From now on works run where `run` is called, and take no time: for long runs of quick works.
    void runInPlace() { inPlace_ = true; }

private:
    class Worker;

    /// One event of the present moment; false when nothing is left to do before time passes.
    bool step();
    [[nodiscard]] Worker* nextSleeper() const;
    void resume(Worker& worker);

    FakeMainContext* context_;
    std::vector<std::unique_ptr<Worker>> workers_;
    bool inPlace_ = false;
    bool ending_ = false;
};

}  // namespace kelvane::testing
