#pragma once

#include <QElapsedTimer>
#include <QString>

#include <cstdint>

/// Writes times as "yyyy-MM-dd hh:mm:ss" in local time. For one thread.
class LocalTimeText
{
public:
    /// Appends the text of `time`, seconds since the epoch, to `objL_target`.
    void append(uint32_t u32L_time, QString& objL_target);

private:
    bool isKnown(uint32_t u32L_time) const;
    void learnMinute(uint32_t u32L_time);

    int64_t minuteBegin = 0; ///< first second of the minute that minuteText is of
    QString minuteText;      ///< up to and with the colon before the seconds; empty before the first use
    QElapsedTimer learned;
};
