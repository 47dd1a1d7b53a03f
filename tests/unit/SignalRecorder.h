#pragma once

#include "UnitBus.h"

#include <QObject>
#include <QStringList>

/// Keeps what comes over the bus from the daemon's object, as name and arguments, and who sent it last.
class SignalRecorder : public QObject
{
    Q_OBJECT

public:
    SignalRecorder()
    {
        UnitBus::instance().client().connect({}, QStringLiteral("/Logging"), QStringLiteral("com.tarn.zemo.logd"), {},
                                             this, SLOT(record(QDBusMessage)));
    }

    QStringList seen;
    QString sender;

private slots:
    void record(const QDBusMessage& message)
    {
        QStringList parts{message.member()};
        for (const QVariant& argument : message.arguments())
        {
            parts.append(argument.toString());
        }
        seen.append(parts.join(' '));
        sender = message.service();
    }
};
