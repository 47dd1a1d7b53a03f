#include "logging/LocalTimeText.h"

#include <QDateTime>

namespace
{
constexpr int64_t SecondsOfMinute = 60;
// The zone can be changed while the process runs, so what it says is asked for anew before long. A row of the present
// asks each time that way; only a replay, with its thousands of rows in a moment, lives on what is known.
constexpr qint64 MillisecondsKnown = 100;
} // namespace

void LocalTimeText::append(uint32_t u32L_time, QString& objL_target)
{
    if (!isKnown(u32L_time))
    {
        learnMinute(u32L_time);
    }
    const auto iL_second = static_cast<ushort>(u32L_time - minuteBegin);
    objL_target += minuteText;
    objL_target += QChar(static_cast<ushort>(u'0' + iL_second / 10));
    objL_target += QChar(static_cast<ushort>(u'0' + iL_second % 10));
}

bool LocalTimeText::isKnown(uint32_t u32L_time) const
{
    return !minuteText.isEmpty() && u32L_time >= minuteBegin && u32L_time < minuteBegin + SecondsOfMinute &&
           !learned.hasExpired(MillisecondsKnown);
}

// The steps of a zone's clock fall on whole minutes, so a minute of local time is 60 seconds without a step.
void LocalTimeText::learnMinute(uint32_t u32L_time)
{
    const QDateTime objL_local = QDateTime::fromSecsSinceEpoch(u32L_time);
    minuteBegin = static_cast<int64_t>(u32L_time) - objL_local.time().second();
    minuteText = objL_local.toString(QStringLiteral("yyyy-MM-dd hh:mm:"));
    learned.start();
}
