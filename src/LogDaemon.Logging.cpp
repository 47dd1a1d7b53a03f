#include "LogDaemon.Logging.h"

#include "LogDaemon.h"
#include "Trace.h"
#include "logging/FileLogger.h"
#include "logging/SoftHyphens.h"

#include <zemo/AlarmsClient.h>
#include <zemo/DataFormat.h>
#include <zemo/DataManagementClient.h>
#include <zemo/MenusClient.h>

#include <QTextStream>

using zemo::data::ChangeLogEntry;
using zemo::data::DataManagementClient;

namespace
{

QStringList titlesInCurrentLanguage(const QList<unsigned int>& objL_ids)
{
    return columnTitles(zemo::menus::MenusClient::instance->getTexts(objL_ids, QStringLiteral("default")), objL_ids);
}

QString registerKindText(uint8_t u8L_kind)
{
    switch (u8L_kind)
    {
    case zemo::data::ModbusNoRegister:
        return QStringLiteral("MODBUS_NO_REGISTER");
    case zemo::data::ModbusHoldingRegister:
        return QStringLiteral("MODBUS_HOLDING_REGISTER");
    case zemo::data::ModbusInputRegister:
        return QStringLiteral("MODBUS_INPUT_REGISTER");
    default:
        return QStringLiteral("ERR_UNKNOWN");
    }
}

// A parameter without a text of its own is called by its id, as "id:4711".
bool hasOwnName(const Metadata& objL_parameter)
{
    const QString& objL_name = objL_parameter.name.text();
    return !objL_name.isEmpty() && !objL_name.startsWith(QLatin1String("id:"));
}

QStringList integerFields(const Metadata& objL_parameter)
{
    if (objL_parameter.varType != zemo::data::VarTypeInteger)
    {
        return QStringList(4, QStringLiteral("-"));
    }
    return {QString::fromUtf8(datamgmt_integerSizeToString(objL_parameter.varSize)),
            QString::number(objL_parameter.numericAttr1), QString::number(objL_parameter.numericAttr2),
            QString::number(objL_parameter.numericAttr3)};
}

QString modbusRow(const Metadata& objL_parameter)
{
    const QStringList objL_fields{
        withoutSoftHyphens(objL_parameter.name.text()), registerKindText(objL_parameter.registerKind),
        QString::number(objL_parameter.modbusAddress), QString::number(objL_parameter.auxByte), objL_parameter.unit};
    return (objL_fields + integerFields(objL_parameter)).join(QLatin1Char('\t')) + QLatin1Char('\n');
}

void writeModbusTable(QTextStream& objL_stream, const QMap<int32_t, Metadata>& objL_parameters)
{
    static const QList<unsigned int> objS_titleIds{59005, 59006, 59007, 59008, 59009, 59010, 59011, 59012, 59013};
    objL_stream << titlesInCurrentLanguage(objS_titleIds).join(QLatin1Char('\t')) << "\t\n";
    for (const Metadata& objL_parameter : objL_parameters)
    {
        if (hasOwnName(objL_parameter))
        {
            objL_stream << modbusRow(objL_parameter);
        }
    }
}

// True unless the stream knew of a failure before its last text was flushed.
bool writeModbusFile(QFile& objL_file, const QMap<int32_t, Metadata>& objL_parameters)
{
    if (!objL_file.open(QIODevice::WriteOnly | QIODevice::Truncate))
    {
        return false;
    }
    QTextStream objL_stream(&objL_file);
    objL_stream.setEncoding(QStringConverter::Utf8);
    writeModbusTable(objL_stream, objL_parameters);
    return objL_stream.status() == QTextStream::Ok;
}

QString changedParameterName(const Metadata& objL_parameter)
{
    return objL_parameter.name.panelNbr() != 0 ? withoutSoftHyphens(objL_parameter.name.text()) : QStringLiteral("-");
}

QString changedValueText(const ChangeLogEntry& objL_entry)
{
    const uint8_t u8L_type = objL_entry.metadata.varType;
    const bool bL_text = u8L_type == zemo::data::VarTypeString || u8L_type == zemo::data::VarTypeLongString;
    return bL_text ? objL_entry.value.getStringValue() : QString::number(objL_entry.value.getIntValue());
}

QString changeLogRow(const ChangeLogEntry& objL_entry)
{
    const QStringList objL_fields{dateTimeText(zemo::time::DateTime(&objL_entry.timestamp)),
                                  changedParameterName(objL_entry.metadata), QString::number(objL_entry.metadata.varId),
                                  changedValueText(objL_entry)};
    return objL_fields.join(QLatin1Char('\t')) + QLatin1String("\t\n");
}

void writeAlarm(QTextStream& objL_stream, const zemo::system::AlarmInfo& objL_alarm)
{
    objL_stream << dateTimeText(objL_alarm.getTime()) << '\t' << objL_alarm.getName().text() << '('
                << objL_alarm.getNumber() << ")\t" << objL_alarm.getSource().text() << Qt::endl;
    for (const zemo::system::AlarmExtraInfo& objL_extra : objL_alarm.getExtraInfo())
    {
        objL_stream << '\t' << objL_extra.label.text() << ": " << objL_extra.value.text() << Qt::endl;
    }
}

} // namespace

