#include "ThreadPool.h"

#include <sys/resource.h>
#include <unistd.h>

#include <utility>

namespace kelvane {

void ThreadPool::run(std::function<void()> work) {
    const std::scoped_lock lock(mutex_);
    works_.push_back(std::move(work));
    if (works_.size() > idle_ && threads_.size() < most_ && !ending_) threads_.emplace_back([this] { serve(); });
    arrived_.notify_one();
}

void ThreadPool::finish() {
    {
        const std::scoped_lock lock(mutex_);
        ending_ = true;
    }
    arrived_.notify_all();
    for (std::thread& thread : threads_) thread.join();
    threads_.clear();
}

void ThreadPool::serve() {
    // Of a thread, not of the process: Linux keeps a niceness for each.
    const auto self = static_cast<id_t>(gettid());
    if (giveWay_ > 0) setpriority(PRIO_PROCESS, self, getpriority(PRIO_PROCESS, self) + giveWay_);
    std::unique_lock lock(mutex_);
    while (true) {
        ++idle_;
        arrived_.wait(lock, [this] { return !works_.empty() || ending_; });
        --idle_;
        if (works_.empty()) return;
        std::function<void()> work = std::move(works_.front());
        works_.pop_front();
        lock.unlock();
        work();
        work = nullptr;
        lock.lock();
    }
}

}  // namespace kelvane
