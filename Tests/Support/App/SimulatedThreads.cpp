#include "SimulatedThreads.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <semaphore>
#include <thread>
#include <utility>

namespace kelvane::testing {

/// A thread that runs only between `go` and `back`.
class SimulatedThreads::Worker {
public:
    Worker() : thread_([this] { serve(); }) {}
    ~Worker() {
        work = nullptr;
        isOver_ = true;
        go.release();
        thread_.join();
    }

    std::binary_semaphore go{0};
    std::binary_semaphore back{0};
    std::function<void()> work;
    /// While it sleeps.
    std::optional<std::chrono::nanoseconds> wakesAt;
    bool isBusy = false;
    static thread_local Worker* current;

private:
    void serve() {
        current = this;
        while (true) {
            go.acquire();
            if (isOver_) return;
            work();
            work = nullptr;
            isBusy = false;
            back.release();
        }
    }

    bool isOver_ = false;
    std::thread thread_;
};

thread_local SimulatedThreads::Worker* SimulatedThreads::Worker::current = nullptr;

SimulatedThreads::SimulatedThreads(FakeMainContext& context) : context_(&context) {}

SimulatedThreads::~SimulatedThreads() {
    ending_ = true;
    while (step() || nextSleeper())
        if (auto* sleeper = nextSleeper()) resume(*sleeper);
}

void SimulatedThreads::run(std::chrono::nanoseconds duration) {
    (void)runUntil([] { return false; }, duration);
}

bool SimulatedThreads::runUntil(const std::function<bool()>& isDone, std::chrono::nanoseconds most) {
    const auto until = context_->now() + most;
    while (true) {
        while (step())
            if (isDone()) return true;
        const auto timer = context_->nextTimer();
        const auto* sleeper = nextSleeper();
        const auto next = std::min({until, timer.value_or(until), sleeper ? *sleeper->wakesAt : until});
        const bool isOver = next == until && context_->now() == until && !(timer && *timer <= until);
        if (isOver) return isDone();
        context_->advance(next - context_->now());
        if (isDone()) return true;
    }
}

bool SimulatedThreads::step() {
    if (context_->runOnePosted()) return true;
    if (auto work = context_->takeBackground()) {
        if (inPlace_) {
            work();
            return true;
        }
        auto idle = std::ranges::find(workers_, false, [](const auto& worker) { return worker->isBusy; });
        if (idle == workers_.end()) idle = workers_.insert(idle, std::make_unique<Worker>());
        (*idle)->work = std::move(work);
        (*idle)->isBusy = true;
        resume(**idle);
        return true;
    }
    auto* sleeper = nextSleeper();
    if (!sleeper || *sleeper->wakesAt > context_->now()) return false;
    resume(*sleeper);
    return true;
}

SimulatedThreads::Worker* SimulatedThreads::nextSleeper() const {
    Worker* next = nullptr;
    for (const auto& worker : workers_)
        if (worker->wakesAt && (!next || *worker->wakesAt < *next->wakesAt)) next = worker.get();
    return next;
}

void SimulatedThreads::resume(Worker& worker) {
    worker.wakesAt.reset();
    worker.go.release();
    worker.back.acquire();
}

void SimulatedThreads::sleep(std::chrono::nanoseconds duration) {
    Worker* worker = Worker::current;
    if (!worker || ending_ || duration <= std::chrono::nanoseconds(0)) return;
    worker->wakesAt = context_->now() + duration;
    worker->back.release();
    worker->go.acquire();
}

}  // namespace kelvane::testing
