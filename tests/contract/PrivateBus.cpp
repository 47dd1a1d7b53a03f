#include "PrivateBus.h"

#include <QDir>

#include <stdexcept>

PrivateBus::PrivateBus()
{
    m_process.start(QStringLiteral(ZEMO_SOURCE_DIR "/tools/private-bus"), {QDir::tempPath()});
    while (!m_process.canReadLine())
    {
        if (!m_process.waitForReadyRead(10000))
        {
            throw std::runtime_error("no private bus: " + m_process.readAllStandardError().toStdString());
        }
    }
    m_address = QString::fromLocal8Bit(m_process.readLine()).trimmed();
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_address.toLocal8Bit());
}

PrivateBus::~PrivateBus()
{
    kill();
}

const QString& PrivateBus::address() const
{
    return m_address;
}

void PrivateBus::kill()
{
    m_process.kill();
    m_process.waitForFinished();
}
