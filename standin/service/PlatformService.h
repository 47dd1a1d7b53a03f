#pragma once

#include "Operations.h"
#include "Platform.h"

#include <wire/Records.h>

#include <QByteArray>
#include <QDBusContext>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

namespace platformd
{

/// The object that the clients call: each slot is the operation of that name, answered from the platform, late or with
/// an error where the operation has been told so. A late answer holds what was true at the call, and holds up nobody
/// else.
class PlatformService : public QObject, protected QDBusContext
{
    Q_OBJECT

public:
    /// Both outlive the service.
    PlatformService(Platform& platform, Operations& operations, QObject* parent = nullptr);

    /// The names of the operations.
    static QStringList operationNames();

    /// The ids of the last getValues.
    const QList<int>& lastIds() const;

public slots:
    zemo::wire::Values getValues(const QList<int>& ids);
    zemo::wire::Parameters getMetadata(const QList<int>& ids, const QString& locale);
    zemo::wire::Parameters getDefaultLog(const QString& locale);
    zemo::wire::Parameters getModbusParams(const QString& locale);
    zemo::wire::Changes getChangeLog(int count, const QString& locale);
    QByteArray saveSettings(uint saveType);
    bool restoreSettings(const QByteArray& settings);
    zemo::wire::PowerRecords GetHourly();
    zemo::wire::PowerRecords GetQuarterly();
    zemo::wire::PowerRecords GetHourlyForPeriod(qlonglong start, qlonglong end);
    zemo::wire::PowerRecords GetQuarterlyForPeriod(qlonglong start, qlonglong end);
    QStringList getUsbDrives();
    zemo::wire::Texts getTexts(const QList<uint>& ids, const QString& locale);
    QString getSerial();
    QString getDeviceName();
    zemo::wire::Alarms getAlarms(int count, int kind, const QString& locale);

signals:
    void restoreSettingsStarted();
    void restoreSettingsFinished(bool ok);
    void driveInserted(const QString& path);
    void driveRemoved(const QString& path);

private:
    template <typename Answer> auto serve(const char* operation, Answer answer) -> decltype(answer());
    void answerLater(const QVariant& result, quint32 milliseconds);

    Platform& m_platform;
    Operations& m_operations;
    QList<int> m_lastIds;
};

} // namespace platformd
