#pragma once

#include "Operations.h"
#include "Platform.h"
#include "PlatformService.h"

#include <QDBusContext>
#include <QDBusVariant>
#include <QList>
#include <QObject>
#include <QString>

namespace platformd
{

/// The object that steers the platform; com.tarn.zemo.platform.Control.xml beside this file is its description.
class ControlService : public QObject, protected QDBusContext
{
    Q_OBJECT

public:
    /// All three outlive this.
    ControlService(Platform& platform, Operations& operations, PlatformService& service, QObject* parent = nullptr);

public slots:
    void insertDrive(const QString& path);
    void removeDrive(const QString& path);
    void setValue(int id, const QDBusVariant& value);
    void releaseValue(int id);
    void dropValue(int id);
    void setDefaultLog(const QList<int>& ids);
    void setLanguage(const QString& locale);
    void setDelay(const QString& operation, uint milliseconds);
    void setFailure(const QString& operation, bool fails);
    uint callCount(const QString& operation);
    QList<int> lastIds();
    void load(const QString& path);

private:
    void answer(const QString& mistake);
    bool knows(const QString& operation);

    Platform& m_platform;
    Operations& m_operations;
    PlatformService& m_service;
};

} // namespace platformd
