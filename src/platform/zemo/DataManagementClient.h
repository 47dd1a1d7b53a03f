#pragma once

#include <zemo/ChangeLogEntry.h>
#include <zemo/DataValue.h>
#include <zemo/Metadata.h>

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QObject>
#include <QString>

namespace zemo::data
{

/// The platform's parameters and settings. Every call blocks until the service has answered and may come from any
/// thread. An answer that cannot be had is an empty result, never an exception: at once if the service is absent or
/// fails, after some seconds if it is silent. A locale is a name such as "en_GB", or "default" for the language that
/// the platform is set to. Signals are raised on the object's thread.
class DataManagementClient : public QObject
{
    Q_OBJECT

public:
    explicit DataManagementClient(QObject* parent = nullptr);

    /// Set up by ZemoApplication::startFunctionality, gone with the application object.
    static DataManagementClient* instance;

    /// Present values by id; an id without a value is missing.
    QMap<int, DataValue> getValues(const QList<int>& ids) const;
    /// Descriptions by id; an unknown id is missing.
    QMap<int, Metadata> getMetadata(const QList<int>& ids, const QString& locale) const;
    /// The platform's default set of logged parameters.
    QMap<int, Metadata> getDefaultLog(const QString& locale) const;
    /// Every parameter that is reachable over Modbus.
    QMap<int, Metadata> getModbusParams(const QString& locale) const;
    /// At most `count` parameter changes, in the order in which they are to be shown.
    QList<ChangeLogEntry> getChangeLog(int count, const QString& locale) const;
    /// The controller's settings as an opaque blob; empty on failure. `saveType` is the service's own.
    QByteArray saveSettings(unsigned int saveType) const;
    /// Hands a blob back to the controller; true means accepted, not yet carried out.
    bool restoreSettings(const QByteArray& settings);

signals:
    /// The service has begun a restore, whoever asked for it, and has ended it, with its outcome.
    void restoreSettingsStarted();
    void restoreSettingsFinished(bool ok);
};

} // namespace zemo::data
