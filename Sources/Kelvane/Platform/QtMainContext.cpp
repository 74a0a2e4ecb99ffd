#include "QtMainContext.h"

#include <QCoreApplication>
#include <QEvent>
#include <QThread>
#include <QTimer>
#include <utility>

namespace kelvane {

namespace {
/// Long work (exports, imports, builds, up to eight requests) must not queue behind other long work; the threads mostly
/// wait for the engine's own.
constexpr std::size_t maximumThreads = 16;
/// Wakes the main thread for one piece of posted work.
constexpr QEvent::Type wakeUp = QEvent::User;
}  // namespace

QtMainContext::~QtMainContext() {
    {
        const std::scoped_lock lock(mutex_);
        ending_ = true;
    }
    arrived_.notify_all();
    for (std::thread& thread : threads_) thread.join();
}

void QtMainContext::post(std::function<void()> work) {
    auto* event = new QEvent(wakeUp);
    {
        const std::scoped_lock lock(mutex_);
        posted_.push_back(std::move(work));
    }
    QCoreApplication::postEvent(this, event);
}

bool QtMainContext::event(QEvent* event) {
    if (event->type() != wakeUp) return QObject::event(event);
    std::function<void()> work;
    {
        const std::scoped_lock lock(mutex_);
        work = std::move(posted_.front());
        posted_.pop_front();
    }
    work();
    return true;
}

void QtMainContext::runInBackground(std::function<void()> work) {
    const std::scoped_lock lock(mutex_);
    background_.push_back(std::move(work));
    if (background_.size() > idle_ && threads_.size() < maximumThreads)
        threads_.emplace_back([this] { serveBackground(); });
    arrived_.notify_one();
}

void QtMainContext::serveBackground() {
    std::unique_lock lock(mutex_);
    while (true) {
        ++idle_;
        arrived_.wait(lock, [this] { return !background_.empty() || ending_; });
        --idle_;
        if (background_.empty()) return;
        std::function<void()> work = std::move(background_.front());
        background_.pop_front();
        lock.unlock();
        work();
        work = nullptr;
        lock.lock();
    }
}

Timer QtMainContext::after(std::chrono::milliseconds delay, std::function<void()> work) {
    auto timer = std::shared_ptr<QTimer>(new QTimer(), [](QTimer* old) {
        // The timer's own call may be what lets go of it.
        old->stop();
        old->deleteLater();
    });
    timer->setSingleShot(true);
    timer->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer.get(), &QTimer::timeout, timer.get(), std::move(work));
    timer->start(delay);
    return Timer(std::move(timer));
}

bool QtMainContext::isMainThread() const { return QThread::currentThread() == thread(); }

}  // namespace kelvane
