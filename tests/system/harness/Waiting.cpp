#include "Waiting.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>

bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds deadline)
{
    const QDeadlineTimer end(deadline);
    QTimer wakeUp;
    wakeUp.start(std::chrono::milliseconds(10));
    while (!condition())
    {
        if (end.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}
