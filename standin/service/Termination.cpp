#include "Termination.h"

#include <wire/BusLoss.h>

#include <QCoreApplication>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace platformd
{

namespace
{

int openSignals()
{
    sigset_t wanted;
    sigemptyset(&wanted);
    sigaddset(&wanted, SIGTERM);
    sigaddset(&wanted, SIGINT);
    pthread_sigmask(SIG_BLOCK, &wanted, nullptr);
    const int descriptor = signalfd(-1, &wanted, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor < 0)
    {
        qFatal("no descriptor for the signals that end the process: %s", qPrintable(qt_error_string(errno)));
    }
    return descriptor;
}

} // namespace

Termination::Termination()
    : m_descriptor(openSignals())
{
    auto* notifier = new QSocketNotifier(m_descriptor, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [] { QCoreApplication::exit(0); });
    zemo::wire::watchForLoss(QDBusConnection::systemBus(), this, SLOT(busLost()));
}

Termination::~Termination()
{
    close(m_descriptor);
}

void Termination::busLost()
{
    qCritical("the system bus went away");
    QCoreApplication::exit(1);
}

} // namespace platformd
