#pragma once

#include <cstdint>

/// The platform's plain date and time, in local time.
struct zdatetime_t
{
    uint16_t year;
    uint8_t month;
    uint8_t day;
    uint8_t hour;
    uint8_t minute;
    uint8_t second;
};

/// A new record with the platform's present time; `zone` 0 is local time. Released with zdatetime_free.
zdatetime_t* datetimeclient_getDateTime(int zone);
void zdatetime_free(zdatetime_t* dateTime);

/// Moves `dateTime` in place; negative counts go back. A day that the new month lacks becomes its last day.
void zdatetime_addDays(zdatetime_t* dateTime, int days);
void zdatetime_addYears(zdatetime_t* dateTime, int years);

namespace zemo::time
{

class DateTime
{
public:
    DateTime(const zdatetime_t* dateTime); // NOLINT(google-explicit-constructor): a plain wrapper

    int year() const;
    int month() const;
    int day() const;
    int hour() const;
    int minute() const;
    int second() const;

private:
    zdatetime_t m_value;
};

} // namespace zemo::time
