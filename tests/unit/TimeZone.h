#pragma once

#include <QByteArray>

#include <ctime>

/// The process has this time zone while the object lives.
class TimeZone
{
public:
    explicit TimeZone(const char* name)
        : m_before(qgetenv("TZ"))
        , m_wasSet(qEnvironmentVariableIsSet("TZ"))
    {
        qputenv("TZ", name);
        tzset();
    }
    ~TimeZone()
    {
        m_wasSet ? qputenv("TZ", m_before) : qunsetenv("TZ");
        tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    QByteArray m_before;
    bool m_wasSet;
};
