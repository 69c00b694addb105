#include "QtMainThreadExecutor.hpp"

#include <QCoreApplication>
#include <QMetaObject>
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
    post([delay, work = std::move(work)]() mutable {
        if (QCoreApplication* application = QCoreApplication::instance())
            QTimer::singleShot(delay, Qt::PreciseTimer, application, std::move(work));
    });
}

} // namespace lorvan
