#include "QtMainContext.h"

#include <QCoreApplication>
#include <QEvent>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <utility>

namespace kelvane {

namespace {
/// Long work (exports, imports, builds, up to eight requests) must not queue behind other long work; the threads mostly
/// wait for the engine's own.
constexpr std::size_t maximumLong = 16;
/// Beside those: a save, a row of the library, a reply and one more, each of which waits for the disk or a socket.
constexpr std::size_t keptForShort = 4;
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

void QtMainContext::runInBackground(std::function<void()> work, Lane lane) {
    const std::scoped_lock lock(mutex_);
    (lane == Lane::shortWork ? short_ : long_).push_back(std::move(work));
    if (ready() > idle_ && threads_.size() < maximumLong + keptForShort)
        threads_.emplace_back([this] { serveBackground(); });
    arrived_.notify_one();
}

std::size_t QtMainContext::ready() const { return short_.size() + std::min(long_.size(), maximumLong - longRunning_); }

std::function<void()> QtMainContext::takeReady(Lane& lane) {
    lane = short_.empty() ? Lane::longWork : Lane::shortWork;
    Works& works = short_.empty() ? long_ : short_;
    std::function<void()> work = std::move(works.front());
    works.pop_front();
    return work;
}

void QtMainContext::serveBackground() {
    std::unique_lock lock(mutex_);
    while (true) {
        ++idle_;
        arrived_.wait(lock, [this] { return ready() > 0 || ending_; });
        --idle_;
        // Long work that waits for its turn is left to the threads that are at long work now.
        if (ready() == 0) return;
        Lane lane{};
        std::function<void()> work = takeReady(lane);
        if (lane == Lane::longWork) ++longRunning_;
        lock.unlock();
        work();
        work = nullptr;
        lock.lock();
        if (lane == Lane::longWork) --longRunning_;
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
