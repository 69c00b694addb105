#include "QtMainThreadExecutor.hpp"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>
#include <QTimer>

namespace lorvan {

void QtMainThreadExecutor::post(std::function<void()> work) {
    QCoreApplication* application = QCoreApplication::instance();
    if (application == nullptr || !work) return;
    // Queued events on one receiver are delivered in the order they were posted.
    QMetaObject::invokeMethod(
        application, [work = std::move(work)] { work(); }, Qt::QueuedConnection);
}

void QtMainThreadExecutor::postAfter(std::chrono::milliseconds delay, std::function<void()> work) {
    if (!work) return;
    // On the main thread already (the view model paces itself from there, thirty times a
    // second while playing): the timer starts at once instead of one more trip through the
    // event loop.
    QCoreApplication* running = QCoreApplication::instance();
    if (running != nullptr && QThread::currentThread() == running->thread()) {
        QTimer::singleShot(delay, Qt::PreciseTimer, running, std::move(work));
        return;
    }
    post([delay, work = std::move(work)]() mutable {
        if (QCoreApplication* application = QCoreApplication::instance())
            QTimer::singleShot(delay, Qt::PreciseTimer, application, std::move(work));
    });
}

} // namespace lorvan
