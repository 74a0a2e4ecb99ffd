#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace kelvane {

/// Threads that run works in the order of their coming. A thread is made when there is work and none is idle. Any
/// thread.
class ThreadPool {
public:
    /// Of `most` threads at the most, whose niceness (as of `setpriority`, inherited by the threads that they make) is
    /// raised by `giveWay`: a thread can't take that back, which is why a pool has one for all of its own.
    ThreadPool(std::size_t most, int giveWay) : most_(most), giveWay_(giveWay) {}
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;
    ~ThreadPool() { finish(); }

    void run(std::function<void()> work);
    /// Waits for all works, those that they bring along included. What comes later stays undone.
    void finish();

private:
    void serve();

    const std::size_t most_;
    const int giveWay_;
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<std::function<void()>> works_;
    std::vector<std::thread> threads_;
    /// Threads that wait for work.
    std::size_t idle_ = 0;
    bool ending_ = false;
};

}  // namespace kelvane
