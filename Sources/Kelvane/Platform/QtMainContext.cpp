#include "QtMainContext.h"

#include <QCoreApplication>
#include <QEvent>
#include <QThread>
#include <QTimer>
#include <utility>

namespace kelvane {

namespace {
/// Saves, rows of the library and replies, each of which waits for the disk or a socket.
constexpr std::size_t shortThreads = 4;
/// A player's pictures, the cut that it makes ready, its sound, its build, and a second player's pictures.
constexpr std::size_t playbackThreads = 6;
/// Exports, imports, builds and up to eight requests must not queue behind one another; the threads mostly wait for the
/// engine's own.
constexpr std::size_t longThreads = 16;
/// The most there is. By the kernel's weights (1024 at 0, 15 at 19) a thread of another lane gets nine tenths of a core
/// that eight of these want; at 10, whose weight is 110, it would get half.
constexpr int longGiveWay = 19;
/// Wakes the main thread for one piece of posted work.
constexpr QEvent::Type wakeUp = QEvent::User;
}  // namespace

QtMainContext::QtMainContext()
    : short_(shortThreads, 0), playback_(playbackThreads, 0), long_(longThreads, longGiveWay) {}

QtMainContext::~QtMainContext() {
    // Work of one lane may hand on to another: a lane that ends takes nothing more.
    for (const Lane lane : {Lane::longWork, Lane::playback, Lane::shortWork}) pool(lane).finish();
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

void QtMainContext::runInBackground(std::function<void()> work, Lane lane) { pool(lane).run(std::move(work)); }

ThreadPool& QtMainContext::pool(Lane lane) {
    switch (lane) {
        case Lane::shortWork:
            return short_;
        case Lane::playback:
            return playback_;
        case Lane::longWork:
            break;
    }
    return long_;
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

std::chrono::nanoseconds QtMainContext::now() const { return std::chrono::steady_clock::now().time_since_epoch(); }

bool QtMainContext::isMainThread() const { return QThread::currentThread() == thread(); }

}  // namespace kelvane
