#pragma once

#include <QObject>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "MainContext.h"

namespace kelvane {

/// The main context over Qt's event loop and threads of its own. Work changes threads through queues of this class
/// under its own mutex: Qt carries no more than a wake-up, so that a thread sanitizer, which can't look into Qt, sees
/// the order.
class QtMainContext final : public QObject, public MainContext {
public:
    QtMainContext() = default;
    /// Waits for the background work; what it posts afterwards is dropped.
    ~QtMainContext() override;

    void post(std::function<void()> work) override;
    void runInBackground(std::function<void()> work, Lane lane) override;
    [[nodiscard]] Timer after(std::chrono::milliseconds delay, std::function<void()> work) override;
    [[nodiscard]] bool isMainThread() const override;

    bool event(QEvent* event) override;

private:
    using Works = std::deque<std::function<void()>>;

    void serveBackground();
    /// Works that a thread may begin now. Under the mutex, as the next.
    [[nodiscard]] std::size_t ready() const;
    [[nodiscard]] std::function<void()> takeReady(Lane& lane);

    std::mutex mutex_;
    Works posted_;
    Works short_;
    Works long_;
    std::condition_variable arrived_;
    std::vector<std::thread> threads_;
    /// Threads that wait for work.
    std::size_t idle_ = 0;
    /// Threads that are at long work.
    std::size_t longRunning_ = 0;
    bool ending_ = false;
};

}  // namespace kelvane
