#include "EndSignals.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace zemo::shell
{

namespace
{

std::atomic<int> wakeDescriptor = -1;

// Nothing but what a signal handler may do: the event loop does the rest.
void wake(int /*number*/)
{
    const int kept = errno;
    const char byte = 0;
    // A full pipe has woken the event loop already.
    [[maybe_unused]] const ssize_t written = write(wakeDescriptor, &byte, 1);
    errno = kept;
}

} // namespace

EndSignals::EndSignals()
{
    if (pipe2(m_pipe.data(), O_CLOEXEC | O_NONBLOCK) != 0)
    {
        qFatal("no pipe for the signals that end the process: %s", qPrintable(qt_error_string(errno)));
    }
    wakeDescriptor = m_pipe[1];
    m_notifier = new QSocketNotifier(m_pipe[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &EndSignals::drain);
    struct sigaction action = {};
    action.sa_handler = wake;
    action.sa_flags = SA_RESTART;
    for (size_t place = 0; place < numbers.size(); ++place)
    {
        sigaction(numbers[place], &action, &m_previous[place]);
    }
}

EndSignals::~EndSignals()
{
    for (size_t place = 0; place < numbers.size(); ++place)
    {
        sigaction(numbers[place], &m_previous[place], nullptr);
    }
    wakeDescriptor = -1;
    m_notifier->setEnabled(false);
    close(m_pipe[0]);
    close(m_pipe[1]);
}

void EndSignals::drain()
{
    char byte = 0;
    while (read(m_pipe[0], &byte, 1) > 0)
    {
    }
    emit received();
}

} // namespace zemo::shell
