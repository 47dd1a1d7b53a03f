#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

namespace zemo::hardware
{

/// The USB drives of the controller. Made by the program, as many as it likes, each on a thread with an event loop;
/// signals are raised there. Drives that are present when it is made are not reported by a signal; those are that
/// appear with a service that comes up later or comes back.
class UsbClient : public QObject
{
    Q_OBJECT

public:
    explicit UsbClient(QObject* parent);
    ~UsbClient() override;

    /// Mount points of the drives that are present, without a trailing separator. Blocking, from any thread.
    QStringList getUsbDrives();

signals:
    void driveInserted(QString path);
    void driveRemoved(QString path);
};

} // namespace zemo::hardware
