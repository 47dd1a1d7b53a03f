#pragma once

#include <zemo/AlarmInfo.h>
#include <zemo/ChangeLogEntry.h>
#include <zemo/DataValue.h>
#include <zemo/ExecutionQueue.h>
#include <zemo/Metadata.h>
#include <zemo/PanelText.h>
#include <zemo/PowerLogRecord.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QList>
#include <QMap>
#include <QSet>
#include <QStringList>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

/// The platform's services on the bus of the process, on a thread and a connection of their own, with the fields of the
/// FakePlatform. Fields are set before the first call, or with lock().
class ServiceDouble : public QDBusVirtualObject
{
public:
    ServiceDouble();
    ~ServiceDouble() override;

    QString serial = QStringLiteral("123456");
    QString deviceName = QStringLiteral("Pump station 7");
    QMap<int, zemo::data::Metadata> metadata;
    QMap<int, zemo::data::DataValue> values;
    QList<int> defaultLog;
    QList<int> modbusParams;
    QList<zemo::data::ChangeLogEntry> changeLog;
    QMap<unsigned int, QString> texts;
    QList<zemo::system::AlarmInfo> alarms;
    QList<zemo::data::PowerLogRecord> hourlyPower;
    QList<zemo::data::PowerLogRecord> quarterlyPower;
    QByteArray settings;
    bool acceptRestore = true;
    QStringList drives;

    struct Call
    {
        std::string operation;
        QList<int> ids;
        QString locale;
        long long first = 0;
        long long second = 0;
    };
    std::vector<Call> calls();
    QByteArray restoredSettings();

    /// The drive list changes and the signal goes out.
    void insertDrive(const QString& path);
    void removeDrive(const QString& path);
    void emitRestoreStarted();
    void emitRestoreFinished(bool ok);

    /// Takes and gives up the name on the bus. It is there at first.
    void appear();
    void vanish();
    /// Loses the connection, as a process that crashes does, and makes a new one.
    void die();
    void live();
    /// How an operation answers from now on.
    void fail(const QString& operation);
    void beSilent(const QString& operation);
    void answerOddly(const QString& operation, const QVariant& answer);
    void recover(const QString& operation);

    void lock();
    void unlock();

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    void fillAnswers();
    QVariant textsOf(const QList<int>& ids) const;
    void send(const QString& signal, const QVariantList& arguments);

    std::recursive_mutex m_mutex;
    QMap<QString, std::function<QVariant(const Call&)>> m_answers;
    std::vector<Call> m_calls;
    QByteArray m_restored;
    QSet<QString> m_failing;
    QSet<QString> m_silent;
    QMap<QString, QVariant> m_odd;
    QDBusConnection m_bus;
    zemo::ExecutionQueue m_thread;
};
