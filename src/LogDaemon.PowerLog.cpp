#include "LogDaemon.h"
#include "Trace.h"

#include <zemo/MenusClient.h>
#include <zemo/PowerLogClient.h>

#include <QDateTime>
#include <QTextStream>

#include <chrono>
#include <cmath>
#include <mutex>
#include <system_error>
#include <thread>
#include <tuple>
#include <utility>

using zemo::data::PowerLogClient;
using zemo::data::PowerLogRecord;

namespace
{

std::mutex exportMutex;    // no rank: nothing else is taken under it
bool exportActive = false; // from the acceptance of an export until its thread has finished

// Date, the three values, total.
constexpr uint32_t au32S_titleIds[] = {59023, 59024, 59025, 59026, 59027};

QList<unsigned int> titleIds()
{
    return {std::begin(au32S_titleIds), std::end(au32S_titleIds)};
}

long long millisecondsSince(std::chrono::system_clock::time_point objL_start)
{
    const std::chrono::nanoseconds objL_elapsed = std::chrono::system_clock::now() - objL_start;
    return static_cast<long long>(objL_elapsed.count() / 1000000);
}

QString formatPowerValue(double f64L_value)
{
    return std::isnan(f64L_value) ? QStringLiteral("-") : QString::number(f64L_value, 'f', 3);
}

double zeroIfMissing(double f64L_value)
{
    return std::isnan(f64L_value) ? 0.0 : f64L_value;
}

QString totalText(const PowerLogRecord& objL_record)
{
    const double f64L_total =
        (zeroIfMissing(objL_record.valueA) + zeroIfMissing(objL_record.valueB)) + zeroIfMissing(objL_record.valueC);
    return QString::number(f64L_total, 'f', 3);
}

QString powerRow(const PowerLogRecord& objL_record)
{
    const QDateTime objL_time = QDateTime::fromSecsSinceEpoch(objL_record.timestamp);
    const QStringList objL_cells{objL_time.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"), QCalendar()),
                                 formatPowerValue(objL_record.valueA), formatPowerValue(objL_record.valueB),
                                 formatPowerValue(objL_record.valueC), totalText(objL_record)};
    return objL_cells.join(QLatin1Char('\t')) + QLatin1Char('\n');
}

using Period = std::pair<long long, long long>;
using AllQuery = QList<PowerLogRecord> (PowerLogClient::*)();
using PeriodQuery = QList<PowerLogRecord> (PowerLogClient::*)(long long, long long);

LogDaemon::PowerLogSource makeSource(const std::optional<Period>& objL_period, AllQuery pL_all, PeriodQuery pL_ofPeriod)
{
    return [objL_period, pL_all, pL_ofPeriod]
    {
        PowerLogClient* objL_client = PowerLogClient::instance_;
        return objL_period ? (objL_client->*pL_ofPeriod)(objL_period->first, objL_period->second)
                           : (objL_client->*pL_all)();
    };
}

} // namespace

bool LogDaemon::PowerLogExportToUsb(const QString& locale)
{
    return PowerLogStartExport() && PowerLogExportMain(locale, PowerLogExportType::All, {}, {});
}

bool LogDaemon::PowerLogExportHourlyToUsb(const QString& locale)
{
    return PowerLogStartExport() && PowerLogExportMain(locale, PowerLogExportType::Hourly, {}, {});
}

bool LogDaemon::PowerLogExportQuarterlyToUsb(const QString& locale)
{
    return PowerLogStartExport() && PowerLogExportMain(locale, PowerLogExportType::Quarterly, {}, {});
}

bool LogDaemon::PowerLogExportForPeriodToUsb(const QString& locale, long long start_timestamp, long long end_timestamp)
{
    return PowerLogStartExport() && PowerLogExportMain(locale, PowerLogExportType::All, start_timestamp, end_timestamp);
}

bool LogDaemon::PowerLogExportHourlyForPeriodToUsb(const QString& locale, long long start_timestamp,
                                                   long long end_timestamp)
{
    return PowerLogStartExport() &&
           PowerLogExportMain(locale, PowerLogExportType::Hourly, start_timestamp, end_timestamp);
}

bool LogDaemon::PowerLogExportQuarterlyForPeriodToUsb(const QString& locale, long long start_timestamp,
                                                      long long end_timestamp)
{
    return PowerLogStartExport() &&
           PowerLogExportMain(locale, PowerLogExportType::Quarterly, start_timestamp, end_timestamp);
}

