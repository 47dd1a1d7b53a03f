#include "ServiceDouble.h"

#include <wire/Names.h>
#include <wire/Records.h>

#include <QDeadlineTimer>

#include <thread>

using namespace zemo;

namespace
{

const QString connectionName = QStringLiteral("services");

QList<int> numbers(const QDBusArgument& argument)
{
    if (argument.currentSignature() == QLatin1String("ai"))
    {
        return qdbus_cast<QList<int>>(argument);
    }
    const auto unsignedNumbers = qdbus_cast<QList<uint>>(argument);
    return {unsignedNumbers.begin(), unsignedNumbers.end()};
}

// Every operation has at most one list, one text and two numbers.
ServiceDouble::Call callOf(const QDBusMessage& message)
{
    ServiceDouble::Call call{message.member().toStdString(), {}, {}};
    QList<long long> plainNumbers;
    const QVariantList arguments = message.arguments();
    for (const QVariant& argument : arguments)
    {
        if (argument.userType() == qMetaTypeId<QDBusArgument>())
        {
            call.ids = numbers(argument.value<QDBusArgument>());
        }
        else if (argument.userType() == QMetaType::QString)
        {
            call.locale = argument.toString();
        }
        else
        {
            plainNumbers.append(argument.toLongLong());
        }
    }
    call.first = plainNumbers.value(0);
    call.second = plainNumbers.value(1);
    return call;
}

template <class Map, class Ids> Map pick(const Map& all, const Ids& ids)
{
    Map picked;
    for (auto id : ids)
    {
        if (all.contains(id))
        {
            picked.insert(id, all[id]);
        }
    }
    return picked;
}

template <class Records> QVariant columns(const Records& records)
{
    return QVariant::fromValue(wire::toWire(records));
}

QVariant pickPeriod(const QList<data::PowerLogRecord>& records, long long start, long long end)
{
    QList<data::PowerLogRecord> picked;
    for (const data::PowerLogRecord& record : records)
    {
        if (record.timestamp >= start && record.timestamp <= end)
        {
            picked.append(record);
        }
    }
    return columns(picked);
}

} // namespace

ServiceDouble::ServiceDouble()
    : m_bus(QString())
{
    wire::registerTypes();
    fillAnswers();
    moveToThread(&m_thread);
    live();
}

ServiceDouble::~ServiceDouble()
{
    die();
    // An object goes on its own thread or where that thread is known to stand still.
    m_thread.quit();
    m_thread.wait();
}

std::vector<ServiceDouble::Call> ServiceDouble::calls()
{
    const std::lock_guard guard(*this);
    return m_calls;
}

QByteArray ServiceDouble::restoredSettings()
{
    const std::lock_guard guard(*this);
    return m_restored;
}

void ServiceDouble::insertDrive(const QString& path)
{
    const std::lock_guard guard(*this);
    drives.append(path);
    send(QStringLiteral("driveInserted"), {path});
}

void ServiceDouble::removeDrive(const QString& path)
{
    const std::lock_guard guard(*this);
    drives.removeAll(path);
    send(QStringLiteral("driveRemoved"), {path});
}

void ServiceDouble::emitRestoreStarted()
{
    send(QStringLiteral("restoreSettingsStarted"), {});
}

void ServiceDouble::emitRestoreFinished(bool ok)
{
    send(QStringLiteral("restoreSettingsFinished"), {ok});
}

void ServiceDouble::appear()
{
    m_bus.registerService(wire::serviceName);
}

void ServiceDouble::vanish()
{
    m_bus.unregisterService(wire::serviceName);
}

void ServiceDouble::live()
{
    m_bus = QDBusConnection::connectToBus(QString::fromLocal8Bit(qgetenv("DBUS_SYSTEM_BUS_ADDRESS")), connectionName);
    m_bus.registerVirtualObject(wire::objectPath, this);
    // The bus may still have to see that the connection before is gone, and to it the name belongs until then.
    for (const QDeadlineTimer end(10000); !m_bus.registerService(wire::serviceName) && !end.hasExpired();)
    {
        std::this_thread::yield();
    }
}

