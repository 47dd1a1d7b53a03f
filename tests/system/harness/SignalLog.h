#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QVariantList>

/// A signal as it came over the bus.
struct BusSignal
{
    QString name;
    QVariantList arguments;
    QString sender;
};

/// Keeps every signal of an interface, whoever sends it, in the order of arrival.
class SignalLog : public QObject
{
    Q_OBJECT

public:
    /// Listens from now on.
    SignalLog(const QDBusConnection& connection, const QString& path, const QString& interface);

    const QList<BusSignal>& all() const;
    QStringList names() const;
    qsizetype count(const QString& name) const;

    /// The arguments of the latest signal of that name, none when there was none.
    QVariantList lastArguments(const QString& name) const;

    /// Waits until there have been that many of them since the log was made or cleared.
    [[nodiscard]] bool waitFor(const QString& name, qsizetype count = 1) const;

    void clear();

private slots:
    void record(const QDBusMessage& message);

private:
    QList<BusSignal> received;
};