bool LogDaemon::PowerLogStartExport()
{
    const std::lock_guard objL_locker(exportMutex);
    if (exportActive)
    {
        ZEMO_TRACE(traceModule(), 3, "Export is already active");
        return false;
    }
    exportActive = true;
    return true;
}

bool LogDaemon::PowerLogStopExport()
{
    const std::lock_guard objL_locker(exportMutex);
    if (!exportActive)
    {
        ZEMO_TRACE(traceModule(), 3, "No active export to stop");
    }
    return std::exchange(exportActive, false);
}

bool LogDaemon::PowerLogExportMain(const QString& locale, PowerLogExportType type, std::optional<long long> start,
                                   std::optional<long long> end)
{
    std::optional<Period> objL_period;
    if (!start || !end)
    {
        ZEMO_TRACE(traceModule(), 2, "Exporting all available power log data");
    }
    else if (*start >= *end)
    {
        ZEMO_TRACE(traceModule(), 4, "Invalid export period: %lld >= %lld", *start, *end);
        PowerLogStopExport();
        return false;
    }
    else
    {
        ZEMO_TRACE(traceModule(), 2, "Exporting power log from %lld to %lld", *start, *end);
        objL_period.emplace(*start, *end);
    }
    std::optional<PowerLogSource> objL_hourly;
    if (type != PowerLogExportType::Quarterly)
    {
        objL_hourly = makeSource(objL_period, &PowerLogClient::GetHourly, &PowerLogClient::GetHourlyForPeriod);
    }
    std::optional<PowerLogSource> objL_quarterly;
    if (type != PowerLogExportType::Hourly)
    {
        objL_quarterly = makeSource(objL_period, &PowerLogClient::GetQuarterly, &PowerLogClient::GetQuarterlyForPeriod);
    }
    try
    {
        std::thread(
            [this, locale, objL_hourly, objL_quarterly]
            {
                emit PowerLogExportStarted();
                const bool bL_result = PowerLogExportFunction(locale, objL_hourly, objL_quarterly);
                emit PowerLogExportCompleted(bL_result);
                // Only now, on purpose: a client that starts the next export from within the signal is refused.
                PowerLogStopExport();
            })
            .detach();
    }
    catch (const std::system_error& objL_error)
    {
        ZEMO_TRACE(traceModule(), 4, "Failed to start a thread: %s", objL_error.what());
        PowerLogStopExport();
        return false;
    }
    return true;
}

bool LogDaemon::PowerLogExportFunction(const QString& locale, std::optional<PowerLogSource> hourly,
                                       std::optional<PowerLogSource> quarterly)
{
    const auto objL_texts = zemo::menus::MenusClient::instance->getTexts(titleIds(), locale);
    if (objL_texts.isEmpty())
    {
        ZEMO_TRACE(traceModule(), 4, "Failed to retrieve header texts (even empty ones)");
        return false;
    }
    for (const auto& [pL_source, pL_prefix, pL_name] :
         {std::tuple{&hourly, "powerlog_hourly_", "hourly"}, std::tuple{&quarterly, "powerlog_15_min_", "quarterly"}})
    {
        if (!*pL_source)
        {
            continue;
        }
        const auto objL_start = std::chrono::system_clock::now();
        if (!PowerLogExportSingleType(objL_texts, pL_prefix, **pL_source))
        {
            ZEMO_TRACE(traceModule(), 4, "Failed to export %s power log", pL_name);
            return false;
        }
        ZEMO_TRACE(traceModule(), 2, "Exported %s power log in %lld ms", pL_name, millisecondsSince(objL_start));
    }
    return true;
}

bool LogDaemon::PowerLogExportSingleType(const QMap<unsigned int, zemo::localization::PanelText>& texts,
                                         const char* prefix, PowerLogSource source)
{
    const LogFilePtr objL_file = openLogFile(QString::fromLatin1(prefix), QStringLiteral(".csv"), QString());
    if (!objL_file)
    {
        ZEMO_TRACE(traceModule(), 4, "Failed to open log file");
        return false;
    }
    const auto objL_start = std::chrono::system_clock::now();
    const QList<PowerLogRecord> objL_records = source();
    ZEMO_TRACE(traceModule(), 2, "Retrieved %d power log entries in %lld ms", static_cast<int>(objL_records.size()),
               millisecondsSince(objL_start));
    QTextStream objL_stream(objL_file.get());
    objL_stream.setEncoding(QStringConverter::Utf8);
    objL_stream << columnTitles(texts, titleIds()).join(QLatin1Char('\t')) << '\n';
    for (const PowerLogRecord& objL_record : objL_records)
    {
        objL_stream << powerRow(objL_record);
    }
    return true;
}
