#include "QtMainContext.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>
#include <QTimer>

namespace kelvane {

namespace {
/// Long work (exports, imports, builds, up to eight requests) must not queue behind other long work; the threads mostly
/// wait for the engine's own.
constexpr int poolThreads = 16;
}  // namespace

QtMainContext::QtMainContext() { pool_.setMaxThreadCount(poolThreads); }

QtMainContext::~QtMainContext() { pool_.waitForDone(); }

void QtMainContext::post(std::function<void()> work) {
    QMetaObject::invokeMethod(this, std::move(work), Qt::QueuedConnection);
}

void QtMainContext::runInBackground(std::function<void()> work) { pool_.start(std::move(work)); }

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
