#pragma once

#include <QObject>
#include <QThread>

namespace zemo
{

/// A thread with an event loop that runs from construction to destruction. The destructor waits for the work that is
/// under way and handles pending deleteLater calls of objects that live there.
class ExecutionQueue : public QThread
{
    Q_OBJECT

public:
    ExecutionQueue();
    ~ExecutionQueue() override;

    /// An object that lives on the queue's thread, the receiver for work handed to it.
    QObject* context() const;

private:
    QObject* m_context;
};

} // namespace zemo
