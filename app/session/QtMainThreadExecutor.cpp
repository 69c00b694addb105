#include "QtMainThreadExecutor.hpp"

#include <QCoreApplication>
#include <QMetaObject>

namespace lorvan {

void QtMainThreadExecutor::post(std::function<void()> work) {
    QCoreApplication* application = QCoreApplication::instance();
    if (application == nullptr || !work) return;
    // Queued events on one receiver are delivered in the order they were posted.
    QMetaObject::invokeMethod(
        application, [work = std::move(work)] { work(); }, Qt::QueuedConnection);
}

} // namespace lorvan
