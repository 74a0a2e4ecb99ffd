#pragma once

#include <QObject>
#include <deque>
#include <mutex>

#include "MainContext.h"
#include "ThreadPool.h"

namespace kelvane {

/// The main context over Qt's event loop and threads of its own. Work changes threads through queues of this class
/// under its own mutex: Qt carries no more than a wake-up, so that a thread sanitizer, which can't look into Qt, sees
/// the order.
class QtMainContext final : public QObject, public MainContext {
public:
    QtMainContext();
    /// Waits for the background work; what it posts afterwards is dropped.
    ~QtMainContext() override;

    void post(std::function<void()> work) override;
    void runInBackground(std::function<void()> work, Lane lane) override;
    [[nodiscard]] Timer after(std::chrono::milliseconds delay, std::function<void()> work) override;
    [[nodiscard]] bool isMainThread() const override;
    [[nodiscard]] std::chrono::nanoseconds now() const override;

    bool event(QEvent* event) override;

private:
    [[nodiscard]] ThreadPool& pool(Lane lane);

    std::mutex mutex_;
    std::deque<std::function<void()>> posted_;
    ThreadPool short_;
    ThreadPool playback_;
    ThreadPool long_;
};

}  // namespace kelvane
