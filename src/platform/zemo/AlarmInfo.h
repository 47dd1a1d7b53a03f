#pragma once

#include <zemo/DateTime.h>
#include <zemo/PanelText.h>

#include <QList>

namespace zemo::system
{

struct AlarmExtraInfo
{
    localization::PanelText label;
    localization::PanelText value;
};

/// One alarm of the alarm log.
class AlarmInfo
{
public:
    AlarmInfo(const time::DateTime& time, const localization::PanelText& name, unsigned int number,
              const localization::PanelText& source, const QList<AlarmExtraInfo>& extraInfo);

    const time::DateTime& getTime() const;
    const localization::PanelText& getName() const;
    unsigned int getNumber() const;
    const localization::PanelText& getSource() const;
    const QList<AlarmExtraInfo>& getExtraInfo() const;

private:
    time::DateTime m_time;
    localization::PanelText m_name;
    unsigned int m_number;
    localization::PanelText m_source;
    QList<AlarmExtraInfo> m_extraInfo;
};

} // namespace zemo::system