void ServiceDouble::die()
{
    m_bus.unregisterObject(wire::objectPath);
    QDBusConnection::disconnectFromBus(connectionName);
    // The connection itself goes with the last that holds it.
    m_bus = QDBusConnection(QString());
}

void ServiceDouble::fail(const QString& operation)
{
    const std::lock_guard guard(*this);
    m_failing.insert(operation);
}

void ServiceDouble::beSilent(const QString& operation)
{
    const std::lock_guard guard(*this);
    m_silent.insert(operation);
}

void ServiceDouble::answerOddly(const QString& operation, const QVariant& answer)
{
    const std::lock_guard guard(*this);
    m_odd.insert(operation, answer);
}

void ServiceDouble::recover(const QString& operation)
{
    const std::lock_guard guard(*this);
    m_failing.remove(operation);
    m_silent.remove(operation);
    m_odd.remove(operation);
}

void ServiceDouble::lock()
{
    m_mutex.lock();
}

void ServiceDouble::unlock()
{
    m_mutex.unlock();
}

QString ServiceDouble::introspect(const QString& /*path*/) const
{
    return {};
}

bool ServiceDouble::handleMessage(const QDBusMessage& message, const QDBusConnection& connection)
{
    const std::lock_guard guard(*this);
    const QString operation = message.member();
    m_calls.push_back(callOf(message));
    if (operation == QLatin1String("restoreSettings"))
    {
        m_restored = message.arguments().at(0).toByteArray();
    }
    const QVariant result = m_answers[operation](m_calls.back());
    if (m_failing.contains(operation))
    {
        return connection.send(message.createErrorReply(QDBusError::Failed, QStringLiteral("as asked")));
    }
    if (!m_silent.contains(operation))
    {
        connection.send(message.createReply(m_odd.value(operation, result)));
    }
    return true;
}

QVariant ServiceDouble::textsOf(const QList<int>& ids) const
{
    QMap<unsigned int, localization::PanelText> found;
    for (int id : ids)
    {
        const auto text = texts.constFind(static_cast<unsigned int>(id));
        if (text != texts.cend())
        {
            found.insert(text.key(), localization::PanelText(text.value()));
        }
    }
    return columns(found);
}

void ServiceDouble::fillAnswers()
{
    const auto on = [this](const char* operation, std::function<QVariant(const Call&)> answer)
    { m_answers.insert(QString::fromLatin1(operation), std::move(answer)); };
    on("getValues", [this](const Call& call) { return columns(pick(values, call.ids)); });
    on("getMetadata", [this](const Call& call) { return columns(pick(metadata, call.ids)); });
    on("getDefaultLog", [this](const Call&) { return columns(pick(metadata, defaultLog)); });
    on("getModbusParams", [this](const Call&) { return columns(pick(metadata, modbusParams)); });
    on("getChangeLog", [this](const Call& call) { return columns(changeLog.mid(0, call.first)); });
    on("saveSettings", [this](const Call&) { return QVariant(settings); });
    on("restoreSettings", [this](const Call&) { return QVariant(acceptRestore); });
    on("GetHourly", [this](const Call&) { return columns(hourlyPower); });
    on("GetQuarterly", [this](const Call&) { return columns(quarterlyPower); });
    on("GetHourlyForPeriod", [this](const Call& call) { return pickPeriod(hourlyPower, call.first, call.second); });
    on("GetQuarterlyForPeriod",
       [this](const Call& call) { return pickPeriod(quarterlyPower, call.first, call.second); });
    on("getUsbDrives", [this](const Call&) { return QVariant(drives); });
    on("getTexts", [this](const Call& call) { return textsOf(call.ids); });
    on("getSerial", [this](const Call&) { return QVariant(serial); });
    on("getDeviceName", [this](const Call&) { return QVariant(deviceName); });
    on("getAlarms", [this](const Call& call) { return columns(alarms.mid(0, call.first)); });
}

void ServiceDouble::send(const QString& signal, const QVariantList& arguments)
{
    QDBusMessage message = QDBusMessage::createSignal(wire::objectPath, wire::interfaceName, signal);
    message.setArguments(arguments);
    m_bus.send(message);
}
