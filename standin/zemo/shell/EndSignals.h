#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <array>
#include <csignal>

namespace zemo::shell
{

/// Turns SIGTERM and SIGINT into a Qt signal on the thread that made it, as long as it lives. One at a time. They
/// remain unblocked, so that programs started by the process can be ended as usual.
class EndSignals : public QObject
{
    Q_OBJECT

public:
    EndSignals();
    ~EndSignals() override;

signals:
    void received();

private:
    static constexpr std::array<int, 2> numbers = {SIGTERM, SIGINT};

    void drain();

    std::array<int, 2> m_pipe = {-1, -1};
    std::array<struct sigaction, numbers.size()> m_previous = {};
    QSocketNotifier* m_notifier;
};

} // namespace zemo::shell
