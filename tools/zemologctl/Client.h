#pragma once

#include "Commands.h"
#include "Output.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QObject>

#include <optional>
#include <string>

/// Talks to the daemon for one command.
class Client : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        bool wait = false;
        int timeoutMs = 600000;
    };

    Client(const Output& output, const Options& options);

    /// Runs the command to its end and gives the exit code.
    int run(const Command& command, const Given& given);

private slots:
    void onBusGone();
    void onFinished(const QDBusMessage& message);
    void onSignal(const QDBusMessage& message);

private:
    int call(const Command& command, const QVariantList& arguments);
    int follow(const Command& command);
    int monitor();
    int fail(const QDBusMessage& reply) const;
    bool listenFor(const QString& signal, const char* slot);
    bool listenForEnd(const Command& command);
    int deaf() const;
    void lose(const std::string& what);
    void showProgress(const Command& command);

    const Output& m_output;
    Options m_options;
    QDBusConnection m_bus;
    QElapsedTimer m_clock;
    QEventLoop m_loop;                ///< runs while a signal is waited for
    std::optional<bool> m_finishedOk; ///< what the awaited signal said
    std::string m_loss;               ///< what went away, for people
};
