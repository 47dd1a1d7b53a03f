#include "FakeClock.h"

#include <QSaveFile>

namespace
{

QString clockFile(const Scratch& scratch)
{
    return scratch.root() + QLatin1String("/run/clock");
}

void preload(Daemon& daemon)
{
    daemon.setEnvironment(QStringLiteral("LD_PRELOAD"), QStringLiteral(ZEMO_FAKETIME));
    // The daemon's files would be read with times that their writer never saw.
    daemon.setEnvironment(QStringLiteral("NO_FAKE_STAT"), QStringLiteral("1"));
}

} // namespace

void fakeClock::runFrom(Daemon& daemon, const QDateTime& start, int speed)
{
    preload(daemon);
    const QString text = start.toString(QStringLiteral("@yyyy-MM-dd hh:mm:ss"));
    daemon.setEnvironment(QStringLiteral("FAKETIME"), QStringLiteral("%1 x%2").arg(text).arg(speed));
}

void fakeClock::steer(Daemon& daemon, const Scratch& scratch)
{
    preload(daemon);
    set(scratch, QDateTime::currentDateTime());
    daemon.setEnvironment(QStringLiteral("FAKETIME_TIMESTAMP_FILE"), clockFile(scratch));
    daemon.setEnvironment(QStringLiteral("FAKETIME_NO_CACHE"), QStringLiteral("1"));
    daemon.setEnvironment(QStringLiteral("FAKETIME_DONT_FAKE_MONOTONIC"), QStringLiteral("1"));
}

void fakeClock::set(const Scratch& scratch, const QDateTime& now)
{
    const double offset = static_cast<double>(QDateTime::currentDateTime().msecsTo(now)) / 1000;
    QSaveFile file(clockFile(scratch));
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(QByteArray::number(offset, 'f', 3).prepend(offset < 0 ? "" : "+")) < 0 || !file.commit())
        qFatal("can't set the clock");
}
