#include <zemo/DateTime.h>

#include <QDateTime>

namespace
{

void setDate(zdatetime_t* dateTime, const QDate& date)
{
    dateTime->year = static_cast<uint16_t>(date.year());
    dateTime->month = static_cast<uint8_t>(date.month());
    dateTime->day = static_cast<uint8_t>(date.day());
}

QDate dateOf(const zdatetime_t* dateTime)
{
    return {dateTime->year, dateTime->month, dateTime->day};
}

} // namespace

zdatetime_t* datetimeclient_getDateTime(int /*zone*/)
{
    const QDateTime now = QDateTime::currentDateTime();
    auto* result = new zdatetime_t{};
    setDate(result, now.date());
    result->hour = static_cast<uint8_t>(now.time().hour());
    result->minute = static_cast<uint8_t>(now.time().minute());
    result->second = static_cast<uint8_t>(now.time().second());
    return result;
}

void zdatetime_free(zdatetime_t* dateTime)
{
    delete dateTime;
}

void zdatetime_addDays(zdatetime_t* dateTime, int days)
{
    setDate(dateTime, dateOf(dateTime).addDays(days));
}

void zdatetime_addYears(zdatetime_t* dateTime, int years)
{
    setDate(dateTime, dateOf(dateTime).addYears(years));
}

namespace zemo::time
{

DateTime::DateTime(const zdatetime_t* dateTime)
    : m_value(*dateTime)
{
}

int DateTime::year() const
{
    return m_value.year;
}

int DateTime::month() const
{
    return m_value.month;
}

int DateTime::day() const
{
    return m_value.day;
}

int DateTime::hour() const
{
    return m_value.hour;
}

int DateTime::minute() const
{
    return m_value.minute;
}

int DateTime::second() const
{
    return m_value.second;
}

} // namespace zemo::time
