#pragma once

#include <QObject>

namespace platformd
{

/// Ends the event loop: with 0 on SIGTERM and SIGINT, with 1 when the system bus goes away. Made once, on the main
/// thread, before there are others: threads that exist already would go on to die of the signals.
class Termination : public QObject
{
    Q_OBJECT

public:
    Termination();
    ~Termination() override;

private slots:
    void busLost();

private:
    int m_descriptor;
};

} // namespace platformd
