#pragma once

#include "ModbusReadings.h"
#include "Scenario.h"

#include <zemo/AlarmInfo.h>
#include <zemo/ChangeLogEntry.h>
#include <zemo/DataValue.h>
#include <zemo/Metadata.h>
#include <zemo/PanelText.h>
#include <zemo/PowerLogRecord.h>

#include <QHash>
#include <QList>
#include <QMap>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <memory>
#include <optional>

namespace platformd
{

/// The platform that is played: a scenario, and what has been steered away from it. Answers with the contract's
/// records and knows nothing of the bus. For one thread.
class Platform : public QObject
{
    Q_OBJECT

public:
    /// Seconds since 1970-01-01 UTC.
    using Clock = std::function<qint64()>;

    /// `scenario` is not null.
    Platform(std::shared_ptr<const Scenario> scenario, Clock clock, QObject* parent = nullptr);

    // What the clients ask for. The locale "default" is the present language; unknown ids have no entry.
    QMap<int, zemo::data::DataValue> values(const QList<int>& ids) const;
    QMap<int, zemo::data::Metadata> metadata(const QList<int>& ids, const QString& locale) const;
    QMap<int, zemo::data::Metadata> defaultLog(const QString& locale) const;
    /// Every parameter whose register kind is not 0.
    QMap<int, zemo::data::Metadata> modbusParams(const QString& locale) const;
    /// The newest `count` changes, newest first; none for a count below 1.
    QList<zemo::data::ChangeLogEntry> changeLog(int count, const QString& locale) const;
    /// The newest `count` alarms, newest first; none for a count below 1.
    QList<zemo::system::AlarmInfo> alarms(int count, const QString& locale) const;
    QMap<unsigned int, zemo::localization::PanelText> texts(const QList<unsigned int>& ids,
                                                            const QString& locale) const;
    QList<zemo::data::PowerLogRecord> hourlyPower() const;
    QList<zemo::data::PowerLogRecord> quarterlyPower() const;
    /// Both ends of a period belong to it.
    QList<zemo::data::PowerLogRecord> hourlyPower(qint64 start, qint64 end) const;
    QList<zemo::data::PowerLogRecord> quarterlyPower(qint64 start, qint64 end) const;
    const QByteArray& settings() const;
    /// Takes the settings over, if the scenario accepts restores; raises both restore signals either way.
    bool restore(const QByteArray& settings);
    const QString& serial() const;
    const QString& deviceName() const;
    /// In the order of their insertion.
    const QStringList& drives() const;

    // What steers it. Each answers what is wrong, in words, and then has changed nothing; an empty string is success.
    QString insertDrive(const QString& path);
    QString removeDrive(const QString& path);
    /// What is mounted: those that are new are inserted and those that are gone removed, and a replaced scenario leaves
    /// them as they are.
    void setMounted(const QStringList& paths);
    /// Holds `value`, an integer or, for a parameter of strings, a string, in place of the signal.
    QString setValue(int id, const QVariant& value);
    QString releaseValue(int id);
    /// Leaves the parameter without a value until setValue or releaseValue.
    QString dropValue(int id);
    QString setDefaultLog(const QList<int>& ids);
    QString setLanguage(const QString& locale);
    /// Everything is as after a start with this scenario; drives that differ come and go with their signals.
    void replaceScenario(std::shared_ptr<const Scenario> scenario);

signals:
    void driveInserted(const QString& path);
    void driveRemoved(const QString& path);
    void restoreSettingsStarted();
    void restoreSettingsFinished(bool ok);

private:
    void takeOver();
    void exchangeDrives(const QStringList& drives);
    QString localeName(const QString& locale) const;
    QString refuseUnknown(int id) const;
    /// Nothing for what a device has no value of.
    std::optional<zemo::data::DataValue> valueOf(const Parameter& parameter, qint64 time) const;
    std::optional<qint64> numberOf(const Parameter& parameter, qint64 time) const;

    Clock m_clock;
    std::shared_ptr<const Scenario> m_scenario;
    QString m_language;
    QByteArray m_settings;
    QStringList m_drives;
    QStringList m_mounted;
    QSet<int> m_defaultLog;
    std::unique_ptr<ModbusReadings> m_readings;
    QHash<int, QVariant> m_held; ///< in place of the signal: qint64 or QString
    QSet<int> m_dropped;
};

} // namespace platformd
