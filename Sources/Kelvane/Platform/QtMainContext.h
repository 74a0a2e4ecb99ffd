#pragma once

#include <QObject>
#include <QThreadPool>

#include "MainContext.h"

namespace kelvane {

/// The main context over Qt's event loop and a thread pool of its own.
class QtMainContext final : public QObject, public MainContext {
public:
    QtMainContext();
    /// Waits for the work on the pool; what it posts afterwards is dropped.
    ~QtMainContext() override;

    void post(std::function<void()> work) override;
    void runInBackground(std::function<void()> work) override;
    [[nodiscard]] Timer after(std::chrono::milliseconds delay, std::function<void()> work) override;
    [[nodiscard]] bool isMainThread() const override;

private:
    QThreadPool pool_;
};

}  // namespace kelvane