int writeModbusLogToCSV(zemo::hardware::UsbClient* client, const QString& prefix,
                        const QMap<int32_t, Metadata>& parameters)
{
    const QStringList objL_drives = client->getUsbDrives();
    if (objL_drives.isEmpty())
    {
        return ExportNoDrive;
    }
    QFile objL_file(
        FileLogger::getLogFileName(objL_drives.first(), datedBaseName(prefix), QStringLiteral(".csv")).first);
    const bool bL_written = writeModbusFile(objL_file, parameters);
    if (!bL_written)
    {
        ZEMO_TRACE(LogDaemon::traceModule(), 4, "Writing to '%s' failed", qUtf8Printable(objL_file.fileName()));
    }
    // Ahead of the close, with the stream's text already handed to the system.
    syncFileSystem();
    return bL_written ? ExportDone : ExportFileFailed;
}

int writeChangeLog(QIODevice* device, const QList<ChangeLogEntry>& entries)
{
    static const QList<unsigned int> objS_titleIds{59015, 59017, 59014, 59016};
    QTextStream objL_stream(device);
    objL_stream.setEncoding(QStringConverter::Utf8);
    objL_stream << titlesInCurrentLanguage(objS_titleIds).join(QLatin1Char('\t')) << '\n';
    for (const ChangeLogEntry& objL_entry : entries)
    {
        objL_stream << changeLogRow(objL_entry);
    }
    return objL_stream.status() == QTextStream::Ok ? ExportDone : ExportFileFailed;
}

bool LogDaemon::saveModbusStateToUsb()
{
    const QMap<int32_t, Metadata> objL_parameters =
        DataManagementClient::instance->getModbusParams(QStringLiteral("default"));
    return writeModbusLogToCSV(usbClient, QStringLiteral("modbus_addresses_all_"), objL_parameters) == ExportDone;
}

bool LogDaemon::saveModbusMostUsedToUsb()
{
    QMap<int32_t, Metadata> objL_parameters = DataManagementClient::instance->getDefaultLog(QStringLiteral("default"));
    objL_parameters.removeIf([](const auto& objL_entry)
                             { return objL_entry.value().registerKind == zemo::data::ModbusNoRegister; });
    return writeModbusLogToCSV(usbClient, QStringLiteral("modbus_addresses_default_"), objL_parameters) == ExportDone;
}

bool LogDaemon::saveChangeLogToUsb(QString objL_path)
{
    const DataManagementClient* objL_client = DataManagementClient::instance;
    if (!objL_client)
    {
        return false;
    }
    const LogFilePtr objL_file = openLogFile(QStringLiteral("changeLog_"), QStringLiteral(".csv"), objL_path);
    if (!objL_file)
    {
        return false;
    }
    // Rows are English on purpose, also where the titles are not.
    return writeChangeLog(objL_file.get(), objL_client->getChangeLog(10000, QStringLiteral("en_GB"))) == ExportDone;
}

bool LogDaemon::saveAlarmLogToUsb(int iL_count, QString objL_path)
{
    const LogFilePtr objL_file = openLogFile(QStringLiteral("alarms_"), QStringLiteral(".txt"), objL_path);
    if (!objL_file)
    {
        return false;
    }
    QTextStream objL_stream(objL_file.get());
    objL_stream.setEncoding(QStringConverter::Utf8);
    for (const zemo::system::AlarmInfo& objL_alarm :
         zemo::system::AlarmsClient::instance->getAlarms(iL_count, 0, QStringLiteral("default")))
    {
        writeAlarm(objL_stream, objL_alarm);
    }
    return true;
}
